// SPDX-License-Identifier: MIT
#include "ScriptedDevice.h"

#include <gtest/gtest.h>

#include <algorithm>

namespace mtpsdk::test {

Bytes bytesOf(std::initializer_list<unsigned> values) {
    Bytes bytes;
    for (const unsigned value : values) {
        bytes.push_back(static_cast<std::byte>(value));
    }
    return bytes;
}

Bytes patternedBytes(std::size_t size) {
    Bytes bytes(size);
    for (std::size_t i = 0; i < size; ++i) {
        bytes[i] = static_cast<std::byte>((i * 31 + (i >> 8)) & 0xFF);
    }
    return bytes;
}

/// The line to a script. Phases are made when they are first asked for, so a handler sees the data that came before.
class ScriptedTransport : public Transport {
public:
    explicit ScriptedTransport(Script& script)
        : _script(script)
        , _line(script._line) {}

    DGSTATUS send(std::span<const std::byte> header, std::uint64_t payloadLength, const BlockSource& source) override {
        if (closed()) {
            return DGSTATUS_NO_DEVICE_ATTACHED;
        }
        const auto decoded = decodeHeader(header);
        if (decoded->type == ContainerType::Command) {
            _command = decodeContainer(header);
            _script.commands.push_back(*_command);
            _dataOut.clear();
            return DGSTATUS_SUCCESS;
        }
        if (_script.stalls.contains(static_cast<OperationCode>(decoded->code))) {
            return DGSTATUS_INTERNAL_DRIVER_READ_ERROR;
        }
        while (payloadLength > 0) {
            Bytes block(std::min<std::uint64_t>(payloadLength, _script.blockSize));
            const std::ptrdiff_t got = source(block);
            if (got < 0) {
                return DGSTATUS_IO_CANCEL;
            }
            EXPECT_EQ(static_cast<std::size_t>(got), block.size());
            _dataOut.insert(_dataOut.end(), block.begin(), block.end());
            payloadLength -= block.size();
        }
        return DGSTATUS_SUCCESS;
    }

    DGSTATUS receive(const BlockSink& sink) override {
        if (closed()) {
            return DGSTATUS_NO_DEVICE_ATTACHED;
        }
        if (_phases.empty() && _command) {
            makePhases();
        }
        if (_phases.empty()) {
            return DGSTATUS_INTERNAL_DEVICE_NOT_RESPONSE;
        }
        const Bytes phase = std::move(_phases.front());
        _phases.erase(_phases.begin());
        const auto header = decodeHeader(phase);
        if (header && header->type == ContainerType::Data &&
            _script.stalls.contains(static_cast<OperationCode>(header->code))) {
            drop();
            return DGSTATUS_INTERNAL_DRIVER_READ_ERROR;
        }
        for (std::span<const std::byte> rest = phase; !rest.empty();) {
            const auto block = rest.first(std::min(rest.size(), _script.blockSize));
            if (!sink(block)) {
                return DGSTATUS_IO_CANCEL;
            }
            rest = rest.subspan(block.size());
        }
        return header && header->type == ContainerType::Data ? receiveZeros(sink) : DGSTATUS_SUCCESS;
    }

    DGSTATUS cancel(std::uint32_t transactionId) override {
        _script.cancels.push_back(transactionId);
        if (!_script.cancelAnswers.empty()) {
            const DGSTATUS status = _script.cancelAnswers.front();
            _script.cancelAnswers.erase(_script.cancelAnswers.begin());
            return status;
        }
        drop();
        return DGSTATUS_SUCCESS;
    }

    DGSTATUS reset() override {
        ++_script.resets;
        drop();
        return DGSTATUS_SUCCESS;
    }

    DGSTATUS readEvent(Bytes& container, std::chrono::milliseconds timeout) override {
        std::unique_lock lock(_line->mutex);
        _line->changed.wait_for(lock, timeout, [this] { return _line->closed || !_line->events.empty(); });
        if (_line->closed) {
            return DGSTATUS_NO_DEVICE_ATTACHED;
        }
        if (_line->events.empty()) {
            return DGSTATUS_NO_DATA;
        }
        container = std::move(_line->events.front());
        _line->events.pop_front();
        return DGSTATUS_SUCCESS;
    }

    std::optional<UsbId> usbId() const override { return _script.usbId; }

    void close() override {
        const std::lock_guard lock(_line->mutex);
        _line->closed = true;
        _line->changed.notify_all();
    }

private:
    [[nodiscard]] bool closed() const {
        const std::lock_guard lock(_line->mutex);
        return _line->closed;
    }
    DGSTATUS receiveZeros(const BlockSink& sink) const {
        const Bytes zeros(std::size_t{1} << 20);
        for (std::uint64_t left = _script.zerosBehind; left > 0;) {
            const auto block = std::span(zeros).first(std::min<std::uint64_t>(zeros.size(), left));
            if (!sink(block)) {
                return DGSTATUS_IO_CANCEL;
            }
            left -= block.size();
        }
        return DGSTATUS_SUCCESS;
    }
    void drop() {
        _phases.clear();
        _command.reset();
    }
    void makePhases() {
        const auto operation = static_cast<OperationCode>(_command->code);
        const auto handler = _script.on.find(operation);
        Answer answer{ResponseCode::OperationNotSupported, {}, {}};
        if (handler != _script.on.end()) {
            answer = handler->second(*_command, _dataOut);
        }
        if (answer.data) {
            const auto header = encodeDataHeader(_command->code, _command->transactionId, answer.data->size());
            Bytes phase(header.begin(), header.end());
            phase.insert(phase.end(), answer.data->begin(), answer.data->end());
            _phases.push_back(std::move(phase));
        }
        _phases.push_back(encodeContainer(ContainerType::Response, raw(answer.code), _command->transactionId,
                                          std::span<const std::uint32_t>(answer.parameters)));
        _command.reset();
        if (const auto mangler = _script.mangle.find(operation); mangler != _script.mangle.end()) {
            mangler->second(_phases);
        }
    }

    Script& _script;
    std::shared_ptr<Script::Line> _line;
    std::optional<ParameterContainer> _command;
    Bytes _dataOut;
    std::vector<Bytes> _phases;
};

Script::Script() {
    const auto fine = [](const ParameterContainer&, const Bytes&) { return Answer{}; };
    on[OperationCode::OpenSession] = fine;
    on[OperationCode::CloseSession] = fine;
    on[OperationCode::DeleteObject] = fine;
    on[OperationCode::GetDeviceInfo] = [this](const ParameterContainer&, const Bytes&) {
        return Answer{ResponseCode::OK, {}, encode(info)};
    };
    on[OperationCode::GetStorageIDs] = [](const ParameterContainer&, const Bytes&) {
        return Answer{ResponseCode::OK, {}, encode(std::vector<std::uint32_t>{0x10001, 0x20001})};
    };
    info.model = u"Scripted";
}

void Script::announce(std::initializer_list<OperationCode> codes) {
    for (const OperationCode code : codes) {
        info.operations.push_back(raw(code));
    }
}

std::vector<OperationCode> Script::operations() const {
    std::vector<OperationCode> result;
    for (const ParameterContainer& command : commands) {
        result.push_back(static_cast<OperationCode>(command.code));
    }
    return result;
}

std::size_t Script::count(OperationCode operation) const {
    return static_cast<std::size_t>(std::ranges::count(operations(), operation));
}

std::unique_ptr<Transport> Script::transport() {
    _line = std::make_shared<Line>();
    return std::make_unique<ScriptedTransport>(*this);
}

std::unique_ptr<Session> Script::open(const QuirkTable& table) {
    std::unique_ptr<Session> session;
    EXPECT_EQ(Session::open(transport(), session, table), DGSTATUS_SUCCESS);
    commands.clear();
    return session;
}

void Script::raise(EventCode code, std::initializer_list<std::uint32_t> parameters) {
    raiseRaw(encodeContainer(ContainerType::Event, raw(code), 0xFFFFFFFF, parameters));
}

void Script::raiseRaw(Bytes container) {
    const std::lock_guard lock(_line->mutex);
    _line->events.push_back(std::move(container));
    _line->changed.notify_all();
}

Rows& Rows::add(std::uint32_t handle, ObjectPropertyCode property, PropertyValue value) {
    _elements.push_back({handle, raw(property), std::move(value)});
    return *this;
}

Rows& Rows::object(std::uint32_t handle, std::uint32_t storage, std::uint32_t parent, FormatCode format,
                   std::uint64_t size, const std::u16string& name) {
    return add(handle, ObjectPropertyCode::StorageID, PropertyValue::integer(DataType::UInt32, storage))
        .add(handle, ObjectPropertyCode::ParentObject, PropertyValue::integer(DataType::UInt32, parent))
        .add(handle, ObjectPropertyCode::ObjectFormat, PropertyValue::integer(DataType::UInt16, raw(format)))
        .add(handle, ObjectPropertyCode::ObjectSize, PropertyValue::integer(DataType::UInt64, size))
        .add(handle, ObjectPropertyCode::ObjectFileName, PropertyValue::string(name));
}

} // namespace mtpsdk::test
