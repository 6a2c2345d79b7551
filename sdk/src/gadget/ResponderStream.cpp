// SPDX-License-Identifier: MIT
#include "gadget/ResponderStream.h"

#include "mtp/Container.h"

#include <algorithm>

namespace mtpsdk {
namespace {

bool isCommand(std::span<const std::byte> bytes) {
    const auto header = decodeHeader(bytes);
    return header && header->type == ContainerType::Command;
}

} // namespace

bool ResponderStream::arrived(std::span<const std::byte> block, bool isShort) {
    if (!_incoming && block.empty()) {
        return false; // it closes a phase of whole packets
    }
    std::span<const std::byte> command;
    if (_incoming || !isCommand(block)) {
        expect(block);
        command = commandBehind(block, isShort);
    } else {
        command = block; // in place of the data that were due, too: the host has given the transaction up
    }
    if (command.empty()) {
        receive(block, isShort);
        return false;
    }
    begin(command);
    return true;
}

/// Data that are not due are those of an operation that was refused, or the rest of what was cancelled.
void ResponderStream::expect(std::span<const std::byte> start) {
    if (_incoming) {
        return;
    }
    _incoming = Incoming{};
    _incoming->isWanted = _state == State::dataOut;
    const auto header = decodeHeader(start);
    if (header && header->type == ContainerType::Data && header->length >= containerHeaderSize &&
        header->length != containerLengthUnknown) {
        _incoming->length = header->length;
    }
}

void ResponderStream::begin(std::span<const std::byte> command) {
    _incoming.reset();
    switch (_responder.command(command)) {
    case Responder::Phase::dataOut:
        _state = State::dataOut;
        break;
    case Responder::Phase::dataIn:
        _state = State::dataIn;
        break;
    case Responder::Phase::response:
        _state = State::response;
        break;
    }
}

/// A program that is killed leaves its data phase open; the next program's command comes right behind the last packet.
std::span<const std::byte> ResponderStream::commandBehind(std::span<const std::byte> block, bool isShort) const {
    const bool breaksOff =
        !_incoming->isWanted || (_incoming->length && _incoming->received + block.size() < *_incoming->length);
    const auto end = block.last(block.size() % _packetSize);
    return isShort && breaksOff && decodeContainer(end) && isCommand(end) ? end : std::span<const std::byte>();
}

void ResponderStream::receive(std::span<const std::byte> block, bool isShort) {
    Incoming& data = *_incoming;
    if (data.length) {
        const std::uint64_t missing = *data.length - data.received;
        block = block.first(static_cast<std::size_t>(std::min<std::uint64_t>(block.size(), missing)));
    }
    data.received += block.size();
    if (data.isWanted) {
        _responder.dataOut(block);
    }
    // Some hosts send the header in a packet of its own.
    const bool onlyHeader = data.received == containerHeaderSize && data.length != containerHeaderSize;
    const bool isWhole = data.length && data.received >= *data.length;
    if (!isWhole && (!isShort || onlyHeader)) {
        return;
    }
    if (data.isWanted) {
        _responder.dataOutEnd();
        _state = State::response;
    }
    _incoming.reset();
}

std::optional<std::size_t> ResponderStream::next(std::span<std::byte> block) {
    switch (_state) {
    case State::command:
    case State::dataOut:
        return std::nullopt;
    case State::dataIn:
        return give(block);
    case State::lastPacket:
        _state = State::response;
        return 0;
    case State::response:
        break;
    }
    const std::vector<std::byte> response = _responder.response();
    std::ranges::copy(response, block.begin());
    _state = State::command;
    return response.size();
}

std::size_t ResponderStream::give(std::span<std::byte> block) {
    const std::size_t count = _responder.dataIn(block);
    if (count < block.size()) {
        const bool endsWithWholePacket = count % _packetSize == 0;
        _state = endsWithWholePacket && count > 0 ? State::lastPacket : State::response;
    }
    return count;
}

void ResponderStream::cancel(std::uint32_t transactionId) {
    (void) _responder.cancel(transactionId); // one that is over already needs none
    _incoming.reset();
    _state = State::command;
}

void ResponderStream::reset() {
    _responder.reset();
    _incoming.reset();
    _state = State::command;
}

} // namespace mtpsdk
