// SPDX-License-Identifier: MIT
#pragma once

#include "device/MTPService/MediaType.h"
#include "platform/Value.h"

#include <cstdint>
#include <optional>
#include <string>

/// What a queued request asks for.
enum ServiceCommand : std::uint32_t {
    FS_COMMAND_MTP_RENAME_FILE = 206,
    FS_COMMAND_MTP_PLAY_FILE = 212,
    FS_COMMAND_QD_COPY_TO_DEVICE_CONTENTS = 213,
    FS_COMMAND_QD_COPY_TO_MAC_CONTENTS = 214,
    FS_COMMAND_QD_DELETE_CONTENTS = 215,
    FS_COMMAND_QD_SYNC_CONTENTS = 216,
    FS_COMMAND_QD_COPY_DEVICE_TO_DEVICE_CONTENTS = 217,
    FS_COMMAND_QD_COPY_TO_PLAYLIST_CONTENTS = 301,
    FS_COMMAND_QD_DELETE_PLAYLIST_CONTENTS = 302,
};

/// One queued request. Owned by the queue, then by the worker while its job runs.
struct _serviceinfo {
    using Text = std::optional<std::string>;

    /// The caller's number: names the request in cancellation and in every notification.
    std::uint32_t serviceID = 0;
    std::uint32_t serviceCommand = 0;
    /// A place on the device: the file to play, the present path of a file to rename.
    Text sourcePath;
    /// The folder or file to write; a rename's new name.
    Text destinationPath;
    std::uint32_t reservedValue1 = 0;
    std::uint32_t reservedValue2 = 0;
    void* callbackObject = nullptr;
    void* callbackContext = nullptr;
    /// The caller's array of content dictionaries, shared with the caller; a play request's node ID text.
    platform::Value contents;
    Text playlistName;
    Text destLocationID;
    Text srcLocationID;
    std::uint32_t storageIndex = 0;
    std::uint32_t mediaType = MediaTypeNone;
    std::uint8_t isStartInternal = 0;
};
