// SPDX-License-Identifier: MIT
// A session on a line whose every answer comes from the input: well-formed containers around arbitrary datasets,
// containers of arbitrary bytes, silence, refusals, refused cancels. Calls must end, and what they promise must hold.
#include "mtp/Container.h"
#include "mtp/Datasets.h"
#include "mtp/Session.h"
#include "transport/Transport.h"

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <memory>
#include <span>
#include <vector>

namespace {

using namespace mtpsdk;
using Bytes = std::vector<std::byte>;

constexpr std::uint64_t largestObject = 600'000;

void require(bool holds) {
    if (!holds) {
        std::abort();
    }
}

/// The input, taken from the front.
class Input {
public:
    explicit Input(std::span<const std::byte> bytes)
        : _rest(bytes) {}
    [[nodiscard]] bool empty() const { return _rest.empty(); }
    std::uint8_t byte() { return empty() ? 0 : static_cast<std::uint8_t>(take(1)[0]); }
    std::uint32_t word() {
        const auto high = static_cast<std::uint32_t>(byte());
        return high << 8 | byte();
    }
    std::span<const std::byte> take(std::size_t count) {
        const auto taken = _rest.first(std::min(count, _rest.size()));
        _rest = _rest.subspan(taken.size());
        return taken;
    }

private:
    std::span<const std::byte> _rest;
};

/// Once the input is used up the device is gone, which bounds what one input can do.
class FuzzedLine : public Transport {
public:
    FuzzedLine(Input& input, bool opensWell)
        : _input(input)
        , _opensWell(opensWell) {}

    DGSTATUS send(std::span<const std::byte> header, std::uint64_t payloadLength, const BlockSource& source) override {
        const auto decoded = decodeHeader(header);
        if (decoded->type == ContainerType::Command) {
            _command = *decoded;
        }
        const std::uint8_t stopAfter = payloadLength > 0 ? _input.byte() : 0;
        Bytes block(64 * 1024);
        for (std::uint8_t count = 0; payloadLength > 0; ++count) {
            if (count == (stopAfter & 0x7F) && (stopAfter & 0x80) != 0) {
                return DGSTATUS_INTERNAL_DRIVER_READ_ERROR;
            }
            const auto part = std::span(block).first(std::min<std::uint64_t>(block.size(), payloadLength));
            const std::ptrdiff_t got = source(part);
            if (got < 0) {
                return DGSTATUS_IO_CANCEL;
            }
            require(static_cast<std::size_t>(got) == part.size());
            payloadLength -= part.size();
        }
        return DGSTATUS_SUCCESS;
    }

    DGSTATUS receive(const BlockSink& sink) override {
        const Bytes phase = _opensWell ? openingPhase() : nextPhase();
        if (phase.empty()) {
            return _input.empty() ? DGSTATUS_NO_DEVICE_ATTACHED : DGSTATUS_INTERNAL_DEVICE_NOT_RESPONSE;
        }
        const std::size_t blockSize = containerHeaderSize + _input.byte() * std::size_t{64};
        for (std::span<const std::byte> rest = phase; !rest.empty();) {
            const auto block = rest.first(std::min(rest.size(), blockSize));
            if (!sink(block)) {
                return DGSTATUS_IO_CANCEL;
            }
            rest = rest.subspan(block.size());
        }
        return DGSTATUS_SUCCESS;
    }

    DGSTATUS cancel(std::uint32_t) override {
        return (_input.byte() & 1) == 0 ? DGSTATUS_SUCCESS : DGSTATUS_INTERNAL_DEVICE_NOT_RESPONSE;
    }
    DGSTATUS reset() override { return DGSTATUS_SUCCESS; }
    DGSTATUS readEvent(Bytes&, std::chrono::milliseconds) override { return DGSTATUS_NO_DEVICE_ATTACHED; }
    void close() override {}

private:
    /// A device that announces all operations, so that the rest of the input goes where it is most interesting.
    Bytes openingPhase() {
        if (_command.code == raw(OperationCode::GetDeviceInfo) && !_describedItself) {
            _describedItself = true;
            DeviceInfo info;
#define ANNOUNCE(code, name) info.operations.push_back(code);
            MTP_OPERATION_CODES(ANNOUNCE)
#undef ANNOUNCE
            info.deviceProperties = {raw(DevicePropertyCode::DeviceFriendlyName)};
            return dataPhase(encode(info));
        }
        _opensWell = !_describedItself;
        return response(ResponseCode::OK, {});
    }
    Bytes nextPhase() {
        const std::uint8_t kind = _input.byte();
        switch (kind % 8) {
        case 0:
        case 1:
            return dataPhase(_input.take(_input.byte()));
        case 2:
            return dataPhase(_input.take(_input.word()));
        case 3: {
            const std::uint32_t handle = _input.byte();
            return response(ResponseCode::OK, {1, handle, _input.byte()});
        }
        case 4:
            return response(static_cast<ResponseCode>(0x2000 + _input.byte() % 0x24), {});
        case 5: {
            const auto bytes = _input.take(_input.byte());
            return {bytes.begin(), bytes.end()};
        }
        case 6: {
            Bytes large = dataPhase(Bytes(_input.word() * std::size_t{16}));
            return large;
        }
        default:
            return {};
        }
    }
    [[nodiscard]] Bytes dataPhase(std::span<const std::byte> payload) const {
        const auto header = encodeDataHeader(_command.code, _command.transactionId, payload.size());
        Bytes phase(header.begin(), header.end());
        phase.insert(phase.end(), payload.begin(), payload.end());
        return phase;
    }
    [[nodiscard]] Bytes response(ResponseCode code, std::initializer_list<std::uint32_t> parameters) const {
        return encodeContainer(ContainerType::Response, raw(code), _command.transactionId, parameters);
    }

    Input& _input;
    bool _opensWell;
    bool _describedItself = false;
    ContainerHeader _command;
};

/// A progress that must rise block by block and reach the end at most once.
class WatchedProgress {
public:
    explicit WatchedProgress(Input& input)
        : _stopAfter(input.byte()) {}
    bool operator()(std::uint64_t current, std::uint64_t total) {
        require(current <= total && !_ended && (current > _last || total == 0));
        _last = current;
        _ended = current == total;
        return _stopAfter-- == 1;
    }

private:
    std::uint8_t _stopAfter;
    std::uint64_t _last = 0;
    bool _ended = false;
};

void send(Session& session, Input& input) {
    NewObject object;
    object.storageId = 1;
    object.parent = input.byte() % 4;
    object.format = raw(FormatCode::MP3);
    object.size = input.word() * std::uint64_t{16} % largestObject;
    object.name = u"n";
    object.media.artist = u"a";
    WatchedProgress progress(input);
    ObjectEntry sent;
    MediaProperties media;
    const BlockSource source = [](std::span<std::byte> block) { return static_cast<std::ptrdiff_t>(block.size()); };
    const DGSTATUS status = session.sendObject(object, source, std::ref(progress), sent, media);
    require(status != DGSTATUS_SUCCESS || sent.size == object.size);
}

void receive(Session& session, Input& input) {
    const std::uint64_t size = input.word() * std::uint64_t{16} % largestObject;
    std::uint64_t received = 0;
    WatchedProgress progress(input);
    const BlockSink sink = [&](std::span<const std::byte> block) {
        received += block.size();
        return received <= size;
    };
    const DGSTATUS status = session.getObject(1, size, sink, std::ref(progress));
    require(received <= size && (status != DGSTATUS_SUCCESS || received == size));
}

void callSomething(Session& session, Input& input) {
    std::vector<std::uint32_t> numbers;
    std::vector<ObjectEntry> entries;
    ObjectEntry entry;
    MediaProperties media;
    StorageInfo storage;
    std::u16string text;
    switch (input.byte() % 10) {
    case 0:
        (void) session.storageIds(numbers);
        break;
    case 1:
        (void) session.storageInfo(1, storage);
        break;
    case 2:
        (void) session.listFolder(1, input.byte() % 2, entries);
        break;
    case 3:
        (void) session.objectEntry(1, entry);
        break;
    case 4:
        (void) session.mediaProperties(1, raw(FormatCode::MP3), media);
        break;
    case 5:
        (void) session.createFolder(1, 0, u"f", entry);
        break;
    case 6:
        send(session, input);
        break;
    case 7:
        receive(session, input);
        break;
    case 8:
        (void) session.deviceProperty(DevicePropertyCode::DeviceFriendlyName, text);
        break;
    default:
        (void) session.references(1, numbers);
        (void) session.renameObject(1, u"other");
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    Input input(std::as_bytes(std::span(data, size)));
    const bool opensWell = (input.byte() & 1) == 0;
    std::unique_ptr<Session> session;
    if (Session::open(std::make_unique<FuzzedLine>(input, opensWell), session) != DGSTATUS_SUCCESS) {
        return 0;
    }
    while (!input.empty() && session->connected()) {
        callSomething(*session, input);
    }
    return 0;
}
