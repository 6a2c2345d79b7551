// SPDX-License-Identifier: MIT
#pragma once

#include "device/MTPService/MediaType.h"

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <vector>

namespace tool {

/// A local file that is to go to a device.
struct LocalFile {
    std::string path;      ///< absolute
    std::string shownPath; ///< as the person named it
    std::string name;      ///< last component, its name on the device
    std::uint64_t size = 0;
    MediaType type = MediaTypeNone;
};

/// A file or folder that is not going to be sent, and why, in words that follow its name.
struct LeftOut {
    std::string shownPath;
    std::string reason;
    bool isFailure = false; ///< wanted but impossible, as against nothing to send
};

/// What a list of files and folders comes to.
struct MediaPlan {
    std::vector<LocalFile> files; ///< in the order named; folders by name
    std::vector<LeftOut> leftOut;
    std::size_t hiddenCount = 0; ///< hidden files and folders that were not looked at
};

/// Looks at the paths and walks folders. Without `forcedType` files go where the service classifies them to, and others
/// are left out; with it, named files go as that type whatever they are, and from folders those that are of that type
/// by their extension.
///
/// Hidden files and folders are taken when they are named, not when they are found. Links to files are followed, links
/// to folders only when they are named. Of two files that would get the same name in the same folder of the device the
/// later one is left out as a failure, so that a copy never overwrites what it has just sent. `isStopped` is asked now
/// and then and ends the walk.
[[nodiscard]] MediaPlan planMedia(const std::vector<std::string>& paths, std::optional<MediaType> forcedType,
                                  const std::function<bool()>& isStopped);

} // namespace tool
