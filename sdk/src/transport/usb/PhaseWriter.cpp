// SPDX-License-Identifier: MIT
#include "transport/usb/PhaseWriter.h"

#include <algorithm>

namespace mtpsdk {
namespace {

/// The state of one phase on its way out.
class Outgoing {
public:
    Outgoing(BulkPipe& pipe, std::span<const std::byte> header, std::uint64_t payload, const BlockSource& source,
             std::chrono::milliseconds patience)
        : _pipe(pipe)
        , _header(header)
        , _payload(payload)
        , _source(source)
        , _patience(patience) {}

    [[nodiscard]] PipeResult run() {
        const bool endsWithWholePacket = (_header.size() + _payload) % _pipe.packetSize() == 0;
        PipeResult result = PipeResult::done;
        while (result == PipeResult::done && (!_header.empty() || _payload > 0)) {
            result = sendBlock();
        }
        if (result == PipeResult::done && endsWithWholePacket) {
            result = makeRoom();
            result = result == PipeResult::done ? submit(0) : result;
        }
        while (result == PipeResult::done && _pipe.inFlight() > 0) {
            result = takeOldest();
        }
        return result;
    }

private:
    [[nodiscard]] PipeResult takeOldest() {
        const BulkPipe::Block block = _pipe.take(_patience);
        const bool cutShort = block.result == PipeResult::done && block.isShort;
        return cutShort ? PipeResult::failed : block.result;
    }

    [[nodiscard]] PipeResult makeRoom() { return _pipe.buffer().empty() ? takeOldest() : PipeResult::done; }

    /// The system may have memory for fewer transfers than there are.
    [[nodiscard]] PipeResult submit(std::size_t length) {
        PipeResult result = _pipe.submit(length);
        while (result == PipeResult::full && _pipe.inFlight() > 0) {
            result = takeOldest();
            result = result == PipeResult::done ? _pipe.submit(length) : result;
        }
        return result;
    }

    [[nodiscard]] PipeResult sendBlock() {
        if (const PipeResult room = makeRoom(); room != PipeResult::done) {
            return room;
        }
        const std::span<std::byte> buffer = _pipe.buffer();
        const std::size_t inFront = std::min(_header.size(), buffer.size());
        std::ranges::copy(_header.first(inFront), buffer.begin());
        _header = _header.subspan(inFront);
        const auto wanted = static_cast<std::size_t>(std::min<std::uint64_t>(_payload, buffer.size() - inFront));
        if (wanted > 0 && _source(buffer.subspan(inFront, wanted)) != static_cast<std::ptrdiff_t>(wanted)) {
            return PipeResult::stopped;
        }
        _payload -= wanted;
        return submit(inFront + wanted);
    }

    BulkPipe& _pipe;
    std::span<const std::byte> _header; ///< what is still to be sent
    std::uint64_t _payload;             ///< still to be sent
    const BlockSource& _source;
    std::chrono::milliseconds _patience;
};

} // namespace

PipeResult writePhase(BulkPipe& pipe, std::span<const std::byte> header, std::uint64_t payloadLength,
                      const BlockSource& source, std::chrono::milliseconds patience) {
    const PipeResult result = Outgoing(pipe, header, payloadLength, source, patience).run();
    if (result != PipeResult::done) {
        abandon(pipe);
    }
    return result;
}

void abandon(BulkPipe& pipe) {
    pipe.cancel();
    while (pipe.inFlight() > 0) {
        (void) pipe.take(std::chrono::hours(1)); // what was cancelled ends soon
    }
}

} // namespace mtpsdk
