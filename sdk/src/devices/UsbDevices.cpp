// SPDX-License-Identifier: MIT
#include "devices/UsbDevices.h"

#include "platform/Log.h"
#include "transport/usb/UsbDeviceFinder.h"
#include "transport/usb/UsbHotplug.h"
#include "transport/usb/UsbTransport.h"

#include <algorithm>
#include <cstdlib>
#include <fmt/format.h>
#include <utility>

namespace mtpsdk {
namespace {

bool leftAlone() {
    return std::getenv("MTPSERVICE_NO_USB") != nullptr;
}

std::string describe(const char* purpose, const UsbEndpoint& endpoint) {
    return endpoint.address == 0
               ? fmt::format("{}: none", purpose)
               : fmt::format("{}: 0x{:02X} by {} bytes", purpose, endpoint.address, endpoint.packetSize);
}

} // namespace

std::vector<UsbDevice> UsbDevices::attached(Look look) {
    const UsbSurvey survey = leftAlone() ? UsbSurvey() : surveyUsb();
    const std::lock_guard lock(_lookMutex);
    if (!survey.anyCandidate) {
        _found.clear();
    } else if (_found.empty() || survey.attached != _surveyed) {
        _found = findUsbDevices();
        _surveyed = survey.attached;
    }
    return look == Look::take ? std::exchange(_found, {}) : _found;
}

std::vector<vemomtpsdk::AttachedDevice> UsbDevices::devices() {
    std::vector<vemomtpsdk::AttachedDevice> attached;
    for (const UsbDevice& found : this->attached(Look::share)) {
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
    const std::vector<UsbDevice> attached = this->attached(Look::take);
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

std::vector<vemomtpsdk::NamedText> UsbDevices::describeLine(std::uint32_t locationId) {
    const std::vector<UsbDevice> attached = this->attached(Look::share);
    const auto device = std::ranges::find(attached, locationId, &UsbDevice::locationId);
    if (device == attached.end()) {
        return {};
    }
    const UsbInterface& interface = device->interface;
    const char* const kind = interface.isStillImage ? "still image" : interface.isVendors ? "of no class" : "named MTP";
    return {{"USB ID", fmt::format("{:04x}:{:04x}", device->vendorId, device->productId)},
            {"USB speed", speedOf(*device)},
            {"interface", fmt::format("{} (alternate {}) of configuration {}, {}", interface.number,
                                      interface.alternate, interface.configuration, kind)},
            {"endpoints", fmt::format("{}, {}, {}", describe("in", interface.bulkIn),
                                      describe("out", interface.bulkOut), describe("events", interface.interruptIn))}};
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
