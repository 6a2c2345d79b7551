// SPDX-License-Identifier: MIT
#pragma once

#include "platform/Value.h"
#include "tools/DeviceSession.h"

#include <cstdint>
#include <string>
#include <vector>

namespace tool {

/// A podcast channel on one storage of a device, as its document tells.
struct PodcastOnDevice {
    std::string name;    ///< its folder's, by which the service knows it
    std::string title;   ///< the document's, or the folder's name
    std::string storage; ///< label
    std::uint32_t diskIndex = 0;
    /// Dictionaries with the text of each field that has one: "Title", "Url", "FilePath" (a name), "PublishDate" …
    platform::Array episodes;
};

/// The channels of all storages, in the storages' order. Documents that cannot be read count as none.
[[nodiscard]] std::vector<PodcastOnDevice> podcastsOn(DeviceSession& session);

/// Those with this title or folder name, without regard to case: one for each storage that has it. Throws Failure when
/// there is none.
[[nodiscard]] std::vector<PodcastOnDevice> podcastsNamed(DeviceSession& session, const std::string& name);

/// The index of the episode that a person means by its number (from 1, as `podcast show` counts on), its title or its
/// file name; the number of episodes when there is none.
[[nodiscard]] std::size_t episodeMeant(const platform::Array& episodes, const std::string& wanted);

} // namespace tool
