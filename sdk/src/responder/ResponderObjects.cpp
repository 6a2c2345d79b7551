// SPDX-License-Identifier: MIT
#include "responder/ResponderImplementation.h"

#include <algorithm>
#include <limits>

namespace mtpsdk {

/// The objects that a storage, a parent and a format pick in the handle operations: parent 0 means anywhere, 0xFFFFFFFF
/// the root. false when the operation has failed.
bool Responder::Implementation::visitObjects(std::uint32_t storageId, std::uint32_t parent, FormatCode format,
                                             const Store::Visitor& visitor) {
    const Store::Visitor ofFormat = [&](const StoreObject& object) {
        if (raw(format) == allFormats || object.format == format) {
            visitor(object);
        }
    };
    std::vector<std::uint32_t> storages = {storageId};
    Handle folder = parent == rootParent ? 0 : parent;
    if (storageId == allStorages) {
        storages = shownStorages();
        if (folder != 0) {
            const StoreResult found =
                _store->visitObject(folder, [&](const StoreObject& object) { storages = {object.storageId}; });
            if (found != StoreResult::ok) {
                fail(ResponseCode::InvalidParentObject);
                return false;
            }
        }
    }
    for (const std::uint32_t id : storages) {
        const StoreResult result = _store->visitBelow(id, folder, parent == 0 ? everyDepth : 1, ofFormat);
        if (result != StoreResult::ok) {
            fail(responseFor(result));
            return false;
        }
    }
    return true;
}

void Responder::Implementation::getNumObjects() {
    std::uint32_t count = 0;
    if (visitObjects(parameter(0), parameter(2), static_cast<FormatCode>(parameter(1)),
                     [&count](const StoreObject&) { ++count; })) {
        succeed({count});
    }
}

void Responder::Implementation::getObjectHandles() {
    std::vector<std::uint32_t> handles;
    if (visitObjects(parameter(0), parameter(2), static_cast<FormatCode>(parameter(1)),
                     [&handles](const StoreObject& object) { handles.push_back(object.handle); })) {
        give(encode(handles));
    }
}

void Responder::Implementation::getObjectInfo() {
    ObjectPropertyWriter writer = propertyWriter();
    ObjectInfo info;
    const StoreResult result = _store->visitObject(parameter(0), [&](const StoreObject& object) {
        info.storageId = object.storageId;
        info.format = raw(object.format);
        info.protection = object.readOnly ? 1 : 0;
        info.setSize(writer.size(object));
        info.parent = object.parent;
        info.associationType = object.isFolder() ? genericFolder : 0;
        info.filename = writer.name(object);
        info.captureDate = writer.date(object.created);
        info.modificationDate = writer.date(object.modified);
    });
    result == StoreResult::ok ? give(encode(info)) : fail(responseFor(result));
}

void Responder::Implementation::getObject() {
    givePart(0, std::numeric_limits<std::uint64_t>::max());
}

void Responder::Implementation::getPartialObject() {
    givePart(parameter(1), parameter(2));
}

void Responder::Implementation::getPartialObject64() {
    givePart(std::uint64_t{parameter(2)} << 32 | parameter(1), parameter(3));
}

void Responder::Implementation::givePart(std::uint64_t offset, std::uint64_t length) {
    int descriptor = -1;
    std::uint64_t size = 0;
    const StoreResult result = _store->openFile(parameter(0), descriptor, size);
    if (result != StoreResult::ok) {
        fail(responseFor(result));
        return;
    }
    const std::uint64_t told = deliveredSize(size);
    const std::uint64_t rest = told - std::min(told, offset);
    const std::uint64_t given = std::min(length, rest);
    const std::uint64_t ofFile = std::min(given, size - std::min(size, offset));
    giveFile(descriptor, offset, ofFile, given - ofFile);
    const bool whole = static_cast<OperationCode>(_command.code) == OperationCode::GetObject;
    whole ? succeed() : succeed({static_cast<std::uint32_t>(given)});
}

/// How many bytes of the file the device acts as if it had.
std::uint64_t Responder::Implementation::deliveredSize(std::uint64_t size) {
    const FaultPlan::Lies lies = _faults->lies();
    (void) _store->visitObject(parameter(0), [&](const StoreObject& object) {
        const auto told = lies.deliveries.find(object.name);
        size = told != lies.deliveries.end() ? told->second : size;
    });
    return size;
}

void Responder::Implementation::deleteObject() {
    // Everything at once is nothing that this device does: too much hangs on one number.
    if (parameter(0) == allObjects) {
        fail(ResponseCode::ParameterNotSupported);
        return;
    }
    finish(_store->remove(parameter(0)));
}

void Responder::Implementation::moveObject() {
    finish(_store->move(parameter(0), parameter(1), parameter(2) == rootParent ? 0 : parameter(2)));
}

void Responder::Implementation::getObjectReferences() {
    std::vector<Handle> references;
    const StoreResult result = _store->references(parameter(0), references);
    result == StoreResult::ok ? give(encode(references)) : fail(responseFor(result));
}

void Responder::Implementation::setObjectReferences() {
    std::vector<std::uint32_t> references;
    if (decode(_collected, references)) {
        finish(_store->setReferences(parameter(0), references));
    } else {
        fail(ResponseCode::InvalidDataset);
    }
}

} // namespace mtpsdk
