// SPDX-License-Identifier: MIT
#include "devices/UsbDevices.h"

#include "platform/Log.h"
#include "transport/usb/UsbDeviceFinder.h"
#include "transport/usb/UsbHotplug.h"
#include "transport/usb/UsbTransport.h"

#include <algorithm>
#include <cstdlib>
#include <utility>

namespace mtpsdk {
namespace {

bool leftAlone() {
    return std::getenv("MTPSERVICE_NO_USB") != nullptr;
}

std::vector<UsbDevice> attachedUsbDevices() {
    return leftAlone() || !anyUsbCandidate() ? std::vector<UsbDevice>() : findUsbDevices();
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
        device.plugging = found.address;
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

std::shared_ptr<void> UsbDevices::watch(std::function<void()> changed) {
    return leftAlone() ? nullptr : UsbHotplug::make(std::move(changed));
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
