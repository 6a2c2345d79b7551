// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>

/// The kinds of media that the service knows. 5 to 9 and above 10 are none.
enum MediaType : std::uint32_t {
    MediaTypeNone = 0, ///< only as the answer for an unknown file
    MediaTypeMusic = 1,
    MediaTypeImage = 2,
    MediaTypeMovie = 3,
    MediaTypePodcast = 4,
    MediaTypePlaylist = 10,
};
