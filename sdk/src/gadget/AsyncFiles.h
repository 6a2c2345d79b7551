// SPDX-License-Identifier: MIT
#pragma once

#include "platform/PosixFile.h"

#include <cstddef>
#include <cstdint>
#include <linux/aio_abi.h>
#include <memory>
#include <span>
#include <string>
#include <vector>

namespace mtpsdk {

/// The kernel's queue of reads and writes that go on by themselves. One thread uses it.
class AsyncQueue {
public:
    struct Transfer {
        iocb control{};
        bool inFlight = false;
        std::int64_t result = 0; ///< bytes, or a negative error number
        std::vector<std::byte> buffer;
    };

    /// Null when the kernel has none.
    [[nodiscard]] static std::unique_ptr<AsyncQueue> create(unsigned capacity);
    ~AsyncQueue();
    AsyncQueue(const AsyncQueue&) = delete;
    AsyncQueue& operator=(const AsyncQueue&) = delete;

    /// Readable when transfers have ended.
    [[nodiscard]] int descriptor() const { return _ended.get(); }
    /// false when the file does not take it. The transfer must stay where it is until it has ended.
    [[nodiscard]] bool submit(Transfer& transfer);
    void cancel(Transfer& transfer);
    /// Marks those that have ended, after waiting for one of them if asked to; a second at most.
    void collect(bool wait);

private:
    AsyncQueue(aio_context_t context, int descriptor)
        : _context(context)
        , _ended(descriptor) {}

    aio_context_t _context;
    platform::Descriptor _ended;
};

/// An endpoint's file: a ring of transfers, taken back in the order in which they were given. The queue must outlive
/// it.
class EndpointFile {
public:
    enum class Direction { toHost, fromHost };
    struct Block {
        std::span<const std::byte> data; ///< until the next submit
        bool isShort = false;            ///< less than was asked for
        bool failed = false;
    };

    EndpointFile(AsyncQueue& queue, const std::string& path, Direction direction, std::size_t depth,
                 std::size_t blockSize);
    ~EndpointFile();
    EndpointFile(const EndpointFile&) = delete;
    EndpointFile& operator=(const EndpointFile&) = delete;

    [[nodiscard]] bool isOpen() const { return static_cast<bool>(_file); }
    /// The endpoint's packet size at the speed of the bus; 0 while there is none.
    [[nodiscard]] std::size_t packetSize() const;

    [[nodiscard]] bool isIdle() const { return _inFlight == 0; }
    /// The buffer of the next transfer; empty when all are in flight.
    [[nodiscard]] std::span<std::byte> buffer();
    /// Moves the first `length` bytes of buffer().
    [[nodiscard]] bool submit(std::size_t length);
    /// Whether take() has something.
    [[nodiscard]] bool hasEnded() const;
    /// The oldest transfer, which has ended.
    [[nodiscard]] Block take();
    /// Ends and forgets all that is in flight.
    void flush();

private:
    [[nodiscard]] AsyncQueue::Transfer& oldest() { return _transfers[_oldest]; }

    AsyncQueue& _queue;
    platform::Descriptor _file;
    const Direction _direction;
    std::vector<AsyncQueue::Transfer> _transfers;
    std::size_t _oldest = 0;
    std::size_t _inFlight = 0;
};

} // namespace mtpsdk
