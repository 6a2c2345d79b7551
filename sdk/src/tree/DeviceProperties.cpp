// SPDX-License-Identifier: MIT
#include "tree/Device.h"
#include "tree/SafeNames.h"

namespace mtpsdk {
namespace {

/// An empty text and a property that the device does not know are the same to applications.
bool isAbsent(DGSTATUS status, const std::u16string& text) {
    const bool unknown = status == DGSTATUS_INTERNAL_OPERATIONNOTSUPPORTED ||
                         status == DGSTATUS_INTERNAL_INVALIDPROPERTYCODE || status == DGSTATUS_NOT_SUPPORT_OP;
    return unknown || (status == DGSTATUS_SUCCESS && text.empty());
}

/// Some devices announce the property and do not hand it out.
bool isRefused(DGSTATUS status) {
    return status == DGSTATUS_INTERNAL_GENERALERROR || status == DGSTATUS_INTERNAL_ACCESSDENIED ||
           status == DGSTATUS_INTERNAL_PARAMETERNOTSUPPORTED || status == DGSTATUS_INTERNAL_INVALIDDATASET;
}

} // namespace

/// Every path begins with the friendly name, so it is asked for once, and a device that nobody named gets one.
DGSTATUS Device::friendlyName(std::u16string& name) {
    if (_friendlyName) {
        name = *_friendlyName;
        return DGSTATUS_SUCCESS;
    }
    const DGSTATUS status = session().deviceProperty(DevicePropertyCode::DeviceFriendlyName, name);
    if (isAbsent(status, name) || isRefused(status)) {
        name = session().deviceInfo().model;
        if (name.empty()) {
            name = u"MTP device";
        }
    } else if (status != DGSTATUS_SUCCESS) {
        return status;
    }
    name = safeName(name);
    _friendlyName = name;
    return DGSTATUS_SUCCESS;
}

DGSTATUS Device::setFriendlyName(const std::u16string& name) {
    _friendlyName.reset();
    return session().setDeviceProperty(DevicePropertyCode::DeviceFriendlyName, name);
}

DGSTATUS Device::syncPartner(std::u16string& partner) {
    const DGSTATUS status = session().deviceProperty(DevicePropertyCode::SynchronizationPartner, partner);
    return isAbsent(status, partner) ? DGSTATUS_NO_DATA : status;
}

DGSTATUS Device::setSyncPartner(const std::u16string& partner) {
    return session().setDeviceProperty(DevicePropertyCode::SynchronizationPartner, partner);
}

} // namespace mtpsdk
