// SPDX-License-Identifier: MIT
#include "platform/Strings.h"
#include "tree/Device.h"
#include "tree/SafeNames.h"

#include <algorithm>
#include <unordered_set>

namespace mtpsdk {
namespace {

constexpr std::u16string_view fileExtension = u".pla";

/// Where the extension of a playlist's file begins; the name's end when it has none.
std::size_t extensionOf(const std::u16string& name) {
    const bool longer = name.size() > fileExtension.size();
    const std::size_t start = longer ? name.size() - fileExtension.size() : name.size();
    return longer && platform::caseFolded(name.substr(start)) == fileExtension ? start : name.size();
}

/// A playlist is called what its file is called without the extension.
std::u16string playlistName(const std::u16string& fileName) {
    return fileName.substr(0, extensionOf(fileName));
}

} // namespace

bool isPlaylist(std::uint16_t format) {
    return format == raw(FormatCode::AbstractAudioVideoPlaylist);
}

DGSTATUS Device::loadPlaylists(NodeIndex storage) {
    if (!session().deviceInfo().supports(OperationCode::GetObjectReferences)) {
        return DGSTATUS_NOT_SUPPORT_OP;
    }
    if (!_tree.loaded(storage, NodeKind::playlist)) {
        std::vector<std::uint32_t> handles;
        DGSTATUS status =
            session().objectsOfFormat(_tree.at(storage).handle, raw(FormatCode::AbstractAudioVideoPlaylist), handles);
        if (status == DGSTATUS_SUCCESS) {
            status = mergePlaylists(storage, handles);
        }
        if (status != DGSTATUS_SUCCESS) {
            return status;
        }
    }
    for (NodeIndex playlist = _tree.first(storage, NodeKind::playlist); playlist != 0;) {
        const NodeIndex next = _tree.next(playlist);
        const DGSTATUS status = readReferences(playlist);
        if (isLineFailure(status)) {
            return status;
        }
        playlist = next;
    }
    return DGSTATUS_SUCCESS;
}

DGSTATUS Device::mergePlaylists(NodeIndex storage, const std::vector<std::uint32_t>& handles) {
    const std::unordered_set<std::uint32_t> present(handles.begin(), handles.end());
    for (NodeIndex playlist = _tree.first(storage, NodeKind::playlist); playlist != 0;) {
        const NodeIndex next = _tree.next(playlist);
        if (!present.contains(_tree.at(playlist).handle)) {
            dropPlaylist(playlist, NodeTree::Texts::kept);
        }
        playlist = next;
    }
    // A device that pays no heed to the format names all its objects: that is not worth a request each.
    constexpr std::size_t toleratedStrangers = 16;
    std::size_t strangers = 0;
    for (const std::uint32_t handle : handles) {
        NodeIndex file = 0;
        const DGSTATUS status = resolve(handle, file);
        if (isLineFailure(status)) {
            return status;
        }
        if (status != DGSTATUS_SUCCESS || !isPlaylist(_tree.at(file).format) || _tree.storageOf(file) != storage) {
            if (++strangers > toleratedStrangers) {
                return DGSTATUS_NOT_SUPPORT_OP;
            }
            continue;
        }
        (void) playlistOf(file);
    }
    _tree.setLoaded(storage, NodeKind::playlist, true);
    return DGSTATUS_SUCCESS;
}

NodeIndex Device::playlistOf(NodeIndex file) {
    const std::uint32_t handle = _tree.at(file).handle;
    const NodeIndex known = _tree.playlist(handle);
    return known != 0 ? known : _tree.addPlaylist(_tree.storageOf(file), handle, playlistName(_tree.name(file)));
}

DGSTATUS Device::readReferences(NodeIndex playlist) {
    const std::uint32_t handle = _tree.at(playlist).handle;
    if (_references.find(handle) != nullptr) {
        return DGSTATUS_SUCCESS;
    }
    std::vector<std::uint32_t> objects;
    const DGSTATUS status = session().references(handle, objects);
    if (status == DGSTATUS_INTERNAL_INVALIDOBJECTHANDLE) {
        dropPlaylist(playlist, NodeTree::Texts::kept);
        return DGSTATUS_NODE_IS_NOT_EXISTED;
    }
    if (status == DGSTATUS_SUCCESS) {
        takeReferences(playlist, std::move(objects));
    }
    return status;
}

void Device::takeReferences(NodeIndex playlist, std::vector<std::uint32_t> objects) {
    _tree.edited<_MTP_PLAYLIST_NODE>(playlist).fileCount = static_cast<std::uint32_t>(objects.size());
    _references.put(_tree.at(playlist).handle, std::move(objects));
}

DGSTATUS Device::playlistFile(NodeIndex playlist, std::uint32_t index, NodeIndex& file) {
    DGSTATUS status = readReferences(playlist);
    if (status != DGSTATUS_SUCCESS) {
        return status;
    }
    const PlaylistReferences::Handles& objects = *_references.find(_tree.at(playlist).handle);
    if (index >= objects.size()) {
        return DGSTATUS_NO_MORE_DATA;
    }
    NodeIndex found = 0;
    status = resolve(objects[index], found);
    if (status == DGSTATUS_SUCCESS && _tree.at(found).kind != NodeKind::file) {
        return DGSTATUS_NOT_MATCHED_FILENODE; // a device may name a folder
    }
    file = found;
    return status;
}

DGSTATUS Device::createPlaylist(NodeIndex parent, const std::u16string& name, const std::vector<std::uint32_t>& objects,
                                NodeIndex& playlist) {
    if (!session().deviceInfo().supports(OperationCode::SetObjectReferences)) {
        return DGSTATUS_NOT_SUPPORT_OP;
    }
    std::u16string fileName = name;
    fileName += fileExtension;
    if (name.empty() || !isAcceptableName(fileName)) {
        return DGSTATUS_FILE_INVALID_CHAR;
    }
    NodeIndex file = 0;
    DGSTATUS status = checkFree(parent, fileName, 0, file);
    if (status != DGSTATUS_SUCCESS) {
        const NodeIndex known = isPlaylist(_tree.at(file).format) ? playlistOf(file) : 0;
        if (known != 0 && readReferences(known) != DGSTATUS_NODE_IS_NOT_EXISTED) {
            playlist = known;
        }
        return status;
    }
    const NodeIndex storage = _tree.storageOf(parent);
    const NewObject object{_tree.at(storage).handle,
                           parent == storage ? 0 : _tree.at(parent).handle,
                           raw(FormatCode::AbstractAudioVideoPlaylist),
                           0,
                           fileName,
                           {},
                           {}};
    ObjectEntry sent;
    MediaProperties readBack;
    status = session().sendObject(
        object, [](std::span<std::byte>) -> std::ptrdiff_t { return 0; }, {}, sent, readBack);
    if (status != DGSTATUS_SUCCESS) {
        return status;
    }
    sent.format = object.format;
    // The new playlist is in the list already: the list stays as complete as it was.
    const bool complete = _tree.loaded(storage, NodeKind::playlist);
    status = takeIn(object, sent, readBack, parent, file);
    if (status != DGSTATUS_SUCCESS) {
        return status;
    }
    const NodeIndex created = playlistOf(file);
    if (created == 0) {
        return DGSTATUS_INSUFFICIENT_RESOURCE;
    }
    _tree.setLoaded(storage, NodeKind::playlist, complete);
    takeReferences(created, {});
    status = objects.empty() ? DGSTATUS_SUCCESS : writePlaylist(created, objects);
    if (status != DGSTATUS_SUCCESS) {
        (void) deleteNode(file); // a playlist without its list is no playlist
        return status;
    }
    playlist = created;
    return DGSTATUS_SUCCESS;
}

DGSTATUS Device::writePlaylist(NodeIndex playlist, const std::vector<std::uint32_t>& objects) {
    const std::uint32_t handle = _tree.at(playlist).handle;
    DGSTATUS status = session().setReferences(handle, objects);
    if (status == DGSTATUS_INTERNAL_INVALIDOBJECTHANDLE) {
        dropPlaylist(playlist, NodeTree::Texts::kept);
        return DGSTATUS_NODE_IS_NOT_EXISTED;
    }
    std::vector<std::uint32_t> written = objects;
    if (status == DGSTATUS_INTERNAL_INVALIDOBJECTREFERENCE && leaveOutVanished(playlist, written)) {
        status = session().setReferences(handle, written);
    }
    if (status == DGSTATUS_SUCCESS) {
        takeReferences(playlist, std::move(written));
    }
    return status;
}

/// An object may have gone without a word. The device has dropped it from its own list by now, which tells it from one
/// that never could be named. true when `objects` is shorter now.
bool Device::leaveOutVanished(NodeIndex playlist, std::vector<std::uint32_t>& objects) {
    const std::uint32_t handle = _tree.at(playlist).handle;
    const PlaylistReferences::Handles* known = _references.find(handle);
    const PlaylistReferences::Handles before = known == nullptr ? PlaylistReferences::Handles() : *known;
    _references.erase(handle);
    if (readReferences(playlist) != DGSTATUS_SUCCESS) {
        return false;
    }
    const PlaylistReferences::Handles& now = *_references.find(handle);
    std::unordered_set<std::uint32_t> vanished(before.begin(), before.end());
    for (const std::uint32_t object : now) {
        vanished.erase(object);
    }
    return std::erase_if(objects, [&](std::uint32_t object) { return vanished.contains(object); }) != 0;
}

/// The file that a playlist is among the files of its folder, by which it is deleted and renamed.
DGSTATUS Device::fileOf(NodeIndex playlist, NodeIndex& file) {
    const DGSTATUS status = resolve(_tree.at(playlist).handle, file);
    if (status == DGSTATUS_NODE_IS_NOT_EXISTED) {
        dropPlaylist(playlist, NodeTree::Texts::kept);
    }
    return status;
}

DGSTATUS Device::deletePlaylist(NodeIndex playlist) {
    NodeIndex file = 0;
    const DGSTATUS status = fileOf(playlist, file);
    return status == DGSTATUS_SUCCESS ? deleteNode(file) : status;
}

DGSTATUS Device::renamePlaylist(NodeIndex playlist, const std::u16string& name) {
    NodeIndex file = 0;
    const DGSTATUS status = fileOf(playlist, file);
    if (status != DGSTATUS_SUCCESS) {
        return status;
    }
    if (name.empty()) {
        return DGSTATUS_FILE_INVALID_CHAR;
    }
    const std::u16string present = _tree.name(file);
    return renameNode(file, name + present.substr(extensionOf(present)));
}

void Device::forgetPlaylists(NodeIndex storage) {
    for (NodeIndex playlist = _tree.first(storage, NodeKind::playlist); playlist != 0;
         playlist = _tree.next(playlist)) {
        _references.erase(_tree.at(playlist).handle);
    }
    _tree.forget(storage, NodeKind::playlist, NodeTree::Texts::freed);
}

void Device::dropPlaylist(NodeIndex playlist, NodeTree::Texts texts) {
    _references.erase(_tree.at(playlist).handle);
    _tree.remove(playlist, texts);
}

void Device::dropObject(std::uint32_t handle, NodeTree::Texts texts) {
    if (const NodeIndex playlist = _tree.playlist(handle)) {
        dropPlaylist(playlist, texts);
    }
    _references.drop(handle, [this](std::uint32_t list, std::uint32_t length) {
        if (const NodeIndex playlist = _tree.playlist(list)) {
            _tree.edited<_MTP_PLAYLIST_NODE>(playlist).fileCount = length;
        }
    });
}

void Device::leaveLists(NodeIndex node, NodeTree::Texts texts) {
    if (_tree.at(node).kind == NodeKind::file) {
        dropObject(_tree.at(node).handle, texts);
        return;
    }
    // What goes with a folder is not always known: lists are asked for anew.
    const NodeIndex storage = _tree.storageOf(node);
    for (NodeIndex playlist = _tree.first(storage, NodeKind::playlist); playlist != 0;) {
        const NodeIndex next = _tree.next(playlist);
        const NodeIndex file = _tree.object(_tree.at(playlist).handle);
        if (file != 0 && isAncestor(node, file)) {
            dropPlaylist(playlist, texts);
        }
        playlist = next;
    }
    _references.clear();
    _tree.setLoaded(storage, NodeKind::playlist, false);
}

void Device::noticePlaylist(NodeIndex storage, const ObjectEntry& entry) {
    if (storage != 0 && isPlaylist(entry.format) && _tree.playlist(entry.handle) == 0) {
        _tree.setLoaded(storage, NodeKind::playlist, false);
    }
}

void Device::renamedFile(NodeIndex file) {
    if (isPlaylist(_tree.at(file).format)) {
        if (const NodeIndex playlist = _tree.playlist(_tree.at(file).handle)) {
            nameAfter(playlist, _tree.name(file));
        }
    }
}

void Device::nameAfter(NodeIndex playlist, const std::u16string& fileName) {
    _tree.setPlaylistName(playlist, playlistName(fileName));
}

} // namespace mtpsdk
