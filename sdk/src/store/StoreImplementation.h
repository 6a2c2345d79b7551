// SPDX-License-Identifier: MIT
#pragma once

#include "store/Store.h"
#include "store/StoreDatabase.h"
#include "store/StoreDirectory.h"
#include "store/StoreTree.h"
#include "store/StoreWatcher.h"

#include <chrono>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <set>
#include <string>
#include <utility>
#include <vector>

namespace mtpsdk {

/// The store behind its public face. Everything but the listener's part runs inside an Operation, which holds the lock,
/// begins with what others have done meanwhile and ends with telling it to the listener.
///
/// StoreOpening.cpp opens and saves, StoreReading.cpp finds and visits, StoreScanning.cpp compares folders with memory,
/// StoreNotices.cpp follows the watcher, StoreWriting.cpp and StoreRemoval.cpp change, StoreReferences.cpp keeps lists.
class Store::Implementation {
public:
    Implementation() = default;
    ~Implementation();

    class Operation {
    public:
        explicit Operation(Implementation& store);
        ~Operation();
        Operation(const Operation&) = delete;
        Operation& operator=(const Operation&) = delete;

    private:
        Implementation& _store;
        std::unique_lock<std::mutex> _lock;
        std::size_t _changesBefore = 0;
    };

    [[nodiscard]] bool open(const std::string& directory, std::string& error);
    [[nodiscard]] const std::string& directory() const { return _directory; }
    [[nodiscard]] StoreDescription& description() { return _description; }
    [[nodiscard]] bool saveDescription();
    [[nodiscard]] std::uint64_t identity() const { return _identity; }
    [[nodiscard]] StorageState state(const StorageDescription& storage) const;
    /// Writes to the database what is known by now.
    void save();

    /// The object, read from its folder if need be; null when it is not there.
    [[nodiscard]] StoreNode* find(Handle handle, Look look = Look::files);
    /// The folder that an operation names by storage and handle (0: root), with its content read.
    [[nodiscard]] StoreNode* folder(std::uint32_t storageId, Handle handle, StoreResult& result,
                                    Look look = Look::files);
    [[nodiscard]] StoreResult visitBelow(StoreNode& folder, std::uint32_t depth, const Visitor& visitor, Look look);

    [[nodiscard]] StoreResult createFolder(const NewStoreObject& object, Handle& handle);
    [[nodiscard]] StoreResult prepare(const NewStoreObject& object, Handle& handle, std::uint64_t& room);
    /// Moves a whole arrived file into its folder.
    [[nodiscard]] StoreResult adopt(const NewStoreObject& object, Handle handle, const std::string& temporary);
    [[nodiscard]] int arrivals() const { return _arrivals; }
    [[nodiscard]] StoreResult move(StoreNode& node, StoreNode& target, const std::string& name);
    [[nodiscard]] StoreResult remove(StoreNode& node);
    [[nodiscard]] StoreResult openFile(StoreNode& node, int& descriptor, std::uint64_t& size);
    void setProperties(StoreNode& node, const StoreProperties& properties);

    [[nodiscard]] std::vector<Handle> references(StoreNode& node);
    void setReferences(StoreNode& node, const std::vector<Handle>& references);
    /// Before somebody looks at a playlist's file: it says what its list says.
    void settlePlaylist(StoreNode& node);

    std::uint64_t addListener(Listener listener);
    void removeListener(std::uint64_t listener);

private:
    using Clock = std::chrono::steady_clock;
    enum class Announce { no, yes };
    /// A file that nobody wrote to for so long is taken as whole.
    static constexpr std::int64_t settledSeconds = 1;

    [[nodiscard]] bool openFolders(std::string& error);
    void clearArrivals() const;
    void openNumbers();
    void catchUp();
    [[nodiscard]] std::vector<FolderKey> changedFolders();
    [[nodiscard]] bool saveFolders();
    void saveNumbers();
    [[nodiscard]] bool hasUnsaved() const { return _database.pendingChanges() != 0 || !_unsaved.empty(); }

    /// Brings memory in step with the folder: reads it when it never was, or when it cannot be watched.
    [[nodiscard]] bool load(StoreNode& folder, Announce announce = Announce::no);
    [[nodiscard]] bool loadNames(StoreNode& folder);
    [[nodiscard]] bool load(StoreNode& folder, Look look) {
        return look == Look::names ? loadNames(folder) : load(folder);
    }
    [[nodiscard]] StoreNode* read(Handle handle, Look look);
    [[nodiscard]] bool scan(StoreNode& folder, Announce announce);
    void postponeGrowing(StoreNode& folder, std::vector<DirectoryEntry>& entries);
    void readRows(StoreNode& folder);
    void merge(StoreNode& folder, std::vector<DirectoryEntry>& entries, Announce announce);
    void addFound(StoreNode& folder, const DirectoryEntry& entry, Announce announce);
    void refresh(StoreNode& node, const DirectoryEntry& entry, Announce announce);
    /// Forgets an object that is gone, and all below it.
    void forget(StoreNode& node, Announce announce);
    StoreNode& addNode(StoreNode& folder, std::unique_ptr<StoreNode> node);
    void changeUsed(std::uint32_t storageId, std::uint64_t more, std::uint64_t less);
    void markChanged(StoreNode& folder);
    void watchFolder(StoreNode& folder, int descriptor);
    [[nodiscard]] Handle newHandle() { return _nextHandle++; }

    void followNotices();
    void follow(StoreNode& folder, const StoreWatcher::Notice& notice);
    void rescanAll();
    void followUnsettled();
    [[nodiscard]] bool wake();
    void announce(StoreEvent::Kind kind, Handle handle) { _events.push_back({kind, handle}); }
    void deliver();

    [[nodiscard]] StoreResult checkNew(const NewStoreObject& object, StoreNode*& folder);
    [[nodiscard]] StoreResult removeFile(StoreNode& node);
    [[nodiscard]] StoreResult removeFolder(StoreNode& node);
    void writePlaylist(StoreNode& node);
    [[nodiscard]] std::string pathOf(const StoreNode& node) const;

    std::mutex _mutex;
    std::string _directory;
    StoreDescription _description;
    std::uint64_t _identity = 0;
    int _arrivals = -1; ///< the folder of files not yet whole

    FolderDescriptors _descriptors;
    StoreDatabase _database;
    StoreTree _tree;
    Handle _nextHandle = 1;
    std::map<std::uint32_t, std::uint64_t> _used; ///< bytes by storage: the sum over the database's rows
    std::set<FolderKey> _unsaved;                 ///< folders whose time of reading is not saved yet
    std::set<Handle> _unwritten;                  ///< playlists whose readable file is behind
    Clock::time_point _lastChange;

    std::map<int, StoreNode*> _watched;
    /// Files found in folders that others have just made, which may still be growing.
    std::vector<std::pair<FolderKey, std::string>> _unsettled;
    std::vector<StoreEvent> _events; ///< not yet told

    std::mutex _listenerMutex; ///< held while listeners run; taken before _mutex, never after
    std::map<std::uint64_t, Listener> _listeners;
    std::uint64_t _nextListener = 1;
    StoreWatcher _watcher; ///< last: its thread ends before anything else goes
};

} // namespace mtpsdk
