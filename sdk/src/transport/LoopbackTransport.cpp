// SPDX-License-Identifier: MIT
#include "transport/LoopbackTransport.h"

#include "mtp/Container.h"

#include <algorithm>

namespace mtpsdk {

namespace {

constexpr std::size_t blockSize = std::size_t{256} * 1024;
/// An initiator that never reads its events must not fill the memory.
constexpr std::size_t maximumEvents = 100'000;

} // namespace

void LoopbackTransport::Plug::pull() {
    const std::lock_guard lock(_mutex);
    if (_transport != nullptr) {
        _transport->close();
    }
}

LoopbackTransport::LoopbackTransport(std::shared_ptr<Store> store, std::shared_ptr<FaultPlan> faults)
    : _faults(std::move(faults))
    , _pages(1 + blockSize / sizeof(Page))
    , _responder(std::move(store), _faults) {
    _responder.setEventSink([this](std::span<const std::byte> container) { queueEvent(container); });
    _plug->_transport = this;
}

LoopbackTransport::~LoopbackTransport() {
    {
        const std::lock_guard lock(_plug->_mutex);
        _plug->_transport = nullptr;
    }
    _responder.setEventSink({});
}

DGSTATUS LoopbackTransport::send(std::span<const std::byte> header, std::uint64_t payloadLength,
                                 const BlockSource& source) {
    if (_closed) {
        return DGSTATUS_NO_DEVICE_ATTACHED;
    }
    const auto decoded = decodeHeader(header);
    const bool isCommand = decoded && decoded->type == ContainerType::Command;
    return isCommand ? sendCommand(header) : sendData(header, payloadLength, source);
}

DGSTATUS LoopbackTransport::sendCommand(std::span<const std::byte> container) {
    const FaultPlan::Line line = _faults->lineFor(static_cast<OperationCode>(decodeHeader(container)->code));
    _vanishAfter = line.vanishAfter;
    _phase.reset();
    if (const DGSTATUS status = waitForDevice(line.delay); status != DGSTATUS_SUCCESS) {
        return status;
    }
    _phase = _responder.command(container);
    if (_vanishAfter && (*_vanishAfter == 0 || _phase == Responder::Phase::response)) {
        close();
        return DGSTATUS_NO_DEVICE_ATTACHED;
    }
    return DGSTATUS_SUCCESS;
}

DGSTATUS LoopbackTransport::sendData(std::span<const std::byte> header, std::uint64_t payloadLength,
                                     const BlockSource& source) {
    if (_phase != Responder::Phase::dataOut) {
        return DGSTATUS_INTERNAL_DRIVER_READ_ERROR; // a device that wants no data stalls the line
    }
    _responder.dataOut(header);
    while (payloadLength > 0) {
        const auto wanted = static_cast<std::size_t>(std::min<std::uint64_t>(payloadLength, blockSize));
        const auto block = payloadBlock().first(wanted);
        const std::ptrdiff_t count = source(block);
        if (_closed) {
            return DGSTATUS_NO_DEVICE_ATTACHED;
        }
        if (count < 0 || static_cast<std::size_t>(count) != wanted) {
            return DGSTATUS_IO_CANCEL;
        }
        if (!pass(wanted)) {
            return DGSTATUS_NO_DEVICE_ATTACHED;
        }
        _responder.dataOut(block);
        payloadLength -= wanted;
    }
    _responder.dataOutEnd();
    _phase = Responder::Phase::response;
    return DGSTATUS_SUCCESS;
}

DGSTATUS LoopbackTransport::receive(const BlockSink& sink) {
    if (_closed) {
        return DGSTATUS_NO_DEVICE_ATTACHED;
    }
    if (_phase == Responder::Phase::dataIn) {
        return receiveData(sink);
    }
    if (_phase != Responder::Phase::response) {
        // Nobody has anything to say. Waiting would not change that.
        return DGSTATUS_INTERNAL_DEVICE_NOT_RESPONSE;
    }
    _phase.reset();
    return sink(_responder.response()) ? DGSTATUS_SUCCESS : DGSTATUS_IO_CANCEL;
}

std::span<std::byte> LoopbackTransport::payloadBlock() {
    return std::as_writable_bytes(std::span(_pages)).subspan(sizeof(Page));
}

DGSTATUS LoopbackTransport::receiveData(const BlockSink& sink) {
    // With room for the header before the first one, all blocks of an object's bytes begin and end where pages do, in
    // the file and here: the system copies those in two thirds of the time.
    std::span<std::byte> block = std::as_writable_bytes(std::span(_pages)).subspan(sizeof(Page) - containerHeaderSize);
    bool isFull = true;
    while (isFull) {
        const std::size_t count = _responder.dataIn(block);
        if (_closed || !pass(count)) {
            return DGSTATUS_NO_DEVICE_ATTACHED;
        }
        if (!sink(block.first(count))) {
            return DGSTATUS_IO_CANCEL;
        }
        isFull = count == block.size();
        block = payloadBlock();
    }
    _phase = Responder::Phase::response;
    return DGSTATUS_SUCCESS;
}

DGSTATUS LoopbackTransport::cancel(std::uint32_t transactionId) {
    if (_closed) {
        return DGSTATUS_NO_DEVICE_ATTACHED;
    }
    if (!_responder.cancel(transactionId)) {
        return DGSTATUS_INTERNAL_DEVICE_NOT_RESPONSE;
    }
    _phase.reset();
    return DGSTATUS_SUCCESS;
}

DGSTATUS LoopbackTransport::reset() {
    if (_closed) {
        return DGSTATUS_NO_DEVICE_ATTACHED;
    }
    _responder.reset();
    _phase.reset();
    return DGSTATUS_SUCCESS;
}

DGSTATUS LoopbackTransport::readEvent(std::vector<std::byte>& container, std::chrono::milliseconds timeout) {
    std::unique_lock lock(_mutex);
    _changed.wait_for(lock, timeout, [this] { return _closed || !_events.empty(); });
    if (_closed) {
        return DGSTATUS_NO_DEVICE_ATTACHED;
    }
    if (_events.empty()) {
        return DGSTATUS_NO_DATA;
    }
    container = std::move(_events.front());
    _events.pop_front();
    return DGSTATUS_SUCCESS;
}

void LoopbackTransport::close() {
    const std::lock_guard lock(_mutex);
    _closed = true;
    _changed.notify_all();
}

DGSTATUS LoopbackTransport::waitForDevice(std::chrono::milliseconds delay) {
    if (delay.count() == 0) {
        return DGSTATUS_SUCCESS;
    }
    const std::chrono::milliseconds patience = _faults->patience();
    std::unique_lock lock(_mutex);
    if (_changed.wait_for(lock, std::min(delay, patience), [this] { return _closed.load(); })) {
        return DGSTATUS_NO_DEVICE_ATTACHED;
    }
    return delay > patience ? DGSTATUS_INTERNAL_DEVICE_NOT_RESPONSE : DGSTATUS_SUCCESS;
}

bool LoopbackTransport::pass(std::size_t bytes) {
    if (!_vanishAfter) {
        return true;
    }
    if (*_vanishAfter <= bytes) {
        close();
        return false;
    }
    *_vanishAfter -= bytes;
    return true;
}

void LoopbackTransport::queueEvent(std::span<const std::byte> container) {
    const std::lock_guard lock(_mutex);
    if (_events.size() < maximumEvents) {
        _events.emplace_back(container.begin(), container.end());
    }
    _changed.notify_all();
}

} // namespace mtpsdk
