// SPDX-License-Identifier: MIT
#include "device/MTPService/MTPServicePrivate.h"

#include "device/MTPService/MethodTrace.h"
#include "device/MTPService/PlaylistNodes.h"
#include "platform/Log.h"

#include <algorithm>

using platform::Array;
using platform::Dictionary;
using platform::Synchronized;

bool MTPServicePrivate::createPlaylist(const Text& name, std::uint32_t mediaType,
                                       const std::optional<Array>& contents) {
    const MethodTrace trace(6);
    if (!name) {
        QD_LOG(3, "Input Parameter is nil");
        return false;
    }
    const auto storage = playlistStorage();
    const Text folder = storage ? playlistFolderPath(*storage, mediaType) : std::nullopt;
    if (!folder) {
        return false;
    }
    _MTP_COMMON_NODE* parent = playlistFolderNode(*storage, *folder, mediaType);
    const Array none;
    const Array& entries = contents ? *contents : none;
    auto nodes = makePlaylistNodes(entries.size(), "Memory allocated is failed.");
    if (!nodes) {
        return false;
    }
    const Synchronized library(MtpControl::classMonitor());
    // A file that is not found leaves its slot null, and the slots are passed on all the same.
    for (std::size_t i = 0; i < entries.size(); ++i) {
        const Dictionary* content = entries[i].dictionary();
        if (content == nullptr) {
            QD_LOG(3, "Playlist Contents data is nil. Next Contents search.");
        } else if (const Text path = content->string("FilePath")) {
            (*nodes)[i] = mediaFileNode(*path);
        } else {
            QD_LOG(3, "Get contents path is failed");
        }
    }
    if (_mtpControl->setPlayListInfo(parent, *name, *nodes, nullptr) != DGSTATUS_SUCCESS) {
        QD_LOG(3, "Create Playlist Name is failed. playlist Name = %@", name);
        return false;
    }
    return true;
}

MtpControl::NodeID MTPServicePrivate::playlistNodeID(const std::string& name) {
    const auto storage = playlistStorage();
    if (!storage) {
        return std::nullopt;
    }
    const _MTP_PLAYLIST_NODE* playlist = _mtpControl->searchPlaylistName(_currentDeviceNode, storage->node, name);
    if (playlist == nullptr) {
        QD_LOG(7, "%@ playlist Name is not existed", name);
        return std::nullopt;
    }
    return MtpControl::nodeIDText(playlist);
}

bool MTPServicePrivate::deletePlaylist(const Text& name, std::uint32_t mediaType) {
    const MethodTrace trace(6);
    if (!name || mediaType != MediaTypePlaylist) {
        QD_LOG(3, "Input parameter is invalid.");
        return false;
    }
    const Synchronized library(MtpControl::classMonitor());
    const MtpControl::NodeID playlist = playlistNodeID(*name);
    std::uint32_t error = 0;
    return playlist &&
           _mtpControl->deleteItemAtPath(_currentDeviceNode, _storageHeadNode, playlist, std::nullopt, &error);
}

bool MTPServicePrivate::renamePlaylist(const Text& name, const Text& destPlaylistName, std::uint32_t mediaType) {
    const MethodTrace trace(6);
    if (!name || !destPlaylistName || mediaType != MediaTypePlaylist) {
        QD_LOG(3, "Input parameter is invalid. Original Name = %@, Rename = %@, mediaType = %d", name, destPlaylistName,
               mediaType);
        return false;
    }
    const Synchronized library(MtpControl::classMonitor());
    const MtpControl::NodeID playlist = playlistNodeID(*name);
    std::uint32_t error = 0;
    return playlist && _mtpControl->renameItemAtPath(_currentDeviceNode, _storageHeadNode, playlist, name,
                                                     destPlaylistName, &error);
}

bool MTPServicePrivate::checkMediaFileAtPlaylist(MtpControl::NodeList nodeLists, std::uint32_t objectID) const {
    if (nodeLists.data() == nullptr) {
        QD_LOG(3, "Input parameter is invalid. nodeLists = %p", static_cast<const void*>(nullptr));
        return false;
    }
    const bool isThere = std::ranges::any_of(
        nodeLists, [&](const _MTP_FILE_NODE* node) { return node != nullptr && node->header.Id == objectID; });
    if (isThere) {
        QD_LOG(5, "File is Exist in Playlist");
    }
    return isThere;
}

// One file or some sent to the end of a playlist

bool MTPServicePrivate::sendMediaFileToPlaylist(const Text& playlistName, const Text& nodeID, const Text& /*filePath*/,
                                                std::uint32_t* error) {
    const Synchronized library(MtpControl::classMonitor());
    _MTP_COMMON_NODE* node = MtpControl::nodeFromText(nodeID);
    if (node == nullptr || node->Signature != MTP_SIGNATURE_FILE) {
        return sendMediaFileToPlaylist(playlistName, MtpControl::NodeList(), error);
    }
    const PlaylistNodes file{reinterpret_cast<_MTP_FILE_NODE*>(node)};
    return sendMediaFileToPlaylist(playlistName, file, error);
}

bool MTPServicePrivate::sendMediaFileToPlaylist(const Text& playlistName, MtpControl::NodeList nodeLists,
                                                std::uint32_t* error) {
    const auto fail = [&] {
        if (error != nullptr) {
            *error = SERVICE_PLAYLIST_SEND_FAILED;
        }
        return false;
    };
    if (!playlistName || nodeLists.data() == nullptr) {
        QD_LOG(3, "Input parameter is invalid. playlistName = %@, nodeID = %p", playlistName,
               static_cast<const void*>(nodeLists.data()));
        return fail();
    }
    const auto storage = playlistStorage();
    if (!storage) {
        return fail();
    }
    // One section, so that nobody changes the playlist between looking at it and writing it.
    const Synchronized library(MtpControl::classMonitor());
    std::uint32_t status = DGSTATUS_SUCCESS;
    const PlaylistNodes present =
        _mtpControl->enumeratorFileNodeAtPlaylist(_currentDeviceNode, storage->node, *playlistName, &status);
    if (status != DGSTATUS_SUCCESS) { // what was not read would be lost with the new list
        if (error != nullptr) {
            *error = status;
        }
        return false;
    }
    auto all = makePlaylistNodes(present.size() + nodeLists.size(), "Memory allocate is failed.");
    if (!all) {
        return fail();
    }
    const auto behind = std::ranges::copy(present, all->begin()).out;
    std::ranges::copy(nodeLists, behind);
    return _mtpControl->updateMediaFileToPlaylist(_currentDeviceNode, storage->node, *playlistName, *all, error);
}
