// SPDX-License-Identifier: MIT
#include "responder/ResponderImplementation.h"

#include "platform/Strings.h"

#include <algorithm>

namespace mtpsdk {

namespace {

constexpr std::array deviceProperties = {DevicePropertyCode::SynchronizationPartner,
                                         DevicePropertyCode::DeviceFriendlyName};
constexpr std::array events = {EventCode::CancelTransaction, EventCode::ObjectAdded,       EventCode::ObjectRemoved,
                               EventCode::StoreAdded,        EventCode::StoreRemoved,      EventCode::DevicePropChanged,
                               EventCode::ObjectInfoChanged, EventCode::DeviceInfoChanged, EventCode::StoreFull,
                               EventCode::DeviceReset,       EventCode::StorageInfoChanged};
constexpr std::array formats = {
#define MTP_LISTED_FORMAT(code, name) FormatCode::name,
    MTP_FORMAT_CODES(MTP_LISTED_FORMAT)
#undef MTP_LISTED_FORMAT
};

constexpr std::uint16_t fixedMemory = 3;
constexpr std::uint16_t removableMemory = 4;
constexpr std::uint16_t hierarchicalFiles = 2;

template <typename Codes>
std::vector<std::uint16_t> numbersOf(const Codes& codes) {
    std::vector<std::uint16_t> numbers;
    numbers.reserve(std::size(codes));
    for (const auto code : codes) {
        numbers.push_back(raw(code));
    }
    return numbers;
}

} // namespace

void Responder::Implementation::getDeviceInfo() {
    const StoreDescription description = _store->description();
    DeviceInfo info;
    info.vendorExtensionDescription = u"microsoft.com: 1.0;";
    for (const Row& row : operations()) {
        if (!_faults->isWithheld(row.code)) {
            info.operations.push_back(raw(row.code));
        }
    }
    info.events = numbersOf(events);
    info.deviceProperties = numbersOf(deviceProperties);
    info.playbackFormats = numbersOf(formats);
    info.manufacturer = platform::toUtf16(description.manufacturer);
    info.model = platform::toUtf16(description.model);
    info.deviceVersion = u"1.0";
    info.serialNumber = platform::toUtf16(description.serialNumber);
    give(encode(info));
}

void Responder::Implementation::openSession() {
    if (_sessionOpen) {
        fail(ResponseCode::SessionAlreadyOpen, {_sessionId});
    } else if (parameter(0) == 0) {
        fail(ResponseCode::InvalidParameter);
    } else {
        _sessionOpen = true;
        _sessionId = parameter(0);
        _lastTransaction = 0;
        succeed();
    }
}

void Responder::Implementation::closeSession() {
    _sessionOpen = false;
    succeed();
}

std::vector<std::uint32_t> Responder::Implementation::shownStorages() const {
    std::vector<std::uint32_t> ids;
    for (const StorageState& storage : _store->storages()) {
        if (!storage.hidden) {
            ids.push_back(storage.storageId);
        }
    }
    return ids;
}

void Responder::Implementation::getStorageIDs() {
    give(encode(shownStorages()));
}

void Responder::Implementation::getStorageInfo() {
    const auto storage = _store->storage(parameter(0));
    if (!storage) {
        fail(ResponseCode::InvalidStorageID);
        return;
    }
    // The first storage is the device's own memory, further ones are cards.
    const std::vector<std::uint32_t> shown = shownStorages();
    const bool isCard = !storage->hidden && !shown.empty() && shown.front() != storage->storageId;
    StorageInfo info;
    info.storageType = isCard ? removableMemory : fixedMemory;
    info.filesystemType = hierarchicalFiles;
    info.maxCapacity = storage->capacity;
    info.freeSpace = storage->free();
    info.description = platform::toUtf16(storage->description);
    info.volumeIdentifier = platform::toUtf16(storage->label);
    give(encode(info));
}

std::optional<std::u16string> Responder::Implementation::deviceProperty(std::uint32_t code) const {
    if (code == raw(DevicePropertyCode::DeviceFriendlyName)) {
        return platform::toUtf16(_store->description().friendlyName);
    }
    if (code == raw(DevicePropertyCode::SynchronizationPartner)) {
        return platform::toUtf16(_store->description().syncPartner);
    }
    return std::nullopt;
}

bool Responder::Implementation::setDeviceProperty(std::uint32_t code, const std::u16string& value) {
    return code == raw(DevicePropertyCode::DeviceFriendlyName) ? _store->setFriendlyName(platform::toUtf8(value))
                                                               : _store->setSyncPartner(platform::toUtf8(value));
}

void Responder::Implementation::getDevicePropDesc() {
    const auto value = deviceProperty(parameter(0));
    if (!value) {
        fail(ResponseCode::DevicePropNotSupported);
        return;
    }
    DevicePropDesc description;
    description.property = static_cast<std::uint16_t>(parameter(0));
    description.type = DataType::String;
    description.writable = true;
    description.defaultValue = PropertyValue::string(u"");
    description.currentValue = PropertyValue::string(*value);
    give(encode(description));
}

void Responder::Implementation::getDevicePropValue() {
    if (const auto value = deviceProperty(parameter(0))) {
        give(encode(PropertyValue::string(*value)));
    } else {
        fail(ResponseCode::DevicePropNotSupported);
    }
}

void Responder::Implementation::setDevicePropValue() {
    PropertyValue value;
    if (!deviceProperty(parameter(0))) {
        fail(ResponseCode::DevicePropNotSupported);
    } else if (!decode(_collected, DataType::String, value)) {
        fail(ResponseCode::InvalidDevicePropFormat);
    } else if (!setDeviceProperty(parameter(0), value.asText().value_or(u""))) {
        fail(ResponseCode::InvalidDevicePropValue);
    } else {
        succeed();
    }
}

void Responder::Implementation::resetDevicePropValue() {
    if (!deviceProperty(parameter(0))) {
        fail(ResponseCode::DevicePropNotSupported);
        return;
    }
    const bool isName = parameter(0) == raw(DevicePropertyCode::DeviceFriendlyName);
    const std::u16string value = isName ? platform::toUtf16(_store->description().model) : std::u16string();
    setDeviceProperty(parameter(0), value) ? succeed() : fail(ResponseCode::AccessDenied);
}

} // namespace mtpsdk
