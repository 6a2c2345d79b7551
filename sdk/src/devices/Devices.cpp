// SPDX-License-Identifier: MIT
#include "vemomtpsdk/Devices.h"

#include "devices/DeviceRegistry.h"
#include "devices/DeviceWatcher.h"
#include "devices/VirtualDevices.h"
#include "platform/Files.h"
#include "store/StoreDescription.h"

#include <cerrno>
#include <cstring>
#include <filesystem>
#include <fmt/format.h>
#include <random>
#include <sys/stat.h>
#include <system_error>
#include <utility>

namespace vemomtpsdk {

namespace {

std::string madeUpSerial() {
    std::random_device random;
    return fmt::format("VD{:08X}{:08X}", random(), random());
}

mtpsdk::StoreDescription storeDescription(const std::string& directory, const VirtualDeviceDescription& given) {
    mtpsdk::StoreDescription description;
    description.friendlyName = given.friendlyName;
    description.model = given.model;
    description.manufacturer = given.manufacturer;
    description.serialNumber = given.serialNumber.empty() ? madeUpSerial() : given.serialNumber;
    description.locationId = given.locationId != 0 ? given.locationId : mtpsdk::locationOfDirectory(directory);
    for (const VirtualStorage& storage : given.storages) {
        description.storages.push_back({storage.label,
                                        storage.description.empty() ? storage.label : storage.description,
                                        storage.capacity, storage.storageId, storage.hidden});
    }
    mtpsdk::completeStorageIds(description);
    return description;
}

bool isEmptyOrMissing(const std::string& directory, std::string& error) {
    std::error_code failure;
    const bool exists = std::filesystem::exists(directory, failure);
    if (!failure && exists && !std::filesystem::is_empty(directory, failure)) {
        error = "\"" + directory + "\" is not empty.";
        return false;
    }
    if (failure) {
        error = "Cannot look into \"" + directory + "\": " + failure.message() + ".";
        return false;
    }
    return true;
}

} // namespace

std::vector<AttachedDevice> attachedDevices() {
    return mtpsdk::DeviceRegistry::shared().devices();
}

class DeviceWatch::Implementation {
public:
    explicit Implementation(Callback callback)
        : _watcher(mtpsdk::DeviceRegistry::shared(), std::move(callback)) {}

private:
    mtpsdk::DeviceWatcher _watcher;
};

DeviceWatch::DeviceWatch(Callback callback)
    : _implementation(std::make_unique<Implementation>(std::move(callback))) {}

DeviceWatch::~DeviceWatch() = default;

DGSTATUS addVirtualDevice(const std::string& directory) {
    auto& registry = mtpsdk::DeviceRegistry::shared();
    std::uint32_t locationId = 0;
    bool isNew = false;
    const DGSTATUS status = mtpsdk::VirtualDevices::shared()->add(directory, locationId, isNew);
    if (status == DGSTATUS_SUCCESS && isNew) {
        registry.announce(locationId, mtpsdk::DeviceRegistry::Change::attached);
    }
    return status;
}

void removeVirtualDevice(const std::string& directory) {
    auto& registry = mtpsdk::DeviceRegistry::shared();
    std::uint32_t locationId = 0;
    if (mtpsdk::VirtualDevices::shared()->remove(directory, locationId)) {
        registry.announce(locationId, mtpsdk::DeviceRegistry::Change::removed);
    }
}

bool createVirtualDevice(const std::string& directory, const VirtualDeviceDescription& description,
                         std::string& error) {
    const std::string canonical = mtpsdk::canonicalDirectory(directory);
    const mtpsdk::StoreDescription stored = storeDescription(canonical, description);
    error = mtpsdk::describeProblem(stored);
    if (!error.empty() || !isEmptyOrMissing(canonical, error)) {
        return false;
    }
    if (const std::error_code failure = platform::createFolders(canonical)) {
        error = "Cannot make \"" + directory + "\": " + failure.message() + ".";
        return false;
    }
    for (const mtpsdk::StorageDescription& storage : stored.storages) {
        const std::string folder = canonical + "/" + storage.label;
        if (::mkdir(folder.c_str(), 0777) != 0) {
            error = "Cannot make \"" + folder + "\": " + std::strerror(errno) + ".";
            return false;
        }
    }
    return mtpsdk::writeDescription(canonical, stored, error);
}

} // namespace vemomtpsdk
