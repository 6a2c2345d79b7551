// SPDX-License-Identifier: MIT
#include "tree/Device.h"

namespace mtpsdk {
namespace {

/// An empty text and a property that the device does not know are the same to applications.
DGSTATUS orAbsent(DGSTATUS status, const std::u16string& text, DGSTATUS absent) {
    const bool unknown = status == DGSTATUS_INTERNAL_OPERATIONNOTSUPPORTED ||
                         status == DGSTATUS_INTERNAL_INVALIDPROPERTYCODE || status == DGSTATUS_NOT_SUPPORT_OP;
    return unknown || (status == DGSTATUS_SUCCESS && text.empty()) ? absent : status;
}

} // namespace

/// Every path begins with the friendly name, so it is asked for once.
DGSTATUS Device::friendlyName(std::u16string& name) {
    if (_friendlyName) {
        name = *_friendlyName;
        return DGSTATUS_SUCCESS;
    }
    DGSTATUS status = session().deviceProperty(DevicePropertyCode::DeviceFriendlyName, name);
    status = orAbsent(status, name, DGSTATUS_NO_FRIENDLYNAME);
    if (status == DGSTATUS_SUCCESS) {
        _friendlyName = name;
    }
    return status;
}

DGSTATUS Device::setFriendlyName(const std::u16string& name) {
    _friendlyName.reset();
    return session().setDeviceProperty(DevicePropertyCode::DeviceFriendlyName, name);
}

DGSTATUS Device::syncPartner(std::u16string& partner) {
    const DGSTATUS status = session().deviceProperty(DevicePropertyCode::SynchronizationPartner, partner);
    return orAbsent(status, partner, DGSTATUS_NO_DATA);
}

DGSTATUS Device::setSyncPartner(const std::u16string& partner) {
    return session().setDeviceProperty(DevicePropertyCode::SynchronizationPartner, partner);
}

} // namespace mtpsdk
