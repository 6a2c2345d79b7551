// SPDX-License-Identifier: MIT
#include "store/StoreImplementation.h"

#include "platform/Files.h"
#include "platform/Log.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <dirent.h>
#include <fcntl.h>
#include <random>
#include <sys/stat.h>
#include <unistd.h>
#include <unordered_map>

namespace mtpsdk {

namespace {

constexpr const char* internalFolder = "/.mtp";
constexpr const char* arrivalsFolder = "/.mtp/arriving";
constexpr const char* databaseFile = "/.mtp/objects.db";
/// File times move in steps of the kernel's clock: a folder changed this lately may change again unnoticed.
constexpr std::int64_t settlingNanoseconds = 20'000'000;

std::int64_t nowNanoseconds() {
    timespec now{};
    ::clock_gettime(CLOCK_REALTIME, &now);
    return std::int64_t{now.tv_sec} * 1'000'000'000 + now.tv_nsec;
}

std::string usedName(std::uint32_t storageId) {
    return "used " + std::to_string(storageId);
}

} // namespace

Store::Implementation::~Implementation() {
    _watcher.stop();
    if (!_tree.roots().empty()) {
        save();
    }
    if (_arrivals >= 0) {
        ::close(_arrivals);
    }
}

bool Store::Implementation::open(const std::string& directory, std::string& error) {
    _directory = directory;
    if (!readDescription(directory, _description, error)) {
        return false;
    }
    if (const std::error_code failure = platform::createFolders(directory + arrivalsFolder)) {
        error = "Cannot make " + directory + internalFolder + ": " + failure.message() + ".";
        return false;
    }
    if (!_database.open(directory + databaseFile, error) || !openFolders(error)) {
        return false;
    }
    openNumbers();
    catchUp();
    save();
    _watcher.start([this] { return wake(); });
    return true;
}

bool Store::Implementation::openFolders(std::string& error) {
    for (const StorageDescription& storage : _description.storages) {
        const std::string path = _directory + "/" + storage.label;
        if (::mkdir(path.c_str(), 0777) != 0 && errno != EEXIST) {
            error = "Cannot make the storage's folder " + path + ": " + std::strerror(errno) + ".";
            return false;
        }
        if (!_descriptors.addRoot(_tree.addRoot(storage.storageId), path)) {
            error = "The storage's folder " + path + " is not a folder.";
            return false;
        }
    }
    _arrivals = ::open((_directory + arrivalsFolder).c_str(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC);
    if (_arrivals < 0) {
        error = "Cannot open " + _directory + arrivalsFolder + ": " + std::strerror(errno) + ".";
        return false;
    }
    clearArrivals();
    return true;
}

/// What a process that was killed left behind.
void Store::Implementation::clearArrivals() const {
    const int own = ::openat(_arrivals, ".", O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    DIR* const stream = own >= 0 ? ::fdopendir(own) : nullptr;
    if (stream == nullptr) {
        return;
    }
    while (const dirent* const entry = ::readdir(stream)) {
        (void) ::unlinkat(_arrivals, entry->d_name, 0);
    }
    ::closedir(stream);
}

void Store::Implementation::openNumbers() {
    _nextHandle = std::max<Handle>(1, static_cast<Handle>(_database.number("next handle")));
    _identity = _database.number("identity");
    if (_identity == 0) {
        std::random_device random;
        _identity = std::uint64_t{random()} << 32 | random() | 1;
        _database.setNumber("identity", _identity);
    }
    for (const StorageDescription& storage : _description.storages) {
        _used[storage.storageId] = _database.number(usedName(storage.storageId));
    }
}

/// Reads the folders that were changed while the device was closed, so that the space used is right. A folder whose
/// time is what it was when it was last read still holds the same names; its files are looked at when it is listed.
void Store::Implementation::catchUp() {
    for (const FolderKey key : changedFolders()) {
        StoreNode* const folder =
            key < 0 ? _tree.root(static_cast<std::uint32_t>(-key)) : find(static_cast<Handle>(key));
        if (folder != nullptr && folder->isFolder() && !load(*folder)) {
            QD_LOG(3, "virtual device: cannot read the folder %@", pathOf(*folder));
        }
    }
}

std::vector<FolderKey> Store::Implementation::changedFolders() {
    struct Known {
        std::string name;
        FolderKey key = 0;
        std::int64_t scanned = 0;
    };
    std::unordered_map<FolderKey, std::vector<Known>> below;
    for (StoreDatabase::Folder& folder : _database.folders()) {
        below[folder.parent].push_back({std::move(folder.name), folder.key, folder.scanned});
    }
    std::vector<FolderKey> changed;
    const std::function<void(FolderKey, int, std::int64_t)> look = [&](FolderKey key, int descriptor,
                                                                       std::int64_t scanned) {
        if (scanned == 0 || modificationTime(descriptor) != scanned) {
            changed.push_back(key);
        }
        const auto known = below.find(key);
        if (known == below.end()) {
            return;
        }
        for (const Known& child : known->second) {
            const int opened =
                ::openat(descriptor, child.name.c_str(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC);
            if (opened < 0) {
                changed.push_back(child.key); // gone, or too deep for the descriptors there are: looked at singly
                continue;
            }
            look(child.key, opened, child.scanned);
            ::close(opened);
        }
    };
    for (const auto& root : _tree.roots()) {
        look(root->key(), _descriptors.descriptor(*root), _database.scanned(root->key()));
    }
    return changed;
}

StorageState Store::Implementation::state(const StorageDescription& storage) const {
    return {storage.storageId,           storage.label, storage.description, storage.capacity,
            _used.at(storage.storageId), storage.hidden};
}

bool Store::Implementation::saveDescription() {
    std::string error;
    const bool saved = writeDescription(_directory, _description, error);
    if (!saved) {
        QD_LOG(3, "virtual device: %@", error);
    }
    return saved;
}

void Store::Implementation::save() {
    for (const Handle handle : std::exchange(_unwritten, {})) {
        if (StoreNode* const node = find(handle)) {
            writePlaylist(*node);
        }
    }
    const bool settled = saveFolders();
    saveNumbers();
    _database.commit();
    if (!settled) {
        _watcher.callLater();
    }
}

/// false when some folder was changed too lately to tell its time.
bool Store::Implementation::saveFolders() {
    std::vector<std::pair<FolderKey, std::int64_t>> times;
    const std::int64_t now = nowNanoseconds();
    for (const FolderKey key : _unsaved) {
        StoreNode* const folder =
            key < 0 ? _tree.root(static_cast<std::uint32_t>(-key)) : _tree.find(static_cast<Handle>(key));
        if (folder != nullptr && folder->folder) {
            const std::int64_t time = modificationTime(_descriptors.descriptor(*folder));
            const bool known = folder->folder->watch >= 0 && time != 0 && now - time > settlingNanoseconds;
            times.emplace_back(key, known ? time : 0);
        }
    }
    _unsaved.clear();
    // Everything that happened up to the times read is in memory after this, or marks its folder as unsaved again.
    followNotices();
    bool settled = true;
    for (const auto& [key, time] : times) {
        _database.setScanned(key, time);
        const StoreNode* const folder = key < 0 ? nullptr : _tree.find(static_cast<Handle>(key));
        const bool watched = folder == nullptr || (folder->folder && folder->folder->watch >= 0);
        if (time == 0 && watched && !_unsaved.contains(key)) {
            _unsaved.insert(key);
            settled = false;
        }
    }
    return settled;
}

void Store::Implementation::saveNumbers() {
    if (_database.pendingChanges() == 0) {
        return;
    }
    _database.setNumber("next handle", _nextHandle);
    for (const auto& [storageId, bytes] : _used) {
        _database.setNumber(usedName(storageId), bytes);
    }
}

} // namespace mtpsdk
