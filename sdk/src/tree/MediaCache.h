// SPDX-License-Identifier: MIT
#pragma once

#include "mtp/Session.h"

#include <cstddef>
#include <cstdint>
#include <deque>
#include <optional>
#include <string>
#include <unordered_map>

namespace mtpsdk {

/// The metadata of the objects that were listed, asked about or sent, so that asking again costs no request. Kept in a
/// packed form; bounded in memory, far above what a device of some hundred thousand songs takes: the oldest goes first.
/// Not thread-safe.
class MediaCache {
public:
    static constexpr std::size_t defaultLimit = std::size_t{192} << 20U;
    /// Bytes that it may take, roughly.
    explicit MediaCache(std::size_t limit = defaultLimit)
        : _limit(limit) {}

    [[nodiscard]] std::optional<MediaProperties> find(std::uint32_t handle) const;
    void put(std::uint32_t handle, const MediaProperties& media);
    void erase(std::uint32_t handle);
    void clear();

private:
    struct Entry {
        std::u16string packed;
        std::uint64_t number = 0; ///< of the put that made it
    };
    struct Place {
        std::uint32_t handle;
        std::uint64_t number;
    };
    using Entries = std::unordered_map<std::uint32_t, Entry>;

    [[nodiscard]] static std::size_t cost(const Entry& entry);
    void forget(Entries::iterator entry);
    void dropOldest();

    std::size_t _limit;
    std::size_t _size = 0;
    std::uint64_t _lastNumber = 0;
    Entries _entries;
    std::deque<Place> _order; ///< of the puts; places whose entry is gone or newer mean nothing
};

} // namespace mtpsdk
