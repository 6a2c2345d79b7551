// SPDX-License-Identifier: MIT
// Cutting a bulk line into phases and back, on a pipe that is played packet by packet.
#include "mtp/Container.h"
#include "transport/usb/PhaseReader.h"
#include "transport/usb/PhaseWriter.h"

#include <algorithm>
#include <deque>
#include <gtest/gtest.h>

namespace mtpsdk {
namespace {

using namespace std::chrono_literals;
using Bytes = std::vector<std::byte>;

constexpr std::size_t packetLength = 512;
constexpr std::size_t blockLength = 64 * packetLength;
constexpr std::size_t depth = 4;

class PlayedPipe final : public BulkPipe {
public:
    explicit PlayedPipe(bool readsDevice)
        : _readsDevice(readsDevice) {}

    std::deque<Bytes> packets;      ///< what the device sends
    std::vector<Bytes> transfers;   ///< what it was sent
    std::size_t mostInFlight = 0;   ///< at any time
    std::size_t leftBehind = 0;     ///< reads that were still posted when they had to be cancelled
    std::deque<PipeResult> results; ///< of the next transfers; done where none is set
    bool fullOnce = false;          ///< the system has no memory for one more transfer

    void play(const Bytes& phase, bool closedByEmptyPacket = true) {
        for (std::size_t at = 0; at < phase.size(); at += packetLength) {
            const std::size_t size = std::min(packetLength, phase.size() - at);
            const auto first = phase.begin() + static_cast<std::ptrdiff_t>(at);
            packets.emplace_back(first, first + static_cast<std::ptrdiff_t>(size));
        }
        if (closedByEmptyPacket && phase.size() % packetLength == 0) {
            packets.emplace_back();
        }
    }

    [[nodiscard]] std::size_t packetSize() const override { return packetLength; }
    [[nodiscard]] std::size_t blockSize() const override { return blockLength; }
    [[nodiscard]] std::size_t inFlight() const override { return _posted.size(); }
    [[nodiscard]] std::span<std::byte> buffer() override {
        return _posted.size() == depth ? std::span<std::byte>() : std::span(_buffer);
    }
    [[nodiscard]] PipeResult submit(std::size_t length) override {
        if (fullOnce && !_posted.empty()) {
            fullOnce = false;
            return PipeResult::full;
        }
        EXPECT_TRUE(length % packetLength == 0 || !_readsDevice) << "a read of part of a packet overflows";
        _posted.emplace_back(_buffer.begin(), _buffer.begin() + static_cast<std::ptrdiff_t>(length));
        mostInFlight = std::max(mostInFlight, _posted.size());
        return PipeResult::done;
    }
    [[nodiscard]] Block take(std::chrono::milliseconds /*patience*/) override {
        Block block;
        block.asked = _posted.front().size();
        if (!results.empty()) {
            block.result = results.front();
            results.pop_front();
        } else if (_readsDevice && !read(block)) {
            block.result = _cancelling ? PipeResult::cancelled : PipeResult::timedOut;
            leftBehind += _cancelling ? 1 : 0;
        }
        if (block.result == PipeResult::timedOut) {
            return block;
        }
        if (!_readsDevice && block.result == PipeResult::done) {
            transfers.push_back(_posted.front());
        }
        _posted.pop_front();
        _cancelling = _cancelling && !_posted.empty();
        return block;
    }
    void cancel() override { _cancelling = !_posted.empty(); }

private:
    /// false: the transfer is not complete yet.
    bool read(Block& block) {
        std::size_t count = 0;
        std::size_t size = 0;
        while (size < block.asked && count < packets.size() && !block.isShort) {
            size += packets[count].size();
            block.isShort = packets[count].size() < packetLength;
            ++count;
        }
        if (size < block.asked && !block.isShort) {
            return false;
        }
        _read.clear();
        for (; count > 0; --count) {
            _read.insert(_read.end(), packets.front().begin(), packets.front().end());
            packets.pop_front();
        }
        block.data = _read;
        return true;
    }

    const bool _readsDevice;
    Bytes _buffer = Bytes(blockLength);
    Bytes _read;
    std::deque<Bytes> _posted;
    bool _cancelling = false;
};

Bytes phaseOf(ContainerType type, std::size_t size, std::uint32_t told) {
    Bytes bytes(size);
    for (std::size_t i = 0; i < size; ++i) {
        bytes[i] = static_cast<std::byte>(i * 7 + i / 256);
    }
    for (std::size_t i = 0; i < 4; ++i) {
        bytes[i] = static_cast<std::byte>(told >> (8 * i));
    }
    bytes[4] = static_cast<std::byte>(type);
    bytes[5] = std::byte{0};
    return bytes;
}
Bytes data(std::size_t size) {
    return phaseOf(ContainerType::Data, size, static_cast<std::uint32_t>(size));
}
const Bytes response = phaseOf(ContainerType::Response, 12, 12);

/// Reads one phase whole.
PipeResult readPhase(PhaseReader& reader, Bytes& bytes) {
    bytes.clear();
    return reader.receive(
        [&](std::span<const std::byte> block) {
            bytes.insert(bytes.end(), block.begin(), block.end());
            return true;
        },
        1s);
}

void expectPhase(PhaseReader& reader, const Bytes& expected, const std::string& what) {
    Bytes bytes;
    ASSERT_EQ(readPhase(reader, bytes), PipeResult::done) << what;
    EXPECT_TRUE(bytes == expected) << what << ": " << bytes.size() << " bytes";
}

constexpr std::size_t awkwardLengths[] = {12,    13,    511,   512,   513,     1024,   16383,
                                          16384, 16385, 32768, 49152, 200'000, 262'144};

TEST(PhaseReader, PhasesOfEveryLengthAreToldApart) {
    for (const std::size_t size : awkwardLengths) {
        PlayedPipe pipe(true);
        PhaseReader reader(pipe);
        pipe.play(data(size));
        pipe.play(response);
        expectPhase(reader, data(size), "data " + std::to_string(size));
        EXPECT_EQ(pipe.inFlight(), 0U) << "a read is posted behind the end";
        expectPhase(reader, response, "response " + std::to_string(size));
        EXPECT_EQ(pipe.leftBehind, 0U);
        EXPECT_GE(pipe.mostInFlight, size > 200'000 ? depth : 1U);
    }
}

TEST(PhaseReader, ReadsPostedAheadTakeTheSamePhases) {
    for (const bool closedByEmptyPacket : {true, false}) {
        for (const std::size_t size : awkwardLengths) {
            PlayedPipe pipe(true);
            PhaseReader reader(pipe);
            for (int transaction = 0; transaction < 2; ++transaction) {
                const std::string what = std::to_string(size) + " in transaction " + std::to_string(transaction);
                reader.beginTransaction(2);
                EXPECT_EQ(pipe.inFlight(), 2U);
                pipe.play(data(size), closedByEmptyPacket);
                pipe.play(response);
                expectPhase(reader, data(size), "data " + what);
                expectPhase(reader, response, "response " + what);
                EXPECT_EQ(pipe.inFlight(), 0U) << "a read is posted behind the end";
                EXPECT_TRUE(pipe.packets.empty());
            }
        }
    }
}

TEST(PhaseReader, ReadsPostedAheadForWhatDoesNotComeAreTakenBack) {
    PlayedPipe pipe(true);
    PhaseReader reader(pipe);
    reader.beginTransaction(2);
    pipe.play(response);
    expectPhase(reader, response, "a refusal without data");
    EXPECT_EQ(pipe.inFlight(), 0U);
    EXPECT_EQ(pipe.leftBehind, 1U);

    reader.beginTransaction(2);
    reader.dropReadAhead();
    EXPECT_EQ(pipe.inFlight(), 0U) << "the command did not go out";

    reader.beginTransaction(2);
    pipe.play(data(100));
    expectPhase(reader, data(100), "data whose response nobody waits for");
    pipe.play(response);
    reader.beginTransaction();
    EXPECT_EQ(pipe.inFlight(), 0U) << "the next command may be followed by data";
    expectPhase(reader, response, "what came late");

    reader.beginTransaction(2);
    Bytes bytes;
    EXPECT_EQ(readPhase(reader, bytes), PipeResult::timedOut);
    EXPECT_EQ(pipe.inFlight(), 0U);
}

TEST(PhaseReader, AForgottenEmptyPacketIsNotMissed) {
    for (const std::size_t size : awkwardLengths) {
        PlayedPipe pipe(true);
        PhaseReader reader(pipe);
        pipe.play(data(size), false);
        pipe.play(response);
        expectPhase(reader, data(size), "data " + std::to_string(size));
        expectPhase(reader, response, "response " + std::to_string(size));
    }
}

TEST(PhaseReader, AHeaderInAPacketOfItsOwnIsNotTheWholePhase) {
    PlayedPipe pipe(true);
    PhaseReader reader(pipe);
    const Bytes whole = data(100'000);
    pipe.play({whole.begin(), whole.begin() + 12});
    pipe.play({whole.begin() + 12, whole.end()});
    pipe.play(response);
    expectPhase(reader, whole, "data");
    expectPhase(reader, response, "response");
}

TEST(PhaseReader, AnUntoldLengthEndsWithTheShortPacketAndWhatWasReadAheadIsTheNextPhase) {
    for (const std::size_t size : {std::size_t{20'000}, std::size_t{200'000}, 16 * blockLength + 16384}) {
        PlayedPipe pipe(true);
        PhaseReader reader(pipe);
        const Bytes whole = phaseOf(ContainerType::Data, size, containerLengthUnknown);
        pipe.play(whole);
        pipe.play(response);
        expectPhase(reader, whole, "data");
        EXPECT_EQ(pipe.inFlight(), 0U);
        expectPhase(reader, response, "response");
    }
}

/// As of a file of more than 4 GiB from a device that knows no better: the lower 32 bits.
TEST(PhaseReader, APacketThatGoesOnPastTheToldLengthIsNotTheLast) {
    for (const std::uint32_t told : {13U, 5'000U, 16'385U, 100'003U}) {
        PlayedPipe pipe(true);
        PhaseReader reader(pipe);
        const Bytes whole = phaseOf(ContainerType::Data, 300'003, told);
        pipe.play(whole);
        pipe.play(response);
        expectPhase(reader, whole, "told " + std::to_string(told));
        EXPECT_EQ(pipe.inFlight(), 0U);
        expectPhase(reader, response, "response");
    }
}

TEST(PhaseReader, ALengthThatIsALieCostsNoOtherPhase) {
    PlayedPipe pipe(true);
    PhaseReader reader(pipe);
    const Bytes tooShort = phaseOf(ContainerType::Data, 50'000, 300'000);
    pipe.play(tooShort);
    pipe.play(response);
    expectPhase(reader, tooShort, "shorter than told");
    expectPhase(reader, response, "response");
    EXPECT_EQ(pipe.inFlight(), 0U);
}

TEST(PhaseReader, FailuresEndThePhaseAndNothingStaysPosted) {
    for (const PipeResult failure : {PipeResult::stalled, PipeResult::failed, PipeResult::gone, PipeResult::timedOut}) {
        PlayedPipe pipe(true);
        PhaseReader reader(pipe);
        pipe.play(data(200'000));
        pipe.results = {PipeResult::done, failure};
        Bytes bytes;
        // The first result is of a transfer that moved nothing, which is passed over.
        EXPECT_EQ(readPhase(reader, bytes), failure);
        EXPECT_EQ(pipe.inFlight(), 0U);
    }
    PlayedPipe silent(true);
    PhaseReader reader(silent);
    Bytes bytes;
    EXPECT_EQ(readPhase(reader, bytes), PipeResult::timedOut);
    silent.results.assign(100, PipeResult::done);
    EXPECT_EQ(readPhase(reader, bytes), PipeResult::failed) << "nothing but empty packets";
    EXPECT_EQ(silent.inFlight(), 0U);
}

TEST(PhaseReader, ASinkThatStopsLeavesNothingPostedAndDrainingReachesTheEnd) {
    PlayedPipe pipe(true);
    PhaseReader reader(pipe);
    pipe.play(data(200'000));
    pipe.play(response);
    EXPECT_EQ(reader.receive([](std::span<const std::byte>) { return false; }, 1s), PipeResult::stopped);
    EXPECT_EQ(pipe.inFlight(), 0U);
    EXPECT_FALSE(reader.answered());
    EXPECT_EQ(reader.drain(1ms, 1min), PipeResult::done);
    EXPECT_TRUE(pipe.packets.empty());
    const auto answered = decodeHeader(response)->transactionId;
    EXPECT_EQ(reader.answered(), answered) << "what was drained had the response in it";
    reader.beginTransaction();
    EXPECT_FALSE(reader.answered());
    pipe.play(response);
    expectPhase(reader, response, "the next one");
    EXPECT_EQ(reader.answered(), answered);
}

TEST(PhaseReader, ASinkThatStopsWithTheLastBytesLeavesTheResponseAlone) {
    const BlockSink stops = [](std::span<const std::byte>) { return false; };
    const auto answered = decodeHeader(response)->transactionId;
    for (const std::uint32_t told : {1000U, containerLengthUnknown}) {
        PlayedPipe pipe(true);
        PhaseReader reader(pipe);
        pipe.play(phaseOf(ContainerType::Data, 1000, told));
        EXPECT_EQ(reader.receive(stops, 1s), PipeResult::stopped);
        EXPECT_TRUE(reader.stoppedAtEnd());
        EXPECT_EQ(pipe.inFlight(), 0U);
        pipe.play(response);
        EXPECT_EQ(reader.drain(1ms, 1min), PipeResult::done);
        EXPECT_EQ(reader.answered(), answered);

        pipe.play(phaseOf(ContainerType::Data, 200'000, 200'000));
        EXPECT_EQ(reader.receive(stops, 1s), PipeResult::stopped);
        EXPECT_FALSE(reader.stoppedAtEnd()) << "more is to come";
    }
    // A response that was read ahead has come all the same.
    PlayedPipe pipe(true);
    PhaseReader reader(pipe);
    reader.beginTransaction(2);
    pipe.play(data(1000));
    pipe.play(response);
    EXPECT_EQ(reader.receive(stops, 1s), PipeResult::stopped);
    EXPECT_EQ(reader.answered(), answered);
    EXPECT_EQ(pipe.inFlight(), 0U);
}

TEST(PhaseWriter, HeaderAndBytesGoInOneStreamClosedByAnEmptyPacketWhereItIsDue) {
    for (const std::size_t size : awkwardLengths) {
        PlayedPipe pipe(false);
        pipe.fullOnce = true;
        const Bytes whole = data(size);
        std::size_t offset = containerHeaderSize;
        const BlockSource source = [&](std::span<std::byte> block) {
            std::copy_n(whole.begin() + static_cast<std::ptrdiff_t>(offset), block.size(), block.begin());
            offset += block.size();
            return static_cast<std::ptrdiff_t>(block.size());
        };
        ASSERT_EQ(writePhase(pipe, std::span(whole).first(containerHeaderSize), size - containerHeaderSize, source, 1s),
                  PipeResult::done);
        EXPECT_EQ(pipe.inFlight(), 0U);
        Bytes arrived;
        for (const Bytes& transfer : pipe.transfers) {
            arrived.insert(arrived.end(), transfer.begin(), transfer.end());
        }
        EXPECT_TRUE(arrived == whole) << size;
        EXPECT_EQ(pipe.transfers.back().empty(), size % packetLength == 0) << size;
        EXPECT_LE(pipe.mostInFlight, depth);
    }
}

TEST(PhaseWriter, AStoppedOrFailedPhaseLeavesNothingInFlight) {
    const Bytes header(12);
    const BlockSource zeros = [](std::span<std::byte> block) { return static_cast<std::ptrdiff_t>(block.size()); };
    int blocks = 0;
    const BlockSource stops = [&](std::span<std::byte> block) {
        return ++blocks == 3 ? -1 : static_cast<std::ptrdiff_t>(block.size());
    };
    PlayedPipe pipe(false);
    EXPECT_EQ(writePhase(pipe, header, 1'000'000, stops, 1s), PipeResult::stopped);
    EXPECT_EQ(pipe.inFlight(), 0U);
    for (const PipeResult failure : {PipeResult::stalled, PipeResult::failed, PipeResult::gone}) {
        PlayedPipe failing(false);
        failing.results = {PipeResult::done, failure};
        EXPECT_EQ(writePhase(failing, header, 1'000'000, zeros, 1s), failure);
        EXPECT_EQ(failing.inFlight(), 0U);
    }
}

} // namespace
} // namespace mtpsdk
