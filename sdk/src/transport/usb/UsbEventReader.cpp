// SPDX-License-Identifier: MIT
#include "transport/usb/UsbEventReader.h"

#include <libusb.h>
#include <utility>

namespace mtpsdk {
namespace {

/// An application that never reads its events must not fill the memory.
constexpr std::size_t maximumKept = 65536;
/// In a row; an endpoint that does nothing but fail is left alone then. Readers wait in between, so that this takes
/// longer than the system needs to notice that a device was pulled out.
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
    , _buffer(packetSize)
    , _transfer(libusb_alloc_transfer(0))
    , _assembly(packetSize) {
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
        keep(std::span(_buffer).first(static_cast<std::size_t>(_transfer->actual_length)));
        post();
        break;
    case LIBUSB_TRANSFER_NO_DEVICE:
        _gone = true;
        break;
    case LIBUSB_TRANSFER_STALL:
        _stalled = true;
        _assembly.reset();
        break;
    default:
        _assembly.reset();
    }
    _changed.notify_all();
}

/// With the lock held.
void UsbEventReader::keep(std::span<const std::byte> packet) {
    std::optional<std::vector<std::byte>> event = _assembly.take(packet);
    if (event && _events.size() < maximumKept) {
        _events.push_back(std::move(*event));
    }
}

void UsbEventReader::postAgain(std::unique_lock<std::mutex>& lock) {
    if (_posted || _failures >= maximumFailures) {
        return;
    }
    ++_failures;
    if (std::exchange(_stalled, false)) {
        lock.unlock();
        (void) libusb_clear_halt(_device, _endpoint);
        lock.lock();
    }
    post();
}

DGSTATUS UsbEventReader::read(std::vector<std::byte>& container, std::chrono::milliseconds timeout) {
    std::unique_lock lock(_mutex);
    _changed.wait_for(lock, timeout, [this] { return _shut || _gone || !_events.empty(); });
    if (_shut || (_gone && _events.empty())) {
        return DGSTATUS_NO_DEVICE_ATTACHED;
    }
    if (_events.empty()) {
        postAgain(lock);
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
