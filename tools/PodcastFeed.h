// SPDX-License-Identifier: MIT
#pragma once

#include "platform/Dates.h"
#include "platform/Value.h"

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace tool {

/// What a podcast feed comes to, given the media files that a person has.
struct PodcastFeed {
    /// The channel's fields and "children": the episodes whose media files are there, in the feed's order, as the
    /// service takes them.
    platform::Dictionary podcast;
    /// Titles of items that have no media file at all, and file names that the folder does not hold.
    std::vector<std::string> withoutMedia;
    std::vector<std::string> missingFiles;
};

/// Reads an RSS 2.0 feed, its itunes elements included; nothing, and why in `error`, when the text is none. Texts lose
/// their markup. An episode's media file is looked up in mediaFolder by the file name in its enclosure's address.
/// With `newest` only that many episodes are taken, the latest by date (those without a date count as the oldest, in
/// the feed's order).
[[nodiscard]] std::optional<PodcastFeed> readPodcastFeed(std::string_view bytes, const std::string& mediaFolder,
                                                         std::optional<std::size_t> newest, std::string& error);

/// The file name at the end of an address, with its percent escapes decoded; nothing when that is no file name.
[[nodiscard]] std::optional<std::string> fileNameInUrl(const std::string& url);

} // namespace tool
