// SPDX-License-Identifier: MIT
#pragma once

#include "vemomtpsdk/Status.h"

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>
#include <span>
#include <vector>

namespace mtpsdk {

/// Fills a block with the next bytes of a data-out phase. Answers how many it wrote; fewer than the block's size only
/// at the end. A negative answer ends the phase early: the caller then cancels the transaction.
using BlockSource = std::function<std::ptrdiff_t(std::span<std::byte> block)>;
/// Takes the next bytes of an incoming phase. false: stop delivering; the caller then cancels the transaction.
using BlockSink = std::function<bool(std::span<const std::byte> block)>;

/// What the still-image class answers to a device status request.
struct DeviceStatus {
    std::uint16_t code = 0;                ///< an MTP response code; 0x2001 OK, 0x2019 busy
    std::vector<std::uint32_t> parameters; ///< stalled endpoints
};

/// What a device on a USB bus is known by.
struct UsbId {
    std::uint16_t vendor = 0;
    std::uint16_t product = 0;
};

/// Carries container phases between the initiator and one device: bulk out, bulk in, the interrupt endpoint and the
/// class requests of the still-image class. Knows framing by phases only, nothing of what the bytes mean.
///
/// One thread at a time runs transactions (send, receive, cancel); readEvent runs on a thread of its own; close may be
/// called from any thread and makes every call under way return DGSTATUS_NO_DEVICE_ATTACHED.
/// Every call ends within a bound. Statuses: DGSTATUS_NO_DEVICE_ATTACHED when the device is gone,
/// DGSTATUS_INTERNAL_DEVICE_NOT_RESPONSE when it does not answer in time, DGSTATUS_INTERNAL_DRIVER_READ_ERROR for
/// other failures of the line, DGSTATUS_IO_CANCEL when the source or the sink asked to stop.
class Transport {
public:
    virtual ~Transport() = default;

    /// Sends one phase: `header` (a whole command container, or the 12-byte header of a data container), then exactly
    /// `payloadLength` bytes from `source` (may be empty when the length is 0). Ends the phase with a zero-length
    /// packet where the line needs one.
    [[nodiscard]] virtual DGSTATUS send(std::span<const std::byte> header, std::uint64_t payloadLength,
                                        const BlockSource& source) = 0;

    /// Receives one whole phase (a data or response container, header included) and hands it on in blocks. The first
    /// block holds at least the container's header if the phase is that long.
    [[nodiscard]] virtual DGSTATUS receive(const BlockSink& sink) = 0;

    /// Cancels the transaction under way, drains what is in flight and waits until the device is ready again.
    /// DGSTATUS_SUCCESS: the session goes on. Anything else: the device did not take the cancel.
    [[nodiscard]] virtual DGSTATUS cancel(std::uint32_t transactionId) = 0;

    /// Class request: brings the device back to an idle state without a session.
    [[nodiscard]] virtual DGSTATUS reset() = 0;

    /// Waits up to `timeout` for one event container. DGSTATUS_NO_DATA when none came.
    [[nodiscard]] virtual DGSTATUS readEvent(std::vector<std::byte>& container, std::chrono::milliseconds timeout) = 0;

    virtual void close() = 0;

    /// Missing on lines that are no USB.
    [[nodiscard]] virtual std::optional<UsbId> usbId() const { return std::nullopt; }
};

} // namespace mtpsdk
