// SPDX-License-Identifier: MIT
#include "tools/DeviceSelection.h"

#include "platform/Strings.h"
#include "tools/ScreenText.h"

#include <fmt/format.h>

namespace tool {
namespace {

using vemomtpsdk::AttachedDevice;

constexpr const char* kHowToAttach = "No device is attached. Plug one in, unlock it and choose file transfer "
                                     "(`mtpservice doctor` says what is missing), "
                                     "or make a virtual one:\n"
                                     "  mtpservice virtual create ~/player --name \"My Player\"\n"
                                     "  mtpservice --virtual ~/player devices";

std::string listText(const std::vector<AttachedDevice>& devices) {
    std::string text;
    for (const AttachedDevice& device : devices) {
        text += fmt::format("\n  --device {}  {} ({})", locationText(device.locationId), safeText(device.friendlyName),
                            safeText(device.model));
    }
    return text;
}

bool isMeant(const AttachedDevice& device, const std::string& wanted) {
    const std::string folded = platform::caseFolded(wanted);
    const std::string location = platform::caseFolded(locationText(device.locationId));
    return folded == location || folded == "0x" + location || folded == platform::caseFolded(device.friendlyName);
}

} // namespace

std::string locationText(std::uint32_t locationId) {
    return fmt::format("{:X}", locationId);
}

std::vector<AttachedDevice> findDevices(const GlobalOptions& options) {
    for (const std::string& directory : options.virtualDevices) {
        if (vemomtpsdk::addVirtualDevice(directory) != DGSTATUS_SUCCESS) {
            throw Failure(
                ExitStatus::noDevice,
                fmt::format("There is no virtual device in {}. Make one: mtpservice virtual create DIR --name "
                            "NAME",
                            safeText(directory)));
        }
    }
    return vemomtpsdk::attachedDevices();
}

AttachedDevice selectDevice(const std::vector<AttachedDevice>& devices, const std::string& wanted) {
    if (devices.empty()) {
        throw Failure(ExitStatus::noDevice, kHowToAttach);
    }
    std::vector<AttachedDevice> meant;
    for (const AttachedDevice& device : devices) {
        if (wanted.empty() || isMeant(device, wanted)) {
            meant.push_back(device);
        }
    }
    if (meant.empty()) {
        throw Failure(ExitStatus::noDevice, fmt::format("No attached device is called {}. There are:{}",
                                                        safeText(wanted), listText(devices)));
    }
    if (meant.size() > 1) {
        throw Failure(ExitStatus::usage,
                      fmt::format("Several devices are attached; say which one:{}", listText(meant)));
    }
    return meant.front();
}

} // namespace tool
