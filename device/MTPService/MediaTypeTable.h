// SPDX-License-Identifier: MIT
#pragma once

#include "device/MTPService/MediaType.h"

#include <array>
#include <cstdint>
#include <span>
#include <string_view>

/// What the service knows of one kind of media.
struct MediaTypeEntry {
    MediaType type;
    std::string_view pathKey; ///< in a storage's dictionary: the default folder's device path
    std::string_view idKey;   ///< and its node handle
    std::string_view internalProfileNode;
    std::string_view externalProfileNode; ///< empty: memory cards have no entry
    std::string_view fallbackFolder;      ///< below the storage, where the profile has no entry
    std::span<const std::string_view> extensions;
};

/// In the order in which default folders are made and file names are classified.
std::span<const MediaTypeEntry> mediaTypeTable();
/// Null for a number that is no media type.
const MediaTypeEntry* findMediaType(std::uint32_t mediaType);
