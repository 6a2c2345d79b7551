// SPDX-License-Identifier: MIT
#pragma once

#include "transport/Transport.h"
#include "vemomtpsdk/Diagnosis.h"

#include <cstdint>
#include <filesystem>
#include <functional>
#include <string>
#include <vector>

namespace mtpsdk {

/// Where Linux tells of its USB devices; tests put folders of their own in place.
struct UsbSystem {
    std::filesystem::path devices = "/sys/bus/usb/devices";
    std::filesystem::path processes = "/proc";
    std::vector<std::filesystem::path> ruleFolders;
    enum class Access { granted, refused, noFile };
    /// What this process may do with a device's file.
    std::function<Access(const std::filesystem::path& node)> access;

    /// This computer.
    [[nodiscard]] static UsbSystem here();
};

/// What the system tells of one device that could speak MTP, without opening it or even having libusb.
struct UsbSuspect {
    std::string port; ///< like "1-2.3"
    std::string name; ///< in a sentence
    std::uint8_t bus = 0;
    std::uint8_t address = 0;
    bool isCertain = false; ///< of the still-image class, or named MTP; otherwise it is of no class, as many others are
    UsbId id;
    std::string driver; ///< that has the interface; "usbfs" stands for a program
};

/// `deviceCount`: how many devices there are of all kinds, hubs not counted.
[[nodiscard]] std::vector<UsbSuspect> usbSuspects(const UsbSystem& system, std::size_t& deviceCount);

/// What keeps the device from being used, in the order in which it has to be put right; empty when nothing does.
[[nodiscard]] std::vector<vemomtpsdk::Finding> examine(const UsbSuspect& suspect, const UsbSystem& system);

} // namespace mtpsdk
