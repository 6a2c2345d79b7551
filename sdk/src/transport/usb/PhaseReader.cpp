// SPDX-License-Identifier: MIT
#include "transport/usb/PhaseReader.h"

#include "mtp/Container.h"

#include <algorithm>

namespace mtpsdk {
namespace {

/// Large enough for most datasets, small enough to cost nothing where a response of 12 bytes comes.
constexpr std::size_t firstRead = std::size_t{16} * 1024;
/// Zero-length packets in front of a phase; more mean that nothing sensible comes.
constexpr int maximumEmptyBlocks = 8;

std::size_t wholePackets(std::uint64_t bytes, std::size_t packet) {
    return static_cast<std::size_t>((bytes + packet - 1) / packet * packet);
}

std::optional<std::uint64_t> toldLength(std::span<const std::byte> start) {
    const auto header = decodeHeader(start);
    if (!header || header->length < containerHeaderSize || header->length == containerLengthUnknown) {
        return std::nullopt;
    }
    return header->length;
}

} // namespace

std::size_t PhaseReader::firstSize() const {
    return std::min(wholePackets(firstRead, _pipe.packetSize()), _pipe.blockSize());
}

void PhaseReader::beginTransaction(std::size_t phasesToCome) {
    stashReadAhead();
    _answered.reset();
    // What came already is looked at first, and tells how much to ask for.
    _isAhead = _stash.empty() && phasesToCome > 0;
    for (std::size_t i = 0; _isAhead && i < phasesToCome; ++i) {
        (void) submit(firstSize()); // a line that fails does so again when it is waited for
    }
}

void PhaseReader::dropReadAhead() {
    stashReadAhead();
    forgetStash();
}

PipeResult PhaseReader::submit(std::size_t size) {
    const PipeResult result = _pipe.submit(size);
    _asked += result == PipeResult::done ? size : 0;
    return result;
}

std::size_t PhaseReader::wanted(const Phase& phase) const {
    const std::size_t block = _pipe.blockSize();
    if (phase.received == 0) {
        // Until the header is here nobody knows how much to ask for.
        return _pipe.inFlight() == 0 ? firstSize() : 0;
    }
    if (!phase.length) {
        return block;
    }
    const std::uint64_t missing = *phase.length - std::min(*phase.length, phase.received + _asked);
    return missing >= block ? block : wholePackets(missing, _pipe.packetSize());
}

PipeResult PhaseReader::post(const Phase& phase) {
    while (!_pipe.buffer().empty()) {
        const std::size_t size = wanted(phase);
        if (size == 0) {
            break;
        }
        const PipeResult result = submit(size);
        if (result != PipeResult::done) {
            const bool enough = result == PipeResult::full && _pipe.inFlight() > 0;
            return enough ? PipeResult::done : result;
        }
    }
    return PipeResult::done;
}

BulkPipe::Block PhaseReader::next(const Phase& phase, std::chrono::milliseconds patience) {
    BulkPipe::Block block;
    if (!_stash.empty()) {
        _current = std::move(_stash.front());
        _stash.pop_front();
        block.data = _current.bytes;
        block.isShort = _current.isShort;
        return block;
    }
    block.result = post(phase);
    if (block.result == PipeResult::done) {
        block = _pipe.take(patience);
        _asked -= block.result == PipeResult::timedOut ? 0 : block.asked;
    }
    return block;
}

bool PhaseReader::take(Phase& phase, const BulkPipe::Block& block, const BlockSink& sink) {
    if (phase.received == 0) {
        const auto header = decodeHeader(block.data);
        phase.length = toldLength(block.data);
        phase.isResponse = header && header->type == ContainerType::Response;
        noteAnswer(block.data);
    }
    std::span<std::byte> part = block.data;
    bool isShort = block.isShort;
    if (phase.length && phase.received + part.size() > *phase.length && !isShort &&
        *phase.length % _pipe.packetSize() != 0) {
        // The packet that should have been the last, and short, is neither: of a file beyond 4 GiB some devices tell
        // what is left of its length in 32 bits.
        phase.length.reset();
    }
    if (phase.length && phase.received + part.size() > *phase.length) {
        part = part.first(static_cast<std::size_t>(*phase.length - phase.received));
        const auto beyond = block.data.subspan(part.size());
        _stash.push_front({{beyond.begin(), beyond.end()}, isShort});
        isShort = false;
    }
    phase.received += part.size();
    const bool onlyHeader = phase.received == containerHeaderSize && phase.length && *phase.length > phase.received;
    phase.ended = (phase.length && phase.received >= *phase.length) || (isShort && !onlyHeader);
    return part.empty() || sink(part);
}

PipeResult PhaseReader::receive(const BlockSink& sink, std::chrono::milliseconds patience) {
    Phase phase;
    _stoppedAtEnd = false;
    for (int emptyBlocks = 0; !phase.ended;) {
        const BulkPipe::Block block = next(phase, patience);
        if (block.result != PipeResult::done) {
            return giveUp(block.result);
        }
        if (phase.received == 0 && block.data.empty()) {
            // The zero-length packet behind the phase before this one.
            if (++emptyBlocks > maximumEmptyBlocks) {
                return giveUp(PipeResult::failed);
            }
            continue;
        }
        if (!take(phase, block, sink)) {
            _stoppedAtEnd = phase.ended;
            return giveUp(PipeResult::stopped);
        }
    }
    if (!_isAhead || phase.isResponse) {
        stashReadAhead();
    }
    return PipeResult::done;
}

void PhaseReader::stashReadAhead() {
    _isAhead = false;
    if (_pipe.inFlight() == 0) {
        return;
    }
    _pipe.cancel();
    while (_pipe.inFlight() > 0) {
        const BulkPipe::Block block = _pipe.take(std::chrono::hours(1));
        if (!block.data.empty()) {
            _stash.push_back({{block.data.begin(), block.data.end()}, block.isShort});
        }
    }
    _asked = 0;
}

void PhaseReader::noteAnswer(std::span<const std::byte> start) {
    const auto header = decodeHeader(start);
    if (header && header->type == ContainerType::Response && header->length <= start.size()) {
        _answered = header->transactionId;
    }
}

void PhaseReader::forgetStash() {
    for (const Stashed& each : _stash) {
        noteAnswer(each.bytes);
    }
    _stash.clear();
}

PipeResult PhaseReader::giveUp(PipeResult result) {
    if (_isAhead || _stoppedAtEnd) {
        dropReadAhead(); // the response may be among it
        return result;
    }
    abandon(_pipe);
    _asked = 0;
    forgetStash();
    return result;
}

PipeResult PhaseReader::drain(std::chrono::milliseconds silence, std::chrono::milliseconds limit) {
    const auto end = std::chrono::steady_clock::now() + limit;
    dropReadAhead();
    for (;;) {
        PipeResult result = _pipe.submit(_pipe.blockSize());
        if (result == PipeResult::done) {
            const BulkPipe::Block block = _pipe.take(silence);
            noteAnswer(block.data);
            result = block.result;
        }
        if (result == PipeResult::timedOut) {
            abandon(_pipe);
            return PipeResult::done;
        }
        if (result != PipeResult::done || std::chrono::steady_clock::now() > end) {
            return giveUp(result == PipeResult::done ? PipeResult::timedOut : result);
        }
    }
}

} // namespace mtpsdk
