// SPDX-License-Identifier: MIT
#pragma once

#include "tools/DeviceTree.h"

#include <functional>
#include <optional>
#include <string>
#include <unordered_map>
#include <vector>

namespace tool {

/// Finds the files on the device that a computer's playlist means. Such a list names files as they lie on the computer,
/// so what counts is the file's name; where several files below the music folders have it, the one whose folders agree
/// with the entry's most, from the file upwards, then the one in the fewest folders, then the first storage's.
class MusicFinder {
public:
    /// Looks through the default music folders of all storages.
    MusicFinder(DeviceTree& tree, const platform::Array& storages, const std::function<bool()>& isStopped);

    [[nodiscard]] std::optional<DeviceEntry> find(const std::string& playlistEntry) const;
    /// How a playlist file on the computer names a device file: its path below the music folder, or the whole one.
    [[nodiscard]] std::string entryFor(const std::string& devicePath) const;

private:
    struct File {
        DeviceEntry entry;
        std::vector<std::string> components; ///< folded, of the whole path
    };
    std::vector<std::string> _folders;
    std::unordered_map<std::string, std::vector<File>> _files; ///< by folded name
};

} // namespace tool
