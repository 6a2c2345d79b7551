// SPDX-License-Identifier: MIT
#pragma once

#include <bit>
#include <cstddef>
#include <cstdint>
#include <utility>
#include <vector>

namespace mtpsdk {

/// An open-addressed set of numbers (never 0) whose hashes the caller knows: four bytes a place, between three and six
/// a member. Not thread-safe.
class HashIndex {
public:
    template <typename HashOf>
    void insert(std::uint32_t member, const HashOf& hashOf) {
        if ((_count + 1) * 4 > _places.size() * 3) {
            grow(hashOf);
        }
        place(member, hashOf(member));
        ++_count;
    }

    template <typename HashOf>
    void erase(std::uint32_t member, const HashOf& hashOf) {
        if (_places.empty()) {
            return;
        }
        std::size_t hole = start(hashOf(member));
        while (_places[hole] != member) {
            if (_places[hole] == 0) {
                return;
            }
            hole = next(hole);
        }
        // Members behind the hole move up, so that no search stops at it.
        for (std::size_t at = next(hole); _places[at] != 0; at = next(at)) {
            const std::size_t home = start(hashOf(_places[at]));
            const std::size_t mask = _places.size() - 1;
            if (((at - home) & mask) >= ((at - hole) & mask)) {
                _places[hole] = _places[at];
                hole = at;
            }
        }
        _places[hole] = 0;
        --_count;
    }

    /// The first member of this hash that `matches`, or 0.
    template <typename Matches>
    [[nodiscard]] std::uint32_t find(std::uint32_t hash, const Matches& matches) const {
        if (_places.empty()) {
            return 0;
        }
        for (std::size_t at = start(hash); _places[at] != 0; at = next(at)) {
            if (matches(_places[at])) {
                return _places[at];
            }
        }
        return 0;
    }

private:
    [[nodiscard]] std::size_t start(std::uint32_t hash) const {
        // Multiplied by the golden section, numbers that follow each other, as handles do, hardly ever meet up there.
        return hash * std::uint64_t{0x9E3779B97F4A7C15} >> (65 - std::bit_width(_places.size()));
    }
    [[nodiscard]] std::size_t next(std::size_t at) const { return (at + 1) & (_places.size() - 1); }

    void place(std::uint32_t member, std::uint32_t hash) {
        std::size_t at = start(hash);
        while (_places[at] != 0) {
            at = next(at);
        }
        _places[at] = member;
    }

    template <typename HashOf>
    void grow(const HashOf& hashOf) {
        const std::vector<std::uint32_t> members = std::move(_places);
        _places = std::vector<std::uint32_t>(members.empty() ? 8 : members.size() * 2);
        for (const std::uint32_t member : members) {
            if (member != 0) {
                place(member, hashOf(member));
            }
        }
    }

    std::vector<std::uint32_t> _places; // a power of two
    std::size_t _count = 0;
};

} // namespace mtpsdk
