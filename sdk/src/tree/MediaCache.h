// SPDX-License-Identifier: MIT
#pragma once

#include "mtp/Session.h"

#include <cstdint>
#include <deque>
#include <unordered_map>

namespace mtpsdk {

/// The metadata of the objects that were asked about or sent last, so that asking again costs no request. Bounded: the
/// oldest goes first. Not thread-safe.
class MediaCache {
public:
    [[nodiscard]] const MediaProperties* find(std::uint32_t handle) const {
        const auto found = _entries.find(handle);
        return found == _entries.end() ? nullptr : &found->second;
    }

    void put(std::uint32_t handle, MediaProperties media) {
        if (_entries.insert_or_assign(handle, std::move(media)).second) {
            _order.push_back(handle);
        }
        while (_order.size() > capacity) {
            _entries.erase(_order.front());
            _order.pop_front();
        }
    }

    void erase(std::uint32_t handle) {
        if (_entries.erase(handle) != 0) {
            std::erase(_order, handle);
        }
    }

    void clear() {
        _entries.clear();
        _order.clear();
    }

private:
    static constexpr std::size_t capacity = 32768;
    std::unordered_map<std::uint32_t, MediaProperties> _entries;
    std::deque<std::uint32_t> _order;
};

} // namespace mtpsdk
