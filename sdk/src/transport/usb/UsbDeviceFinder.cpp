// SPDX-License-Identifier: MIT
#include "transport/usb/UsbDeviceFinder.h"

#include "transport/usb/UsbAnswers.h"
#include "transport/usb/UsbHolders.h"

#include <algorithm>
#include <array>
#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <fmt/format.h>
#include <fstream>
#include <libusb.h>
#include <optional>
#include <system_error>
#include <unistd.h>

namespace mtpsdk {
namespace {

/// Where Linux keeps what it read from each device when it came: names are known without asking anybody.
const std::filesystem::path& systemDevices() {
    static const std::filesystem::path path = "/sys/bus/usb/devices";
    return path;
}

std::string firstLine(const std::filesystem::path& path) {
    std::ifstream file(path);
    std::string line;
    std::getline(file, line);
    return line;
}

std::string interfaceName(const UsbDevice& found, const UsbInterface& interface) {
    return firstLine(systemDevices() /
                     fmt::format("{0}:{1}.{2}", found.port, interface.configuration, interface.number) / "interface");
}

/// Asks a device without a class whether it calls itself MTP towards other systems; nothing when it cannot be opened.
/// Short waits: some devices answer nothing at all to a question that they do not know.
std::optional<bool> hasMicrosoftDescriptor(libusb_device* device) {
    constexpr std::uint8_t announcementIndex = 0xEE;
    constexpr std::uint16_t compatibleIdIndex = 4;
    constexpr unsigned waitMilliseconds = 500;
    libusb_device_handle* handle = nullptr;
    if (libusb_open(device, &handle) != LIBUSB_SUCCESS) {
        return std::nullopt;
    }
    std::array<unsigned char, 256> bytes{};
    const auto ask = [&](std::uint8_t type, std::uint8_t request, std::uint16_t value, std::uint16_t index) {
        const int count = libusb_control_transfer(handle, static_cast<std::uint8_t>(LIBUSB_ENDPOINT_IN | type), request,
                                                  value, index, bytes.data(), bytes.size(), waitMilliseconds);
        return std::span(bytes).first(static_cast<std::size_t>(std::max(count, 0)));
    };
    const auto request =
        microsoftRequest(ask(LIBUSB_REQUEST_TYPE_STANDARD, LIBUSB_REQUEST_GET_DESCRIPTOR,
                             static_cast<std::uint16_t>((LIBUSB_DT_STRING << 8) | announcementIndex), 0));
    const bool found = request && namesMtp(ask(LIBUSB_REQUEST_TYPE_VENDOR, *request, 0, compatibleIdIndex));
    libusb_close(handle);
    return found;
}

bool mayUse(const std::filesystem::path& node) {
    return ::access(node.c_str(), R_OK | W_OK) == 0;
}

bool isMtpByDescriptor(const UsbDevice& found) {
    static UsbAnswers answers;
    return answers.of({found.bus, found.address, found.vendorId, found.productId},
                      mayUse(usbNode(found.bus, found.address)),
                      [&] { return hasMicrosoftDescriptor(found.device.get()); });
}

bool isMtp(const UsbDevice& found, const UsbInterface& interface) {
    if (interface.isStillImage) {
        return true;
    }
    if (interfaceName(found, interface).find("MTP") != std::string::npos) {
        return true;
    }
    return interface.isVendors && interface.interruptIn.address != 0 && isMtpByDescriptor(found);
}

bool takeInterface(UsbDevice& found) {
    libusb_config_descriptor* configuration = nullptr;
    if (libusb_get_active_config_descriptor(found.device.get(), &configuration) != LIBUSB_SUCCESS) {
        return false;
    }
    const std::vector<UsbInterface> interfaces = usableInterfaces(*configuration);
    libusb_free_config_descriptor(configuration);
    const auto chosen =
        std::ranges::find_if(interfaces, [&](const UsbInterface& interface) { return isMtp(found, interface); });
    if (chosen == interfaces.end()) {
        return false;
    }
    found.interface = *chosen;
    return true;
}

bool isCandidate(const std::filesystem::path& interface) {
    const std::string interfaceClass = firstLine(interface / "bInterfaceClass");
    return interfaceClass == "06" || interfaceClass == "ff" ||
           firstLine(interface / "interface").find("MTP") != std::string::npos;
}

bool describe(UsbDevice& found) {
    libusb_device_descriptor descriptor{};
    std::array<std::uint8_t, 7> ports{};
    libusb_device* const device = found.device.get();
    const int depth = libusb_get_port_numbers(device, ports.data(), ports.size());
    if (libusb_get_device_descriptor(device, &descriptor) != LIBUSB_SUCCESS || depth <= 0 ||
        descriptor.bDeviceClass == LIBUSB_CLASS_HUB) {
        return false;
    }
    const auto path = std::span(ports).first(static_cast<std::size_t>(depth));
    found.bus = libusb_get_bus_number(device);
    found.address = libusb_get_device_address(device);
    found.vendorId = descriptor.idVendor;
    found.productId = descriptor.idProduct;
    found.locationId = usbLocation(found.bus, path);
    found.port = usbPortName(found.bus, path);
    if (!takeInterface(found)) {
        return false;
    }
    const std::filesystem::path folder = systemDevices() / found.port;
    found.manufacturer = firstLine(folder / "manufacturer");
    found.product = firstLine(folder / "product");
    found.serialNumber = firstLine(folder / "serial");
    return true;
}

/// Another text after the device was plugged in anew, or given to this process.
std::string plugging(const std::filesystem::path& device) {
    const auto number = [&](const char* name) {
        return static_cast<std::uint8_t>(std::strtoul(firstLine(device / name).c_str(), nullptr, 10));
    };
    const std::uint8_t address = number("devnum");
    return fmt::format("{}{}", address, mayUse(usbNode(number("busnum"), address)) ? "" : " refused");
}

} // namespace

std::string speedOf(const UsbDevice& device) {
    return firstLine(systemDevices() / device.port / "speed") + " Mbit/s";
}

std::chrono::milliseconds timeAttached(const UsbDevice& device) {
    const std::string text = firstLine(systemDevices() / device.port / "power" / "connected_duration");
    return text.empty() ? std::chrono::milliseconds::max()
                        : std::chrono::milliseconds(std::strtoll(text.c_str(), nullptr, 10));
}

UsbSurvey surveyUsb() {
    UsbSurvey survey;
    std::error_code error;
    for (auto each = std::filesystem::directory_iterator(systemDevices(), error);
         !error && each != std::filesystem::directory_iterator(); each.increment(error)) {
        const std::string name = each->path().filename().string();
        const bool isInterface = name.find(':') != std::string::npos;
        survey.attached += name + ' ' + (isInterface ? std::string() : plugging(each->path())) + '\n';
        survey.anyCandidate = survey.anyCandidate || (isInterface && isCandidate(each->path()));
    }
    return survey;
}

std::vector<UsbDevice> findUsbDevices() {
    std::vector<UsbDevice> devices;
    const std::shared_ptr<UsbContext> context = UsbContext::make();
    if (!context) {
        return devices;
    }
    libusb_device** list = nullptr;
    const auto count = libusb_get_device_list(context->get(), &list);
    for (libusb_device* const device : std::span(list, static_cast<std::size_t>(std::max<ssize_t>(count, 0)))) {
        UsbDevice found;
        found.context = context;
        found.device = {libusb_ref_device(device), [context](libusb_device* each) { libusb_unref_device(each); }};
        if (describe(found)) {
            devices.push_back(std::move(found));
        }
    }
    if (count >= 0) {
        libusb_free_device_list(list, 1);
    }
    return devices;
}

} // namespace mtpsdk
