// SPDX-License-Identifier: MIT
#include "transport/FaultyTransport.h"

#include "mtp/Bytes.h"
#include "mtp/Container.h"

#include <algorithm>
#include <array>
#include <utility>

namespace mtpsdk {
namespace {

using Call = TransportFault::Call;
using Kind = TransportFault::Kind;

/// Corruption and gaps hit the header and the beginning of a dataset, where it matters most.
constexpr std::uint64_t corruptibleBytes = 256;
constexpr std::size_t transactionIdOffset = 8;

void addToTransactionId(std::span<std::byte> container, std::uint64_t amount) {
    if (container.size() < containerHeaderSize) {
        return;
    }
    const auto field = container.subspan(transactionIdOffset, sizeof(std::uint32_t));
    ByteReader reader(field);
    ByteWriter writer;
    writer.u32(reader.u32() + static_cast<std::uint32_t>(amount));
    std::ranges::copy(writer.take(), field.begin());
}

} // namespace

FaultyTransport::FaultyTransport(std::unique_ptr<Transport> inner, const std::vector<TransportFault>& plan,
                                 std::uint32_t seed)
    : _inner(std::move(inner))
    , _random(seed) {
    for (const TransportFault& fault : plan) {
        _plan.push_back({fault});
    }
}

FaultyTransport::~FaultyTransport() = default;

std::vector<TransportFault> FaultyTransport::randomPlan(std::uint32_t seed, unsigned count, unsigned calls) {
    constexpr std::array receiveKinds = {Kind::timeOut,          Kind::truncate, Kind::appendGarbage,
                                         Kind::corrupt,          Kind::leaveOut, Kind::repeat,
                                         Kind::wrongTransaction, Kind::vanish,   Kind::delay};
    constexpr std::array sendKinds = {Kind::timeOut, Kind::vanish, Kind::delay};
    std::mt19937 random(seed);
    const auto below = [&random](std::uint32_t limit) { return static_cast<unsigned>(random() % limit); };
    std::vector<TransportFault> plan;
    for (unsigned i = 0; i < count; ++i) {
        TransportFault fault;
        fault.call = static_cast<Call>(below(3));
        fault.nth = 1 + below(std::max(calls, 1U));
        fault.amount = below(64);
        if (fault.call == Call::cancel) {
            fault.kind = Kind::refuseCancel;
        } else if (fault.call == Call::send) {
            fault.kind = sendKinds[below(sendKinds.size())];
        } else {
            fault.kind = receiveKinds[below(receiveKinds.size())];
        }
        plan.push_back(fault);
    }
    return plan;
}

std::optional<TransportFault> FaultyTransport::meet(Call call) {
    std::optional<TransportFault> met;
    for (Planned& planned : _plan) {
        const TransportFault& fault = planned.fault;
        if (fault.call != call || (fault.operation && fault.operation != _operation)) {
            continue;
        }
        ++planned.seen;
        if (fault.nth != 0 && fault.nth != planned.seen) {
            continue;
        }
        if (fault.kind == Kind::delay) {
            wait(std::chrono::milliseconds(fault.amount));
        } else if (!met) {
            met = fault;
        }
    }
    return met;
}

DGSTATUS FaultyTransport::send(std::span<const std::byte> header, std::uint64_t payloadLength,
                               const BlockSource& source) {
    const auto decoded = decodeHeader(header);
    if (decoded && decoded->type == ContainerType::Command) {
        _operation = static_cast<OperationCode>(decoded->code);
    }
    const auto fault = meet(Call::send);
    if (_gone) {
        return DGSTATUS_NO_DEVICE_ATTACHED;
    }
    if (fault && fault->kind == Kind::vanish) {
        return sendUntilGone(header, payloadLength, source, fault->amount);
    }
    return fault && fault->kind == Kind::timeOut ? DGSTATUS_INTERNAL_DEVICE_NOT_RESPONSE
                                                 : _inner->send(header, payloadLength, source);
}

DGSTATUS FaultyTransport::receive(const BlockSink& sink) {
    const auto fault = meet(Call::receive);
    if (_gone) {
        return DGSTATUS_NO_DEVICE_ATTACHED;
    }
    if (!_again.empty()) {
        return sink(std::exchange(_again, {})) ? DGSTATUS_SUCCESS : DGSTATUS_IO_CANCEL;
    }
    if (!fault) {
        return _inner->receive(sink);
    }
    switch (fault->kind) {
    case Kind::vanish:
        return receiveUntilGone(sink, fault->amount);
    case Kind::timeOut:
        return DGSTATUS_INTERNAL_DEVICE_NOT_RESPONSE;
    case Kind::truncate:
        return receiveTruncated(sink, fault->amount);
    case Kind::appendGarbage:
        return receiveAndMore(sink, fault->amount);
    case Kind::corrupt:
    case Kind::wrongTransaction:
        return receiveAltered(sink, *fault);
    case Kind::leaveOut:
        return receiveWithGap(sink, fault->amount);
    case Kind::repeat:
        return receiveAndRepeat(sink);
    case Kind::refuseCancel:
    case Kind::delay:
        break;
    }
    return _inner->receive(sink);
}

DGSTATUS FaultyTransport::cancel(std::uint32_t transactionId) {
    const auto fault = meet(Call::cancel);
    if (_gone) {
        return DGSTATUS_NO_DEVICE_ATTACHED;
    }
    if (fault && fault->kind == Kind::vanish) {
        return vanish();
    }
    if (fault && (fault->kind == Kind::refuseCancel || fault->kind == Kind::timeOut)) {
        return DGSTATUS_INTERNAL_DEVICE_NOT_RESPONSE;
    }
    _again.clear();
    return _inner->cancel(transactionId);
}

DGSTATUS FaultyTransport::reset() {
    _again.clear();
    return _gone ? DGSTATUS_NO_DEVICE_ATTACHED : _inner->reset();
}

DGSTATUS FaultyTransport::readEvent(std::vector<std::byte>& container, std::chrono::milliseconds timeout) {
    return _gone ? DGSTATUS_NO_DEVICE_ATTACHED : _inner->readEvent(container, timeout);
}

void FaultyTransport::close() {
    {
        const std::lock_guard lock(_mutex);
        _gone = true;
        _closed.notify_all();
    }
    _inner->close();
}

DGSTATUS FaultyTransport::sendUntilGone(std::span<const std::byte> header, std::uint64_t payloadLength,
                                        const BlockSource& source, std::uint64_t limit) {
    std::uint64_t moved = 0;
    const BlockSource limited = [&](std::span<std::byte> block) -> std::ptrdiff_t {
        if (moved + block.size() > limit) {
            return -1;
        }
        moved += block.size();
        return source(block);
    };
    if (payloadLength > 0) {
        (void) _inner->send(header, payloadLength, limited);
    }
    return vanish();
}

DGSTATUS FaultyTransport::receiveUntilGone(const BlockSink& sink, std::uint64_t limit) {
    (void) receiveTruncated(sink, limit);
    return vanish();
}

DGSTATUS FaultyTransport::receiveTruncated(const BlockSink& sink, std::uint64_t limit) {
    std::uint64_t moved = 0;
    const BlockSink limited = [&](std::span<const std::byte> block) {
        const auto part = block.first(static_cast<std::size_t>(std::min<std::uint64_t>(block.size(), limit - moved)));
        moved += part.size();
        return part.empty() || sink(part);
    };
    return _inner->receive(limited);
}

DGSTATUS FaultyTransport::receiveAltered(const BlockSink& sink, const TransportFault& fault) {
    std::vector<std::uint64_t> offsets;
    for (std::uint64_t i = 0; fault.kind == Kind::corrupt && i < fault.amount; ++i) {
        offsets.push_back(_random() % corruptibleBytes);
    }
    std::uint64_t position = 0;
    const BlockSink altering = [&](std::span<const std::byte> block) {
        std::vector<std::byte> altered(block.begin(), block.end());
        if (fault.kind == Kind::wrongTransaction && position == 0) {
            addToTransactionId(altered, fault.amount);
        }
        for (const std::uint64_t offset : offsets) {
            if (offset >= position && offset - position < altered.size()) {
                altered[offset - position] = static_cast<std::byte>(_random());
            }
        }
        position += altered.size();
        return sink(altered);
    };
    return _inner->receive(altering);
}

DGSTATUS FaultyTransport::receiveAndMore(const BlockSink& sink, std::uint64_t amount) {
    const DGSTATUS status = _inner->receive(sink);
    if (status != DGSTATUS_SUCCESS) {
        return status;
    }
    std::vector<std::byte> garbage(amount);
    std::ranges::generate(garbage, [this] { return static_cast<std::byte>(_random()); });
    return sink(garbage) ? DGSTATUS_SUCCESS : DGSTATUS_IO_CANCEL;
}

DGSTATUS FaultyTransport::receiveWithGap(const BlockSink& sink, std::uint64_t amount) {
    const std::uint64_t from = _random() % corruptibleBytes;
    std::uint64_t position = 0;
    const BlockSink leavingOut = [&](std::span<const std::byte> block) {
        std::vector<std::byte> rest;
        for (const std::byte byte : block) {
            if (position < from || position >= from + amount) {
                rest.push_back(byte);
            }
            ++position;
        }
        return rest.empty() || sink(rest);
    };
    return _inner->receive(leavingOut);
}

DGSTATUS FaultyTransport::receiveAndRepeat(const BlockSink& sink) {
    std::vector<std::byte> phase;
    const BlockSink keeping = [&](std::span<const std::byte> block) {
        phase.insert(phase.end(), block.begin(), block.end());
        return sink(block);
    };
    const DGSTATUS status = _inner->receive(keeping);
    if (status == DGSTATUS_SUCCESS) {
        _again = std::move(phase);
    }
    return status;
}

DGSTATUS FaultyTransport::vanish() {
    close();
    return DGSTATUS_NO_DEVICE_ATTACHED;
}

void FaultyTransport::wait(std::chrono::milliseconds time) {
    std::unique_lock lock(_mutex);
    _closed.wait_for(lock, time, [this] { return _gone.load(); });
}

} // namespace mtpsdk
