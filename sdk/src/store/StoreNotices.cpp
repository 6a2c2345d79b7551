// SPDX-License-Identifier: MIT
#include "store/StoreImplementation.h"

#include <algorithm>
#include <chrono>
#include <ctime>

namespace mtpsdk {

namespace {

/// How long the content rests before it is saved, and how much may gather while it does not rest.
constexpr std::chrono::milliseconds saveDelay{500};
constexpr std::size_t changesPerSave = 5'000;

} // namespace

Store::Implementation::Operation::Operation(Implementation& store)
    : _store(store)
    , _lock(store._mutex) {
    _store.followNotices();
    _changesBefore = store._database.pendingChanges();
}

Store::Implementation::Operation::~Operation() {
    if (_store._database.pendingChanges() > _changesBefore) {
        _store._lastChange = Clock::now();
        _store._watcher.callLater();
        if (_store._database.pendingChanges() > changesPerSave) {
            _store.saveNumbers();
            _store._database.commit();
        }
    }
    const bool news = !_store._events.empty();
    _lock.unlock();
    if (news) {
        _store.deliver();
    }
}

void Store::Implementation::deliver() {
    const std::lock_guard telling(_listenerMutex);
    std::vector<StoreEvent> events;
    {
        const std::lock_guard lock(_mutex);
        events.swap(_events);
    }
    for (const StoreEvent& event : events) {
        for (const auto& [number, listener] : _listeners) {
            listener(event);
        }
    }
}

std::uint64_t Store::Implementation::addListener(Listener listener) {
    const std::lock_guard telling(_listenerMutex);
    _listeners.emplace(_nextListener, std::move(listener));
    return _nextListener++;
}

void Store::Implementation::removeListener(std::uint64_t listener) {
    const std::lock_guard telling(_listenerMutex);
    _listeners.erase(listener);
}

bool Store::Implementation::wake() {
    bool more = false;
    bool news = false;
    {
        const std::lock_guard lock(_mutex);
        followNotices();
        followUnsettled();
        if (hasUnsaved() && Clock::now() - _lastChange >= saveDelay) {
            save();
        }
        more = hasUnsaved() || !_unsettled.empty();
        news = !_events.empty();
    }
    if (news) {
        deliver();
    }
    return more;
}

void Store::Implementation::followNotices() {
    for (const StoreWatcher::Notice& notice : _watcher.take()) {
        if (notice.watch < 0) {
            rescanAll();
            continue;
        }
        const auto folder = _watched.find(notice.watch);
        if (folder != _watched.end()) {
            follow(*folder->second, notice);
        }
    }
}

/// Only the state counts that the name has now: what this store did itself is in memory already and makes no
/// difference, and many changes to one name end in one.
void Store::Implementation::follow(StoreNode& folder, const StoreWatcher::Notice& notice) {
    StoreNode* const known = _tree.child(folder, notice.name);
    DirectoryEntry entry;
    const bool there = readEntry(_descriptors.descriptor(folder), notice.name, entry);
    if (!there && known == nullptr) {
        return;
    }
    if (!there) {
        forget(*known, Announce::yes);
    } else if (known != nullptr) {
        // A file that is made anew under its old name is looked at when it has been written.
        if (notice.created && !entry.folder) {
            return;
        }
        refresh(*known, entry, Announce::yes);
    } else if (notice.created && !entry.folder && !entry.linked) {
        return; // its writer will close it
    } else {
        addFound(folder, entry, Announce::yes);
    }
    markChanged(folder);
}

void Store::Implementation::rescanAll() {
    std::vector<FolderKey> keys;
    for (const auto& [watch, folder] : _watched) {
        keys.push_back(folder->key());
    }
    for (const FolderKey key : keys) {
        StoreNode* const folder =
            key < 0 ? _tree.root(static_cast<std::uint32_t>(-key)) : _tree.find(static_cast<Handle>(key));
        if (folder != nullptr && folder->folder) {
            (void) scan(*folder, Announce::yes);
        }
    }
}

/// Files in a folder that was made a moment ago: the notices of their writing may have come before the folder was
/// watched.
void Store::Implementation::followUnsettled() {
    const std::int64_t now = std::time(nullptr);
    std::vector<std::pair<FolderKey, std::string>> waiting;
    for (auto& [key, name] : std::exchange(_unsettled, {})) {
        StoreNode* const folder = _tree.find(static_cast<Handle>(key));
        DirectoryEntry entry;
        if (folder == nullptr || !folder->folder || _tree.child(*folder, name) != nullptr ||
            !readEntry(_descriptors.descriptor(*folder), name, entry)) {
            continue;
        }
        if (now - entry.modified > settledSeconds) {
            addFound(*folder, entry, Announce::yes);
            markChanged(*folder);
        } else {
            waiting.emplace_back(key, std::move(name));
        }
    }
    _unsettled.insert(_unsettled.end(), waiting.begin(), waiting.end());
}

} // namespace mtpsdk
