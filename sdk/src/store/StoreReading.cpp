// SPDX-License-Identifier: MIT
#include "store/StoreImplementation.h"

#include "platform/PosixFile.h"

#include <algorithm>
#include <cerrno>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace mtpsdk {

namespace {

/// More levels than any path on disk has; a damaged database might go round in circles.
constexpr std::size_t maximumDepth = 100'000;

} // namespace

StoreNode* Store::Implementation::find(Handle handle, Look look) {
    StoreNode* const node = _tree.find(handle);
    if (node == nullptr) {
        return read(handle, look);
    }
    if (look == Look::names || node->above->folder->looked) {
        return node;
    }
    return load(*node->above) ? _tree.find(handle) : nullptr;
}

StoreNode* Store::Implementation::read(Handle handle, Look look) {
    // The way up through the database to a folder in memory, then down by reading each folder.
    std::vector<Handle> way{handle};
    StoreNode* node = nullptr;
    while (node == nullptr) {
        const std::optional<FolderKey> above = _database.parentOf(way.back());
        if (!above || way.size() > maximumDepth) {
            return nullptr;
        }
        if (*above < 0) {
            node = _tree.root(static_cast<std::uint32_t>(-*above));
            if (node == nullptr) {
                return nullptr; // of a storage that the device no longer has
            }
        } else {
            node = _tree.find(static_cast<Handle>(*above));
            if (node == nullptr) {
                way.push_back(static_cast<Handle>(*above));
            }
        }
    }
    for (auto step = way.rbegin(); step != way.rend(); ++step) {
        if (!node->isFolder() || !load(*node, look)) {
            return nullptr;
        }
        node = _tree.find(*step);
        if (node == nullptr) {
            return nullptr;
        }
    }
    return node;
}

StoreNode* Store::Implementation::folder(std::uint32_t storageId, Handle handle, StoreResult& result, Look look) {
    StoreNode* const root = _tree.root(storageId);
    if (root == nullptr) {
        result = StoreResult::noSuchStorage;
        return nullptr;
    }
    StoreNode* const node = handle == 0 ? root : find(handle, look);
    if (node == nullptr || !node->isFolder() || node->storageId != storageId || !load(*node, look)) {
        result = StoreResult::noSuchParent;
        return nullptr;
    }
    result = StoreResult::ok;
    return node;
}

StoreResult Store::Implementation::visitBelow(StoreNode& folder, std::uint32_t depth, const Visitor& visitor,
                                              Look look) {
    if (depth == 0) {
        return StoreResult::ok;
    }
    std::vector<StoreNode*> children = folder.folder->children;
    std::sort(children.begin(), children.end(),
              [](const StoreNode* left, const StoreNode* right) { return left->handle < right->handle; });
    for (StoreNode* child : children) {
        visitor(*child);
        if (depth > 1 && child->isFolder() && load(*child, look)) {
            (void) visitBelow(*child, depth - 1, visitor, look);
        }
    }
    return StoreResult::ok;
}

StoreResult Store::Implementation::openFile(StoreNode& node, int& descriptor, std::uint64_t& size) {
    if (node.isFolder()) {
        return StoreResult::isFolder;
    }
    settlePlaylist(node);
    const int folder = _descriptors.descriptor(*node.above);
    descriptor = platform::retryInterrupted(
        [&] { return ::openat(folder, node.name.c_str(), O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC); });
    if (descriptor < 0) {
        return errno == ENOENT ? StoreResult::noSuchObject : StoreResult::failed;
    }
    struct stat information {};
    if (::fstat(descriptor, &information) != 0 || !S_ISREG(information.st_mode)) {
        ::close(descriptor);
        descriptor = -1;
        return StoreResult::failed;
    }
    size = static_cast<std::uint64_t>(information.st_size);
    return StoreResult::ok;
}

} // namespace mtpsdk
