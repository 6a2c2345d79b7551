// SPDX-License-Identifier: MIT
#pragma once

#include "transport/Transport.h"
#include "transport/usb/BulkPipe.h"

#include <chrono>
#include <cstdint>
#include <deque>
#include <optional>
#include <vector>

namespace mtpsdk {

/// Cuts what the bulk-in endpoint yields into phases. The container's own length says how much to ask for, so that
/// several reads are in flight and none is left posted behind the end; a phase whose length is not told, or is a lie,
/// ends with a short packet, and what was read ahead belongs to the next one.
///
/// Where the device is about to send two small phases, a read for each can be posted before it is asked to.
///
/// Devices differ: some send the header in a packet of its own, some forget the zero-length packet behind a phase of
/// whole packets and some send one where none is due. All of them are understood.
class PhaseReader {
public:
    explicit PhaseReader(BulkPipe& pipe)
        : _pipe(pipe) {}

    /// Reads one phase; `patience` is how long the line may be silent. Anything but done forgets what was read ahead.
    [[nodiscard]] PipeResult receive(const BlockSink& sink, std::chrono::milliseconds patience);
    /// Reads and forgets until the line is silent for `silence`, `limit` at most. gone, or done when it fell silent.
    [[nodiscard]] PipeResult drain(std::chrono::milliseconds silence, std::chrono::milliseconds limit);
    /// The transaction whose response came since beginTransaction, be it one that nobody waited for any more.
    [[nodiscard]] std::optional<std::uint32_t> answered() const { return _answered; }
    /// The sink stopped the last phase with its last bytes: nothing of it is left on the line.
    [[nodiscard]] bool stoppedAtEnd() const { return _stoppedAtEnd; }
    /// Posts reads for so many small phases that the device will send, so that the line need not wait for them to be
    /// asked for. What the reads get beyond that is not lost.
    void beginTransaction(std::size_t phasesToCome = 0);
    /// The transaction's command did not go out: nothing will come.
    void dropReadAhead();

private:
    struct Stashed {
        std::vector<std::byte> bytes;
        bool isShort = false;
    };
    struct Phase {
        std::uint64_t received = 0;
        std::optional<std::uint64_t> length; ///< with the header; nothing while, or when, it is not known
        bool ended = false;
        bool isResponse = false; ///< the last one of its transaction
    };

    [[nodiscard]] std::size_t firstSize() const;
    [[nodiscard]] std::size_t wanted(const Phase& phase) const;
    [[nodiscard]] PipeResult post(const Phase& phase);
    [[nodiscard]] BulkPipe::Block next(const Phase& phase, std::chrono::milliseconds patience);
    /// Hands a block on, keeping what is beyond the phase's end; false when the sink stops it.
    [[nodiscard]] bool take(Phase& phase, const BulkPipe::Block& block, const BlockSink& sink);
    [[nodiscard]] PipeResult submit(std::size_t size);
    void stashReadAhead();
    void forgetStash();
    void noteAnswer(std::span<const std::byte> start);
    PipeResult giveUp(PipeResult result);

    BulkPipe& _pipe;
    std::deque<Stashed> _stash;
    Stashed _current;         ///< the stashed block that is being handed on
    std::uint64_t _asked = 0; ///< of the reads in flight
    bool _isAhead = false;    ///< reads of the transaction under way were posted before its command
    bool _stoppedAtEnd = false;
    std::optional<std::uint32_t> _answered;
};

} // namespace mtpsdk
