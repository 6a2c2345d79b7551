// SPDX-License-Identifier: MIT
#include "transport/usb/UsbEventReader.h"

#include <libusb.h>

namespace mtpsdk {
namespace {

/// Room for the largest event container (24 bytes) whatever the packet size.
constexpr std::size_t wantedBuffer = 64;
/// An application that never reads its events must not fill the memory.
constexpr std::size_t maximumKept = 65536;
/// An endpoint that does nothing but fail is left alone.
constexpr int maximumFailures = 16;

} // namespace

struct UsbEventReader::Callback {
    static void LIBUSB_CALL run(libusb_transfer* transfer) {
        static_cast<UsbEventReader*>(transfer->user_data)->completed();
    }
};

UsbEventReader::UsbEventReader(UsbContext& context, libusb_device_handle* device, std::uint8_t endpoint,
                               std::size_t packetSize)
    : _context(context)
    , _device(device)
    , _endpoint(endpoint)
    , _buffer((wantedBuffer + packetSize - 1) / packetSize * packetSize)
    , _transfer(libusb_alloc_transfer(0)) {
    const std::lock_guard lock(_mutex);
    post();
}

UsbEventReader::~UsbEventReader() {
    shut();
    const auto isBack = [this] {
        const std::lock_guard lock(_mutex);
        return !_posted;
    };
    while (!_context.wait(isBack, std::chrono::hours(1))) {
    }
    libusb_free_transfer(_transfer);
}

/// With the lock held.
void UsbEventReader::post() {
    if (_shut || _gone || _posted || _transfer == nullptr) {
        return;
    }
    constexpr unsigned unlimited = 0;
    libusb_fill_interrupt_transfer(_transfer, _device, _endpoint, reinterpret_cast<unsigned char*>(_buffer.data()),
                                   static_cast<int>(_buffer.size()), &Callback::run, this, unlimited);
    const int error = libusb_submit_transfer(_transfer);
    _posted = error == LIBUSB_SUCCESS;
    _gone = error == LIBUSB_ERROR_NO_DEVICE;
}

void UsbEventReader::completed() {
    const std::lock_guard lock(_mutex);
    _posted = false;
    switch (_transfer->status) {
    case LIBUSB_TRANSFER_COMPLETED:
        _failures = 0;
        if (_transfer->actual_length > 0 && _events.size() < maximumKept) {
            const auto* const first = _buffer.data();
            _events.emplace_back(first, first + _transfer->actual_length);
        }
        post();
        break;
    case LIBUSB_TRANSFER_NO_DEVICE:
        _gone = true;
        break;
    case LIBUSB_TRANSFER_CANCELLED:
        break;
    case LIBUSB_TRANSFER_STALL:
        _stalled = true;
        break;
    default:
        if (++_failures < maximumFailures) {
            post();
        }
    }
    _changed.notify_all();
}

DGSTATUS UsbEventReader::read(std::vector<std::byte>& container, std::chrono::milliseconds timeout) {
    std::unique_lock lock(_mutex);
    if (_stalled && !_shut) {
        _stalled = false;
        lock.unlock();
        (void) libusb_clear_halt(_device, _endpoint);
        lock.lock();
        if (++_failures < maximumFailures) {
            post();
        }
    }
    _changed.wait_for(lock, timeout, [this] { return _shut || _gone || _stalled || !_events.empty(); });
    if (_shut || (_gone && _events.empty())) {
        return DGSTATUS_NO_DEVICE_ATTACHED;
    }
    if (_events.empty()) {
        return DGSTATUS_NO_DATA;
    }
    container = std::move(_events.front());
    _events.pop_front();
    return DGSTATUS_SUCCESS;
}

void UsbEventReader::shut() {
    const std::lock_guard lock(_mutex);
    _shut = true;
    if (_posted) {
        (void) libusb_cancel_transfer(_transfer);
    }
    _changed.notify_all();
}

} // namespace mtpsdk
