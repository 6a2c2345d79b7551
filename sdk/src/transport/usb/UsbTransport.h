// SPDX-License-Identifier: MIT
#pragma once

#include "mtp/Codes.h"
#include "transport/Transport.h"
#include "transport/usb/PhaseReader.h"
#include "transport/usb/UsbEventReader.h"
#include "transport/usb/UsbLink.h"
#include "transport/usb/UsbPipe.h"

#include <atomic>
#include <chrono>
#include <memory>
#include <optional>
#include <string>

namespace mtpsdk {

/// The line to a device on the bus. Bytes move in large asynchronous transfers, several at a time, while the source
/// reads or the sink writes; every wait has a bound, and unplugging ends it at once.
class UsbTransport final : public Transport {
public:
    /// Null when the device cannot be opened; `status` and `reason` as UsbLink::open.
    [[nodiscard]] static std::unique_ptr<UsbTransport> open(const UsbDevice& device, DGSTATUS& status,
                                                            std::string& reason);
    explicit UsbTransport(std::unique_ptr<UsbLink> link);
    ~UsbTransport() override;

    [[nodiscard]] DGSTATUS send(std::span<const std::byte> header, std::uint64_t payloadLength,
                                const BlockSource& source) override;
    [[nodiscard]] DGSTATUS receive(const BlockSink& sink) override;
    [[nodiscard]] DGSTATUS cancel(std::uint32_t transactionId) override;
    [[nodiscard]] DGSTATUS reset() override;
    [[nodiscard]] DGSTATUS readEvent(std::vector<std::byte>& container, std::chrono::milliseconds timeout) override;
    void close() override;
    [[nodiscard]] std::optional<UsbId> usbId() const override { return _link->id(); }

private:
    /// What a phase's end means for the caller; brings stalled endpoints back.
    [[nodiscard]] DGSTATUS conclude(PipeResult result);
    /// Clears halts until the device says that it is ready. DGSTATUS_SUCCESS, also from a device without the status
    /// request; DGSTATUS_INTERNAL_DEVICE_NOT_RESPONSE when it stays busy.
    [[nodiscard]] DGSTATUS waitUntilReady(std::chrono::milliseconds limit);
    [[nodiscard]] DGSTATUS drain();
    void endUnfinishedPhase();
    /// false when the line was closed meanwhile.
    bool pause(std::chrono::milliseconds time);
    [[nodiscard]] std::chrono::milliseconds patience() const;

    std::unique_ptr<UsbLink> _link;
    UsbPipe _out;
    UsbPipe _in;
    PhaseReader _reader;
    std::optional<UsbEventReader> _events;
    std::optional<OperationCode> _operation; ///< of the transaction under way
    bool _cutShort = false;                  ///< a phase out ended before all was sent
    bool _stopped = false;                   ///< whoever moved the bytes of the phase before ended it before its time

    std::atomic<bool> _closed = false;
    std::mutex _mutex; ///< for waiting only
    std::condition_variable _changed;
};

} // namespace mtpsdk
