// SPDX-License-Identifier: MIT
#include "store/StoreImplementation.h"

#include "mtp/Formats.h"
#include "platform/Strings.h"

#include <algorithm>
#include <ctime>

namespace mtpsdk {

namespace {

/// Commits now and then while much is found, so that the transaction's log stays small.
constexpr std::size_t changesPerCommit = 20'000;

} // namespace

bool Store::Implementation::load(StoreNode& folder, Announce announce) {
    return (folder.folder && folder.folder->watch >= 0 && folder.folder->looked) || scan(folder, announce);
}

/// A folder whose time is what it was when it was last read holds the names that the database knows: none of its files
/// is looked at.
bool Store::Implementation::loadNames(StoreNode& folder) {
    if (folder.folder) {
        return folder.folder->watch >= 0 || scan(folder, Announce::no);
    }
    const int descriptor = _descriptors.descriptor(folder);
    const std::int64_t scanned = _database.scanned(folder.key());
    if (descriptor < 0 || scanned == 0 || modificationTime(descriptor) != scanned) {
        return scan(folder, Announce::no);
    }
    readRows(folder);
    watchFolder(folder, descriptor);
    // Once more, now that changes are noticed.
    const bool isKnown = folder.folder->watch >= 0 && modificationTime(descriptor) == scanned;
    return isKnown || scan(folder, Announce::no);
}

bool Store::Implementation::scan(StoreNode& folder, Announce announce) {
    const int descriptor = _descriptors.descriptor(folder);
    if (descriptor < 0) {
        return false;
    }
    const bool known = folder.folder != nullptr;
    if (!known) {
        readRows(folder);
    }
    // Watched first: what changes while it is read is noticed again.
    watchFolder(folder, descriptor);
    std::vector<DirectoryEntry> entries;
    if (!readDirectory(descriptor, entries)) {
        return false;
    }
    if (!known && announce == Announce::yes) {
        postponeGrowing(folder, entries);
    }
    merge(folder, entries, known ? Announce::yes : announce);
    folder.folder->looked = true;
    markChanged(folder);
    return true;
}

void Store::Implementation::watchFolder(StoreNode& folder, int descriptor) {
    if (folder.folder->watch >= 0) {
        return;
    }
    folder.folder->watch = _watcher.watch(descriptor);
    if (folder.folder->watch >= 0) {
        StoreNode*& owner = _watched[folder.folder->watch];
        if (owner != nullptr) {
            owner->folder->watch = -1; // the same folder under the name it had before
        }
        owner = &folder;
    }
}

void Store::Implementation::readRows(StoreNode& folder) {
    folder.folder = std::make_unique<StoreFolder>();
    _database.visitChildren(folder.key(), [&](StoreDatabase::Row&& row) {
        if (row.handle == 0 || _tree.find(row.handle) != nullptr) {
            return; // a database that was tampered with
        }
        auto node = std::make_unique<StoreNode>();
        node->handle = row.handle;
        node->storageId = folder.storageId;
        node->format = row.format;
        node->size = row.size;
        node->created = row.created;
        node->name = std::move(row.name);
        node->properties = std::move(row.properties);
        _nextHandle = std::max(_nextHandle, row.handle + 1);
        _tree.add(folder, std::move(node));
    });
}

/// In a folder that somebody has just made, a file may be half written, and whether it is cannot be told yet.
void Store::Implementation::postponeGrowing(StoreNode& folder, std::vector<DirectoryEntry>& entries) {
    const std::int64_t now = std::time(nullptr);
    std::erase_if(entries, [&](const DirectoryEntry& entry) {
        if (entry.folder || now - entry.modified > settledSeconds) {
            return false;
        }
        _unsettled.emplace_back(folder.key(), entry.name);
        return true;
    });
}

/// Both sides sorted by name and walked together.
void Store::Implementation::merge(StoreNode& folder, std::vector<DirectoryEntry>& entries, Announce announce) {
    std::vector<StoreNode*> known = folder.folder->children;
    std::sort(known.begin(), known.end(),
              [](const StoreNode* left, const StoreNode* right) { return left->name < right->name; });
    auto node = known.begin();
    for (const DirectoryEntry& entry : entries) {
        for (; node != known.end() && (*node)->name < entry.name; ++node) {
            forget(**node, announce);
        }
        if (node != known.end() && (*node)->name == entry.name) {
            refresh(**node, entry, announce);
            ++node;
        } else {
            addFound(folder, entry, announce);
        }
    }
    for (; node != known.end(); ++node) {
        forget(**node, announce);
    }
    if (_database.pendingChanges() > changesPerCommit) {
        saveNumbers();
        _database.commit();
    }
}

void Store::Implementation::refresh(StoreNode& node, const DirectoryEntry& entry, Announce announce) {
    if (node.isFolder() != entry.folder) {
        StoreNode& folder = *node.above;
        forget(node, announce);
        addFound(folder, entry, announce);
        return;
    }
    const bool changed = node.size != entry.size || node.modified != entry.modified;
    if (node.size != entry.size) {
        changeUsed(node.storageId, entry.size, node.size);
        _database.updateSize(node.handle, entry.size);
        node.size = entry.size;
    }
    node.modified = entry.modified;
    node.readOnly = entry.readOnly && !entry.folder;
    // Nobody was told of what no one has looked at.
    if (changed && !entry.folder && announce == Announce::yes && node.above->folder->looked) {
        this->announce(StoreEvent::Kind::changed, node.handle);
    }
}

void Store::Implementation::addFound(StoreNode& folder, const DirectoryEntry& entry, Announce announce) {
    auto node = std::make_unique<StoreNode>();
    node->handle = newHandle();
    node->storageId = folder.storageId;
    node->format = entry.folder ? FormatCode::Association : formatOfName(platform::toUtf16(entry.name));
    node->readOnly = entry.readOnly && !entry.folder;
    node->size = entry.size;
    node->created = entry.modified;
    node->modified = entry.modified;
    node->name = entry.name;
    StoreNode& added = addNode(folder, std::move(node));
    if (announce == Announce::yes) {
        this->announce(StoreEvent::Kind::added, added.handle);
    }
    if (entry.folder) {
        // All below it counts for the space used, so it is read at once.
        (void) load(added, announce);
    }
}

StoreNode& Store::Implementation::addNode(StoreNode& folder, std::unique_ptr<StoreNode> node) {
    StoreNode& added = _tree.add(folder, std::move(node));
    _database.insert(folder.key(), added);
    if (added.isFolder()) {
        _database.setScanned(added.key(), 0);
    }
    changeUsed(added.storageId, added.size, 0);
    return added;
}

void Store::Implementation::forget(StoreNode& node, Announce announce) {
    if (announce == Announce::yes) {
        this->announce(StoreEvent::Kind::removed, node.handle);
    }
    changeUsed(node.storageId, 0, _database.removeTree(node.handle));
    _tree.remove(node, [this](StoreNode& folder) {
        _descriptors.forget(folder);
        if (folder.folder->watch >= 0) {
            _watched.erase(folder.folder->watch);
            _watcher.unwatch(folder.folder->watch);
        }
    });
}

void Store::Implementation::changeUsed(std::uint32_t storageId, std::uint64_t more, std::uint64_t less) {
    std::uint64_t& used = _used[storageId];
    used += more;
    used -= std::min(used, less);
}

void Store::Implementation::markChanged(StoreNode& folder) {
    _unsaved.insert(folder.key());
    _lastChange = Clock::now();
    _watcher.callLater();
}

} // namespace mtpsdk
