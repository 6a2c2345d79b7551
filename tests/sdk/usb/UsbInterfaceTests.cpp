// SPDX-License-Identifier: MIT
#include "transport/usb/UsbInterface.h"

#include "transport/usb/UsbAnswers.h"

#include <gtest/gtest.h>
#include <libusb.h>

namespace mtpsdk {
namespace {

libusb_endpoint_descriptor endpoint(int address, int kind, std::uint16_t packet) {
    libusb_endpoint_descriptor descriptor{};
    descriptor.bEndpointAddress = static_cast<std::uint8_t>(address);
    descriptor.bmAttributes = static_cast<std::uint8_t>(kind);
    descriptor.wMaxPacketSize = packet;
    return descriptor;
}

/// A configuration of interfaces of one setting each.
class Configuration {
public:
    void add(std::uint8_t interfaceClass, std::uint8_t subclass, std::uint8_t protocol,
             const std::vector<libusb_endpoint_descriptor>& endpoints) {
        libusb_interface_descriptor setting{};
        setting.bInterfaceNumber = static_cast<std::uint8_t>(_settings.size());
        setting.bInterfaceClass = interfaceClass;
        setting.bInterfaceSubClass = subclass;
        setting.bInterfaceProtocol = protocol;
        setting.bNumEndpoints = static_cast<std::uint8_t>(endpoints.size());
        _endpoints.push_back(endpoints);
        _settings.push_back(setting);
    }
    [[nodiscard]] std::vector<UsbInterface> usable() {
        std::vector<libusb_interface> interfaces;
        for (std::size_t i = 0; i < _settings.size(); ++i) {
            _settings[i].endpoint = _endpoints[i].data();
            interfaces.push_back({&_settings[i], 1});
        }
        libusb_config_descriptor configuration{};
        configuration.bConfigurationValue = 2;
        configuration.bNumInterfaces = static_cast<std::uint8_t>(interfaces.size());
        configuration.interface = interfaces.data();
        return usableInterfaces(configuration);
    }

private:
    std::vector<std::vector<libusb_endpoint_descriptor>> _endpoints;
    std::vector<libusb_interface_descriptor> _settings;
};

TEST(UsbInterface, WhatCouldCarryMtpIsFoundAmongTheRest) {
    constexpr int bulk = LIBUSB_TRANSFER_TYPE_BULK;
    constexpr int interrupt = LIBUSB_TRANSFER_TYPE_INTERRUPT;
    Configuration configuration;
    configuration.add(LIBUSB_CLASS_HID, 0, 0, {endpoint(0x81, interrupt, 8)});
    configuration.add(LIBUSB_CLASS_IMAGE, 1, 1,
                      {endpoint(0x82, bulk, 512), endpoint(0x03, bulk, 512), endpoint(0x84, interrupt, 28)});
    configuration.add(LIBUSB_CLASS_VENDOR_SPEC, 0xFF, 0, {endpoint(0x85, bulk, 1024), endpoint(0x05, bulk, 1024)});
    configuration.add(LIBUSB_CLASS_VENDOR_SPEC, 0, 0, {endpoint(0x86, bulk, 0), endpoint(0x06, bulk, 64)});
    const auto found = configuration.usable();
    ASSERT_EQ(found.size(), 2U);
    EXPECT_TRUE(found[0].isStillImage);
    EXPECT_EQ(found[0].configuration, 2);
    EXPECT_EQ(found[0].number, 1);
    EXPECT_EQ(found[0].bulkIn.address, 0x82);
    EXPECT_EQ(found[0].bulkOut.address, 0x03);
    EXPECT_EQ(found[0].interruptIn.packetSize, 28U);
    EXPECT_TRUE(found[1].isVendors);
    EXPECT_FALSE(found[1].isStillImage);
    EXPECT_EQ(found[1].interruptIn.address, 0);
    EXPECT_EQ(found[1].bulkIn.packetSize, 1024U);
}

TEST(UsbInterface, LocationsTellPortsApartAndStayTheSame) {
    const std::uint8_t ports[] = {1, 4, 15, 2, 3, 6, 7};
    EXPECT_EQ(usbLocation(1, std::span(ports).first(1)), 0x01100000U);
    EXPECT_EQ(usbLocation(0x1A, std::span(ports).first(3)), 0x1A14F000U);
    EXPECT_EQ(usbLocation(2, ports), 0x0214F236U); // what is deeper than six hops shares a location
    EXPECT_EQ(usbPortName(3, std::span(ports).first(2)), "3-1.4");
}

TEST(UsbInterface, MicrosoftDescriptorsAreReadWithoutTrust) {
    std::vector<unsigned char> announcement = {0x12, 0x03};
    for (const char unit : std::string("MSFT100")) {
        announcement.insert(announcement.end(), {static_cast<unsigned char>(unit), 0});
    }
    EXPECT_EQ(microsoftRequest(announcement), std::nullopt) << "cut off";
    announcement.insert(announcement.end(), {0x42, 0});
    EXPECT_EQ(microsoftRequest(announcement), 0x42);
    announcement[4] = 'X';
    EXPECT_EQ(microsoftRequest(announcement), std::nullopt);

    std::vector<unsigned char> identifiers(16 + 2 * 24);
    EXPECT_FALSE(namesMtp(identifiers));
    for (const char unit : std::string("MTP")) {
        identifiers[16 + 24 + 2 + (unit == 'M' ? 0 : unit == 'T' ? 1 : 2)] = static_cast<unsigned char>(unit);
    }
    EXPECT_TRUE(namesMtp(identifiers));
    EXPECT_FALSE(namesMtp(std::span(identifiers).first(16 + 24 + 23)));
    EXPECT_FALSE(namesMtp({}));
}

TEST(UsbAnswers, AreAskedForOnceTheDeviceMayBeOpened) {
    UsbAnswers answers;
    int asked = 0;
    const auto of = [&](std::uint32_t address, bool mayUse, std::optional<bool> said) {
        return answers.of({1, address, 2, 3}, mayUse, [&] {
            ++asked;
            return said;
        });
    };
    EXPECT_FALSE(of(5, false, std::nullopt)) << "plugged in a moment ago";
    EXPECT_FALSE(of(5, false, true));
    EXPECT_EQ(asked, 1) << "nobody was given it";
    EXPECT_TRUE(of(5, true, true));
    EXPECT_TRUE(of(5, true, false));
    EXPECT_TRUE(of(5, false, false));
    EXPECT_EQ(asked, 2);
    EXPECT_FALSE(of(6, true, std::nullopt)) << "one that does not open for another reason";
    EXPECT_FALSE(of(6, true, true));
    EXPECT_FALSE(of(7, true, false));
    EXPECT_FALSE(of(7, true, true));
    EXPECT_EQ(asked, 4);
}

} // namespace
} // namespace mtpsdk
