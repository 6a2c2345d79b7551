// SPDX-License-Identifier: MIT
#pragma once

#include "transport/usb/BulkPipe.h"
#include "transport/usb/UsbContext.h"

#include <cstdint>
#include <memory>
#include <mutex>
#include <vector>

struct libusb_device_handle;

namespace mtpsdk {

/// A bulk endpoint over asynchronous transfers of a context, whose events the thread that waits for one handles itself.
/// Context and handle must outlive it. shut() may be called from any thread.
class UsbPipe final : public BulkPipe {
public:
    UsbPipe(UsbContext& context, libusb_device_handle* device, std::uint8_t endpoint, std::size_t packetSize,
            std::size_t depth);
    /// Waits for what is in flight to be given back by the system.
    ~UsbPipe() override;
    UsbPipe(const UsbPipe&) = delete;
    UsbPipe& operator=(const UsbPipe&) = delete;

    [[nodiscard]] std::size_t packetSize() const override { return _packetSize; }
    [[nodiscard]] std::size_t blockSize() const override { return _blockSize; }
    [[nodiscard]] std::size_t inFlight() const override { return _inFlight; }
    [[nodiscard]] std::span<std::byte> buffer() override;
    [[nodiscard]] PipeResult submit(std::size_t length) override;
    [[nodiscard]] Block take(std::chrono::milliseconds patience) override;
    void cancel() override;

    [[nodiscard]] std::uint8_t endpoint() const { return _endpoint; }
    /// Ends all that is in flight; everything after answers gone.
    void shut();

private:
    struct Slot;
    static PipeResult resultOf(const Slot& slot);
    void cancelAll();

    UsbContext& _context;
    libusb_device_handle* const _device;
    const std::uint8_t _endpoint;
    const std::size_t _packetSize;
    const std::size_t _blockSize;
    std::vector<std::unique_ptr<Slot>> _slots;
    std::size_t _oldest = 0; ///< the slot that take() waits for
    std::size_t _inFlight = 0;

    std::mutex _mutex; ///< of _shut; held while transfers are submitted and cancelled
    bool _shut = false;
};

} // namespace mtpsdk
