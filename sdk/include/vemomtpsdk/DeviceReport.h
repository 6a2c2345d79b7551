// SPDX-License-Identifier: MIT
#pragma once

#include "vemomtpsdk/Devices.h"

#include <cstdint>
#include <string>
#include <vector>

/// All that a device tells of itself, for people who have to find out why something does not work with it.
namespace vemomtpsdk {

/// A number of the protocol and its name, "Unknown" for a maker's own.
struct NamedCode {
    std::uint16_t code = 0;
    std::string name;
};

struct NamedText {
    std::string name;
    std::string text;
};

struct FormatReport {
    NamedCode format;
    std::vector<NamedCode> properties; ///< that objects of the format keep
};

struct StorageReport {
    std::uint32_t storageId = 0;
    std::string description;
    std::string volumeIdentifier;
    std::string type;           ///< like "removable memory"
    std::string filesystem;     ///< like "hierarchical"
    std::string access;         ///< like "read and write"
    std::uint64_t capacity = 0; ///< bytes
    std::uint64_t free = 0;     ///< bytes
};

struct DeviceReport {
    AttachedDevice device;
    std::vector<NamedText> line;     ///< how it is connected
    std::vector<NamedText> identity; ///< what it calls itself, with versions
    std::vector<std::string> quirks; ///< what is done another way with this model
    std::vector<NamedCode> operations;
    std::vector<NamedCode> events;
    std::vector<NamedCode> deviceProperties;
    std::vector<NamedCode> captureFormats;
    std::vector<FormatReport> playbackFormats;
    std::vector<StorageReport> storages;
};

/// Opens the device for a moment and asks it; it must not be open in this process. `report` holds what could be learnt
/// also when the status is not DGSTATUS_SUCCESS (DGSTATUS_NO_DEVICE_ATTACHED, DGSTATUS_DEVICE_OPEN_FAILED or what the
/// device answered).
VEMO_EXPORT DGSTATUS describeDevice(std::uint32_t locationId, DeviceReport& report);

} // namespace vemomtpsdk
