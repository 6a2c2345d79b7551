// SPDX-License-Identifier: MIT
#include "store/StoreImplementation.h"

#include "platform/Log.h"
#include "platform/PosixFile.h"

#include <algorithm>
#include <fcntl.h>
#include <unistd.h>

namespace mtpsdk {

std::vector<Handle> Store::Implementation::references(StoreNode& node) {
    std::vector<Handle> listed = _database.references(node.handle);
    std::erase_if(listed, [this](Handle handle) { return find(handle) == nullptr; });
    return listed;
}

void Store::Implementation::setReferences(StoreNode& node, const std::vector<Handle>& references) {
    _database.setReferences(node.handle, references);
    if (node.format == FormatCode::AbstractAudioVideoPlaylist) {
        _unwritten.insert(node.handle);
    }
}

std::string Store::Implementation::pathOf(const StoreNode& node) const {
    std::vector<const StoreNode*> way;
    for (const StoreNode* each = &node; each->above != nullptr; each = each->above) {
        way.push_back(each);
    }
    const auto storage =
        std::find_if(_description.storages.begin(), _description.storages.end(),
                     [&node](const StorageDescription& each) { return each.storageId == node.storageId; });
    std::string path = "/" + storage->label;
    for (auto each = way.rbegin(); each != way.rend(); ++each) {
        path += "/" + (*each)->name;
    }
    return path;
}

/// The list that a person can read: one path on the device a line. The database's list is what counts; this file is
/// written when the content rests.
void Store::Implementation::writePlaylist(StoreNode& node) {
    std::string text;
    for (const Handle handle : references(node)) {
        text += pathOf(*find(handle)) + "\n";
    }
    const platform::Descriptor file(::openat(_descriptors.descriptor(*node.above), node.name.c_str(),
                                             O_WRONLY | O_TRUNC | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC));
    if (!file || ::write(file.get(), text.data(), text.size()) != static_cast<ssize_t>(text.size())) {
        QD_LOG(3, "virtual device: cannot write the playlist %@", pathOf(node));
    }
    DirectoryEntry entry;
    if (readEntry(_descriptors.descriptor(*node.above), node.name, entry)) {
        refresh(node, entry, Announce::yes);
    }
}

} // namespace mtpsdk
