// SPDX-License-Identifier: MIT
#pragma once

#include "store/StoreTypes.h"

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

struct sqlite3;
struct sqlite3_stmt;

namespace mtpsdk {

/// Names a folder in the database: an object's handle, or a storage's ID negated for its root.
using FolderKey = std::int64_t;

/// What a virtual device remembers beside its files, in one SQLite file: handles, sizes, dates, properties, references.
///
/// Changes gather in an open transaction until commit(); a crash before that loses what was gathered and nothing else.
/// The file is held exclusively while open. A change that SQLite refuses is logged and left out, since the files are
/// what counts. Not thread-safe.
class StoreDatabase {
public:
    struct Row {
        Handle handle = 0;
        FormatCode format = FormatCode::Undefined;
        std::uint64_t size = 0;
        std::int64_t created = 0;
        std::string name;
        StoreProperties properties;
    };
    struct Folder {
        FolderKey key = 0;
        FolderKey parent = 0;
        std::string name;
        std::int64_t scanned = 0;
    };

    StoreDatabase() = default;
    ~StoreDatabase();
    StoreDatabase(const StoreDatabase&) = delete;
    StoreDatabase& operator=(const StoreDatabase&) = delete;

    /// A damaged file is set aside and a new one begun. false when another process holds the device, or none can be
    /// made.
    [[nodiscard]] bool open(const std::string& path, std::string& error);

    /// The visitor must not use the database.
    void visitChildren(FolderKey parent, const std::function<void(Row&& row)>& visitor);
    [[nodiscard]] std::optional<FolderKey> parentOf(Handle handle);
    void insert(FolderKey parent, const StoreObject& object);
    void updateSize(Handle handle, std::uint64_t size);
    void move(Handle handle, FolderKey parent, std::string_view name);
    void updateProperties(Handle handle, const StoreProperties& properties);
    /// Forgets the object, its references and, for a folder, all below; answers the bytes that the files held.
    std::uint64_t removeTree(Handle handle);

    /// Every folder, with the time of its last known state (see setScanned).
    [[nodiscard]] std::vector<Folder> folders();
    [[nodiscard]] std::int64_t scanned(FolderKey folder);
    /// Notes that the rows of this folder are what it held when its modification time was `nanoseconds`.
    void setScanned(FolderKey folder, std::int64_t nanoseconds);

    [[nodiscard]] std::vector<Handle> references(Handle handle);
    void setReferences(Handle handle, const std::vector<Handle>& references);

    /// A named number that is kept; 0 when it never was.
    [[nodiscard]] std::uint64_t number(std::string_view name);
    void setNumber(std::string_view name, std::uint64_t value);

    /// Changes not yet committed.
    [[nodiscard]] std::size_t pendingChanges() const { return _pending; }
    void commit();

private:
    class Query;
    enum Statement : std::size_t;
    [[nodiscard]] bool openFile(const std::string& path, std::string& error, bool& damaged);
    void close();
    void removeRow(Handle handle);
    /// A prepared statement, ready to be bound.
    [[nodiscard]] sqlite3_stmt* statement(Statement which);
    void run(Query& query);
    /// Opens the transaction that gathers changes, if none is open.
    void beginChange();

    sqlite3* _database = nullptr;
    std::vector<sqlite3_stmt*> _statements;
    std::size_t _pending = 0;
};

} // namespace mtpsdk
