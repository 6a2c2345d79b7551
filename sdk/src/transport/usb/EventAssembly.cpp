// SPDX-License-Identifier: MIT
#include "transport/usb/EventAssembly.h"

#include "mtp/Bytes.h"
#include "mtp/Container.h"

#include <utility>

namespace mtpsdk {
namespace {

constexpr std::size_t greatestLength = containerHeaderSize + maximumParameters * sizeof(std::uint32_t);
/// Of the header, all that tells an event from nonsense.
constexpr std::size_t lengthAndType = sizeof(std::uint32_t) + sizeof(std::uint16_t);

/// What the container is to have in all; nothing when these are no event's first bytes.
std::optional<std::size_t> eventLength(std::span<const std::byte> start) {
    ByteReader reader(start);
    const std::size_t length = reader.u32();
    const bool isEvent = reader.u16() == raw(ContainerType::Event);
    return isEvent && length >= containerHeaderSize && length <= greatestLength ? std::optional(length) : std::nullopt;
}

} // namespace

std::optional<std::vector<std::byte>> EventAssembly::take(std::span<const std::byte> packet) {
    _bytes.insert(_bytes.end(), packet.begin(), packet.end());
    const bool isLast = packet.size() < _packetSize;
    if (_bytes.size() < lengthAndType) {
        if (isLast) {
            reset();
        }
        return std::nullopt;
    }
    const std::optional<std::size_t> length = eventLength(_bytes);
    if (length && _bytes.size() >= *length) {
        _bytes.resize(*length);
        return std::exchange(_bytes, {});
    }
    if (!length || isLast) {
        reset();
    }
    return std::nullopt;
}

} // namespace mtpsdk
