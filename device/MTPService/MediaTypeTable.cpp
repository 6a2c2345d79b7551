// SPDX-License-Identifier: MIT
#include "device/MTPService/MediaTypeTable.h"

#include <algorithm>

namespace {

using Extensions = std::string_view;

/// Music is mp3 alone: other audio formats are sent as music only when the application says so.
constexpr Extensions music[] = {"mp3"};
constexpr Extensions image[] = {"bmp", "gif", "jpg", "jpeg", "png", "wbmp"};
constexpr Extensions movie[] = {"asf", "avi",  "flv", "k3g",  "mkv", "mp4", "m4v", "mov",
                                "mpg", "mpeg", "rm",  "rmvb", "skm", "svi", "wmv", "3gp"};
/// A podcast is known by its channel description.
constexpr Extensions podcast[] = {"xml"};

constexpr std::array<MediaTypeEntry, 5> table{{
    {MediaTypeMusic, "DefaultMusicPath", "DefaultMusicID", "ZEP/Contents/Music/DefaultFolder/Internal",
     "ZEP/Contents/Music/DefaultFolder/External", "Sounds", music},
    {MediaTypeImage, "DefaultImagePath", "DefaultImageID", "ZEP/Contents/Image/DefaultFolder/Internal",
     "ZEP/Contents/Image/DefaultFolder/External", "DCIM/Camera", image},
    {MediaTypeMovie, "DefaultMoviePath", "DefaultMovieID", "ZEP/Contents/Movie/DefaultFolder/Internal",
     "ZEP/Contents/Movie/DefaultFolder/External", "Videos", movie},
    {MediaTypePodcast, "DefaultPodcastPath", "DefaultPodcastID", "ZEP/Contents/Podcast/DefaultFolder/Internal",
     "ZEP/Contents/Podcast/DefaultFolder/External", "Podcast", podcast},
    {MediaTypePlaylist,
     "DefaultPlaylistPath",
     "DefaultPlaylistID",
     "ZEP/Contents/Playlist/DefaultFolder/Internal",
     "",
     "Playlists",
     {}},
}};

} // namespace

std::span<const MediaTypeEntry> mediaTypeTable() {
    return table;
}

const MediaTypeEntry* findMediaType(std::uint32_t mediaType) {
    const auto* const found = std::ranges::find(table, mediaType, &MediaTypeEntry::type);
    return found == table.end() ? nullptr : found;
}
