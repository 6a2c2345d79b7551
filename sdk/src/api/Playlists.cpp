// SPDX-License-Identifier: MIT
#include "api/Guard.h"
#include "vemomtpsdk/Functions.h"

// This library keeps no playlists of a device yet; every request says so.
using namespace mtpsdk;

DGSTATUS mtpGetPlaylistHead(_MTP_STORAGE_NODE* /*storage*/, _MTP_PLAYLIST_NODE** head) {
    clear(head);
    return DGSTATUS_NOT_SUPPORT_OP;
}

DGSTATUS mtpGetNextPlaylistNode(_MTP_PLAYLIST_NODE* /*playlist*/, _MTP_PLAYLIST_NODE** next) {
    clear(next);
    return DGSTATUS_NOT_SUPPORT_OP;
}

DGSTATUS mtpGetPlaylistMediaFileInfo(_MTP_PLAYLIST_NODE* /*playlist*/, std::uint32_t /*index*/, _MTP_FILE_NODE** file) {
    clear(file);
    return DGSTATUS_NOT_SUPPORT_OP;
}

DGSTATUS mtpGetPlaylistMediaFilePath(_MTP_PLAYLIST_NODE* /*playlist*/, std::uint32_t /*index*/, std::uint16_t* /*path*/,
                                     std::uint32_t* /*pathBytes*/) {
    return DGSTATUS_NOT_SUPPORT_OP;
}

DGSTATUS mtpSetNewPlaylist(_MTP_COMMON_NODE* /*parent*/, const std::uint16_t* /*name*/, std::uint32_t /*nameBytes*/,
                           _MTP_FILE_NODE** /*files*/, std::uint32_t /*count*/, _MTP_PLAYLIST_NODE** playlist) {
    clear(playlist);
    return DGSTATUS_NOT_SUPPORT_OP;
}

DGSTATUS mtpUpdatePlaylist(_MTP_PLAYLIST_NODE* /*playlist*/, _MTP_FILE_NODE** /*files*/, std::uint32_t /*count*/) {
    return DGSTATUS_NOT_SUPPORT_OP;
}

DGSTATUS mtpUpdatePlaylistEx(_MTP_PLAYLIST_NODE* /*playlist*/, _MTP_FILE_NODE** /*files*/, std::uint32_t /*count*/) {
    return DGSTATUS_NOT_SUPPORT_OP;
}

DGSTATUS mtpReleasePlaylists(_MTP_PLAYLIST_NODE* /*head*/) {
    return DGSTATUS_NOT_SUPPORT_OP;
}
