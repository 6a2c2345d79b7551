// SPDX-License-Identifier: MIT
#include "device/MTPService/MTPServicePrivate.h"

#include "device/MTPService/MethodTrace.h"
#include "device/MTPService/PlaylistNodes.h"
#include "platform/Log.h"
#include "platform/Paths.h"
#include "platform/Strings.h"

#include <algorithm>

using platform::Array;
using platform::Dictionary;
using platform::Synchronized;

namespace {

using Text = std::optional<std::string>;

/// The name of a playlist dictionary; nothing (logged) when there is none.
Text playlistNameOf(const platform::Value& entry) {
    const Dictionary* playlist = entry.dictionary();
    Text name = playlist == nullptr ? std::nullopt : playlist->string("PlaylistName");
    if (!name) {
        QD_LOG(3, "Playlist Name is nil");
    }
    return name;
}

/// The name under which a playlist's file is looked for; nothing (logged) when it has none.
Text childName(const platform::Value& child) {
    const Dictionary* file = child.dictionary();
    if (file == nullptr) {
        QD_LOG(3, "Media File Data is nil.");
        return std::nullopt;
    }
    const Text path = file->string("FilePath");
    if (!path) {
        QD_LOG(3, "Media File Path is nil.");
        return std::nullopt;
    }
    Text name = file->string("FileName");
    if (!name && !path->empty()) {
        name = platform::lastPathComponent(*path);
    }
    if (!name) {
        QD_LOG(3, "Media File Name is nil.");
    }
    return name;
}

/// The device's files that a list's children mean. Those that are not there are left out.
std::optional<PlaylistNodes> nodesOfChildren(MTPServicePrivate& service, const Array& children) {
    auto nodes = makePlaylistNodes(children.size(), "Memory allocate for Media File Lists is fail.");
    if (!nodes) {
        return std::nullopt;
    }
    std::size_t found = 0;
    for (const platform::Value& child : children) {
        const Text name = childName(child);
        // Playlists are of music here, whatever lies on the device.
        _MTP_FILE_NODE* node = name ? service.mediaFileNodeForSyncPlaylist(name, MediaTypeMusic) : nullptr;
        if (node != nullptr) {
            (*nodes)[found++] = node;
        }
    }
    nodes->resize(found);
    return nodes;
}

/// Deletes the device's playlist of each name given.
void deleteAll(MTPServicePrivate& service, const Array& contents, const Array& present) {
    for (const platform::Value& entry : contents) {
        const Text name = playlistNameOf(entry);
        if (!name) {
            continue;
        }
        const auto found = std::ranges::find_if(present, [&](const platform::Value& other) {
            return other.string() != nullptr && platform::equalIgnoringCase(*other.string(), *name);
        });
        if (found != present.end() && !service.deletePlaylist(*found->string(), MediaTypePlaylist)) {
            QD_LOG(3, "Delete %@ playlist for sync is fail", *found->string());
        }
    }
}

} // namespace

bool MTPServicePrivate::syncPlaylistContents(const std::optional<Array>& contents, std::uint32_t mediaType,
                                             bool isDelete) {
    const MethodTrace trace(6);
    if (!contents) {
        QD_LOG(3, "Input parameter is invalid. playlistContents = %p", static_cast<const void*>(nullptr));
        return false;
    }
    if (mediaType != MediaTypePlaylist) {
        QD_LOG(3, "Media Type is not playlist. Media Type = %d", mediaType);
        return false;
    }
    auto storage = playlistStorage();
    const Text folder = storage ? playlistFolderPath(*storage, mediaType) : std::nullopt;
    if (!folder) {
        return false;
    }
    if (isDelete) {
        std::optional<Array> present;
        {
            const Synchronized library(MtpControl::classMonitor());
            present = _mtpControl->enumeratorPlaylistNames(_currentDeviceNode, storage->node);
        }
        deleteAll(*this, *contents, present.value_or(Array()));
        return true;
    }
    _MTP_COMMON_NODE* parent = playlistFolderNode(*storage, *folder, mediaType);
    // A playlist that is new leaves the answer as it was, false at first: applications take true to mean that one of
    // the device's own playlists was brought up to date.
    bool result = false;
    for (const platform::Value& entry : *contents) {
        syncPlaylist(entry, parent, *storage, result);
    }
    return result;
}

void MTPServicePrivate::syncPlaylist(const platform::Value& entry, _MTP_COMMON_NODE* parent, PlaylistStorage& storage,
                                     bool& result) {
    const Text name = playlistNameOf(entry);
    if (!name) {
        return;
    }
    const Array* children = entry.dictionary()->array("children");
    if (children == nullptr) {
        QD_LOG(3, "Media File Array is nil");
        return;
    }
    const Synchronized library(MtpControl::classMonitor());
    const auto nodes = nodesOfChildren(*this, *children);
    if (!nodes) {
        return;
    }
    auto status = static_cast<std::uint32_t>(_mtpControl->setPlayListInfo(parent, *name, *nodes, nullptr));
    if (status == DGSTATUS_NODE_FILE_DUPNAME_EXISTED) {
        result = _mtpControl->updateMediaFileToPlaylist(_currentDeviceNode, playlistStorageNode(storage), *name, *nodes,
                                                        &status);
    }
    if (status != DGSTATUS_SUCCESS) {
        QD_LOG(3, "Create Playlist Name is failed. playlist Name = %@", name);
        result = false;
    }
}

_MTP_FILE_NODE* MTPServicePrivate::mediaFileNodeForSyncPlaylist(const Text& fileName, std::uint32_t mediaType) {
    if (!fileName) {
        QD_LOG(3, "Input paramter is invalid. fileName = %@", fileName);
        return nullptr;
    }
    for (std::uint32_t index = 0; storageInfoFromIndex(index); ++index) {
        const Text folder = defaultMediaPath(index, mediaType);
        _MTP_FILE_NODE* node = folder ? mediaFileNode(platform::formatText("%@/%@", *folder, *fileName)) : nullptr;
        if (node != nullptr) {
            return node;
        }
    }
    return nullptr;
}
