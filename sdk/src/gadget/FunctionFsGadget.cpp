// SPDX-License-Identifier: MIT
#include "gadget/FunctionFsGadget.h"

#include "gadget/FunctionDescriptors.h"
#include "mtp/Bytes.h"
#include "mtp/Container.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <poll.h>
#include <sys/eventfd.h>
#include <utility>

namespace mtpsdk {
namespace {

/// The kernel takes a whole piece of memory for each block.
constexpr std::size_t blockSize = std::size_t{64} * 1024;
constexpr std::size_t depth = 4;
constexpr std::size_t eventSize = 28;
constexpr unsigned queueCapacity = 64;
/// A host that never reads its events must not fill the memory.
constexpr std::size_t maximumEvents = 1024;

// Requests of the still-image class.
constexpr std::uint8_t cancelCode = 0x64;
constexpr std::uint8_t extendedEventCode = 0x65;
constexpr std::uint8_t resetCode = 0x66;
constexpr std::uint8_t statusCode = 0x67;

std::string problemWith(const std::string& path) {
    return "Cannot use \"" + path + "\": " + std::strerror(errno) + ".";
}

bool writeWhole(int file, const std::vector<std::byte>& bytes) {
    return platform::retryInterrupted([&] { return ::write(file, bytes.data(), bytes.size()); }) ==
           static_cast<ssize_t>(bytes.size());
}

bool describe(int control) {
    // Older kernels know no OS descriptors, or not this version of them.
    return (writeWhole(control, functionDescriptors(true)) || writeWhole(control, functionDescriptors(false))) &&
           writeWhole(control, functionStrings());
}

} // namespace

std::unique_ptr<FunctionFsGadget> FunctionFsGadget::open(const std::string& folder, std::shared_ptr<Store> store,
                                                         std::string& error) {
    const std::string path = folder + "/ep0";
    const int control = ::open(path.c_str(), O_RDWR | O_CLOEXEC);
    if (control < 0 || !describe(control)) {
        error = problemWith(path);
        (void) platform::Descriptor(control);
        return nullptr;
    }
    auto queue = AsyncQueue::create(queueCapacity);
    if (!queue) {
        error = "The kernel has no asynchronous transfers to give.";
        (void) platform::Descriptor(control);
        return nullptr;
    }
    std::unique_ptr<FunctionFsGadget> gadget(new FunctionFsGadget(folder, control, std::move(queue), std::move(store)));
    if (!gadget->_toHost.isOpen() || !gadget->_fromHost.isOpen() || !gadget->_events.isOpen()) {
        error = problemWith(folder + "/ep1");
        return nullptr;
    }
    return gadget;
}

FunctionFsGadget::FunctionFsGadget(const std::string& folder, int control, std::unique_ptr<AsyncQueue> queue,
                                   std::shared_ptr<Store> store)
    : _control(control)
    , _eventRaised(::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK))
    , _queue(std::move(queue))
    , _toHost(*_queue, folder + "/ep1", EndpointFile::Direction::toHost, depth, blockSize)
    , _fromHost(*_queue, folder + "/ep2", EndpointFile::Direction::fromHost, depth, blockSize)
    , _events(*_queue, folder + "/ep3", EndpointFile::Direction::toHost, 1, eventSize)
    , _responder(std::move(store))
    , _stream(_responder) {
    _responder.setEventSink([this](std::span<const std::byte> container) { queueEvent(container); });
}

FunctionFsGadget::~FunctionFsGadget() {
    _responder.setEventSink({});
}

bool FunctionFsGadget::serve(int stop, const vemomtpsdk::GadgetListener& listener, std::string& error) {
    enum { control, transfers, raised, stopping };
    std::array<pollfd, 4> watched = {pollfd{_control.get(), POLLIN, 0}, pollfd{_queue->descriptor(), POLLIN, 0},
                                     pollfd{_eventRaised.get(), POLLIN, 0}, pollfd{stop, POLLIN, 0}};
    for (;;) {
        (void) platform::retryInterrupted([&] { return ::poll(watched.data(), watched.size(), -1); });
        if (watched[stopping].revents != 0) {
            return true;
        }
        if (watched[control].revents != 0 && !handleControl()) {
            error = std::string("The USB port was taken away: ") + std::strerror(errno) + ".";
            return false;
        }
        if (const bool connected = _connected; std::exchange(_told, connected) != connected && listener) {
            listener(connected);
        }
        _queue->collect(false);
        forgetWhatWasSent();
        takeWhatArrived();
        if (_connected) {
            postReads();
            sendWhatIsDue();
            sendEvents();
        }
    }
}

bool FunctionFsGadget::handleControl() {
    usb_functionfs_event event{};
    const ssize_t size = platform::retryInterrupted([&] { return ::read(_control.get(), &event, sizeof event); });
    if (size < static_cast<ssize_t>(sizeof event)) {
        return size >= 0 || errno == EIDRM; // a request that the host gave up
    }
    switch (event.type) {
    case FUNCTIONFS_ENABLE:
        disconnect(); // the host may choose the configuration again without another word
        connect();
        break;
    case FUNCTIONFS_DISABLE:
    case FUNCTIONFS_UNBIND:
        disconnect();
        break;
    case FUNCTIONFS_SETUP:
        setUp(event.u.setup);
        break;
    default:
        break;
    }
    return true;
}

void FunctionFsGadget::connect() {
    const std::size_t packetSize = _toHost.packetSize();
    _connected = packetSize != 0;
    if (_connected) {
        _stream.setPacketSize(packetSize);
    }
}

void FunctionFsGadget::disconnect() {
    _connected = false;
    flush();
    _events.flush();
    _stream.reset();
    const std::lock_guard lock(_mutex);
    _raised.clear();
}

void FunctionFsGadget::flush() {
    _toHost.flush();
    _fromHost.flush();
}

void FunctionFsGadget::setUp(const usb_ctrlrequest& request) {
    constexpr std::uint8_t requestType = USB_TYPE_CLASS | USB_RECIP_INTERFACE;
    const std::size_t length = request.wLength;
    switch (request.bRequestType == (requestType | USB_DIR_IN) || request.bRequestType == requestType
                ? request.bRequest
                : std::uint8_t{0}) {
    case cancelCode:
        cancelRequest(length);
        break;
    case extendedEventCode:
        answer(extendedEvent(), length);
        break;
    case resetCode:
        flush();
        _stream.reset();
        (void) ::read(_control.get(), nullptr, 0);
        break;
    case statusCode:
        answer(deviceStatus(), length);
        break;
    default:
        stall(request);
    }
}

/// The host has stopped moving data when it says so, so whatever is here is all that there is.
void FunctionFsGadget::cancelRequest(std::size_t length) {
    constexpr std::size_t expected = 6;
    std::array<std::byte, 64> data{};
    const ssize_t size = ::read(_control.get(), data.data(), std::min(length, data.size()));
    const auto received = std::span(data).first(static_cast<std::size_t>(std::max<ssize_t>(size, 0)));
    ByteReader reader(received);
    const std::uint16_t code = reader.u16();
    const std::uint32_t transaction = reader.u32();
    if (size == static_cast<ssize_t>(expected) && code == raw(EventCode::CancelTransaction)) {
        flush();
        _stream.cancel(transaction);
    }
}

void FunctionFsGadget::answer(const std::vector<std::byte>& data, std::size_t limit) {
    (void) ::write(_control.get(), data.data(), std::min(data.size(), limit));
}

/// Going the wrong way is how FunctionFS is told to refuse a request.
void FunctionFsGadget::stall(const usb_ctrlrequest& request) {
    if ((request.bRequestType & USB_DIR_IN) != 0) {
        (void) ::read(_control.get(), nullptr, 0);
    } else {
        (void) ::write(_control.get(), nullptr, 0);
    }
}

std::vector<std::byte> FunctionFsGadget::deviceStatus() const {
    constexpr std::uint16_t size = 4;
    ByteWriter writer;
    writer.u16(size);
    writer.u16(raw(_stream.isBusy() ? ResponseCode::DeviceBusy : ResponseCode::OK));
    return writer.take();
}

std::vector<std::byte> FunctionFsGadget::extendedEvent() const {
    const auto event = decodeContainer(_lastEvent).value_or(ParameterContainer{});
    ByteWriter writer;
    writer.u16(event.code);
    writer.u32(event.transactionId);
    writer.u16(static_cast<std::uint16_t>(event.count));
    for (std::size_t i = 0; i < event.count; ++i) {
        writer.u16(sizeof(std::uint32_t));
        writer.u32(event.parameters[i]);
    }
    return writer.take();
}

void FunctionFsGadget::forgetWhatWasSent() {
    for (EndpointFile* const file : {&_toHost, &_events}) {
        while (file->hasEnded()) {
            (void) file->take();
        }
    }
}

void FunctionFsGadget::takeWhatArrived() {
    while (_fromHost.hasEnded()) {
        const EndpointFile::Block block = _fromHost.take();
        if (!block.failed && _connected && _stream.arrived(block.data, block.isShort)) {
            _toHost.flush(); // of a transaction that the host has given up
        }
    }
}

void FunctionFsGadget::postReads() {
    while (!_fromHost.buffer().empty() && _fromHost.submit(blockSize)) {
    }
}

void FunctionFsGadget::sendWhatIsDue() {
    for (std::span<std::byte> buffer = _toHost.buffer(); !buffer.empty(); buffer = _toHost.buffer()) {
        const auto length = _stream.next(buffer);
        if (!length || !_toHost.submit(*length)) {
            return;
        }
    }
}

void FunctionFsGadget::queueEvent(std::span<const std::byte> container) {
    const std::lock_guard lock(_mutex);
    if (_connected && _raised.size() < maximumEvents) {
        _raised.emplace_back(container.begin(), container.end());
    }
    const std::uint64_t one = 1;
    [[maybe_unused]] const ssize_t written = ::write(_eventRaised.get(), &one, sizeof one);
}

void FunctionFsGadget::sendEvents() {
    std::uint64_t count = 0;
    [[maybe_unused]] const ssize_t size = ::read(_eventRaised.get(), &count, sizeof count);
    const std::lock_guard lock(_mutex);
    if (_raised.empty() || !_events.isIdle()) {
        return;
    }
    _lastEvent = std::move(_raised.front());
    _raised.pop_front();
    std::ranges::copy(_lastEvent, _events.buffer().begin());
    (void) _events.submit(_lastEvent.size());
}

} // namespace mtpsdk
