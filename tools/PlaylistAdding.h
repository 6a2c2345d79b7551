// SPDX-License-Identifier: MIT
#pragma once

#include "tools/DeviceTree.h"
#include "tools/Playlists.h"
#include "tools/TransferRun.h"

#include <vector>

namespace tool {

/// Files of the device as those of a run that moves no bytes.
[[nodiscard]] LocalFile asRunFile(const std::string& devicePath, const std::string& name);

/// Adds the files that the playlist does not hold yet at its end, in order. Begins the run, with these files, and makes
/// its request; the others are kept.
void addToPlaylist(TransferRun& run, DeviceSession& session, const Playlist& playlist,
                   const std::vector<DeviceEntry>& entries);

} // namespace tool
