// SPDX-License-Identifier: MIT
#include "devices/UsbDevices.h"

#include "platform/Log.h"
#include "transport/usb/UsbDeviceFinder.h"
#include "transport/usb/UsbTransport.h"

#include <algorithm>
#include <cstdlib>

namespace mtpsdk {
namespace {

std::vector<UsbDevice> attachedUsbDevices() {
    if (std::getenv("MTPSERVICE_NO_USB") != nullptr || !anyUsbCandidate()) {
        return {};
    }
    return findUsbDevices();
}

} // namespace

std::vector<vemomtpsdk::AttachedDevice> UsbDevices::devices() {
    std::vector<vemomtpsdk::AttachedDevice> attached;
    for (const UsbDevice& found : attachedUsbDevices()) {
        vemomtpsdk::AttachedDevice device;
        device.locationId = found.locationId;
        device.friendlyName = found.product.empty() ? "MTP device" : found.product;
        device.model = found.product;
        device.manufacturer = found.manufacturer;
        device.serialNumber = found.serialNumber;
        device.kind = "usb";
        device.location = found.port;
        attached.push_back(std::move(device));
    }
    return attached;
}

DGSTATUS UsbDevices::openTransport(std::uint32_t locationId, std::unique_ptr<Transport>& transport) {
    const std::vector<UsbDevice> attached = attachedUsbDevices();
    const auto device = std::ranges::find(attached, locationId, &UsbDevice::locationId);
    if (device == attached.end()) {
        return DGSTATUS_NO_DEVICE_ATTACHED;
    }
    DGSTATUS status = DGSTATUS_SUCCESS;
    std::string reason;
    transport = UsbTransport::open(*device, status, reason);
    tell(locationId, reason);
    return status;
}

void UsbDevices::tell(std::uint32_t locationId, const std::string& reason) {
    const std::lock_guard lock(_mutex);
    std::string& told = _told[locationId];
    if (told != reason && !reason.empty()) {
        QD_LOG(0, "%@", reason);
    }
    told = reason;
}

} // namespace mtpsdk
