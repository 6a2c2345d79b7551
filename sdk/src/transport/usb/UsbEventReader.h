// SPDX-License-Identifier: MIT
#pragma once

#include "transport/usb/UsbContext.h"
#include "vemomtpsdk/Status.h"

#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <mutex>
#include <vector>

struct libusb_device_handle;
struct libusb_transfer;

namespace mtpsdk {

/// Keeps a read posted on the interrupt endpoint as long as the line is open, whether anybody asks for events or not: a
/// device that cannot deliver an event may wait for ever and answer nothing else. Statuses are those of
/// Transport::readEvent. Any thread.
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

    UsbContext& _context;
    libusb_device_handle* const _device;
    const std::uint8_t _endpoint;
    std::vector<std::byte> _buffer;
    libusb_transfer* const _transfer;

    std::mutex _mutex;
    std::condition_variable _changed;
    std::deque<std::vector<std::byte>> _events;
    bool _posted = false;
    bool _stalled = false; ///< to be cleared by the next reader: that cannot be done where transfers complete
    bool _shut = false;
    bool _gone = false;
    int _failures = 0; ///< in a row
};

} // namespace mtpsdk
