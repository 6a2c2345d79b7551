// SPDX-License-Identifier: MIT
#include "api/Guard.h"
#include "tree/DeviceCall.h"
#include "tree/DeviceList.h"
#include "tree/RecordTexts.h"
#include "vemomtpsdk/Functions.h"

#include <string>
#include <vector>

using namespace mtpsdk;

namespace {

/// The objects that a list to be written names. An entry that lives but is no file of this device is the caller's
/// mistake; one that is dead is left out, as the device leaves out an object that it has lost.
DGSTATUS objectsOf(const DeviceCall& call, _MTP_FILE_NODE* const* files, std::uint32_t count,
                   std::vector<std::uint32_t>& objects) {
    if (files == nullptr && count != 0) {
        return DGSTATUS_INVALID_PARAMETER;
    }
    objects.reserve(count);
    for (std::uint32_t i = 0; i < count; ++i) {
        const NodeIndex node = call.tree().nodeOf(files[i]);
        if (node != 0 && call.tree().at(node).kind != NodeKind::file) {
            return DGSTATUS_INVALID_SIGNATURE;
        }
        if (node != 0) {
            objects.push_back(call.tree().at(node).handle);
        } else if (DeviceList::shared().deviceOf(files[i]) != nullptr) {
            return DGSTATUS_NODE_IS_NOT_EXISTED;
        }
    }
    return DGSTATUS_SUCCESS;
}

std::u16string pathOf(const NodeTree& tree, NodeIndex node) {
    std::u16string path;
    for (; node != 0; node = tree.at(node).parent) {
        path.insert(0, u"/" + tree.name(node));
    }
    return path;
}

DGSTATUS updatePlaylist(_MTP_PLAYLIST_NODE* playlist, _MTP_FILE_NODE* const* files, std::uint32_t count) {
    return guarded([&]() -> DGSTATUS {
        const DeviceCall call(playlist, {NodeKind::playlist});
        std::vector<std::uint32_t> objects;
        const DGSTATUS status = call ? objectsOf(call, files, count, objects) : call.status();
        return status == DGSTATUS_SUCCESS ? call.device().writePlaylist(call.node(), objects) : status;
    });
}

} // namespace

DGSTATUS mtpGetPlaylistHead(_MTP_STORAGE_NODE* storage, _MTP_PLAYLIST_NODE** head) {
    if (!clear(head)) {
        return DGSTATUS_INVALID_PARAMETER;
    }
    return guarded([&]() -> DGSTATUS {
        const DeviceCall call(storage, {NodeKind::storage});
        const DGSTATUS status = call ? call.device().loadPlaylists(call.node()) : call.status();
        if (status != DGSTATUS_SUCCESS) {
            return status;
        }
        *head = call.tree().record<_MTP_PLAYLIST_NODE>(call.tree().first(call.node(), NodeKind::playlist));
        return *head == nullptr ? DGSTATUS_NO_MORE_DATA : DGSTATUS_SUCCESS;
    });
}

DGSTATUS mtpGetNextPlaylistNode(_MTP_PLAYLIST_NODE* playlist, _MTP_PLAYLIST_NODE** next) {
    if (!clear(next)) {
        return DGSTATUS_INVALID_PARAMETER;
    }
    return guarded([&]() -> DGSTATUS {
        const DeviceCall call(playlist, {NodeKind::playlist});
        if (!call) {
            return call.status();
        }
        *next = call.tree().record<_MTP_PLAYLIST_NODE>(call.tree().next(call.node()));
        return *next == nullptr ? DGSTATUS_NO_MORE_DATA : DGSTATUS_SUCCESS;
    });
}

DGSTATUS mtpGetPlaylistMediaFileInfo(_MTP_PLAYLIST_NODE* playlist, std::uint32_t index, _MTP_FILE_NODE** file) {
    if (!clear(file)) {
        return DGSTATUS_INVALID_PARAMETER;
    }
    return guarded([&]() -> DGSTATUS {
        const DeviceCall call(playlist, {NodeKind::playlist});
        NodeIndex found = 0;
        DGSTATUS status = call ? call.device().playlistFile(call.node(), index, found) : call.status();
        status = status == DGSTATUS_SUCCESS ? call.device().complete(found) : status;
        if (status == DGSTATUS_SUCCESS) {
            *file = call.tree().record<_MTP_FILE_NODE>(found);
        }
        return status;
    });
}

DGSTATUS mtpGetPlaylistMediaFilePath(_MTP_PLAYLIST_NODE* playlist, std::uint32_t index, std::uint16_t* path,
                                     std::uint32_t* pathBytes) {
    if (pathBytes == nullptr) {
        return DGSTATUS_INVALID_PARAMETER;
    }
    return guarded([&]() -> DGSTATUS {
        const DeviceCall call(playlist, {NodeKind::playlist});
        NodeIndex found = 0;
        const DGSTATUS status = call ? call.device().playlistFile(call.node(), index, found) : call.status();
        return status == DGSTATUS_SUCCESS ? handOut(pathOf(call.tree(), found), path, pathBytes) : status;
    });
}

DGSTATUS mtpSetNewPlaylist(_MTP_COMMON_NODE* parent, const std::uint16_t* name, std::uint32_t nameBytes,
                           _MTP_FILE_NODE** files, std::uint32_t count, _MTP_PLAYLIST_NODE** playlist) {
    if (!clear(playlist) || name == nullptr) {
        return DGSTATUS_INVALID_PARAMETER;
    }
    return guarded([&]() -> DGSTATUS {
        const DeviceCall call(parent, {NodeKind::storage, NodeKind::folder});
        std::vector<std::uint32_t> objects;
        DGSTATUS status = call ? objectsOf(call, files, count, objects) : call.status();
        if (status != DGSTATUS_SUCCESS) {
            return status;
        }
        NodeIndex node = 0;
        status =
            call.device().createPlaylist(call.node(), readText(name, nameBytes / sizeof(std::uint16_t)), objects, node);
        *playlist = call.tree().record<_MTP_PLAYLIST_NODE>(node);
        return status;
    });
}

DGSTATUS mtpUpdatePlaylist(_MTP_PLAYLIST_NODE* playlist, _MTP_FILE_NODE** files, std::uint32_t count) {
    return updatePlaylist(playlist, files, count);
}

DGSTATUS mtpUpdatePlaylistEx(_MTP_PLAYLIST_NODE* playlist, _MTP_FILE_NODE** files, std::uint32_t count) {
    return updatePlaylist(playlist, files, count);
}

DGSTATUS mtpReleasePlaylists(_MTP_PLAYLIST_NODE* head) {
    return guarded([&]() -> DGSTATUS {
        const DeviceCall call(head, {NodeKind::playlist});
        if (call.live()) {
            call.device().forgetPlaylists(call.tree().storageOf(call.node()));
        }
        return call.live() ? DGSTATUS_SUCCESS : call.status();
    });
}
