// SPDX-License-Identifier: MIT
#include "responder/Responder.h"

#include "platform/PosixFile.h"
#include "responder/ResponderImplementation.h"

#include <algorithm>
#include <cstring>
#include <unistd.h>
#include <utility>

namespace mtpsdk {

namespace {

/// No dataset that an initiator sends comes near this.
constexpr std::size_t maximumDataset = std::size_t{16} << 20;

} // namespace

Responder::Responder(std::shared_ptr<Store> store, std::shared_ptr<FaultPlan> faults)
    : _implementation(std::make_unique<Implementation>(std::move(store), std::move(faults))) {}

Responder::~Responder() = default;

void Responder::setEventSink(EventSink sink) {
    _implementation->setEventSink(std::move(sink));
}

Responder::Phase Responder::command(std::span<const std::byte> container) {
    return _implementation->command(container);
}

void Responder::dataOut(std::span<const std::byte> block) {
    _implementation->dataOut(block);
}

void Responder::dataOutEnd() {
    _implementation->dataOutEnd();
}

std::size_t Responder::dataIn(std::span<std::byte> block) {
    return _implementation->dataIn(block);
}

std::vector<std::byte> Responder::response() {
    return _implementation->response();
}

bool Responder::cancel(std::uint32_t transactionId) {
    return _implementation->cancel(transactionId);
}

void Responder::reset() {
    _implementation->reset();
}

std::span<const Responder::Implementation::Row> Responder::Implementation::operations() {
    static constexpr std::array rows = {
        Row{OperationCode::GetDeviceInfo, Data::in, &Implementation::getDeviceInfo},
        Row{OperationCode::OpenSession, Data::none, &Implementation::openSession},
        Row{OperationCode::CloseSession, Data::none, &Implementation::closeSession},
        Row{OperationCode::GetStorageIDs, Data::in, &Implementation::getStorageIDs},
        Row{OperationCode::GetStorageInfo, Data::in, &Implementation::getStorageInfo},
        Row{OperationCode::GetNumObjects, Data::none, &Implementation::getNumObjects},
        Row{OperationCode::GetObjectHandles, Data::in, &Implementation::getObjectHandles},
        Row{OperationCode::GetObjectInfo, Data::in, &Implementation::getObjectInfo},
        Row{OperationCode::GetObject, Data::in, &Implementation::getObject},
        Row{OperationCode::DeleteObject, Data::none, &Implementation::deleteObject},
        Row{OperationCode::SendObjectInfo, Data::out, &Implementation::sendObjectInfo},
        Row{OperationCode::SendObject, Data::out, &Implementation::sendObject},
        Row{OperationCode::GetDevicePropDesc, Data::in, &Implementation::getDevicePropDesc},
        Row{OperationCode::GetDevicePropValue, Data::in, &Implementation::getDevicePropValue},
        Row{OperationCode::SetDevicePropValue, Data::out, &Implementation::setDevicePropValue},
        Row{OperationCode::ResetDevicePropValue, Data::none, &Implementation::resetDevicePropValue},
        Row{OperationCode::MoveObject, Data::none, &Implementation::moveObject},
        Row{OperationCode::GetPartialObject, Data::in, &Implementation::getPartialObject},
        Row{OperationCode::GetPartialObject64, Data::in, &Implementation::getPartialObject64},
        Row{OperationCode::GetObjectPropsSupported, Data::in, &Implementation::getObjectPropsSupported},
        Row{OperationCode::GetObjectPropDesc, Data::in, &Implementation::getObjectPropDesc},
        Row{OperationCode::GetObjectPropValue, Data::in, &Implementation::getObjectPropValue},
        Row{OperationCode::SetObjectPropValue, Data::out, &Implementation::setObjectPropValue},
        Row{OperationCode::GetObjectPropList, Data::in, &Implementation::getObjectPropList},
        Row{OperationCode::SetObjectPropList, Data::out, &Implementation::setObjectPropList},
        Row{OperationCode::SendObjectPropList, Data::out, &Implementation::sendObjectPropList},
        Row{OperationCode::GetObjectReferences, Data::in, &Implementation::getObjectReferences},
        Row{OperationCode::SetObjectReferences, Data::out, &Implementation::setObjectReferences},
    };
    return rows;
}

Responder::Implementation::Implementation(std::shared_ptr<Store> store, std::shared_ptr<FaultPlan> faults)
    : _store(std::move(store))
    , _faults(faults ? std::move(faults) : std::make_shared<FaultPlan>()) {
    _storeListener = _store->addListener([this](const StoreEvent& event) { tell(event); });
    _planRaiser = _faults->addRaiser(
        [this](EventCode code, const std::vector<std::uint32_t>& parameters) { raise(code, parameters); });
}

Responder::Implementation::~Implementation() {
    _faults->removeRaiser(_planRaiser);
    _store->removeListener(_storeListener);
    closeFile();
}

void Responder::Implementation::setEventSink(EventSink sink) {
    const std::lock_guard lock(_sinkMutex);
    _sink = std::move(sink);
}

void Responder::Implementation::raise(EventCode code, std::span<const std::uint32_t> parameters) {
    const std::lock_guard lock(_sinkMutex);
    if (_sink) {
        _sink(encodeContainer(ContainerType::Event, raw(code), 0, parameters));
    }
}

void Responder::Implementation::tell(const StoreEvent& event) {
    const EventCode code = event.kind == StoreEvent::Kind::added     ? EventCode::ObjectAdded
                           : event.kind == StoreEvent::Kind::removed ? EventCode::ObjectRemoved
                                                                     : EventCode::ObjectInfoChanged;
    const std::array<std::uint32_t, 1> parameters = {event.handle};
    raise(code, parameters);
}

const Responder::Implementation::Row* Responder::Implementation::findOperation(OperationCode code) const {
    const auto known = operations();
    const auto found = std::ranges::find(known, code, &Row::code);
    return found != known.end() && !_faults->isWithheld(code) ? &*found : nullptr;
}

Responder::Phase Responder::Implementation::command(std::span<const std::byte> container) {
    endTransaction();
    const auto decoded = decodeContainer(container);
    if (!decoded || decoded->type != ContainerType::Command) {
        const auto header = decodeHeader(container);
        _command = {};
        _command.transactionId = header ? header->transactionId : 0;
        fail(ResponseCode::GeneralError);
        return Phase::response;
    }
    _command = *decoded;
    const auto code = static_cast<OperationCode>(_command.code);
    const Row* const row = findOperation(code);
    _planned = _faults->answerFor(code);
    if (const auto refused = refusal(row)) {
        fail(*refused);
    }
    // Whatever is left of an announcement when something other than its data comes is dropped.
    if (_announced && code != OperationCode::SendObject) {
        _announced.reset();
    }
    if (row != nullptr && row->data == Data::out) {
        _operation = row;
        return Phase::dataOut;
    }
    if (!_decided) {
        (this->*row->run)();
    }
    return _outgoing ? Phase::dataIn : Phase::response;
}

std::optional<ResponseCode> Responder::Implementation::refusal(const Row* row) {
    if (_planned.refusal) {
        return _planned.refusal;
    }
    if (row == nullptr) {
        return ResponseCode::OperationNotSupported;
    }
    return checkTransaction(row->code);
}

std::optional<ResponseCode> Responder::Implementation::checkTransaction(OperationCode code) {
    if (code == OperationCode::OpenSession || (code == OperationCode::GetDeviceInfo && !_sessionOpen)) {
        return std::nullopt;
    }
    if (!_sessionOpen) {
        return ResponseCode::SessionNotOpen;
    }
    if (code == OperationCode::CloseSession) {
        return std::nullopt; // who takes over what a killed program left open does not know how far it counted
    }
    if (_command.transactionId <= _lastTransaction || _command.transactionId == 0xFFFFFFFF) {
        return ResponseCode::InvalidTransactionID;
    }
    _lastTransaction = _command.transactionId;
    return std::nullopt;
}

void Responder::Implementation::dataOut(std::span<const std::byte> block) {
    const std::size_t ofHeader = std::min(block.size(), containerHeaderSize - _headerBytes);
    _headerBytes += ofHeader;
    block = block.subspan(ofHeader);
    if (_decided || _operation == nullptr || block.empty()) {
        return;
    }
    if (_operation->code == OperationCode::SendObject) {
        receiveBytes(block);
    } else if (block.size() > maximumDataset - _collected.size()) {
        fail(ResponseCode::InvalidDataset);
    } else {
        _collected.insert(_collected.end(), block.begin(), block.end());
    }
}

void Responder::Implementation::dataOutEnd() {
    if (_operation != nullptr && !_decided) {
        (this->*_operation->run)();
    }
    _operation = nullptr;
}

std::size_t Responder::Implementation::dataIn(std::span<std::byte> block) {
    if (!_outgoing) {
        return 0;
    }
    OutgoingData& out = *_outgoing;
    const std::size_t ready = std::min(block.size(), out.bytes.size() - out.given);
    std::copy_n(out.bytes.begin() + static_cast<std::ptrdiff_t>(out.given), ready, block.begin());
    out.given += ready;
    return ready + fillFromFile(block.subspan(ready));
}

std::size_t Responder::Implementation::fillFromFile(std::span<std::byte> block) {
    OutgoingData& out = *_outgoing;
    std::size_t filled = 0;
    while (filled < block.size() && out.fileBytes > 0) {
        const auto wanted = static_cast<std::size_t>(std::min<std::uint64_t>(block.size() - filled, out.fileBytes));
        const ssize_t count = platform::retryInterrupted(
            [&] { return ::pread(out.file, block.data() + filled, wanted, static_cast<off_t>(out.offset)); });
        if (count <= 0) {
            // The file shrank meanwhile: the data phase ends early and the response says so.
            out.fileBytes = out.padding = 0;
            fail(ResponseCode::IncompleteTransfer);
            break;
        }
        filled += static_cast<std::size_t>(count);
        out.offset += static_cast<std::uint64_t>(count);
        out.fileBytes -= static_cast<std::uint64_t>(count);
    }
    const auto zeros = static_cast<std::size_t>(std::min<std::uint64_t>(block.size() - filled, out.padding));
    std::fill_n(block.begin() + static_cast<std::ptrdiff_t>(filled), zeros, std::byte{0});
    out.padding -= zeros;
    return filled + zeros;
}

std::vector<std::byte> Responder::Implementation::response() {
    std::vector<std::byte> container =
        encodeContainer(ContainerType::Response, raw(_responseCode), _command.transactionId, _responseParameters);
    for (const FaultPlan::Alteration& alter : _planned.responseAlterations) {
        alter(container);
    }
    endTransaction();
    return container;
}

bool Responder::Implementation::cancel(std::uint32_t transactionId) {
    if (_faults->refusesCancel() || transactionId != _command.transactionId) {
        return false;
    }
    endTransaction();
    _announced.reset();
    return true;
}

void Responder::Implementation::reset() {
    endTransaction();
    _announced.reset();
    _sessionOpen = false;
}

void Responder::Implementation::endTransaction() {
    closeFile();
    _outgoing.reset();
    _operation = nullptr;
    _planned = {};
    _decided = false;
    _responseCode = ResponseCode::OK;
    _responseParameters.clear();
    _headerBytes = 0;
    _collected.clear();
}

void Responder::Implementation::closeFile() {
    if (_outgoing && _outgoing->file >= 0) {
        ::close(_outgoing->file);
        _outgoing->file = -1;
    }
}

void Responder::Implementation::succeed(std::initializer_list<std::uint32_t> parameters) {
    _decided = true;
    _responseCode = ResponseCode::OK;
    _responseParameters = parameters;
}

void Responder::Implementation::fail(ResponseCode code, std::initializer_list<std::uint32_t> parameters) {
    _decided = true;
    _responseCode = code;
    _responseParameters = parameters;
}

void Responder::Implementation::finish(StoreResult result) {
    result == StoreResult::ok ? succeed() : fail(responseFor(result));
}

void Responder::Implementation::give(std::vector<std::byte> dataset) {
    for (const FaultPlan::Alteration& alter : _planned.dataAlterations) {
        alter(dataset);
    }
    const auto header = encodeDataHeader(_command.code, _command.transactionId, dataset.size());
    dataset.insert(dataset.begin(), header.begin(), header.end());
    _outgoing.emplace();
    _outgoing->bytes = std::move(dataset);
    succeed();
}

void Responder::Implementation::giveFile(int descriptor, std::uint64_t offset, std::uint64_t length,
                                         std::uint64_t padding) {
    const auto header = encodeDataHeader(_command.code, _command.transactionId, length + padding);
    _outgoing.emplace();
    _outgoing->bytes.assign(header.begin(), header.end());
    _outgoing->file = descriptor;
    _outgoing->offset = offset;
    _outgoing->fileBytes = length;
    _outgoing->padding = padding;
}

ResponseCode Responder::Implementation::responseFor(StoreResult result) {
    switch (result) {
    case StoreResult::ok:
        return ResponseCode::OK;
    case StoreResult::noSuchObject:
        return ResponseCode::InvalidObjectHandle;
    case StoreResult::noSuchStorage:
        return ResponseCode::InvalidStorageID;
    case StoreResult::noSuchParent:
        return ResponseCode::InvalidParentObject;
    case StoreResult::full:
        return ResponseCode::StoreFull;
    case StoreResult::readOnly:
        return ResponseCode::ObjectWriteProtected;
    case StoreResult::nameTaken:
        return ResponseCode::AccessDenied; // the protocol has no code for a name that is taken
    case StoreResult::badName:
        return ResponseCode::InvalidObjectPropValue;
    case StoreResult::isFolder:
        return ResponseCode::InvalidObjectHandle;
    case StoreResult::wrongSize:
        return ResponseCode::IncompleteTransfer;
    case StoreResult::partly:
        return ResponseCode::PartialDeletion;
    case StoreResult::badReference:
        return ResponseCode::InvalidObjectReference;
    case StoreResult::failed:
        break;
    }
    return ResponseCode::GeneralError;
}

} // namespace mtpsdk
