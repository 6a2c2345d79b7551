// SPDX-License-Identifier: MIT
#include "tools/PlaylistAdding.h"

#include <set>

namespace tool {

LocalFile asRunFile(const std::string& devicePath, const std::string& name) {
    return {devicePath, devicePath, name, 0, MediaTypePlaylist};
}

void addToPlaylist(TransferRun& run, DeviceSession& session, const Playlist& playlist,
                   const std::vector<DeviceEntry>& entries) {
    std::set<std::string> present;
    for (const PlaylistChild& child : Playlists(session).children(playlist)) {
        present.insert(child.path);
    }
    std::vector<LocalFile> listed;
    for (const DeviceEntry& entry : entries) {
        listed.push_back(asRunFile(entry.path, entry.name));
    }
    run.begin(std::move(listed));
    std::vector<std::size_t> files;
    for (std::size_t file = 0; file < run.files().size(); ++file) {
        if (present.insert(run.files()[file].path).second) {
            files.push_back(file);
        } else {
            run.keep(file, "is in the playlist already");
        }
    }
    run.request(session.service(), files, [&](std::uint32_t serviceID) {
        session.service().addContentsToPlaylist(serviceID, contentsOf(run.files(), files), MediaTypePlaylist,
                                                playlist.name);
    });
}

} // namespace tool
