// SPDX-License-Identifier: MIT
#pragma once

#include "transport/usb/EventAssembly.h"
#include "transport/usb/UsbContext.h"
#include "vemomtpsdk/Status.h"

#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <mutex>
#include <span>
#include <vector>

struct libusb_device_handle;
struct libusb_transfer;

namespace mtpsdk {

/// Keeps a read posted on the interrupt endpoint as long as the line is open, whether anybody asks for events or not: a
/// device that cannot deliver an event may wait for ever and answer nothing else. Statuses are those of
/// Transport::readEvent. Any thread.
///
/// A read takes one packet: a longer one would wait for more behind an event of whole packets. One that failed is
/// posted again by the next read() that nothing came for, so that the system has time to notice a device that was
/// pulled out.
class UsbEventReader {
public:
    /// Context and handle must outlive it.
    UsbEventReader(UsbContext& context, libusb_device_handle* device, std::uint8_t endpoint, std::size_t packetSize);
    /// Waits for the read to be given back by the system.
    ~UsbEventReader();
    UsbEventReader(const UsbEventReader&) = delete;
    UsbEventReader& operator=(const UsbEventReader&) = delete;

    [[nodiscard]] DGSTATUS read(std::vector<std::byte>& container, std::chrono::milliseconds timeout);
    void shut();

private:
    struct Callback;
    void post();
    void completed();
    void keep(std::span<const std::byte> packet);
    void postAgain(std::unique_lock<std::mutex>& lock);

    UsbContext& _context;
    libusb_device_handle* const _device;
    const std::uint8_t _endpoint;
    std::vector<std::byte> _buffer; ///< of a packet's size
    libusb_transfer* const _transfer;

    std::mutex _mutex;
    std::condition_variable _changed;
    EventAssembly _assembly;
    std::deque<std::vector<std::byte>> _events;
    bool _posted = false;
    bool _stalled = false; ///< to be cleared by a reader: that cannot be done where transfers complete
    bool _shut = false;
    bool _gone = false;
    int _failures = 0; ///< in a row
};

} // namespace mtpsdk
