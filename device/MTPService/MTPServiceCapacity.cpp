// SPDX-License-Identifier: MIT
#include "device/MTPService/MTPServicePrivate.h"

#include "device/MTPService/MethodTrace.h"
#include "platform/Files.h"
#include "platform/Log.h"
#include "platform/Paths.h"
#include "platform/Strings.h"

using platform::Synchronized;

namespace {

std::optional<std::string> volumeOf(const MTPServicePrivate& service, std::uint32_t diskIndex) {
    auto volume = service.storageNameFromIndex(diskIndex);
    if (!volume) {
        QD_LOG(3, "Get Storage Name from Index is failed. Index = %d", diskIndex);
    }
    return volume;
}

} // namespace

// The capacity queries answer from the storage table while the library is in use, so that a user interface never waits
// for a running transfer.

std::uint64_t MTPServicePrivate::totalSpace(std::uint32_t diskIndex) {
    const MethodTrace trace(6);
    const Text volume = volumeOf(*this, diskIndex);
    if (!volume) {
        return 0;
    }
    if (isTransferring()) {
        return storageTotalSpace(volume);
    }
    const Synchronized library(MtpControl::classMonitor());
    const Transferring transferring(*this);
    const std::uint64_t total = _mtpControl->maxCapacity(_currentDeviceNode, _storageHeadNode, volume);
    setStorageTotalSpace(volume, total);
    return total;
}

std::uint64_t MTPServicePrivate::freeSpace(std::uint32_t diskIndex) {
    const MethodTrace trace(6);
    const Text volume = volumeOf(*this, diskIndex);
    if (!volume) {
        return 0;
    }
    if (isTransferring()) {
        return storageTotalSpace(volume) - storageUsedSpace(volume);
    }
    const Synchronized library(MtpControl::classMonitor());
    const Transferring transferring(*this);
    const std::uint64_t free = _mtpControl->freeSpace(_currentDeviceNode, _storageHeadNode, volume);
    std::uint64_t total = 0;
    const std::uint64_t used = _mtpControl->storageSpace(_currentDeviceNode, _storageHeadNode, volume, &total);
    setStorageUsedSpace(volume, used);
    return free;
}

// Volumes are mounted under /Volumes; whatever lies elsewhere counts as on the root file system.
std::uint64_t MTPServicePrivate::volumeFreeSpace(const Text& path) const {
    const std::vector<std::string> components = platform::pathComponents(path.value_or(""));
    if (components.size() < 2) {
        QD_LOG(3, "Get Volume Path is failed.");
        return 0;
    }
    std::string root;
    bool volumeFollows = false;
    for (const std::string& component : components) {
        if (component == "/") {
            root = "/";
        } else if (volumeFollows) {
            root += component;
            break;
        } else if (platform::equalIgnoringCase(component, "volumes")) {
            root += component + "/";
            volumeFollows = true;
        }
    }
    return platform::fileSystemFreeSize(root + "/").value_or(0);
}
