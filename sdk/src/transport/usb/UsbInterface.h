// SPDX-License-Identifier: MIT
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <vector>

struct libusb_config_descriptor;
struct libusb_interface_descriptor;

namespace mtpsdk {

struct UsbEndpoint {
    std::uint8_t address = 0; ///< 0: there is none
    std::size_t packetSize = 0;
};

/// An interface that could carry MTP: one bulk endpoint each way, and for events an interrupt endpoint as a rule.
struct UsbInterface {
    std::uint8_t configuration = 0;
    std::uint8_t number = 0;
    std::uint8_t alternate = 0;
    bool isStillImage = false; ///< class 6, subclass 1, protocol 1: cameras, phones and most players
    bool isVendors = false;    ///< of no class: it takes a name or the Microsoft descriptor to know what it is
    UsbEndpoint bulkIn, bulkOut, interruptIn;
};

/// The interfaces of a configuration with endpoints that MTP could use, in their order.
[[nodiscard]] std::vector<UsbInterface> usableInterfaces(const libusb_config_descriptor& configuration);

/// The bus in the top byte, then the ports on the way to the device, four bits each, the one next to the bus first: the
/// same for whatever is plugged into this port.
[[nodiscard]] std::uint32_t usbLocation(std::uint8_t bus, std::span<const std::uint8_t> ports);
/// The system's own name of a port, like "1-2.3".
[[nodiscard]] std::string usbPortName(std::uint8_t bus, std::span<const std::uint8_t> ports);

/// The request number behind which the Microsoft OS descriptors lie, from the string descriptor that announces them.
[[nodiscard]] std::optional<std::uint8_t> microsoftRequest(std::span<const unsigned char> descriptor);
/// Whether an extended compatible ID descriptor names MTP.
[[nodiscard]] bool namesMtp(std::span<const unsigned char> descriptor);

} // namespace mtpsdk
