// SPDX-License-Identifier: MIT
#pragma once

#include "device/MTPService/MTPServicePrivate.h"
#include "tests/device/service/VirtualService.h"

#include <deque>
#include <optional>
#include <string>
#include <vector>

namespace tests {

using Names = std::vector<std::string>;

/// What the service hands the library when it makes or writes a playlist, noted on its way there: one text per call
/// with the files' names in order, "-" for a null entry. One at a time.
class PlaylistWrites {
public:
    PlaylistWrites();
    ~PlaylistWrites();
    PlaylistWrites(const PlaylistWrites&) = delete;
    PlaylistWrites& operator=(const PlaylistWrites&) = delete;

    /// The calls since the last asking.
    Names take();
    /// The next writes answer these statuses and do nothing else; 0 lets one through.
    void answer(std::deque<DGSTATUS> statuses);

    /// For the calls themselves: the status that stands in for this one.
    std::optional<DGSTATUS> note(_MTP_FILE_NODE* const* files, std::uint32_t count, bool mayAnswer);

private:
    std::mutex _mutex;
    Names _noted;
    std::deque<DGSTATUS> _answers;
};

/// A service on a virtual device with songs in its music folder.
class PlaylistService : public VirtualService {
protected:
    static constexpr std::uint32_t playlistType = 10;

    void putSongs(const Names& names, std::uint32_t storageIndex = 0);
    static std::string song(const std::string& name) { return "/Player/Phone/Sounds/" + name; }
    /// Content dictionaries of songs with their device paths.
    static platform::Array songs(const Names& names);
    void create(const std::string& playlist, const Names& names);
    /// The names of a playlist's files in order, as the service tells; nothing when there is no such playlist.
    std::optional<Names> listed(const std::string& playlist);
    /// Waits until the playlist's file on the device names these files in Phone/Sounds, in order.
    bool isOnDisk(const std::string& playlist, const Names& names) const;
    [[nodiscard]] bool hasFile(const std::string& playlist) const;

    void add(std::uint32_t id, const std::string& playlist, const platform::Array& contents);
    void remove(std::uint32_t id, const std::string& playlist, const platform::Array& contents);
    /// The dictionary by which a playlist's file is removed from it.
    platform::Dictionary entry(const std::string& playlist, const std::string& name);
    [[nodiscard]] std::shared_ptr<MTPServicePrivate> inside() const;
    /// From now on the service knows no internal memory.
    void forgetInternalMemory();

    PlaylistWrites writes;
};

} // namespace tests
