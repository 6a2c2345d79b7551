// SPDX-License-Identifier: MIT
#include "devices/VirtualDevices.h"

#include "platform/Log.h"

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <string_view>
#include <system_error>

namespace mtpsdk {

namespace {

constexpr std::uint32_t virtualRange = 0xF0000000;
constexpr std::uint32_t withinRange = 0x0FFFFFFF;

vemomtpsdk::AttachedDevice describe(const std::string& directory, std::uint32_t locationId,
                                    const StoreDescription& description) {
    vemomtpsdk::AttachedDevice device;
    device.locationId = locationId;
    device.friendlyName = description.friendlyName;
    device.model = description.model;
    device.manufacturer = description.manufacturer;
    device.serialNumber = description.serialNumber;
    device.kind = "virtual";
    device.location = directory;
    for (const StorageDescription& storage : description.storages) {
        if (storage.hidden) {
            device.hiddenStorages.push_back({storage.label, storage.storageId});
        }
    }
    return device;
}

} // namespace

std::uint32_t locationOfDirectory(const std::string& directory) {
    // 32-bit FNV-1a: the same in every process and on every machine, which std::hash is not.
    std::uint32_t hash = 2166136261U;
    for (const char unit : directory) {
        hash = (hash ^ static_cast<unsigned char>(unit)) * 16777619U;
    }
    return virtualRange | (hash & withinRange);
}

std::string canonicalDirectory(const std::string& directory) {
    std::error_code error;
    const std::filesystem::path path = std::filesystem::weakly_canonical(directory, error);
    std::string text = error ? directory : path.string();
    while (text.size() > 1 && text.back() == '/') {
        text.pop_back();
    }
    return text;
}

const std::shared_ptr<VirtualDevices>& VirtualDevices::shared() {
    static const auto devices = std::make_shared<VirtualDevices>();
    return devices;
}

std::vector<std::string> listedVirtualDevices() {
    const char* const listed = std::getenv("MTPSERVICE_VIRTUAL_DEVICES");
    std::string_view rest = listed != nullptr ? listed : "";
    std::vector<std::string> directories;
    while (!rest.empty()) {
        const std::size_t end = std::min(rest.find(':'), rest.size());
        const std::string directory(rest.substr(0, end));
        rest.remove_prefix(std::min(end + 1, rest.size()));
        if (!directory.empty()) {
            directories.push_back(canonicalDirectory(directory));
        }
    }
    return directories;
}

void VirtualDevices::attachFromEnvironment() {
    for (const std::string& directory : listedVirtualDevices()) {
        if (!_devices.contains(directory) && !_removed.contains(directory)) {
            (void) attach(directory);
        }
    }
}

bool VirtualDevices::attach(const std::string& directory) {
    StoreDescription description;
    std::string error;
    if (!readDescription(directory, description, error)) {
        QD_LOG(5, "%@", error);
        return false;
    }
    Device device;
    device.locationId = freeLocation(description.locationId, directory);
    device.plugging = ++_pluggings;
    _devices.emplace(directory, std::move(device));
    return true;
}

/// The device's own location, unless a copy of its directory has taken it.
std::uint32_t VirtualDevices::freeLocation(std::uint32_t wanted, const std::string& directory) const {
    const auto taken = [this](std::uint32_t location) {
        return location == 0 || std::ranges::any_of(_devices, [location](const auto& device) {
                   return device.second.locationId == location;
               });
    };
    if (!taken(wanted)) {
        return wanted;
    }
    std::uint32_t location = locationOfDirectory(directory);
    while (taken(location)) {
        location = virtualRange | ((location + 1) & withinRange);
    }
    return location;
}

VirtualDevices::Device* VirtualDevices::find(std::uint32_t locationId, std::string* directory) {
    attachFromEnvironment();
    const auto found = std::ranges::find_if(
        _devices, [locationId](const auto& device) { return device.second.locationId == locationId; });
    if (found == _devices.end()) {
        return nullptr;
    }
    if (directory != nullptr) {
        *directory = found->first;
    }
    return &found->second;
}

std::vector<vemomtpsdk::AttachedDevice> VirtualDevices::devices() {
    const std::lock_guard lock(_mutex);
    attachFromEnvironment();
    std::vector<vemomtpsdk::AttachedDevice> attached;
    for (const auto& [directory, device] : _devices) {
        StoreDescription description;
        std::string error;
        if (readDescription(directory, description, error)) {
            attached.push_back(describe(directory, device.locationId, description));
            attached.back().plugging = device.plugging;
        }
    }
    return attached;
}

std::shared_ptr<Store> VirtualDevices::openStore(const std::string& directory, Device& device) {
    std::shared_ptr<Store> store = device.store.lock();
    if (!store) {
        std::string error;
        store = Store::open(directory, error);
        if (!store) {
            QD_LOG(3, "%@", error);
        }
        device.store = store;
    }
    return store;
}

DGSTATUS VirtualDevices::openTransport(std::uint32_t locationId, std::unique_ptr<Transport>& transport) {
    const std::lock_guard lock(_mutex);
    std::string directory;
    Device* const device = find(locationId, &directory);
    if (device == nullptr) {
        return DGSTATUS_NO_DEVICE_ATTACHED;
    }
    std::shared_ptr<Store> store = openStore(directory, *device);
    if (!store) {
        return DGSTATUS_DEVICE_OPEN_FAILED;
    }
    auto line = std::make_unique<LoopbackTransport>(std::move(store), device->faults);
    std::erase_if(device->lines, [](const auto& each) { return each.expired(); });
    device->lines.push_back(line->plug());
    transport = std::move(line);
    return DGSTATUS_SUCCESS;
}

DGSTATUS VirtualDevices::add(const std::string& directory, std::uint32_t& locationId, bool& isNew) {
    const std::string canonical = canonicalDirectory(directory);
    const std::lock_guard lock(_mutex);
    attachFromEnvironment();
    isNew = !_devices.contains(canonical);
    if (isNew && !attach(canonical)) {
        return DGSTATUS_NO_DEVICE_ATTACHED;
    }
    _removed.erase(canonical);
    locationId = _devices[canonical].locationId;
    return DGSTATUS_SUCCESS;
}

bool VirtualDevices::remove(const std::string& directory, std::uint32_t& locationId) {
    const std::string canonical = canonicalDirectory(directory);
    std::vector<std::weak_ptr<LoopbackTransport::Plug>> lines;
    {
        const std::lock_guard lock(_mutex);
        attachFromEnvironment();
        const auto found = _devices.find(canonical);
        if (found == _devices.end()) {
            return false;
        }
        locationId = found->second.locationId;
        lines = std::move(found->second.lines);
        _devices.erase(found);
        _removed.insert(canonical);
    }
    for (const auto& each : lines) {
        if (const auto plug = each.lock()) {
            plug->pull();
        }
    }
    return true;
}

std::shared_ptr<FaultPlan> VirtualDevices::faults(std::uint32_t locationId) {
    const std::lock_guard lock(_mutex);
    const Device* const device = find(locationId);
    return device != nullptr ? device->faults : nullptr;
}

std::shared_ptr<Store> VirtualDevices::store(std::uint32_t locationId) {
    const std::lock_guard lock(_mutex);
    std::string directory;
    Device* const device = find(locationId, &directory);
    return device != nullptr ? openStore(directory, *device) : nullptr;
}

} // namespace mtpsdk
