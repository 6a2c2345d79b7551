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
constexpr int retryMilliseconds = 100;
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
    auto control = std::make_unique<platform::Descriptor>(::open(path.c_str(), O_RDWR | O_CLOEXEC));
    if (!*control || !describe(control->get())) {
        error = problemWith(path);
        return nullptr;
    }
    auto queue = AsyncQueue::create(queueCapacity);
    if (!queue) {
        error = "The kernel has no asynchronous transfers to give.";
        return nullptr;
    }
    std::unique_ptr<FunctionFsGadget> gadget(
        new FunctionFsGadget(folder, std::move(control), std::move(queue), std::move(store)));
    if (!gadget->_toHost.isOpen() || !gadget->_fromHost.isOpen() || !gadget->_events.isOpen()) {
        error = problemWith(folder + "/ep1");
        return nullptr;
    }
    return gadget;
}

FunctionFsGadget::FunctionFsGadget(const std::string& folder, std::unique_ptr<platform::Descriptor> control,
                                   std::unique_ptr<AsyncQueue> queue, std::shared_ptr<Store> store)
    : _control(std::move(control))
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
    std::array<pollfd, 4> watched = {pollfd{_control->get(), POLLIN, 0}, pollfd{_queue->descriptor(), POLLIN, 0},
                                     pollfd{_eventRaised.get(), POLLIN, 0}, pollfd{stop, POLLIN, 0}};
    for (;;) {
        // What the kernel did not take for want of memory is tried again.
        const bool isStuck = _connected && (_unsent || _fromHost.isIdle());
        (void) platform::retryInterrupted(
            [&] { return ::poll(watched.data(), watched.size(), isStuck ? retryMilliseconds : -1); });
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
    const ssize_t size = platform::retryInterrupted([&] { return ::read(_control->get(), &event, sizeof event); });
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
    forgetAnswer();
    _fromHost.flush();
}

void FunctionFsGadget::forgetAnswer() {
    _toHost.flush();
    _unsent.reset();
}

void FunctionFsGadget::setUp(const usb_ctrlrequest& request) {
    const auto is = [&request](std::uint8_t direction, std::uint8_t code) {
        return request.bRequestType == (direction | USB_TYPE_CLASS | USB_RECIP_INTERFACE) && request.bRequest == code;
    };
    if (is(USB_DIR_OUT, cancelCode)) {
        cancelRequest(request.wLength);
    } else if (is(USB_DIR_OUT, resetCode)) {
        flush();
        _stream.reset();
        (void) ::read(_control->get(), nullptr, 0);
    } else if (is(USB_DIR_IN, extendedEventCode)) {
        answer(extendedEvent(), request.wLength);
    } else if (is(USB_DIR_IN, statusCode)) {
        answer(deviceStatus(), request.wLength);
    } else {
        stall(request);
    }
}

/// The host has stopped moving data when it says so, so whatever is here is all that there is.
void FunctionFsGadget::cancelRequest(std::size_t length) {
    constexpr std::size_t expected = 6;
    std::array<std::byte, 64> data{};
    const ssize_t size = ::read(_control->get(), data.data(), std::min(length, data.size()));
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
    (void) ::write(_control->get(), data.data(), std::min(data.size(), limit));
}

/// Going the wrong way is how FunctionFS is told to refuse a request.
void FunctionFsGadget::stall(const usb_ctrlrequest& request) {
    if ((request.bRequestType & USB_DIR_IN) != 0) {
        (void) ::read(_control->get(), nullptr, 0);
    } else {
        (void) ::write(_control->get(), nullptr, 0);
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
            forgetAnswer(); // of a transaction that the host has given up
        }
    }
}

void FunctionFsGadget::postReads() {
    while (!_fromHost.buffer().empty() && _fromHost.submit(blockSize)) {
    }
}

void FunctionFsGadget::sendWhatIsDue() {
    for (std::span<std::byte> buffer = _toHost.buffer(); !buffer.empty(); buffer = _toHost.buffer()) {
        const auto length = _unsent ? _unsent : _stream.next(buffer);
        _unsent.reset();
        if (length && !_toHost.submit(*length)) {
            _unsent = length; // it stays in the buffer
        }
        if (!length || _unsent) {
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
