// SPDX-License-Identifier: MIT
#pragma once

#include "platform/Value.h"

#include <chrono>
#include <optional>
#include <string>

namespace host {

/// The tags and properties of a music file under the media-information keys: "Title", "Artist", "Album",
/// "AlbumArtist", "Composer", "Genre" (texts), "TrackNo", "DateReleased" (a date; noon UTC, so that no time zone moves
/// it out of its year), "PlayLength" (seconds), "Bitrate" (bits per second). What the file does not tell is left out.
/// Nothing when reading takes longer than `limit`: what only calls itself music may be searched to its end.
[[nodiscard]] std::optional<platform::Dictionary> musicFileInformation(const std::string& path,
                                                                       std::chrono::milliseconds limit);

/// The point in time of a release date as tags write it, "YYYY", "YYYY-MM" or "YYYY-MM-DD…"; null when it is none.
[[nodiscard]] platform::Value releaseDate(const std::string& text);

} // namespace host
