// SPDX-License-Identifier: MIT
#include "transport/usb/UsbInterface.h"

#include <algorithm>
#include <fmt/format.h>
#include <libusb.h>
#include <string_view>

namespace mtpsdk {
namespace {

constexpr std::size_t packetBits = 0x07FF; ///< what of the field is the size

/// The first endpoint of its kind; devices have more only for what is not MTP.
void keep(UsbEndpoint& place, const libusb_endpoint_descriptor& endpoint) {
    const std::size_t size = endpoint.wMaxPacketSize & packetBits;
    if (place.address == 0 && size != 0) {
        place = {endpoint.bEndpointAddress, size};
    }
}

std::optional<UsbInterface> usable(const libusb_interface_descriptor& descriptor) {
    constexpr std::uint8_t captureSubclass = 1;
    constexpr std::uint8_t stillImageProtocol = 1;
    UsbInterface found;
    found.number = descriptor.bInterfaceNumber;
    found.alternate = descriptor.bAlternateSetting;
    found.isStillImage = descriptor.bInterfaceClass == LIBUSB_CLASS_IMAGE &&
                         descriptor.bInterfaceSubClass == captureSubclass &&
                         descriptor.bInterfaceProtocol == stillImageProtocol;
    found.isVendors = descriptor.bInterfaceClass == LIBUSB_CLASS_VENDOR_SPEC;
    for (const libusb_endpoint_descriptor& endpoint : std::span(descriptor.endpoint, descriptor.bNumEndpoints)) {
        const bool isIn = (endpoint.bEndpointAddress & LIBUSB_ENDPOINT_IN) != 0;
        const int kind = endpoint.bmAttributes & LIBUSB_TRANSFER_TYPE_MASK;
        if (kind == LIBUSB_TRANSFER_TYPE_BULK) {
            keep(isIn ? found.bulkIn : found.bulkOut, endpoint);
        } else if (kind == LIBUSB_TRANSFER_TYPE_INTERRUPT && isIn) {
            keep(found.interruptIn, endpoint);
        }
    }
    const bool complete = found.bulkIn.address != 0 && found.bulkOut.address != 0;
    return complete ? std::optional(found) : std::nullopt;
}

} // namespace

std::vector<UsbInterface> usableInterfaces(const libusb_config_descriptor& configuration) {
    std::vector<UsbInterface> found;
    for (const libusb_interface& interface : std::span(configuration.interface, configuration.bNumInterfaces)) {
        for (const auto& setting :
             std::span(interface.altsetting, static_cast<std::size_t>(std::max(interface.num_altsetting, 0)))) {
            if (auto candidate = usable(setting)) {
                candidate->configuration = configuration.bConfigurationValue;
                found.push_back(*candidate);
                break;
            }
        }
    }
    return found;
}

std::uint32_t usbLocation(std::uint8_t bus, std::span<const std::uint8_t> ports) {
    constexpr unsigned portBits = 4;
    unsigned shift = 24;
    std::uint32_t location = std::uint32_t{bus} << shift;
    for (const std::uint8_t port : ports) {
        if (shift == 0) {
            break;
        }
        shift -= portBits;
        location |= (port & 0xFU) << shift;
    }
    return location;
}

std::string usbPortName(std::uint8_t bus, std::span<const std::uint8_t> ports) {
    return fmt::format("{}-{}", bus, fmt::join(ports, "."));
}

std::optional<std::uint8_t> microsoftRequest(std::span<const unsigned char> descriptor) {
    constexpr std::string_view signature = "MSFT100";
    constexpr std::size_t textStart = 2;
    constexpr std::size_t requestPlace = textStart + 2 * signature.size();
    if (descriptor.size() <= requestPlace) {
        return std::nullopt;
    }
    for (std::size_t i = 0; i < signature.size(); ++i) {
        if (descriptor[textStart + 2 * i] != static_cast<unsigned char>(signature[i])) {
            return std::nullopt;
        }
    }
    return descriptor[requestPlace];
}

bool namesMtp(std::span<const unsigned char> descriptor) {
    constexpr std::size_t headerSize = 16;
    constexpr std::size_t sectionSize = 24;
    constexpr std::size_t compatibleId = 2;
    constexpr std::string_view mtp("MTP\0", 4);
    for (std::size_t at = headerSize; at + sectionSize <= descriptor.size(); at += sectionSize) {
        if (std::equal(mtp.begin(), mtp.end(), descriptor.begin() + static_cast<std::ptrdiff_t>(at + compatibleId))) {
            return true;
        }
    }
    return false;
}

} // namespace mtpsdk
