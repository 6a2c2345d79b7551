// SPDX-License-Identifier: MIT
#pragma once

#include <algorithm>
#include <cstdint>
#include <unordered_map>
#include <utility>
#include <vector>

namespace mtpsdk {

/// The lists of the playlists that were read or written last, by the playlists' handles: objects in order, as often as
/// they are named. A list that is not here has to be asked for. Not thread-safe.
class PlaylistReferences {
public:
    using Handles = std::vector<std::uint32_t>;

    [[nodiscard]] const Handles* find(std::uint32_t playlist) const {
        const auto found = _lists.find(playlist);
        return found == _lists.end() ? nullptr : &found->second;
    }
    void put(std::uint32_t playlist, Handles objects) { _lists.insert_or_assign(playlist, std::move(objects)); }
    void erase(std::uint32_t playlist) { _lists.erase(playlist); }
    void clear() { _lists.clear(); }

    /// Takes an object that is gone out of all lists; `shortened(playlist, length)` hears of each that named it.
    template <typename Shortened>
    void drop(std::uint32_t object, const Shortened& shortened) {
        for (auto& [playlist, objects] : _lists) {
            if (std::erase(objects, object) != 0) {
                shortened(playlist, static_cast<std::uint32_t>(objects.size()));
            }
        }
    }

private:
    std::unordered_map<std::uint32_t, Handles> _lists;
};

} // namespace mtpsdk
