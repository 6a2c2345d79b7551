// SPDX-License-Identifier: MIT
#pragma once

#include "transport/Transport.h"
#include "transport/usb/UsbDeviceFinder.h"

#include <cstdint>
#include <memory>
#include <optional>
#include <string>

struct libusb_device_handle;

namespace mtpsdk {

/// A device's MTP interface, claimed for this process, and the requests that go to its control endpoint. The port is
/// never reset: several devices do not come back from that. Any thread; every call ends within seconds.
class UsbLink {
public:
    /// Opens the device and claims the interface; a driver of the system steps aside until the link is closed. Null
    /// when that fails: `status` is DGSTATUS_NO_DEVICE_ATTACHED or DGSTATUS_DEVICE_OPEN_FAILED, and `reason` says in a
    /// sentence or two why, and what to do about it.
    [[nodiscard]] static std::unique_ptr<UsbLink> open(const UsbDevice& device, DGSTATUS& status, std::string& reason);
    ~UsbLink();
    UsbLink(const UsbLink&) = delete;
    UsbLink& operator=(const UsbLink&) = delete;

    [[nodiscard]] libusb_device_handle* handle() const { return _handle; }
    [[nodiscard]] UsbContext& context() const { return *_device.context; }
    [[nodiscard]] const UsbInterface& interface() const { return _device.interface; }
    [[nodiscard]] UsbId id() const { return {_device.vendorId, _device.productId}; }

    // Requests of the still-image class; the status is that of the line.
    [[nodiscard]] DGSTATUS cancelRequest(std::uint32_t transactionId);
    [[nodiscard]] DGSTATUS resetRequest();
    [[nodiscard]] DGSTATUS statusRequest(DeviceStatus& status);
    /// Ends the halt of both bulk endpoints, whichever of them is halted.
    void clearHalts();

private:
    UsbLink(UsbDevice device, libusb_device_handle* handle);
    [[nodiscard]] int claim();
    [[nodiscard]] int claimOnceFree();

    const UsbDevice _device;
    libusb_device_handle* const _handle;
    bool _claimed = false;
};

} // namespace mtpsdk
