// SPDX-License-Identifier: MIT
#pragma once

#include <cstddef>
#include <optional>
#include <span>
#include <vector>

namespace mtpsdk {

/// Puts the packets of the interrupt endpoint together to event containers. The container's own length says where one
/// ends, since many devices send no zero-length packet behind one of whole packets; what a device fills the last packet
/// up with is left out. After nonsense it begins anew with the next packet that can be the start of an event.
class EventAssembly {
public:
    explicit EventAssembly(std::size_t packetSize)
        : _packetSize(packetSize) {}

    /// Takes what one transfer of a packet at most moved; the container that is whole with it, if any.
    [[nodiscard]] std::optional<std::vector<std::byte>> take(std::span<const std::byte> packet);
    /// Forgets a container that has begun: its rest will not come.
    void reset() { _bytes.clear(); }

private:
    std::size_t _packetSize;
    std::vector<std::byte> _bytes;
};

} // namespace mtpsdk
