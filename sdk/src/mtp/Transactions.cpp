// SPDX-License-Identifier: MIT
#include "mtp/Transactions.h"

#include "mtp/Bytes.h"

#include <algorithm>
#include <cstring>

namespace mtpsdk {
namespace {

constexpr std::uint32_t sessionId = 1;
/// Phases read for one answer, left-overs of earlier transactions included; more means a device that babbles.
constexpr int maximumPhases = 8;
/// No dataset of a real device comes near this.
constexpr std::size_t maximumDataset = std::size_t{256} << 20;
constexpr std::size_t largestResponse = containerHeaderSize + maximumParameters * sizeof(std::uint32_t);

/// A response of the length that it claims. Some devices end one with a stray byte or two; the whole parameters in
/// front count all the same.
std::optional<ParameterContainer> decodeResponse(std::span<const std::byte> bytes) {
    const auto header = decodeHeader(bytes);
    if (!header || header->length != bytes.size()) {
        return std::nullopt;
    }
    std::vector<std::uint32_t> parameters;
    ByteReader reader(bytes.subspan(containerHeaderSize));
    while (reader.remaining() >= sizeof(std::uint32_t)) {
        parameters.push_back(reader.u32());
    }
    return decodeContainer(encodeContainer(header->type, header->code, header->transactionId, parameters));
}

} // namespace

Request::Request(OperationCode code, std::initializer_list<std::uint32_t> values)
    : operation(code) {
    for (const std::uint32_t value : values) {
        parameters[count++] = value;
    }
}

/// A phase as it arrives.
struct Transactions::Incoming {
    std::optional<ContainerHeader> header;
    std::vector<std::byte> start; ///< the container, as far as a response reaches and one byte more
    std::uint64_t total = 0;
    bool stopped = false;
};

DGSTATUS Transactions::openSession() {
    _isChanging = true;
    const auto open = [this] {
        _nextId = 0;
        return run(Request(OperationCode::OpenSession, {sessionId}));
    };
    DGSTATUS status = open();
    if (status == DGSTATUS_INTERNAL_SESSIONALREADYOPENED) {
        // Someone before us did not close it. A device that cannot close it either lets us go on in it.
        (void) run(Request(OperationCode::CloseSession, {}));
        status = open();
    }
    if (status == DGSTATUS_INTERNAL_SESSIONALREADYOPENED) {
        status = DGSTATUS_SUCCESS;
    }
    _isChanging = false;
    _isOpen = status == DGSTATUS_SUCCESS;
    return status;
}

void Transactions::closeSession() {
    if (_isOpen) {
        _isOpen = false;
        _isChanging = true;
        (void) run(Request(OperationCode::CloseSession, {}));
        _isChanging = false;
    }
}

DGSTATUS Transactions::run(const Request& request, Reply& reply) {
    Answer answer;
    const DGSTATUS status = transact(request, nullptr, nullptr, answer);
    reply = answer.reply;
    return status;
}

DGSTATUS Transactions::run(const Request& request) {
    Reply reply;
    return run(request, reply);
}

DGSTATUS Transactions::read(const Request& request, std::vector<std::byte>& data) {
    data.clear();
    bool tooLong = false;
    const BlockSink sink = [&](std::span<const std::byte> block) {
        tooLong = block.size() > maximumDataset - data.size();
        if (!tooLong) {
            data.insert(data.end(), block.begin(), block.end());
        }
        return !tooLong;
    };
    Answer answer;
    const DGSTATUS status = transact(request, nullptr, &sink, answer);
    if (tooLong) {
        return DGSTATUS_INTERNAL_INVALIDDATASET;
    }
    if (status == DGSTATUS_SUCCESS && answer.dataLength && *answer.dataLength != data.size() + containerHeaderSize &&
        *answer.dataLength != containerLengthUnknown) {
        return DGSTATUS_INTERNAL_SIZE_MISMATCH;
    }
    return status;
}

DGSTATUS Transactions::write(const Request& request, std::span<const std::byte> data, Reply& reply) {
    const BlockSource source = [data](std::span<std::byte> block) mutable {
        const std::size_t size = std::min(block.size(), data.size());
        std::copy_n(data.begin(), size, block.begin());
        data = data.subspan(size);
        return static_cast<std::ptrdiff_t>(size);
    };
    const DataOut out{data.size(), source};
    Answer answer;
    const DGSTATUS status = transact(request, &out, nullptr, answer);
    reply = answer.reply;
    return status;
}

DGSTATUS Transactions::receive(const Request& request, const BlockSink& sink) {
    Answer answer;
    return transact(request, nullptr, &sink, answer);
}

DGSTATUS Transactions::send(const Request& request, std::uint64_t length, const BlockSource& source) {
    const DataOut out{length, source};
    Answer answer;
    return transact(request, &out, nullptr, answer);
}

DGSTATUS Transactions::transact(const Request& request, const DataOut* out, const BlockSink* sink, Answer& answer) {
    if (gone()) {
        return DGSTATUS_NO_DEVICE_ATTACHED;
    }
    const std::uint32_t id = takeId();
    _count.fetch_add(1, std::memory_order_relaxed);
    const DGSTATUS line = exchange(request, id, out, sink, answer);
    if (line != DGSTATUS_SUCCESS) {
        const DGSTATUS status = settle(id, line);
        const bool strayAnswer = status == DGSTATUS_INTERNAL_DEVICE_NOT_RESPONSE && answer.sawStale;
        return strayAnswer ? DGSTATUS_INTERNAL_INVALIDTRANSACTIONID : status;
    }
    if (answer.fault != DGSTATUS_SUCCESS) {
        return answer.fault;
    }
    const DGSTATUS status = statusFromResponse(answer.reply.code);
    if (status == DGSTATUS_INTERNAL_SESSIONNOTOPEN && !_isChanging) {
        // The device dropped the session (it was reset, or someone else took it over): what comes next finds a new one.
        (void) openSession();
    }
    return status;
}

DGSTATUS Transactions::exchange(const Request& request, std::uint32_t id, const DataOut* out, const BlockSink* sink,
                                Answer& answer) {
    const std::uint16_t code = raw(request.operation);
    const auto command =
        encodeContainer(ContainerType::Command, code, id, std::span(request.parameters).first(request.count));
    DGSTATUS status = _transport.send(command, 0, {});
    if (status == DGSTATUS_SUCCESS && out != nullptr) {
        status = _transport.send(encodeDataHeader(code, id, out->length), out->length, out->source);
        if (status == DGSTATUS_INTERNAL_DRIVER_READ_ERROR) {
            // A device that refuses data stalls the line and says why in its response.
            Answer refusal;
            if (receiveAnswer(id, nullptr, refusal) == DGSTATUS_SUCCESS && refusal.fault == DGSTATUS_SUCCESS &&
                refusal.reply.code != ResponseCode::OK) {
                answer = refusal;
                return DGSTATUS_SUCCESS;
            }
        }
    }
    return status == DGSTATUS_SUCCESS ? receiveAnswer(id, sink, answer) : status;
}

DGSTATUS Transactions::receiveAnswer(std::uint32_t id, const BlockSink* sink, Answer& answer) {
    for (int phase = 0; phase < maximumPhases; ++phase) {
        Incoming incoming;
        const bool dataExpected = sink != nullptr && !answer.dataLength;
        const DGSTATUS status = receivePhase(id, dataExpected ? sink : nullptr, incoming);
        if (status != DGSTATUS_SUCCESS) {
            return status;
        }
        if (take(incoming, id, dataExpected, answer)) {
            return DGSTATUS_SUCCESS;
        }
    }
    answer.fault = DGSTATUS_INTERNAL_INVALIDDATASET;
    return DGSTATUS_SUCCESS;
}

DGSTATUS Transactions::receivePhase(std::uint32_t id, const BlockSink* sink, Incoming& incoming) {
    const BlockSink collect = [&](std::span<const std::byte> block) {
        const bool first = incoming.total == 0;
        if (first) {
            incoming.header = decodeHeader(block);
        }
        incoming.total += block.size();
        const std::size_t room = largestResponse + 1 - incoming.start.size();
        const auto kept = block.first(std::min(room, block.size()));
        incoming.start.insert(incoming.start.end(), kept.begin(), kept.end());

        const auto& header = incoming.header;
        if (sink != nullptr && header && header->type == ContainerType::Data && header->transactionId == id) {
            const auto payload = first ? block.subspan(containerHeaderSize) : block;
            incoming.stopped = !payload.empty() && !(*sink)(payload);
        } else {
            incoming.stopped = incoming.total > maximumDataset;
        }
        return !incoming.stopped;
    };
    const DGSTATUS status = _transport.receive(collect);
    return status == DGSTATUS_SUCCESS && incoming.stopped ? DGSTATUS_IO_CANCEL : status;
}

bool Transactions::take(const Incoming& incoming, std::uint32_t id, bool dataExpected, Answer& answer) {
    if (incoming.total == 0) {
        return false; // a stray zero-length packet
    }
    const auto& header = incoming.header;
    const bool known = header && (header->type == ContainerType::Data || header->type == ContainerType::Response);
    if (!known) {
        answer.fault = DGSTATUS_INTERNAL_INVALIDDATASET;
        return true;
    }
    if (header->transactionId < id) {
        answer.sawStale = true;
        return false;
    }
    if (header->transactionId != id) {
        answer.fault = DGSTATUS_INTERNAL_INVALIDTRANSACTIONID;
        return header->type == ContainerType::Response;
    }
    if (header->type == ContainerType::Data) {
        if (dataExpected) {
            answer.dataLength = header->length;
        } else {
            answer.fault = DGSTATUS_INTERNAL_INVALIDDATASET;
        }
        return false;
    }
    const auto response = decodeResponse(incoming.start);
    if (response) {
        answer.reply = {static_cast<ResponseCode>(response->code), response->parameters};
    } else {
        answer.fault = DGSTATUS_INTERNAL_INVALIDDATASET;
    }
    return true;
}

DGSTATUS Transactions::settle(std::uint32_t id, DGSTATUS status) {
    if (status == DGSTATUS_NO_DEVICE_ATTACHED) {
        markGone();
        return status;
    }
    if (_isChanging) {
        return status;
    }
    const DGSTATUS cancelled = _transport.cancel(id);
    if (cancelled == DGSTATUS_NO_DEVICE_ATTACHED) {
        markGone();
    } else if (cancelled != DGSTATUS_SUCCESS) {
        reopen();
    }
    if (status != DGSTATUS_IO_CANCEL) {
        return status;
    }
    return cancelled == DGSTATUS_SUCCESS ? DGSTATUS_IO_CANCEL_SUCCESS : DGSTATUS_IO_CANCEL_FAILED;
}

void Transactions::reopen() {
    if (_transport.reset() == DGSTATUS_NO_DEVICE_ATTACHED || openSession() == DGSTATUS_NO_DEVICE_ATTACHED) {
        markGone();
    }
}

std::uint32_t Transactions::takeId() {
    const std::uint32_t id = _nextId++;
    if (_nextId == 0xFFFFFFFF) {
        _nextId = 1; // 0 belongs to the opening of a session, all ones to no transaction
    }
    return id;
}

} // namespace mtpsdk
