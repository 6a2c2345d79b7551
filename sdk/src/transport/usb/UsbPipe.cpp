// SPDX-License-Identifier: MIT
#include "transport/usb/UsbPipe.h"

#include <algorithm>
#include <atomic>
#include <libusb.h>

namespace mtpsdk {
namespace {

constexpr std::size_t wantedBlockSize = std::size_t{256} * 1024;

} // namespace

struct UsbPipe::Slot {
    explicit Slot(std::size_t size)
        : buffer(size)
        , transfer(libusb_alloc_transfer(0)) {}
    ~Slot() { libusb_free_transfer(transfer); }
    Slot(const Slot&) = delete;
    Slot& operator=(const Slot&) = delete;

    static void LIBUSB_CALL completed(libusb_transfer* transfer) {
        static_cast<Slot*>(transfer->user_data)->submitted = false;
    }

    std::vector<std::byte> buffer;
    libusb_transfer* transfer;
    std::atomic<bool> submitted = false; ///< the system has it
};

UsbPipe::UsbPipe(UsbContext& context, libusb_device_handle* device, std::uint8_t endpoint, std::size_t packetSize,
                 std::size_t depth)
    : _context(context)
    , _device(device)
    , _endpoint(endpoint)
    , _packetSize(packetSize)
    , _blockSize(std::max(wantedBlockSize / packetSize, std::size_t{1}) * packetSize) {
    for (std::size_t i = 0; i < depth; ++i) {
        _slots.push_back(std::make_unique<Slot>(_blockSize));
    }
}

UsbPipe::~UsbPipe() {
    shut();
    const auto allAreBack = [this] {
        return std::ranges::none_of(_slots, [](const auto& slot) { return slot->submitted.load(); });
    };
    while (!_context.wait(allAreBack, std::chrono::hours(1))) {
    }
}

std::span<std::byte> UsbPipe::buffer() {
    if (_inFlight == _slots.size()) {
        return {};
    }
    return _slots[(_oldest + _inFlight) % _slots.size()]->buffer;
}

PipeResult UsbPipe::submit(std::size_t length) {
    Slot& slot = *_slots[(_oldest + _inFlight) % _slots.size()];
    const std::lock_guard lock(_mutex);
    if (_shut) {
        return PipeResult::gone;
    }
    if (_inFlight == _slots.size()) {
        return PipeResult::full;
    }
    if (slot.transfer == nullptr) {
        return PipeResult::failed;
    }
    // Time is kept by take(): a transfer's own limit would count what waits behind others.
    constexpr unsigned unlimited = 0;
    libusb_fill_bulk_transfer(slot.transfer, _device, _endpoint, reinterpret_cast<unsigned char*>(slot.buffer.data()),
                              static_cast<int>(length), &Slot::completed, &slot, unlimited);
    slot.submitted = true; // the callback may run before the call below returns
    const int error = libusb_submit_transfer(slot.transfer);
    if (error == LIBUSB_SUCCESS) {
        ++_inFlight;
        return PipeResult::done;
    }
    slot.submitted = false;
    switch (error) {
    case LIBUSB_ERROR_NO_DEVICE:
        return PipeResult::gone;
    case LIBUSB_ERROR_NO_MEM:
        return PipeResult::full;
    default:
        return PipeResult::failed;
    }
}

PipeResult UsbPipe::resultOf(const Slot& slot) {
    switch (slot.transfer->status) {
    case LIBUSB_TRANSFER_COMPLETED:
        return PipeResult::done;
    case LIBUSB_TRANSFER_STALL:
        return PipeResult::stalled;
    case LIBUSB_TRANSFER_NO_DEVICE:
        return PipeResult::gone;
    case LIBUSB_TRANSFER_CANCELLED:
        return PipeResult::cancelled;
    default:
        return PipeResult::failed;
    }
}

BulkPipe::Block UsbPipe::take(std::chrono::milliseconds patience) {
    Slot& slot = *_slots[_oldest];
    Block block;
    if (!_context.wait([&slot] { return !slot.submitted; }, patience)) {
        block.result = PipeResult::timedOut;
        return block;
    }
    const std::lock_guard lock(_mutex);
    _oldest = (_oldest + 1) % _slots.size();
    --_inFlight;
    const auto moved = static_cast<std::size_t>(slot.transfer->actual_length);
    block.asked = static_cast<std::size_t>(slot.transfer->length);
    block.data = std::span(slot.buffer).first(moved);
    block.result = _shut ? PipeResult::gone : resultOf(slot);
    block.isShort = block.result == PipeResult::done && (moved < block.asked);
    return block;
}

void UsbPipe::cancel() {
    const std::lock_guard lock(_mutex);
    cancelAll();
}

void UsbPipe::cancelAll() {
    for (std::size_t i = 0; i < _slots.size(); ++i) {
        // The newest first: what an older one sets free must not start a younger one.
        const std::size_t place = (_oldest + _slots.size() - 1 - i) % _slots.size();
        if (_slots[place]->submitted) {
            (void) libusb_cancel_transfer(_slots[place]->transfer);
        }
    }
}

void UsbPipe::shut() {
    const std::lock_guard lock(_mutex);
    _shut = true;
    cancelAll();
}

} // namespace mtpsdk
