// SPDX-License-Identifier: MIT
#pragma once

#include "device/MTPService/MediaType.h"

#include <cstdint>
#include <string_view>

/// What local files are, judged by their names' extensions.
namespace host {

/// The media type bit set that a file is sent with: bit 24 marks music, 25 video, 26 images.
inline constexpr std::uint32_t kMusicBit = 0x1000000;
inline constexpr std::uint32_t kVideoBit = 0x2000000;
inline constexpr std::uint32_t kImageBit = 0x4000000;

/// The extension of a path's last component, without the dot; empty when there is none or the name only begins with it.
[[nodiscard]] std::string_view extensionOf(std::string_view path);

/// How the service itself classifies a file (music, image, movie), without regard to case. MediaTypeNone for all else,
/// other audio formats than mp3 included.
[[nodiscard]] MediaType classifiedMediaType(std::string_view path);

/// The kind that a file is by its extension, formats included that the service does not classify (flac, webp, ts …).
[[nodiscard]] MediaType naturalMediaType(std::string_view path);

/// The media type bit set of a file: one of the formats with a code of its own, else the bare bit of its kind, else 0.
[[nodiscard]] std::uint32_t mediaTypeBits(std::string_view path);

} // namespace host
