// SPDX-License-Identifier: MIT
#include "api/Guard.h"
#include "tree/DeviceCall.h"
#include "tree/RecordTexts.h"
#include "vemomtpsdk/Functions.h"

using namespace mtpsdk;

namespace {

template <typename Read>
DGSTATUS readProperty(_MTP_DEVICE_NODE* device, std::uint16_t* buffer, std::uint32_t* bytes, const Read& read) {
    if (bytes == nullptr) {
        return DGSTATUS_INVALID_PARAMETER;
    }
    return guarded([&]() -> DGSTATUS {
        const DeviceCall call(device, DeviceCall::Records::left);
        std::u16string text;
        const DGSTATUS status = call ? read(call.device(), text) : call.status();
        return status == DGSTATUS_SUCCESS ? handOut(text, buffer, bytes) : status;
    });
}

DGSTATUS readInfo(_MTP_DEVICE_NODE* device, std::uint16_t* buffer, std::uint32_t* bytes,
                  std::u16string DeviceInfo::*member) {
    return readProperty(device, buffer, bytes, [member](Device& opened, std::u16string& text) {
        text = opened.session().deviceInfo().*member;
        return text.empty() ? DGSTATUS_NO_DATA : DGSTATUS_SUCCESS;
    });
}

template <typename Write>
DGSTATUS writeProperty(_MTP_DEVICE_NODE* device, const std::uint16_t* text, std::uint32_t bytes, const Write& write) {
    return guarded([&]() -> DGSTATUS {
        const std::u16string value = readText(text, bytes / sizeof(std::uint16_t));
        if (value.empty()) {
            return DGSTATUS_INVALID_PARAMETER;
        }
        const DeviceCall call(device, DeviceCall::Records::left);
        return call ? write(call.device(), value) : call.status();
    });
}

} // namespace

DGSTATUS mtpGetFriendlyName(_MTP_DEVICE_NODE* device, std::uint16_t* buffer, std::uint32_t* bytes) {
    return readProperty(device, buffer, bytes,
                        [](Device& opened, std::u16string& text) { return opened.friendlyName(text); });
}

DGSTATUS mtpGetModelName(_MTP_DEVICE_NODE* device, std::uint16_t* buffer, std::uint32_t* bytes) {
    return readInfo(device, buffer, bytes, &DeviceInfo::model);
}

DGSTATUS mtpGetManufacturerName(_MTP_DEVICE_NODE* device, std::uint16_t* buffer, std::uint32_t* bytes) {
    return readInfo(device, buffer, bytes, &DeviceInfo::manufacturer);
}

DGSTATUS mtpGetSerialNumber(_MTP_DEVICE_NODE* device, std::uint16_t* buffer, std::uint32_t* bytes) {
    return readInfo(device, buffer, bytes, &DeviceInfo::serialNumber);
}

DGSTATUS mtpGetSyncpartner(_MTP_DEVICE_NODE* device, std::uint16_t* buffer, std::uint32_t* bytes) {
    return readProperty(device, buffer, bytes,
                        [](Device& opened, std::u16string& text) { return opened.syncPartner(text); });
}

DGSTATUS mtpSetFriendlyName(_MTP_DEVICE_NODE* device, const std::uint16_t* text, std::uint32_t bytes) {
    return writeProperty(device, text, bytes,
                         [](Device& opened, const std::u16string& value) { return opened.setFriendlyName(value); });
}

DGSTATUS mtpSetSyncpartner(_MTP_DEVICE_NODE* device, const std::uint16_t* text, std::uint32_t bytes) {
    return writeProperty(device, text, bytes,
                         [](Device& opened, const std::u16string& value) { return opened.setSyncPartner(value); });
}
