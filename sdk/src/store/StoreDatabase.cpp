// SPDX-License-Identifier: MIT
#include "store/StoreDatabase.h"

#include "platform/Log.h"

#include <sqlite3.h>

#include <array>
#include <cerrno>
#include <cstdio>
#include <cstring>

namespace mtpsdk {

enum StoreDatabase::Statement : std::size_t {
    selectChildren,
    selectParent,
    insertObject,
    updateObjectSize,
    moveObject,
    updateObjectProperties,
    deleteObject,
    deleteFolder,
    deleteReferences,
    selectTree,
    selectFolders,
    selectScanned,
    replaceScanned,
    selectReferences,
    replaceReferences,
    selectNumber,
    replaceNumber,
    statementCount
};

namespace {

constexpr int busyMilliseconds = 1000;
/// Raised when the tables change; a file of another version is begun anew.
constexpr int layoutVersion = 1;

/// The rows of a folder are found by its key alone: a folder is always read whole, and an index without names costs a
/// third of one with them.
constexpr const char* layout = R"(
    CREATE TABLE IF NOT EXISTS objects(handle INTEGER PRIMARY KEY, parent INTEGER NOT NULL, name TEXT NOT NULL,
        format INTEGER NOT NULL, size INTEGER NOT NULL, created INTEGER NOT NULL, properties BLOB);
    CREATE INDEX IF NOT EXISTS children ON objects(parent);
    CREATE TABLE IF NOT EXISTS folders(key INTEGER PRIMARY KEY, scanned INTEGER NOT NULL);
    CREATE TABLE IF NOT EXISTS refs(handle INTEGER PRIMARY KEY, list BLOB NOT NULL);
    CREATE TABLE IF NOT EXISTS numbers(name TEXT PRIMARY KEY, value INTEGER NOT NULL) WITHOUT ROWID;
)";

constexpr std::array<const char*, 17> statementTexts = {
    "SELECT handle, format, size, created, name, properties FROM objects WHERE parent = ?",
    "SELECT parent FROM objects WHERE handle = ?",
    "INSERT INTO objects(handle, parent, name, format, size, created, properties) VALUES(?, ?, ?, ?, ?, ?, ?)",
    "UPDATE objects SET size = ?2 WHERE handle = ?1",
    "UPDATE objects SET parent = ?2, name = ?3 WHERE handle = ?1",
    "UPDATE objects SET properties = ?2 WHERE handle = ?1",
    "DELETE FROM objects WHERE handle = ?",
    "DELETE FROM folders WHERE key = ?",
    "DELETE FROM refs WHERE handle = ?",
    "WITH RECURSIVE tree(handle, size) AS (SELECT handle, size FROM objects WHERE handle = ? UNION "
    "SELECT objects.handle, objects.size FROM objects JOIN tree ON objects.parent = tree.handle) "
    "SELECT handle, size FROM tree",
    "SELECT folders.key, objects.parent, objects.name, folders.scanned FROM folders "
    "JOIN objects ON objects.handle = folders.key",
    "SELECT scanned FROM folders WHERE key = ?",
    "INSERT OR REPLACE INTO folders(key, scanned) VALUES(?, ?)",
    "SELECT list FROM refs WHERE handle = ?",
    "INSERT OR REPLACE INTO refs(handle, list) VALUES(?, ?)",
    "SELECT value FROM numbers WHERE name = ?",
    "INSERT OR REPLACE INTO numbers(name, value) VALUES(?, ?)",
};

bool execute(sqlite3* database, const char* text) {
    return sqlite3_exec(database, text, nullptr, nullptr, nullptr) == SQLITE_OK;
}

int layoutVersionOf(sqlite3* database) {
    sqlite3_stmt* statement = nullptr;
    int version = -1;
    if (sqlite3_prepare_v2(database, "PRAGMA user_version", -1, &statement, nullptr) == SQLITE_OK &&
        sqlite3_step(statement) == SQLITE_ROW) {
        version = sqlite3_column_int(statement, 0);
    }
    sqlite3_finalize(statement);
    return version;
}

} // namespace

/// One use of a prepared statement; gives it back reset.
class StoreDatabase::Query {
public:
    explicit Query(sqlite3_stmt* statement)
        : _statement(statement) {}
    ~Query() {
        sqlite3_reset(_statement);
        sqlite3_clear_bindings(_statement);
    }
    Query(const Query&) = delete;
    Query& operator=(const Query&) = delete;

    Query& bind(std::int64_t value) {
        sqlite3_bind_int64(_statement, ++_bound, value);
        return *this;
    }
    Query& bindText(std::string_view text) {
        sqlite3_bind_text(_statement, ++_bound, text.data(), static_cast<int>(text.size()), SQLITE_STATIC);
        return *this;
    }
    Query& bindBlob(std::string_view bytes) {
        sqlite3_bind_blob(_statement, ++_bound, bytes.data(), static_cast<int>(bytes.size()), SQLITE_STATIC);
        return *this;
    }
    [[nodiscard]] int step() { return sqlite3_step(_statement); }
    [[nodiscard]] bool nextRow() { return step() == SQLITE_ROW; }
    [[nodiscard]] std::int64_t integer(int column) const { return sqlite3_column_int64(_statement, column); }
    [[nodiscard]] std::string bytes(int column) const {
        const void* const data = sqlite3_column_blob(_statement, column);
        const int size = sqlite3_column_bytes(_statement, column);
        return data != nullptr ? std::string(static_cast<const char*>(data), static_cast<std::size_t>(size))
                               : std::string();
    }

private:
    sqlite3_stmt* _statement;
    int _bound = 0;
};

StoreDatabase::~StoreDatabase() {
    if (_database != nullptr) {
        commit();
        close();
    }
}

void StoreDatabase::close() {
    for (sqlite3_stmt* prepared : _statements) {
        sqlite3_finalize(prepared);
    }
    _statements.clear();
    sqlite3_close(_database);
    _database = nullptr;
    _pending = 0;
}

bool StoreDatabase::open(const std::string& path, std::string& error) {
    bool damaged = false;
    if (openFile(path, error, damaged)) {
        return true;
    }
    close();
    if (!damaged) {
        return false;
    }
    QD_LOG(3, "virtual device database %@ is damaged and set aside: %@", path, error);
    for (const char* suffix : {"", "-wal"}) {
        if (std::rename((path + suffix).c_str(), (path + suffix + ".damaged").c_str()) != 0 && errno != ENOENT) {
            error = "Cannot set the damaged " + path + " aside.";
            return false;
        }
    }
    if (!openFile(path, error, damaged)) {
        close();
        return false;
    }
    error.clear();
    return true;
}

bool StoreDatabase::openFile(const std::string& path, std::string& error, bool& damaged) {
    const int flags = SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE | SQLITE_OPEN_NOMUTEX;
    int status = sqlite3_open_v2(path.c_str(), &_database, flags, nullptr);
    if (status == SQLITE_OK) {
        sqlite3_busy_timeout(_database, busyMilliseconds);
        // Exclusive: one process owns a device. Normal: the files' own safety does not wait for the disk here.
        const bool ready = execute(_database, "PRAGMA locking_mode = EXCLUSIVE; PRAGMA synchronous = NORMAL; "
                                              "PRAGMA journal_mode = WAL; PRAGMA cache_size = -8000; "
                                              "BEGIN IMMEDIATE");
        const int version = ready ? layoutVersionOf(_database) : 0;
        if (ready && version != 0 && version != layoutVersion) {
            error = "another layout";
            damaged = true;
            return false;
        }
        if (ready && execute(_database, layout) && execute(_database, "PRAGMA user_version = 1; COMMIT")) {
            _statements.assign(statementCount, nullptr);
            return true;
        }
        status = sqlite3_errcode(_database);
    }
    damaged = status == SQLITE_NOTADB || status == SQLITE_CORRUPT || status == SQLITE_ERROR;
    error = status == SQLITE_BUSY || status == SQLITE_LOCKED
                ? "The virtual device is in use by another program."
                : "Cannot open " + path + ": " + sqlite3_errmsg(_database) + ".";
    return false;
}

sqlite3_stmt* StoreDatabase::statement(Statement which) {
    sqlite3_stmt*& prepared = _statements[which];
    if (prepared == nullptr && sqlite3_prepare_v3(_database, statementTexts[which], -1, SQLITE_PREPARE_PERSISTENT,
                                                  &prepared, nullptr) != SQLITE_OK) {
        QD_LOG(3, "virtual device database: %@", sqlite3_errmsg(_database));
    }
    return prepared;
}

void StoreDatabase::run(Query& query) {
    if (query.step() != SQLITE_DONE) {
        QD_LOG(3, "virtual device database: %@", sqlite3_errmsg(_database));
    }
}

void StoreDatabase::beginChange() {
    if (_pending++ == 0 && !execute(_database, "BEGIN IMMEDIATE")) {
        QD_LOG(3, "virtual device database: %@", sqlite3_errmsg(_database));
    }
}

void StoreDatabase::commit() {
    if (_pending != 0 && !execute(_database, "COMMIT")) {
        QD_LOG(3, "virtual device database: %@", sqlite3_errmsg(_database));
        execute(_database, "ROLLBACK");
    }
    _pending = 0;
}

void StoreDatabase::visitChildren(FolderKey parent, const std::function<void(Row&& row)>& visitor) {
    Query query(statement(selectChildren));
    query.bind(parent);
    while (query.nextRow()) {
        Row row;
        row.handle = static_cast<Handle>(query.integer(0));
        row.format = static_cast<FormatCode>(query.integer(1));
        row.size = static_cast<std::uint64_t>(query.integer(2));
        row.created = query.integer(3);
        row.name = query.bytes(4);
        row.properties = StoreProperties::fromPacked(query.bytes(5));
        visitor(std::move(row));
    }
}

std::optional<FolderKey> StoreDatabase::parentOf(Handle handle) {
    Query query(statement(selectParent));
    query.bind(handle);
    return query.nextRow() ? std::optional(query.integer(0)) : std::nullopt;
}

void StoreDatabase::insert(FolderKey parent, const StoreObject& object) {
    beginChange();
    Query query(statement(insertObject));
    query.bind(object.handle).bind(parent).bindText(object.name).bind(raw(object.format));
    query.bind(static_cast<std::int64_t>(object.size)).bind(object.created);
    if (!object.properties.empty()) {
        query.bindBlob(object.properties.packed());
    }
    run(query);
}

void StoreDatabase::updateSize(Handle handle, std::uint64_t size) {
    beginChange();
    Query query(statement(updateObjectSize));
    query.bind(handle).bind(static_cast<std::int64_t>(size));
    run(query);
}

void StoreDatabase::move(Handle handle, FolderKey parent, std::string_view name) {
    beginChange();
    Query query(statement(moveObject));
    query.bind(handle).bind(parent).bindText(name);
    run(query);
}

void StoreDatabase::updateProperties(Handle handle, const StoreProperties& properties) {
    beginChange();
    Query query(statement(updateObjectProperties));
    query.bind(handle).bindBlob(properties.packed());
    run(query);
}

std::uint64_t StoreDatabase::removeTree(Handle handle) {
    std::uint64_t bytes = 0;
    std::vector<Handle> handles;
    {
        Query query(statement(selectTree));
        query.bind(handle);
        while (query.nextRow()) {
            handles.push_back(static_cast<Handle>(query.integer(0)));
            bytes += static_cast<std::uint64_t>(query.integer(1));
        }
    }
    for (const Handle each : handles) {
        removeRow(each);
    }
    return bytes;
}

void StoreDatabase::removeRow(Handle handle) {
    for (const Statement which : {deleteObject, deleteFolder, deleteReferences}) {
        beginChange();
        Query query(statement(which));
        query.bind(handle);
        run(query);
    }
}

std::vector<StoreDatabase::Folder> StoreDatabase::folders() {
    std::vector<Folder> rows;
    Query query(statement(selectFolders));
    while (query.nextRow()) {
        rows.push_back({query.integer(0), query.integer(1), query.bytes(2), query.integer(3)});
    }
    return rows;
}

std::int64_t StoreDatabase::scanned(FolderKey folder) {
    Query query(statement(selectScanned));
    query.bind(folder);
    return query.nextRow() ? query.integer(0) : 0;
}

void StoreDatabase::setScanned(FolderKey folder, std::int64_t nanoseconds) {
    beginChange();
    Query query(statement(replaceScanned));
    query.bind(folder).bind(nanoseconds);
    run(query);
}

std::vector<Handle> StoreDatabase::references(Handle handle) {
    Query query(statement(selectReferences));
    query.bind(handle);
    if (!query.nextRow()) {
        return {};
    }
    const std::string packed = query.bytes(0);
    std::vector<Handle> handles(packed.size() / sizeof(Handle));
    std::memcpy(handles.data(), packed.data(), handles.size() * sizeof(Handle));
    return handles;
}

void StoreDatabase::setReferences(Handle handle, const std::vector<Handle>& references) {
    beginChange();
    if (references.empty()) {
        Query query(statement(deleteReferences));
        query.bind(handle);
        run(query);
        return;
    }
    std::string packed(references.size() * sizeof(Handle), '\0');
    std::memcpy(packed.data(), references.data(), packed.size());
    Query query(statement(replaceReferences));
    query.bind(handle).bindBlob(packed);
    run(query);
}

std::uint64_t StoreDatabase::number(std::string_view name) {
    Query query(statement(selectNumber));
    query.bindText(name);
    return query.nextRow() ? static_cast<std::uint64_t>(query.integer(0)) : 0;
}

void StoreDatabase::setNumber(std::string_view name, std::uint64_t value) {
    beginChange();
    Query query(statement(replaceNumber));
    query.bindText(name).bind(static_cast<std::int64_t>(value));
    run(query);
}

} // namespace mtpsdk
