// SPDX-License-Identifier: MIT
#include "store/StoreImplementation.h"

#include "platform/Log.h"
#include "platform/PosixFile.h"

#include <algorithm>
#include <fcntl.h>
#include <unistd.h>

namespace mtpsdk {

namespace {

/// What a file holds; one byte more than `expected` is enough to tell that it holds something else.
std::string contentOf(int file, std::size_t expected) {
    std::string content(expected + 1, '\0');
    const ssize_t count = platform::retryInterrupted([&] { return ::pread(file, content.data(), content.size(), 0); });
    content.resize(count > 0 ? static_cast<std::size_t>(count) : 0);
    return content;
}

} // namespace

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

void Store::Implementation::settlePlaylist(StoreNode& node) {
    const bool behind = _unwritten.erase(node.handle) != 0;
    // Files that were renamed or removed meanwhile change the text, too. A file that never got a list is somebody's
    // own and stays as it is.
    if (behind ||
        (node.format == FormatCode::AbstractAudioVideoPlaylist && !_database.references(node.handle).empty())) {
        writePlaylist(node);
    }
}

/// The list that a person can read: one path on the device a line. The database's list is what counts: what a person
/// writes into the file is not read back. It is written when the content rests, and when somebody looks at it.
void Store::Implementation::writePlaylist(StoreNode& node) {
    std::string text;
    for (const Handle handle : references(node)) {
        text += pathOf(*find(handle)) + "\n";
    }
    const platform::Descriptor file(::openat(_descriptors.descriptor(*node.above), node.name.c_str(),
                                             O_RDWR | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC));
    if (file && contentOf(file.get(), text.size()) == text) {
        return;
    }
    if (!file || ::ftruncate(file.get(), 0) != 0 ||
        ::pwrite(file.get(), text.data(), text.size(), 0) != static_cast<ssize_t>(text.size())) {
        QD_LOG(3, "virtual device: cannot write the playlist %@", pathOf(node));
    }
    DirectoryEntry entry;
    if (readEntry(_descriptors.descriptor(*node.above), node.name, entry)) {
        refresh(node, entry, Announce::yes);
    }
}

} // namespace mtpsdk
