// SPDX-License-Identifier: MIT
#include "gadget/AsyncFiles.h"

#include <array>
#include <fcntl.h>
#include <linux/usb/functionfs.h>
#include <sys/eventfd.h>
#include <sys/ioctl.h>
#include <sys/syscall.h>

namespace mtpsdk {

std::unique_ptr<AsyncQueue> AsyncQueue::create(unsigned capacity) {
    aio_context_t context = 0;
    if (::syscall(SYS_io_setup, capacity, &context) != 0) {
        return nullptr;
    }
    return std::unique_ptr<AsyncQueue>(new AsyncQueue(context, ::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)));
}

AsyncQueue::~AsyncQueue() {
    ::syscall(SYS_io_destroy, _context);
}

bool AsyncQueue::submit(Transfer& transfer) {
    transfer.control.aio_data = reinterpret_cast<std::uintptr_t>(&transfer);
    transfer.control.aio_buf = reinterpret_cast<std::uintptr_t>(transfer.buffer.data());
    transfer.control.aio_flags = IOCB_FLAG_RESFD;
    transfer.control.aio_resfd = static_cast<std::uint32_t>(_ended.get());
    std::array<iocb*, 1> list = {&transfer.control};
    transfer.inFlight =
        platform::retryInterrupted([&] { return ::syscall(SYS_io_submit, _context, list.size(), list.data()); }) == 1;
    return transfer.inFlight;
}

void AsyncQueue::cancel(Transfer& transfer) {
    io_event ignored{};
    // Its end shows in the queue like any other's.
    ::syscall(SYS_io_cancel, _context, &transfer.control, &ignored);
}

void AsyncQueue::collect(bool wait) {
    std::uint64_t count = 0;
    [[maybe_unused]] const ssize_t size = ::read(_ended.get(), &count, sizeof count);
    std::array<io_event, 16> ended{};
    timespec limit{wait ? 1 : 0, 0};
    long collected = 0;
    do {
        collected = ::syscall(SYS_io_getevents, _context, wait ? 1L : 0L, ended.size(), ended.data(), &limit);
        for (long i = 0; i < collected; ++i) {
            const io_event& event = ended[static_cast<std::size_t>(i)];
            auto* const transfer = reinterpret_cast<Transfer*>(static_cast<std::uintptr_t>(event.data));
            transfer->inFlight = false;
            transfer->result = event.res;
        }
        wait = false;
    } while (collected == static_cast<long>(ended.size()));
}

EndpointFile::EndpointFile(AsyncQueue& queue, const std::string& path, Direction direction, std::size_t depth,
                           std::size_t blockSize)
    : _queue(queue)
    // Without this, a transfer that is given while the bus is away would wait for it, and all else with it.
    , _file(::open(path.c_str(), O_RDWR | O_CLOEXEC | O_NONBLOCK))
    , _direction(direction)
    , _transfers(depth) {
    for (AsyncQueue::Transfer& transfer : _transfers) {
        transfer.buffer.resize(blockSize);
    }
}

EndpointFile::~EndpointFile() {
    flush();
}

std::size_t EndpointFile::packetSize() const {
    usb_endpoint_descriptor descriptor{};
    return ::ioctl(_file.get(), FUNCTIONFS_ENDPOINT_DESC, &descriptor) == 0 ? descriptor.wMaxPacketSize : 0;
}

std::span<std::byte> EndpointFile::buffer() {
    if (_inFlight == _transfers.size()) {
        return {};
    }
    return _transfers[(_oldest + _inFlight) % _transfers.size()].buffer;
}

bool EndpointFile::submit(std::size_t length) {
    AsyncQueue::Transfer& transfer = _transfers[(_oldest + _inFlight) % _transfers.size()];
    transfer.control = {};
    transfer.control.aio_lio_opcode = _direction == Direction::toHost ? IOCB_CMD_PWRITE : IOCB_CMD_PREAD;
    transfer.control.aio_fildes = static_cast<std::uint32_t>(_file.get());
    transfer.control.aio_nbytes = length;
    const bool taken = _queue.submit(transfer);
    _inFlight += taken ? 1 : 0;
    return taken;
}

bool EndpointFile::hasEnded() const {
    return _inFlight > 0 && !_transfers[_oldest].inFlight;
}

EndpointFile::Block EndpointFile::take() {
    const AsyncQueue::Transfer& transfer = oldest();
    _oldest = (_oldest + 1) % _transfers.size();
    --_inFlight;
    Block block;
    block.failed = transfer.result < 0;
    const auto moved = block.failed ? 0 : static_cast<std::size_t>(transfer.result);
    block.data = std::span(transfer.buffer).first(moved);
    block.isShort = moved < transfer.control.aio_nbytes;
    return block;
}

void EndpointFile::flush() {
    for (std::size_t i = _inFlight; i > 0; --i) {
        // The newest first: what an older one sets free must not start a younger one.
        AsyncQueue::Transfer& transfer = _transfers[(_oldest + i - 1) % _transfers.size()];
        if (transfer.inFlight) {
            _queue.cancel(transfer);
        }
    }
    while (_inFlight > 0) {
        if (hasEnded()) {
            (void) take();
        } else {
            _queue.collect(true);
        }
    }
}

} // namespace mtpsdk
