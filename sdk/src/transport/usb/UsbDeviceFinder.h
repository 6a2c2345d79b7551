// SPDX-License-Identifier: MIT
#pragma once

#include "transport/usb/UsbContext.h"
#include "transport/usb/UsbInterface.h"

#include <chrono>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

struct libusb_device;

namespace mtpsdk {

/// A device that speaks MTP, as far as it is known without opening it.
struct UsbDevice {
    std::shared_ptr<UsbContext> context;
    std::shared_ptr<libusb_device> device; ///< of the context
    std::uint32_t locationId = 0;
    std::uint8_t bus = 0;
    std::uint8_t address = 0; ///< on the bus; another one each time the device is plugged in
    std::uint16_t vendorId = 0;
    std::uint16_t productId = 0;
    std::string port; ///< the system's own name, like "1-2.3"
    UsbInterface interface;
    // What the device calls itself; may be empty.
    std::string manufacturer;
    std::string product;
    std::string serialNumber;
};

/// How fast the device is connected, like "480 Mbit/s".
[[nodiscard]] std::string speedOf(const UsbDevice& device);
/// How long ago it was plugged in; without end where the system does not tell.
[[nodiscard]] std::chrono::milliseconds timeAttached(const UsbDevice& device);
/// One look at what the system tells of all devices, much cheaper than findUsbDevices.
struct UsbSurvey {
    bool anyCandidate = false; ///< whether any device has an interface that could carry MTP
    std::string attached;      ///< equal texts: nothing was plugged in or out, set up anew, or given to this process
};
[[nodiscard]] UsbSurvey surveyUsb();
/// The MTP devices attached now, by their descriptors and names: the still-image class, an interface named "MTP", or
/// the Microsoft OS descriptor of an interface without a class. Only for the last is a device spoken to, once, as
/// soon as it can be opened.
[[nodiscard]] std::vector<UsbDevice> findUsbDevices();

} // namespace mtpsdk
