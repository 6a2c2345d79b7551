// SPDX-License-Identifier: MIT
#include "transport/usb/UsbTransport.h"

#include "mtp/Container.h"
#include "transport/usb/PhaseWriter.h"

#include <algorithm>
#include <utility>

namespace mtpsdk {
namespace {

using namespace std::chrono_literals;

/// Blocks in flight. Four keep the bus busy while a block is written to, or read from, a file.
constexpr std::size_t depth = 4;

// How long the line may be silent. A device may have to delete, or list, very much before it answers; one that does not
// even answer the first questions needs help at once.
constexpr auto longPatience = 60s;
constexpr auto shortPatience = 8s;
// How long a device may take to come back to its senses.
constexpr auto readyLimit = 5s;
constexpr auto pollPause = 20ms;
constexpr auto silence = 150ms;
constexpr auto drainLimit = 5s;
constexpr auto noticeCancel = 200ms;
/// A transfer that fails may be the first sign of a device that was pulled out: the system knows a moment later.
constexpr auto unplugNotice = 1s;

/// How many small phases the device sends in answer to a command, where that is known before; 0 for all else. No read
/// may be waiting while a device is still to take data.
std::size_t phasesToCome(OperationCode operation) {
    constexpr std::size_t responseAlone = 1;
    constexpr std::size_t dataAndResponse = 2;
    switch (operation) {
    case OperationCode::OpenSession:
    case OperationCode::CloseSession:
    case OperationCode::DeleteObject:
        return responseAlone;
    case OperationCode::GetDeviceInfo:
    case OperationCode::GetStorageIDs:
    case OperationCode::GetStorageInfo:
    case OperationCode::GetObjectHandles:
    case OperationCode::GetObjectInfo:
    case OperationCode::GetDevicePropValue:
    case OperationCode::GetObjectPropsSupported:
    case OperationCode::GetObjectPropDesc:
    case OperationCode::GetObjectPropValue:
    case OperationCode::GetObjectPropList:
    case OperationCode::GetObjectReferences:
        return dataAndResponse;
    default:
        return 0;
    }
}

} // namespace

std::unique_ptr<UsbTransport> UsbTransport::open(const UsbDevice& device, DGSTATUS& status, std::string& reason) {
    std::unique_ptr<UsbLink> link = UsbLink::open(device, status, reason);
    return link ? std::make_unique<UsbTransport>(std::move(link)) : nullptr;
}

UsbTransport::UsbTransport(std::unique_ptr<UsbLink> link)
    : _link(std::move(link))
    , _out(_link->context(), _link->handle(), _link->interface().bulkOut.address, _link->interface().bulkOut.packetSize,
           depth)
    , _in(_link->context(), _link->handle(), _link->interface().bulkIn.address, _link->interface().bulkIn.packetSize,
          depth)
    , _reader(_in) {
    if (const UsbEndpoint& events = _link->interface().interruptIn; events.address != 0) {
        _events.emplace(_link->context(), _link->handle(), events.address, std::max(events.packetSize, std::size_t{1}));
    }
}

UsbTransport::~UsbTransport() {
    close();
}

std::chrono::milliseconds UsbTransport::patience() const {
    switch (_operation.value_or(OperationCode::GetDeviceInfo)) {
    case OperationCode::OpenSession:
    case OperationCode::CloseSession:
    case OperationCode::GetDeviceInfo:
        return shortPatience;
    default:
        return longPatience;
    }
}

DGSTATUS UsbTransport::send(std::span<const std::byte> header, std::uint64_t payloadLength, const BlockSource& source) {
    const auto decoded = decodeHeader(header);
    const bool isCommand = decoded && decoded->type == ContainerType::Command;
    if (isCommand) {
        _operation = static_cast<OperationCode>(decoded->code);
        _reader.beginTransaction(phasesToCome(*_operation));
    }
    const PipeResult result = writePhase(_out, header, payloadLength, source, patience());
    if (isCommand && result != PipeResult::done) {
        _reader.dropReadAhead();
    }
    _cutShort = result != PipeResult::done && payloadLength > 0;
    return conclude(result);
}

DGSTATUS UsbTransport::receive(const BlockSink& sink) {
    const DGSTATUS status = conclude(_reader.receive(sink, patience()));
    _stopped = _stopped && !_reader.stoppedAtEnd(); // only the response is missing
    return status;
}

DGSTATUS UsbTransport::conclude(PipeResult result) {
    _stopped = result == PipeResult::stopped;
    if (_closed || result == PipeResult::gone) {
        return DGSTATUS_NO_DEVICE_ATTACHED;
    }
    DeviceStatus status;
    switch (result) {
    case PipeResult::done:
        return DGSTATUS_SUCCESS;
    case PipeResult::stopped:
        return DGSTATUS_IO_CANCEL;
    case PipeResult::timedOut:
        return DGSTATUS_INTERNAL_DEVICE_NOT_RESPONSE;
    case PipeResult::stalled:
        _cutShort = false;
        return waitUntilReady(readyLimit) == DGSTATUS_NO_DEVICE_ATTACHED ? DGSTATUS_NO_DEVICE_ATTACHED
                                                                         : DGSTATUS_INTERNAL_DRIVER_READ_ERROR;
    default:
        (void) pause(unplugNotice);
        return _closed || _link->statusRequest(status) == DGSTATUS_NO_DEVICE_ATTACHED
                   ? DGSTATUS_NO_DEVICE_ATTACHED
                   : DGSTATUS_INTERNAL_DRIVER_READ_ERROR;
    }
}

DGSTATUS UsbTransport::waitUntilReady(std::chrono::milliseconds limit) {
    const auto end = std::chrono::steady_clock::now() + limit;
    for (;;) {
        DeviceStatus status;
        const DGSTATUS asked = _link->statusRequest(status);
        if (_closed || asked == DGSTATUS_NO_DEVICE_ATTACHED) {
            return DGSTATUS_NO_DEVICE_ATTACHED;
        }
        _link->clearHalts();
        const bool isBusy = asked == DGSTATUS_SUCCESS && status.code == raw(ResponseCode::DeviceBusy);
        if (!isBusy) {
            return DGSTATUS_SUCCESS;
        }
        if (std::chrono::steady_clock::now() > end) {
            return DGSTATUS_INTERNAL_DEVICE_NOT_RESPONSE;
        }
        if (!pause(pollPause)) {
            return DGSTATUS_NO_DEVICE_ATTACHED;
        }
    }
}

DGSTATUS UsbTransport::drain() {
    switch (_reader.drain(silence, drainLimit)) {
    case PipeResult::done:
        return DGSTATUS_SUCCESS;
    case PipeResult::gone:
        return DGSTATUS_NO_DEVICE_ATTACHED;
    default:
        return DGSTATUS_INTERNAL_DEVICE_NOT_RESPONSE;
    }
}

DGSTATUS UsbTransport::cancel(std::uint32_t transactionId) {
    const bool mayBeOver = !_stopped && !_cutShort; // what failed may have been answered meanwhile
    if (_closed || (mayBeOver && drain() == DGSTATUS_NO_DEVICE_ATTACHED)) {
        return DGSTATUS_NO_DEVICE_ATTACHED;
    }
    if (_reader.answered() == transactionId) {
        return drain(); // some devices leave the bus when they are told to cancel what is over
    }
    DGSTATUS status = _link->cancelRequest(transactionId);
    if (status != DGSTATUS_SUCCESS) {
        return status;
    }
    endUnfinishedPhase();
    status = drain();
    if (status == DGSTATUS_SUCCESS) {
        status = waitUntilReady(readyLimit);
    }
    return status;
}

/// Some devices notice a cancellation only between two packets, and wait for the next one. An empty packet ends the
/// phase for them; one that is ready already must not get it, it would take it for a command.
void UsbTransport::endUnfinishedPhase() {
    if (!std::exchange(_cutShort, false)) {
        return;
    }
    DeviceStatus status;
    (void) pause(noticeCancel);
    if (_link->statusRequest(status) == DGSTATUS_SUCCESS && status.code == raw(ResponseCode::DeviceBusy)) {
        (void) writePhase(_out, {}, 0, {}, silence);
    }
}

DGSTATUS UsbTransport::reset() {
    const DGSTATUS status = _closed ? DGSTATUS_NO_DEVICE_ATTACHED : _link->resetRequest();
    if (status == DGSTATUS_NO_DEVICE_ATTACHED) {
        return status;
    }
    // Devices without this request stall it; the rest may help them all the same.
    const DGSTATUS ready = waitUntilReady(readyLimit);
    return ready == DGSTATUS_NO_DEVICE_ATTACHED ? ready : drain();
}

DGSTATUS UsbTransport::readEvent(std::vector<std::byte>& container, std::chrono::milliseconds timeout) {
    if (_events) {
        return _events->read(container, timeout);
    }
    return pause(timeout) ? DGSTATUS_NO_DATA : DGSTATUS_NO_DEVICE_ATTACHED;
}

bool UsbTransport::pause(std::chrono::milliseconds time) {
    std::unique_lock lock(_mutex);
    return !_changed.wait_for(lock, time, [this] { return _closed.load(); });
}

void UsbTransport::close() {
    {
        const std::lock_guard lock(_mutex);
        _closed = true;
        _changed.notify_all();
    }
    _out.shut();
    _in.shut();
    if (_events) {
        _events->shut();
    }
}

} // namespace mtpsdk
