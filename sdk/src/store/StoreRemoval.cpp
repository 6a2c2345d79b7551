// SPDX-License-Identifier: MIT
#include "store/StoreImplementation.h"

#include <cerrno>
#include <dirent.h>
#include <fcntl.h>
#include <memory>
#include <unistd.h>

namespace mtpsdk {

namespace {

/// Removes what a folder holds besides objects (links, names that cannot be told, …), so that the folder itself can go.
void removeInvisible(int folder) {
    const int own = ::openat(folder, ".", O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    const std::unique_ptr<DIR, int (*)(DIR*)> stream(
        own >= 0 ? ::fdopendir(own) : nullptr, [](DIR* opened) { return opened != nullptr ? ::closedir(opened) : 0; });
    while (const dirent* const entry = stream ? ::readdir(stream.get()) : nullptr) {
        if (entry->d_type != DT_DIR) {
            (void) ::unlinkat(folder, entry->d_name, 0);
        }
    }
}

} // namespace

StoreResult Store::Implementation::remove(StoreNode& node) {
    return node.isFolder() ? removeFolder(node) : removeFile(node);
}

StoreResult Store::Implementation::removeFile(StoreNode& node) {
    if (node.readOnly) {
        return StoreResult::readOnly;
    }
    StoreNode& folder = *node.above;
    if (::unlinkat(_descriptors.descriptor(folder), node.name.c_str(), 0) != 0 && errno != ENOENT) {
        return errno == EACCES || errno == EPERM || errno == EROFS ? StoreResult::readOnly : StoreResult::failed;
    }
    forget(node, Announce::no);
    markChanged(folder);
    return StoreResult::ok;
}

StoreResult Store::Implementation::removeFolder(StoreNode& node) {
    if (!load(node)) {
        return StoreResult::failed;
    }
    bool some = false;
    bool all = true;
    const std::vector<StoreNode*> children = node.folder->children;
    for (StoreNode* child : children) {
        const StoreResult result = remove(*child);
        some = some || result == StoreResult::ok || result == StoreResult::partly;
        all = all && result == StoreResult::ok;
    }
    if (!all) {
        return some ? StoreResult::partly : StoreResult::readOnly;
    }
    StoreNode& folder = *node.above;
    if (::unlinkat(_descriptors.descriptor(folder), node.name.c_str(), AT_REMOVEDIR) != 0 && errno == ENOTEMPTY) {
        removeInvisible(_descriptors.descriptor(node));
        if (::unlinkat(_descriptors.descriptor(folder), node.name.c_str(), AT_REMOVEDIR) != 0 && errno != ENOENT) {
            return StoreResult::partly;
        }
    }
    forget(node, Announce::no);
    markChanged(folder);
    return StoreResult::ok;
}

} // namespace mtpsdk
