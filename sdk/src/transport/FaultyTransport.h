// SPDX-License-Identifier: MIT
#pragma once

#include "mtp/Codes.h"
#include "transport/Transport.h"

#include <atomic>
#include <condition_variable>
#include <cstdint>
#include <memory>
#include <mutex>
#include <optional>
#include <random>
#include <vector>

namespace mtpsdk {

/// One thing that goes wrong on the line, once or each time.
struct TransportFault {
    enum class Call { send, receive, cancel };
    enum class Kind {
        vanish,           ///< after `amount` bytes of the phase's payload the device is gone for good
        timeOut,          ///< the call answers that the device does not respond; nothing is moved
        truncate,         ///< receive: the phase ends after `amount` bytes
        appendGarbage,    ///< receive: `amount` bytes more than the device sent
        corrupt,          ///< receive: `amount` of the phase's first bytes are other ones
        leaveOut,         ///< receive: `amount` bytes in a row of the phase's first ones are missing
        repeat,           ///< receive: the phase comes a second time, in front of the next one
        wrongTransaction, ///< receive: `amount` is added to the container's transaction ID
        refuseCancel,     ///< cancel: the device does not take it
        delay,            ///< the call begins `amount` milliseconds late
    };

    Kind kind = Kind::timeOut;
    Call call = Call::receive;
    unsigned nth = 1;                       ///< which of the matching calls, from 1; 0: each of them
    std::optional<OperationCode> operation; ///< only calls of transactions of this operation match
    std::uint64_t amount = 0;
};

/// A line that misbehaves on a plan, for any transport behind it. What the initiator sends is never altered: a device
/// that answers oddly, or goes away, is what there is to try out. The same plan and seed always do the same.
/// Threads and statuses are those of Transport.
class FaultyTransport : public Transport {
public:
    FaultyTransport(std::unique_ptr<Transport> inner, const std::vector<TransportFault>& plan, std::uint32_t seed = 0);
    ~FaultyTransport() override;

    /// A plan of `count` faults of all kinds, spread over the first `calls` calls of each kind.
    [[nodiscard]] static std::vector<TransportFault> randomPlan(std::uint32_t seed, unsigned count, unsigned calls);

    [[nodiscard]] DGSTATUS send(std::span<const std::byte> header, std::uint64_t payloadLength,
                                const BlockSource& source) override;
    [[nodiscard]] DGSTATUS receive(const BlockSink& sink) override;
    [[nodiscard]] DGSTATUS cancel(std::uint32_t transactionId) override;
    [[nodiscard]] DGSTATUS reset() override;
    [[nodiscard]] DGSTATUS readEvent(std::vector<std::byte>& container, std::chrono::milliseconds timeout) override;
    void close() override;
    [[nodiscard]] std::optional<UsbId> usbId() const override { return _inner->usbId(); }

private:
    struct Planned {
        TransportFault fault;
        unsigned seen = 0;
    };

    /// The fault that this call meets; a delay has passed when it returns.
    [[nodiscard]] std::optional<TransportFault> meet(TransportFault::Call call);
    [[nodiscard]] DGSTATUS sendUntilGone(std::span<const std::byte> header, std::uint64_t payloadLength,
                                         const BlockSource& source, std::uint64_t limit);
    [[nodiscard]] DGSTATUS receiveUntilGone(const BlockSink& sink, std::uint64_t limit);
    [[nodiscard]] DGSTATUS receiveTruncated(const BlockSink& sink, std::uint64_t limit);
    [[nodiscard]] DGSTATUS receiveAltered(const BlockSink& sink, const TransportFault& fault);
    [[nodiscard]] DGSTATUS receiveAndMore(const BlockSink& sink, std::uint64_t amount);
    [[nodiscard]] DGSTATUS receiveWithGap(const BlockSink& sink, std::uint64_t amount);
    [[nodiscard]] DGSTATUS receiveAndRepeat(const BlockSink& sink);
    DGSTATUS vanish();
    void wait(std::chrono::milliseconds time);

    std::unique_ptr<Transport> _inner;
    std::vector<Planned> _plan;
    std::mt19937 _random;
    std::optional<OperationCode> _operation; ///< of the transaction under way
    std::vector<std::byte> _again;           ///< the phase that comes a second time
    std::atomic<bool> _gone{false};
    std::mutex _mutex; ///< for waiting only
    std::condition_variable _closed;
};

} // namespace mtpsdk
