// SPDX-License-Identifier: MIT
#pragma once

#include "responder/Responder.h"

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>

namespace mtpsdk {

/// A responder at the far end of a bulk line: cuts what the host transfers into commands and data, and says what to
/// transfer to it, zero-length packets included. Knows nothing of the system's way to move bytes; one thread uses it.
class ResponderStream {
public:
    /// The responder must outlive it.
    explicit ResponderStream(Responder& responder)
        : _responder(responder) {}

    /// Of the bulk endpoints at the speed of the bus.
    void setPacketSize(std::size_t size) { _packetSize = size; }

    /// One transfer of the host's; `isShort` says that the host ended it. true when a transaction begins with it:
    /// whatever next() gave before and is still to be sent is wanted by nobody any more.
    [[nodiscard]] bool arrived(std::span<const std::byte> block, bool isShort);
    /// Fills the next transfer to the host, `block` being whole packets; nothing when there is nothing to say. An empty
    /// transfer is a zero-length packet.
    [[nodiscard]] std::optional<std::size_t> next(std::span<std::byte> block);

    /// A transaction is under way.
    [[nodiscard]] bool isBusy() const { return _state != State::command; }

    // Class requests. What was given by next() is to be forgotten, and what still comes of the transaction is dropped.
    void cancel(std::uint32_t transactionId);
    void reset();

private:
    enum class State { command, dataOut, dataIn, lastPacket, response };
    /// A data phase on its way in.
    struct Incoming {
        bool isWanted = false;
        std::uint64_t received = 0;
        std::optional<std::uint64_t> length; ///< as its header tells; nothing when a short transfer ends it
    };

    /// Begins a data phase, unless one is going on.
    void expect(std::span<const std::byte> start);
    void begin(std::span<const std::byte> command);
    void receive(std::span<const std::byte> block, bool isShort);
    /// The command at the end of what broke a data phase off; empty when there is none.
    [[nodiscard]] std::span<const std::byte> commandBehind(std::span<const std::byte> block, bool isShort) const;
    [[nodiscard]] std::size_t give(std::span<std::byte> block);

    Responder& _responder;
    std::size_t _packetSize = 512;
    State _state = State::command;
    std::optional<Incoming> _incoming;
};

} // namespace mtpsdk
