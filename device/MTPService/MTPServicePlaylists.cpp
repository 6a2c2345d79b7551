// SPDX-License-Identifier: MIT
#include "device/MTPService/MTPServicePrivate.h"

#include "platform/Log.h"

// Playlists of the device are not served: the file stays outside, and the caller hears so.
bool MTPServicePrivate::sendMediaFileToPlaylist(const std::string& playlistName, const Text& nodeID,
                                                const std::string& filePath, std::uint32_t* error) {
    QD_LOG(3, "%@ (node %@) is not added to playlist %@.", filePath, nodeID, playlistName);
    if (error != nullptr) {
        *error = SERVICE_PLAYLIST_SEND_FAILED;
    }
    return false;
}
