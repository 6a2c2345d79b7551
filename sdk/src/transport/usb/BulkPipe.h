// SPDX-License-Identifier: MIT
#pragma once

#include <chrono>
#include <cstddef>
#include <span>

namespace mtpsdk {

/// How a transfer, or a phase made of them, ended.
enum class PipeResult {
    done,
    stalled,   ///< the device halted the endpoint
    failed,    ///< any other error of the line
    timedOut,  ///< nothing happened for as long as the caller was willing to wait
    cancelled, ///< by cancel()
    full,      ///< submit only: no transfer is free, or the system has no memory for another one
    stopped,   ///< a phase only: the source or the sink asked for it
    gone,      ///< the device is unplugged, or the line closed
};

/// One direction of a bulk line: a ring of transfers, each with a buffer of its own, that are submitted and taken back
/// in the same order. One thread at a time uses it.
class BulkPipe {
public:
    struct Block {
        PipeResult result = PipeResult::done;
        std::span<std::byte> data; ///< valid until the transfer is submitted again
        bool isShort = false;      ///< the device ended the phase here: it sent less than was asked for
        std::size_t asked = 0;
    };

    virtual ~BulkPipe() = default;

    [[nodiscard]] virtual std::size_t packetSize() const = 0;
    /// The size of every buffer, a multiple of the packet size.
    [[nodiscard]] virtual std::size_t blockSize() const = 0;
    [[nodiscard]] virtual std::size_t inFlight() const = 0;

    /// The buffer that the next submit moves; empty when all transfers are in flight.
    [[nodiscard]] virtual std::span<std::byte> buffer() = 0;
    /// Sends the first `length` bytes of buffer(), or asks for up to as many. done, full, failed or gone.
    [[nodiscard]] virtual PipeResult submit(std::size_t length) = 0;
    /// Waits for the oldest transfer. After timedOut it is still in flight.
    [[nodiscard]] virtual Block take(std::chrono::milliseconds patience) = 0;
    /// Asks all that is in flight to end; take() then yields each, with the bytes that it moved.
    virtual void cancel() = 0;
};

/// Ends and forgets all that is in flight.
void abandon(BulkPipe& pipe);

} // namespace mtpsdk
