// SPDX-License-Identifier: MIT
#pragma once

#include "tools/DeviceSession.h"

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace tool {

/// A playlist of the device.
struct Playlist {
    std::string name; ///< as the device spells it
    std::uint32_t fileCount = 0;
    platform::Dictionary information; ///< what the service tells, without the handles of its nodes
};

/// A file in a playlist.
struct PlaylistChild {
    std::string path; ///< on the device, or the name alone where that is all that is known
    std::uint32_t objectID = 0;
    platform::Dictionary information; ///< as above
};

/// The playlists of a device, which lie on its internal memory. Names are looked up exactly: the one spelt so, or the
/// only one that is without regard to case.
class Playlists {
public:
    explicit Playlists(DeviceSession& session)
        : _session(session) {}

    /// Throws Failure when the device does not tell them.
    [[nodiscard]] std::vector<Playlist> all() const;
    /// Nothing when there is none of the name; throws Failure when it cannot be told which one is meant.
    [[nodiscard]] std::optional<Playlist> find(const std::string& name) const;
    /// Throws Failure when there is none.
    [[nodiscard]] Playlist get(const std::string& name) const;
    /// Its files in order.
    [[nodiscard]] std::vector<PlaylistChild> children(const Playlist& playlist) const;
    /// A dictionary of the playlist with its "children", for JSON.
    [[nodiscard]] platform::Dictionary described(const Playlist& playlist) const;

private:
    DeviceSession& _session;
};

} // namespace tool
