// SPDX-License-Identifier: MIT
#include "tree/MediaCache.h"

#include <array>
#include <limits>
#include <string_view>

namespace mtpsdk {
namespace {

/// The packed form: for each property that is present a tag, which tells its place in one of these tables, and its
/// value; a text begins with its length, a 32-bit number takes two units.
constexpr std::array texts{&MediaProperties::title,       &MediaProperties::artist,     &MediaProperties::composer,
                           &MediaProperties::albumArtist, &MediaProperties::album,      &MediaProperties::genre,
                           &MediaProperties::releaseDate, &MediaProperties::description};
constexpr std::array longs{&MediaProperties::durationMilliseconds, &MediaProperties::bitRate,
                           &MediaProperties::playCount, &MediaProperties::width, &MediaProperties::height};
constexpr std::array shorts{&MediaProperties::rating, &MediaProperties::track, &MediaProperties::drm};
constexpr std::size_t firstLong = texts.size();
constexpr std::size_t firstShort = firstLong + longs.size();

std::u16string pack(const MediaProperties& media) {
    constexpr std::size_t longestText = std::numeric_limits<char16_t>::max();
    std::u16string packed;
    for (std::size_t i = 0; i < texts.size(); ++i) {
        if (const auto& text = media.*texts[i]) {
            const auto kept = std::u16string_view(*text).substr(0, longestText);
            packed.push_back(static_cast<char16_t>(i));
            packed.push_back(static_cast<char16_t>(kept.size()));
            packed.append(kept);
        }
    }
    for (std::size_t i = 0; i < longs.size(); ++i) {
        if (const auto& number = media.*longs[i]) {
            packed.push_back(static_cast<char16_t>(firstLong + i));
            packed.push_back(static_cast<char16_t>(*number >> 16U));
            packed.push_back(static_cast<char16_t>(*number & 0xFFFFU));
        }
    }
    for (std::size_t i = 0; i < shorts.size(); ++i) {
        if (const auto& number = media.*shorts[i]) {
            packed.push_back(static_cast<char16_t>(firstShort + i));
            packed.push_back(static_cast<char16_t>(*number));
        }
    }
    packed.shrink_to_fit();
    return packed;
}

MediaProperties unpacked(std::u16string_view packed) {
    MediaProperties media;
    std::size_t at = 0;
    while (at < packed.size()) {
        const std::size_t tag = packed[at++];
        if (tag < firstLong) {
            const std::size_t length = packed[at++];
            media.*texts[tag] = packed.substr(at, length);
            at += length;
        } else if (tag < firstShort) {
            media.*longs[tag - firstLong] = static_cast<std::uint32_t>(packed[at]) << 16U | packed[at + 1];
            at += 2;
        } else {
            media.*shorts[tag - firstShort] = static_cast<std::uint16_t>(packed[at++]);
        }
    }
    return media;
}

} // namespace

std::optional<MediaProperties> MediaCache::find(std::uint32_t handle) const {
    const auto found = _entries.find(handle);
    return found == _entries.end() ? std::nullopt : std::optional(unpacked(found->second.packed));
}

void MediaCache::put(std::uint32_t handle, const MediaProperties& media) {
    erase(handle);
    const auto entry = _entries.emplace(handle, Entry{pack(media), ++_lastNumber}).first;
    _size += cost(entry->second);
    _order.push_back({handle, _lastNumber});
    dropOldest();
}

void MediaCache::erase(std::uint32_t handle) {
    const auto found = _entries.find(handle);
    if (found != _entries.end()) {
        forget(found);
    }
}

void MediaCache::clear() {
    _entries.clear();
    _order.clear();
    _size = 0;
}

/// With its place in the order and the node of the table.
std::size_t MediaCache::cost(const Entry& entry) {
    constexpr std::size_t overhead = sizeof(Place) + sizeof(Entries::value_type) + 3 * sizeof(void*);
    return overhead + sizeof(char16_t) * entry.packed.capacity();
}

void MediaCache::forget(Entries::iterator entry) {
    _size -= cost(entry->second);
    _entries.erase(entry);
}

void MediaCache::dropOldest() {
    const auto isOver = [this] { return _size > _limit || _order.size() > 2 * _entries.size() + 1024; };
    while (!_order.empty() && isOver()) {
        const Place oldest = _order.front();
        _order.pop_front();
        const auto found = _entries.find(oldest.handle);
        if (found == _entries.end() || found->second.number != oldest.number) {
            continue;
        }
        if (_size > _limit) {
            forget(found);
        } else { // only places are too many: it keeps one
            _order.push_back(oldest);
        }
    }
}

} // namespace mtpsdk
