// SPDX-License-Identifier: MIT
#pragma once

#include "vemomtpsdk/Export.h"
#include "vemomtpsdk/Status.h"

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <vector>

/// What an application asks of the system rather than of a device: which devices are attached, and the making of
/// virtual ones. Nothing here opens a device. All texts are UTF-8.
namespace vemomtpsdk {

struct HiddenStorage {
    std::string name;
    std::uint32_t storageId = 0;
};

struct AttachedDevice {
    std::uint32_t locationId = 0;
    std::string friendlyName; ///< as far as it is known without opening the device
    std::string model;
    std::string manufacturer;
    std::string serialNumber;
    std::string kind;     ///< "virtual" or "usb"
    std::string location; ///< the virtual device's directory, or bus and port of a USB device
    std::vector<HiddenStorage> hiddenStorages;
    std::uint32_t plugging = 0; ///< another number each time the device is plugged in
};

/// All attached devices: the virtual ones of the directories in MTPSERVICE_VIRTUAL_DEVICES (colon-separated) and of
/// addVirtualDevice, each directory once, and those on the USB buses that speak MTP (none in a build without libusb,
/// and none while the variable MTPSERVICE_NO_USB is set).
VEMO_EXPORT std::vector<AttachedDevice> attachedDevices();

enum class DeviceChange { attached, detached };

/// Tells of devices as they come and go, for as long as it lives; those that are attached when it is made come first.
/// Calls are made one at a time on a thread of the watch, within a second or so of what they tell. A device that was
/// pulled out and plugged in again meanwhile is told as both.
class VEMO_EXPORT DeviceWatch {
public:
    using Callback = std::function<void(DeviceChange change, const AttachedDevice& device)>;

    explicit DeviceWatch(Callback callback);
    /// Returns when no call is under way, unless it is made from within one.
    ~DeviceWatch();
    DeviceWatch(const DeviceWatch&) = delete;
    DeviceWatch& operator=(const DeviceWatch&) = delete;

private:
    class Implementation;
    std::unique_ptr<Implementation> _implementation;
};

/// Attaches the virtual device in `directory` to this process. DGSTATUS_NO_DEVICE_ATTACHED when there is none.
VEMO_EXPORT DGSTATUS addVirtualDevice(const std::string& directory);
/// Pulls it out again, as a person pulls a cable: calls under way end with DGSTATUS_NO_DEVICE_ATTACHED.
VEMO_EXPORT void removeVirtualDevice(const std::string& directory);

struct VirtualStorage {
    std::string label;
    std::uint64_t capacity = 0; ///< bytes
    std::string description;
    std::uint32_t storageId = 0; ///< 0: given by position
    bool hidden = false;         ///< not listed by the device, reached by its ID only
};

struct VirtualDeviceDescription {
    std::string friendlyName;
    std::string model = "Virtual Player";
    std::string manufacturer = "MTP device file service";
    std::string serialNumber;     ///< empty: made up
    std::uint32_t locationId = 0; ///< 0: made from the directory's path
    std::vector<VirtualStorage> storages;
};

/// Makes a virtual device in a directory that does not exist or is empty: device.json and a folder per storage.
/// `error` says in one sentence what is wrong with the description or the directory.
VEMO_EXPORT bool createVirtualDevice(const std::string& directory, const VirtualDeviceDescription& description,
                                     std::string& error);

} // namespace vemomtpsdk
