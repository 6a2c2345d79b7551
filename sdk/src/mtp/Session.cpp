// SPDX-License-Identifier: MIT
#include "mtp/Session.h"

#include "mtp/SessionImplementation.h"

namespace mtpsdk {
namespace {

/// One call's turn at the device. A call from within a progress callback or a sink of the same session gets none: it
/// would wait for itself.
template <typename Implementation>
class Turn {
public:
    explicit Turn(Implementation& session)
        : _session(session) {
        if (_session.turnHolder.load(std::memory_order_relaxed) == std::this_thread::get_id()) {
            _status = DGSTATUS_ABNORMAL_STATUS;
            return;
        }
        _session.turn.lock();
        _session.turnHolder.store(std::this_thread::get_id(), std::memory_order_relaxed);
    }
    ~Turn() {
        if (_status == DGSTATUS_SUCCESS) {
            _session.turnHolder.store(std::thread::id{}, std::memory_order_relaxed);
            _session.turn.unlock();
        }
    }
    Turn(const Turn&) = delete;
    Turn& operator=(const Turn&) = delete;

    template <typename Call>
    [[nodiscard]] DGSTATUS run(const Call& call) const {
        return _status == DGSTATUS_SUCCESS ? call() : _status;
    }

private:
    Implementation& _session;
    DGSTATUS _status = DGSTATUS_SUCCESS;
};

/// What a device without lists of objects answers, whether it announces them or not.
DGSTATUS ofReferences(DGSTATUS status) {
    return status == DGSTATUS_INTERNAL_OPERATIONNOTSUPPORTED ? DGSTATUS_NOT_SUPPORT_OP : status;
}

DGSTATUS readHandles(Transactions& transactions, const Request& request, std::vector<std::uint32_t>& values) {
    std::vector<std::byte> data;
    const DGSTATUS status = transactions.read(request, data);
    if (status != DGSTATUS_SUCCESS) {
        return status;
    }
    return decode(data, values) ? DGSTATUS_SUCCESS : DGSTATUS_INTERNAL_INVALIDDATASET;
}

} // namespace

Session::Implementation::Implementation(std::unique_ptr<Transport> line)
    : transport(std::move(line))
    , transactions(*transport) {}

Session::Implementation::~Implementation() {
    transactions.closeSession();
    transport->close();
    events.reset();
}

bool Session::Implementation::can(OperationCode operation) const {
    switch (operation) {
    case OperationCode::GetObjectPropList:
        return device.supports(operation) && !quirks.has(Quirk::noPropertyLists);
    case OperationCode::SendObjectPropList:
        return device.supports(operation) && !quirks.has(Quirk::noSendPropertyList);
    case OperationCode::SetObjectPropValue:
        return device.supports(operation) && !quirks.has(Quirk::noPropertyWrites);
    case OperationCode::GetObjectReferences:
    case OperationCode::SetObjectReferences:
        return device.supports(operation) && !quirks.has(Quirk::noReferences);
    default:
        return device.supports(operation);
    }
}

DGSTATUS Session::Implementation::open(const QuirkTable& table) {
    quirks = table.of(transport->usbId());
    if (quirks.has(Quirk::resetAtOpening) && transport->reset() == DGSTATUS_NO_DEVICE_ATTACHED) {
        return DGSTATUS_NO_DEVICE_ATTACHED;
    }
    DGSTATUS status = transactions.openSession();
    if (status == DGSTATUS_NO_DEVICE_ATTACHED) {
        return status;
    }
    if (isLineFailure(status) || status == DGSTATUS_INTERNAL_INVALIDTRANSACTIONID ||
        status == DGSTATUS_INTERNAL_INVALIDDATASET) {
        // An initiator before us may have stopped in the middle of a transaction.
        (void) transport->reset();
        status = transactions.openSession();
    }
    if (status != DGSTATUS_SUCCESS) {
        return status;
    }
    std::vector<std::byte> data;
    status = transactions.read(Request(OperationCode::GetDeviceInfo, {}), data);
    if (status != DGSTATUS_SUCCESS) {
        return status;
    }
    if (!decode(data, device)) {
        return DGSTATUS_INTERNAL_INVALIDDATASET;
    }
    quirks.add(table.of(device.manufacturer, device.model));
    events = std::make_unique<EventPump>(*transport);
    return DGSTATUS_SUCCESS;
}

DGSTATUS Session::open(std::unique_ptr<Transport> transport, std::unique_ptr<Session>& session,
                       const QuirkTable& table) {
    auto implementation = std::make_unique<Implementation>(std::move(transport));
    const DGSTATUS status = implementation->open(table);
    if (status == DGSTATUS_SUCCESS) {
        session.reset(new Session(std::move(implementation)));
    }
    return status;
}

Session::Session(std::unique_ptr<Implementation> implementation)
    : _implementation(std::move(implementation)) {}

Session::~Session() = default;

const DeviceInfo& Session::deviceInfo() const {
    return _implementation->device;
}

Quirks Session::quirks() const {
    return _implementation->quirks;
}

void Session::setEventHandler(EventHandler handler) {
    _implementation->events->setHandler(std::move(handler));
}

void Session::disconnect() {
    _implementation->transactions.markGone();
    _implementation->transport->close();
}

bool Session::connected() const {
    return !_implementation->transactions.gone() && !_implementation->events->lineLost();
}

std::uint64_t Session::transactionCount() const {
    return _implementation->transactions.count();
}

DGSTATUS Session::storageIds(std::vector<std::uint32_t>& ids) {
    const Turn turn(*_implementation);
    return turn.run([&] { return _implementation->storageIds(ids); });
}

DGSTATUS Session::storageInfo(std::uint32_t storageId, StorageInfo& info) {
    const Turn turn(*_implementation);
    return turn.run([&] { return _implementation->storageInfo(storageId, info); });
}

DGSTATUS Session::listFolder(std::uint32_t storageId, std::uint32_t parent, std::vector<ObjectEntry>& entries,
                             Listing listing, Listing* told) {
    const Turn turn(*_implementation);
    return turn.run([&] { return _implementation->listFolder(storageId, parent, entries, listing, told); });
}

DGSTATUS Session::objectEntry(std::uint32_t handle, ObjectEntry& entry) {
    const Turn turn(*_implementation);
    return turn.run([&] { return _implementation->objectEntry(handle, entry); });
}

DGSTATUS Session::objectsOfFormat(std::uint32_t storageId, std::uint16_t format, std::vector<std::uint32_t>& handles) {
    const Turn turn(*_implementation);
    return turn.run([&] {
        constexpr std::uint32_t anyParent = 0;
        const DGSTATUS status =
            readHandles(_implementation->transactions,
                        Request(OperationCode::GetObjectHandles, {storageId, format, anyParent}), handles);
        const bool refused = status == DGSTATUS_INTERNAL_INVALIDOBJECTFORMATCODE ||
                             (isRefusal(status) && status != DGSTATUS_INTERNAL_INVALIDDATASET);
        return refused ? DGSTATUS_NOT_SUPPORT_OP : status;
    });
}

DGSTATUS Session::mediaProperties(std::uint32_t handle, std::uint16_t format, MediaProperties& media) {
    const Turn turn(*_implementation);
    return turn.run([&] { return _implementation->mediaProperties(handle, format, media); });
}

std::vector<std::uint16_t> Session::supportedProperties(std::uint16_t format) {
    const Turn turn(*_implementation);
    std::vector<std::uint16_t> properties;
    (void) turn.run([&]() -> DGSTATUS {
        properties = _implementation->supportedProperties(format);
        return DGSTATUS_SUCCESS;
    });
    return properties;
}

DGSTATUS Session::setMediaProperties(std::uint32_t handle, std::uint16_t format, const MediaProperties& media) {
    const Turn turn(*_implementation);
    return turn.run([&] { return _implementation->setMediaProperties(handle, format, media); });
}

DGSTATUS Session::createFolder(std::uint32_t storageId, std::uint32_t parent, const std::u16string& name,
                               ObjectEntry& created) {
    const Turn turn(*_implementation);
    return turn.run([&] { return _implementation->createFolder(storageId, parent, name, created); });
}

DGSTATUS Session::sendObject(const NewObject& object, const BlockSource& source, const TransferProgress& progress,
                             ObjectEntry& sent, MediaProperties& media) {
    const Turn turn(*_implementation);
    return turn.run([&] { return _implementation->sendObject(object, source, progress, sent, media); });
}

DGSTATUS Session::getObject(std::uint32_t handle, std::uint64_t size, const BlockSink& sink,
                            const TransferProgress& progress) {
    const Turn turn(*_implementation);
    return turn.run([&] { return _implementation->getObject(handle, size, sink, progress); });
}

DGSTATUS Session::deleteObject(std::uint32_t handle) {
    const Turn turn(*_implementation);
    return turn.run([&] {
        return _implementation->transactions.run(Request(OperationCode::DeleteObject, {handle, allFormats}));
    });
}

DGSTATUS Session::renameObject(std::uint32_t handle, const std::u16string& name) {
    const Turn turn(*_implementation);
    return turn.run([&] {
        return _implementation->setProperty(handle, ObjectPropertyCode::ObjectFileName, PropertyValue::string(name));
    });
}

DGSTATUS Session::references(std::uint32_t handle, std::vector<std::uint32_t>& handles) {
    const Turn turn(*_implementation);
    return turn.run([&]() -> DGSTATUS {
        if (!_implementation->can(OperationCode::GetObjectReferences)) {
            return DGSTATUS_NOT_SUPPORT_OP;
        }
        return ofReferences(
            readHandles(_implementation->transactions, Request(OperationCode::GetObjectReferences, {handle}), handles));
    });
}

DGSTATUS Session::setReferences(std::uint32_t handle, const std::vector<std::uint32_t>& handles) {
    const Turn turn(*_implementation);
    return turn.run([&]() -> DGSTATUS {
        if (!_implementation->can(OperationCode::SetObjectReferences)) {
            return DGSTATUS_NOT_SUPPORT_OP;
        }
        Reply reply;
        return ofReferences(_implementation->transactions.write(Request(OperationCode::SetObjectReferences, {handle}),
                                                                encode(handles), reply));
    });
}

DGSTATUS Session::deviceProperty(DevicePropertyCode code, std::u16string& value) {
    const Turn turn(*_implementation);
    return turn.run([&]() -> DGSTATUS {
        if (!_implementation->device.supports(code)) {
            return DGSTATUS_INTERNAL_OPERATIONNOTSUPPORTED;
        }
        std::vector<std::byte> data;
        const DGSTATUS status =
            _implementation->transactions.read(Request(OperationCode::GetDevicePropValue, {raw(code)}), data);
        if (status != DGSTATUS_SUCCESS) {
            return status;
        }
        PropertyValue property;
        if (!decode(data, DataType::String, property)) {
            return DGSTATUS_INTERNAL_INVALIDDATASET;
        }
        value = property.asText().value_or(std::u16string());
        return DGSTATUS_SUCCESS;
    });
}

DGSTATUS Session::setDeviceProperty(DevicePropertyCode code, const std::u16string& value) {
    const Turn turn(*_implementation);
    return turn.run([&]() -> DGSTATUS {
        if (!_implementation->device.supports(code)) {
            return DGSTATUS_INTERNAL_OPERATIONNOTSUPPORTED;
        }
        Reply reply;
        return _implementation->transactions.write(Request(OperationCode::SetDevicePropValue, {raw(code)}),
                                                   encode(PropertyValue::string(value)), reply);
    });
}

} // namespace mtpsdk
