// SPDX-License-Identifier: MIT
#include "device/MTPService/MTPServicePrivate.h"

#include "device/MTPService/MethodTrace.h"
#include "device/MTPService/ServiceSection.h"
#include "platform/Log.h"
#include "platform/Paths.h"
#include "platform/Strings.h"

#include <algorithm>

using platform::Synchronized;

namespace {

enum DiskType : std::uint32_t { DiskTypeInternal = 1, DiskTypeCard = 2 };

std::string label(const _MTP_STORAGE_NODE& storage) {
    if (storage.Label.get() == nullptr || storage.LabelLength == 0) {
        return {};
    }
    const std::u16string_view text(reinterpret_cast<const char16_t*>(storage.Label.get()), storage.LabelLength - 1);
    return platform::toUtf8(text);
}

platform::Dictionary storageInfo(const _MTP_STORAGE_NODE& storage, const std::string& volumePath, bool isCard,
                                 std::uint32_t diskIndex) {
    platform::Dictionary info;
    info.set("volumePath", volumePath);
    info.set("TotalSpace", storage.MaxCapacity);
    info.set("UsedSize", storage.UsedSize);
    info.set("diskType", static_cast<std::uint32_t>(isCard ? DiskTypeCard : DiskTypeInternal));
    info.set("diskIndex", diskIndex);
    return info;
}

MTPServicePrivate::StorageMatch hasVolumePath(const std::optional<std::string>& path) {
    return [path](const platform::Dictionary& storage) {
        const auto own = storage.string("volumePath");
        return path && own && platform::equalIgnoringCase(*own, *path);
    };
}

MTPServicePrivate::StorageMatch hasNumber(std::string_view key, std::uint64_t number) {
    return [key, number](const platform::Dictionary& storage) { return storage.uint64(key) == number; };
}

} // namespace

void MTPServicePrivate::setDeviceInformation(const std::optional<platform::Dictionary>& information) {
    const MethodTrace trace(6);
    const ServiceSection section;
    if (!information) {
        QD_LOG(3, "Device Information is nil");
        return;
    }
    const Text model = information->string("MN");
    if (!model) {
        QD_LOG(3, "Model Name Key is nil");
        return;
    }
    _modelName.set(model);
    const Text volumes = information->string("HVID");
    if (!volumes) {
        QD_LOG(3, "Hidden Volume ID is nil");
        return;
    }
    _hiddenVolumeLists.set(platform::Dictionary());
    hiddenVolumeInfo(volumes);
}

std::optional<platform::Array> MTPServicePrivate::storageInfoLists() {
    const MethodTrace trace(6);
    const Synchronized library(MtpControl::classMonitor());
    _storageLists.with([](StorageTable& table) {
        if (table) {
            table->clear();
        }
    });
    if (fetchStorageList() != DGSTATUS_SUCCESS) {
        QD_LOG(3, "getMTPSorageListHead is failed.");
        return std::nullopt;
    }
    const Text device = friendlyName();
    if (!device) {
        return std::nullopt;
    }
    platform::Array storages = listedStorages(*device);
    QD_LOG(6, "Storage Info lists = %@", platform::Value(storages));
    setDefaultMediaInfo(storages);
    _mtpControl->setDeviceConnected(true);
    return storages;
}

platform::Array MTPServicePrivate::listedStorages(const std::string& device) {
    platform::Array storages;
    std::uint32_t diskIndex = 0;
    _MTP_STORAGE_NODE* storage = _storageHeadNode;
    while (storage != nullptr) {
        const std::string name = label(*storage);
        // A storage of the device's own system, no place for media.
        if (!platform::equalIgnoringCase(name, "OSP")) {
            const std::string volumePath = platform::formatText("/%@/%@", device, name);
            storages.emplace_back(
                storageInfo(*storage, volumePath, platform::equalIgnoringCase(name, "Card"), diskIndex));
            ++diskIndex;
        }
        _MTP_STORAGE_NODE* next = nullptr;
        if (_mtpControl->getMTPNextStorage(storage, &next) != DGSTATUS_SUCCESS) {
            break;
        }
        storage = next;
    }
    return storages;
}

MTPServicePrivate::Text MTPServicePrivate::friendlyName() {
    std::string name;
    if (_mtpControl->getMTPFriendlyName(_currentDeviceNode, name) != DGSTATUS_SUCCESS) {
        QD_LOG(3, "Get Friendly name is failed.");
        return std::nullopt;
    }
    return name;
}

std::optional<platform::Array> MTPServicePrivate::diskInformation() {
    const MethodTrace trace(6);
    const ServiceSection section;
    std::optional<platform::Array> storages = storageInformation();
    return storages && !storages->empty() ? storages : storageInfoLists();
}

std::optional<platform::Array> MTPServicePrivate::storageInformation() const {
    return _storageLists.with([](const StorageTable& table) {
        std::optional<platform::Array> copy;
        if (table) {
            copy.emplace(table->begin(), table->end());
        }
        return copy;
    });
}

void MTPServicePrivate::addDiskInformation(const std::optional<platform::Dictionary>& information) {
    const ServiceSection section;
    _storageLists.with([&](StorageTable& table) {
        if (table && information) {
            table->push_back(*information);
        }
    });
}

void MTPServicePrivate::removeDiskInformation(const std::optional<platform::Dictionary>& information) {
    const ServiceSection section;
    _storageLists.with([&](StorageTable& table) {
        if (!table || !information) {
            return;
        }
        const auto found = std::ranges::find(*table, *information);
        if (found != table->end()) {
            table->erase(found);
        }
    });
}

std::optional<platform::Dictionary> MTPServicePrivate::firstStorage(const StorageMatch& match) const {
    return _storageLists.with([&](const StorageTable& table) {
        std::optional<platform::Dictionary> copy;
        if (table) {
            const auto found = std::ranges::find_if(*table, match);
            if (found != table->end()) {
                copy = *found;
            }
        }
        return copy;
    });
}

void MTPServicePrivate::setInFirstStorage(const StorageMatch& match, std::string_view key,
                                          const platform::Value& value) {
    _storageLists.with([&](StorageTable& table) {
        if (table) {
            const auto found = std::ranges::find_if(*table, match);
            if (found != table->end()) {
                found->set(key, value);
            }
        }
    });
}

std::uint64_t MTPServicePrivate::storageTotalSpace(const Text& volumePath) const {
    const auto storage = firstStorage(hasVolumePath(volumePath));
    return storage ? storage->uint64("TotalSpace").value_or(0) : 0;
}

std::uint64_t MTPServicePrivate::storageUsedSpace(const Text& volumePath) const {
    const auto storage = firstStorage(hasVolumePath(volumePath));
    return storage ? storage->uint64("UsedSize").value_or(0) : 0;
}

void MTPServicePrivate::setStorageTotalSpace(const Text& volumePath, std::uint64_t totalSize) {
    setInFirstStorage(hasVolumePath(volumePath), "TotalSpace", totalSize);
}

void MTPServicePrivate::setStorageUsedSpace(const Text& volumePath, std::uint64_t usedSize) {
    setInFirstStorage(hasVolumePath(volumePath), "UsedSize", usedSize);
}

MTPServicePrivate::Text MTPServicePrivate::storagePath(unsigned long diskIndex) const {
    const auto storage = firstStorage(hasNumber("diskIndex", diskIndex));
    return storage ? storage->string("volumePath") : std::nullopt;
}

MTPServicePrivate::Text MTPServicePrivate::storagePathWithOption(bool isInternal, std::uint32_t* index) const {
    const auto storage = firstStorage(hasNumber("diskType", isInternal ? DiskTypeInternal : DiskTypeCard));
    if (index != nullptr) {
        *index = storage ? storage->uint32("diskIndex").value_or(0) : 0;
    }
    return storage ? storage->string("volumePath") : std::nullopt;
}

std::optional<platform::Dictionary> MTPServicePrivate::storageInfoFromIndex(std::uint32_t diskIndex) const {
    return firstStorage(hasNumber("diskIndex", diskIndex));
}

MTPServicePrivate::Text MTPServicePrivate::storageNameFromIndex(std::uint32_t diskIndex) const {
    return storagePath(diskIndex);
}

std::optional<platform::Dictionary> MTPServicePrivate::diskInfoFromDiskInfoList(const platform::Array& list,
                                                                                std::uint32_t index) const {
    for (const platform::Value& entry : list) {
        const platform::Dictionary* storage = entry.dictionary();
        if (storage != nullptr && storage->uint64("diskIndex") == index) {
            return *storage;
        }
    }
    return std::nullopt;
}

_MTP_STORAGE_NODE* MTPServicePrivate::currentStorageNode(const Text& path) {
    const Synchronized library(MtpControl::classMonitor());
    const Text device = friendlyName();
    if (!device || !path) {
        return nullptr;
    }
    for (const std::string& component : platform::pathComponents(*path)) {
        if (component == "/" || platform::equalIgnoringCase(component, *device)) {
            continue;
        }
        _MTP_STORAGE_NODE* storage = _mtpControl->getStorageNode(_currentDeviceNode, &_storageHeadNode, component);
        if (storage != nullptr) {
            return storage;
        }
    }
    return nullptr;
}
