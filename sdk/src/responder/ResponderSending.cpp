// SPDX-License-Identifier: MIT
#include "responder/ResponderImplementation.h"

#include "platform/Strings.h"
#include "responder/DateText.h"
#include "store/StoreNames.h"

#include <algorithm>

namespace mtpsdk {

namespace {

constexpr std::uint16_t firstAbstractFormat = 0xBA00;
constexpr std::uint16_t lastAbstractFormat = 0xBAFF;

bool isAbstract(FormatCode format) {
    return raw(format) >= firstAbstractFormat && raw(format) <= lastAbstractFormat;
}

} // namespace

/// Where the object goes: a storage left open is the first one, a parent left open is the root. false when the
/// operation has failed.
bool Responder::Implementation::placeObject(NewStoreObject& object, std::uint32_t storageId, std::uint32_t parent) {
    object.parent = parent == rootParent ? 0 : parent;
    object.storageId = storageId;
    if (storageId == 0 || storageId == allStorages) {
        const std::vector<std::uint32_t> shown = shownStorages();
        if (shown.empty()) {
            fail(ResponseCode::StoreNotAvailable);
            return false;
        }
        object.storageId = shown.front();
        if (object.parent != 0) {
            (void) _store->visitObject(object.parent,
                                       [&object](const StoreObject& above) { object.storageId = above.storageId; });
        }
    }
    return true;
}

void Responder::Implementation::sendObjectInfo() {
    ObjectInfo info;
    if (!decode(_collected, info)) {
        fail(ResponseCode::InvalidDataset);
        return;
    }
    NewStoreObject object;
    object.format = static_cast<FormatCode>(info.format);
    object.size = info.compressedSize;
    object.sizeKnown = info.compressedSize != sizeUnknown;
    object.name = fileNameFrom(info.filename);
    object.created = secondsOfDateText(info.captureDate);
    object.modified = secondsOfDateText(info.modificationDate);
    if (placeObject(object, parameter(0), parameter(1))) {
        announceObject(object, parameter(1));
    }
}

void Responder::Implementation::sendObjectPropList() {
    std::vector<ObjectPropElement> elements;
    if (!decode(_collected, elements)) {
        fail(ResponseCode::InvalidDataset);
        return;
    }
    NewStoreObject object;
    object.format = static_cast<FormatCode>(parameter(2));
    object.size = std::uint64_t{parameter(3)} << 32 | parameter(4);
    if (!placeObject(object, parameter(0), parameter(1))) {
        return;
    }
    for (std::size_t i = 0; i < elements.size(); ++i) {
        const ResponseCode code = takeProperty(object, elements[i]);
        if (code != ResponseCode::OK) {
            fail(code, {0, 0, 0, static_cast<std::uint32_t>(i)});
            return;
        }
    }
    announceObject(object, parameter(1));
}

ResponseCode Responder::Implementation::takeProperty(NewStoreObject& object, const ObjectPropElement& element) const {
    const ObjectPropertyRow* const row = findObjectProperty(element.property);
    if (row == nullptr || !appliesTo(*row, object.format) || propertyWriter().isWithheld(row->code)) {
        return ResponseCode::ObjectPropNotSupported;
    }
    if (element.value.type() != row->type) {
        return ResponseCode::InvalidObjectPropFormat;
    }
    const std::u16string text = element.value.asText().value_or(u"");
    switch (row->code) {
    case ObjectPropertyCode::ObjectFileName:
        object.name = fileNameFrom(text);
        return object.name.empty() ? ResponseCode::InvalidObjectPropValue : ResponseCode::OK;
    case ObjectPropertyCode::DateCreated:
        object.created = secondsOfDateText(text);
        return ResponseCode::OK;
    case ObjectPropertyCode::DateModified:
        object.modified = secondsOfDateText(text);
        return ResponseCode::OK;
    default:
        break;
    }
    if (row->kind == ObjectPropertyRow::Kind::descriptive && !(element.value.asText() && text.empty())) {
        const std::vector<std::byte> bytes = encode(element.value);
        object.properties.set(raw(row->code), raw(row->type),
                              {reinterpret_cast<const char*>(bytes.data()), bytes.size()});
    }
    return ResponseCode::OK; // what the device says of an object itself (its storage, its format, …) is not news
}

void Responder::Implementation::announceObject(const NewStoreObject& object, std::uint32_t parentTold) {
    Handle handle = 0;
    StoreResult result = StoreResult::ok;
    if (object.format == FormatCode::Association) {
        result = _store->createFolder(object, handle);
    } else {
        result = _store->receive(object, _announced);
        handle = _announced ? _announced->handle() : 0;
        // An abstract object of no size is complete; its data phase may follow or not.
        if (_announced && isAbstract(object.format) && object.sizeKnown && object.size == 0) {
            result = _announced->commit();
        }
    }
    if (result == StoreResult::ok) {
        succeed({object.storageId, parentTold, handle});
    } else {
        _announced.reset();
        fail(responseFor(result));
    }
}

void Responder::Implementation::receiveBytes(std::span<const std::byte> block) {
    if (!_announced) {
        fail(ResponseCode::NoValidObjectInfo);
        return;
    }
    const auto fitting = static_cast<std::size_t>(_faults->takeRoom(block.size()));
    StoreResult result = _announced->write(block.first(fitting));
    if (result == StoreResult::ok && fitting < block.size()) {
        result = StoreResult::full;
    }
    if (result != StoreResult::ok) {
        _announced.reset();
        fail(responseFor(result));
    }
}

void Responder::Implementation::sendObject() {
    if (!_announced) {
        fail(ResponseCode::NoValidObjectInfo);
        return;
    }
    const StoreResult result = _announced->commit();
    _announced.reset();
    finish(result);
}

} // namespace mtpsdk
