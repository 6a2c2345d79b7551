// SPDX-License-Identifier: MIT
#pragma once

#include "mtp/Codes.h"
#include "mtp/Container.h"
#include "transport/Transport.h"

#include <array>
#include <atomic>
#include <cstddef>
#include <cstdint>
#include <initializer_list>
#include <optional>
#include <span>
#include <vector>

namespace mtpsdk {

/// An operation and its parameters.
struct Request {
    Request(OperationCode code, std::initializer_list<std::uint32_t> values);
    OperationCode operation;
    std::array<std::uint32_t, maximumParameters> parameters{};
    std::size_t count = 0;
};

/// What the device's response container held.
struct Reply {
    ResponseCode code = ResponseCode::Undefined;
    std::array<std::uint32_t, maximumParameters> parameters{}; ///< those not sent are 0
};

/// Runs transactions over a transport, one at a time: command, a data phase in one direction at most, response.
///
/// Statuses: the response's (statusFromResponse) when the line worked; else the transport's. A data phase that the
/// source or the sink stopped answers DGSTATUS_IO_CANCEL_SUCCESS or DGSTATUS_IO_CANCEL_FAILED. Containers that make no
/// sense answer DGSTATUS_INTERNAL_INVALIDDATASET, one of another transaction DGSTATUS_INTERNAL_INVALIDTRANSACTIONID,
/// a dataset of another length than its container says DGSTATUS_INTERNAL_SIZE_MISMATCH.
/// After every failure the line is brought back in step, if need be by a reset and a new session, so that the next
/// transaction finds it usable. What is left over from earlier transactions is passed over.
///
/// The caller sees to it that one thread at a time runs transactions; gone, markGone and count may be called from any.
class Transactions {
public:
    explicit Transactions(Transport& transport)
        : _transport(transport) {}

    /// Opens a session; one that is open is closed first, or used as it is when it does not close.
    [[nodiscard]] DGSTATUS openSession();
    /// Closes the session that is open, if one is. Whatever becomes of it, none is opened any more.
    void closeSession();

    /// No data phase expected.
    [[nodiscard]] DGSTATUS run(const Request& request, Reply& reply);
    [[nodiscard]] DGSTATUS run(const Request& request);
    /// Receives a dataset whole.
    [[nodiscard]] DGSTATUS read(const Request& request, std::vector<std::byte>& data);
    /// Sends a dataset.
    [[nodiscard]] DGSTATUS write(const Request& request, std::span<const std::byte> data, Reply& reply);
    /// Receives a data phase block by block, without its header.
    [[nodiscard]] DGSTATUS receive(const Request& request, const BlockSink& sink);
    /// Sends a data phase of `length` bytes block by block.
    [[nodiscard]] DGSTATUS send(const Request& request, std::uint64_t length, const BlockSource& source);

    /// The device went away; every call answers DGSTATUS_NO_DEVICE_ATTACHED from then on.
    [[nodiscard]] bool gone() const { return _gone.load(std::memory_order_relaxed); }
    void markGone() { _gone.store(true, std::memory_order_relaxed); }
    [[nodiscard]] std::uint64_t count() const { return _count.load(std::memory_order_relaxed); }

private:
    struct DataOut {
        std::uint64_t length = 0;
        const BlockSource& source;
    };
    struct Incoming;
    /// What came back: the response, the length that the data container claimed, and what was wrong with it all.
    struct Answer {
        Reply reply;
        std::optional<std::uint32_t> dataLength;
        DGSTATUS fault = DGSTATUS_SUCCESS;
        bool sawStale = false;
    };

    [[nodiscard]] DGSTATUS transact(const Request& request, const DataOut* out, const BlockSink* sink, Answer& answer);
    [[nodiscard]] DGSTATUS exchange(const Request& request, std::uint32_t id, const DataOut* out, const BlockSink* sink,
                                    Answer& answer);
    [[nodiscard]] DGSTATUS receiveAnswer(std::uint32_t id, const BlockSink* sink, Answer& answer);
    [[nodiscard]] DGSTATUS receivePhase(std::uint32_t id, const BlockSink* sink, Incoming& incoming);
    /// Takes a phase into the answer; true when the transaction ends with it.
    static bool take(const Incoming& incoming, std::uint32_t id, bool dataExpected, Answer& answer);
    [[nodiscard]] DGSTATUS settle(std::uint32_t id, DGSTATUS status);
    void reopen();
    [[nodiscard]] std::uint32_t takeId();

    Transport& _transport;
    std::uint32_t _nextId = 0;
    bool _isOpen = false;
    bool _isChanging = false; ///< the session is being opened or closed: a failure is not mended by opening one
    std::atomic<bool> _gone{false};
    std::atomic<std::uint64_t> _count{0};
};

} // namespace mtpsdk
