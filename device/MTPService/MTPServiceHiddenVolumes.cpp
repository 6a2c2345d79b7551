// SPDX-License-Identifier: MIT
#include "device/MTPService/MTPServicePrivate.h"

#include "device/MTPService/MethodTrace.h"
#include "platform/Log.h"
#include "platform/Strings.h"

using platform::Synchronized;

namespace {

/// "NAME:path" or "~NAME:path" taken apart.
struct HiddenPath {
    std::string name;
    std::string relativePath;
};

/// Nothing without a ":", or (logged) without a name before it.
std::optional<HiddenPath> splitHiddenPath(const std::optional<std::string>& path) {
    const std::size_t colon = path ? path->find(':') : std::string::npos;
    if (colon == std::string::npos) {
        return std::nullopt;
    }
    const std::size_t start = path->front() == '~' ? 1 : 0;
    HiddenPath parts{.name = path->substr(start, colon - start), .relativePath = path->substr(colon + 1)};
    if (parts.name.empty()) {
        QD_LOG(3, "Get Hidden Volume Name is failed");
        return std::nullopt;
    }
    return parts;
}

std::vector<std::string> splitAtColonsAndCommas(const std::string& text) {
    std::vector<std::string> parts(1);
    for (const char character : text) {
        if (character == ':' || character == ',') {
            parts.emplace_back();
        } else {
            parts.back() += character;
        }
    }
    return parts;
}

const std::string rule(59, '=');

std::string nodeText(const RecordText& text, std::uint32_t length) {
    if (text.get() == nullptr || length == 0) {
        return {};
    }
    return platform::toUtf8({reinterpret_cast<const char16_t*>(text.get()), length - 1});
}

/// A handle is an address, which another node may have taken over since.
bool isStorage(const _MTP_COMMON_NODE& node, std::uint32_t storageID) {
    return node.Signature == MTP_SIGNATURE_STORAGE && node.Id == storageID;
}

void logHiddenStorage(const _MTP_STORAGE_NODE& node) {
    QD_LOG(7, "%@", rule);
    QD_LOG(7, "MTP Hidden Storage Node Information : (%p)      ", static_cast<const void*>(&node));
    QD_LOG(7, "        -> ID                               = %d", node.header.Id);
    QD_LOG(7, "        -> Signature                        = %d", node.header.Signature);
    QD_LOG(7, "        -> Label                            = %S", nodeText(node.Label, node.LabelLength));
    QD_LOG(7, "        -> Label Length                     = %d", node.LabelLength);
    QD_LOG(7, "        -> Description                      = %S", nodeText(node.Description, node.DescriptionLength));
    QD_LOG(7, "        -> Description Length               = %d", node.DescriptionLength);
    QD_LOG(7, "        -> MaxCapacity                      = %ld", node.MaxCapacity);
    QD_LOG(7, "        -> UsedSize                         = %ld", node.UsedSize);
    QD_LOG(7, "%@", rule);
}

} // namespace

bool MTPServicePrivate::hiddenVolumeInfo(const Text& volumeID) {
    if (!volumeID) {
        QD_LOG(3, "volumeID is nil");
        return false;
    }
    const std::vector<std::string> parts = splitAtColonsAndCommas(*volumeID);
    _hiddenVolumeLists.with([&](std::optional<platform::Dictionary>& table) {
        // A name without an ID at the end is passed over, as are IDs that are no number.
        for (std::size_t i = 0; table && i + 1 < parts.size(); i += 2) {
            const auto storageID = static_cast<std::uint32_t>(platform::decimalValue(parts[i + 1]));
            if (storageID != 0) {
                table->set(platform::upperCased(parts[i]), storageID);
            }
        }
    });
    return true;
}

std::uint32_t MTPServicePrivate::hiddenStorageID(const std::string& name) const {
    const std::string key = platform::upperCased(name);
    const std::uint32_t storageID = _hiddenVolumeLists.with(
        [&](const std::optional<platform::Dictionary>& table) { return table ? table->uint32(key).value_or(0) : 0; });
    if (storageID == 0) {
        QD_LOG(3, "Get Hidden Volume ID is failed");
    }
    return storageID;
}

_MTP_STORAGE_NODE* MTPServicePrivate::hiddenStorageInfo(std::uint32_t storageID) {
    if (storageID == 0) {
        QD_LOG(3, "storageID is nil");
        return nullptr;
    }
    const Synchronized library(MtpControl::classMonitor());
    _MTP_STORAGE_NODE* node = nullptr;
    if (_mtpControl->getMTPHiddenStorage(_currentDeviceNode, storageID, &node) != DGSTATUS_SUCCESS || node == nullptr) {
        return nullptr;
    }
    logHiddenStorage(*node);
    return node;
}

MTPServicePrivate::Text MTPServicePrivate::checkHiddenVolume(const Text& path, _MTP_STORAGE_NODE** storageNode) {
    *storageNode = nullptr;
    const auto parts = splitHiddenPath(path);
    if (!parts) {
        return std::nullopt;
    }
    const std::uint32_t storageID = hiddenStorageID(parts->name);
    if (storageID == 0) {
        return std::nullopt;
    }
    *storageNode = cachedHiddenStorage(platform::upperCased(parts->name + "_" + std::to_string(storageID)), storageID);
    return parts->relativePath;
}

_MTP_STORAGE_NODE* MTPServicePrivate::cachedHiddenStorage(const std::string& cacheKey, std::uint32_t storageID) {
    const Synchronized library(MtpControl::classMonitor());
    const Text handle = _hiddenVolumeLists.with([&](const std::optional<platform::Dictionary>& table) {
        return table ? table->string(cacheKey) : std::nullopt;
    });
    _MTP_COMMON_NODE* cached = MtpControl::nodeFromText(handle);
    if (cached != nullptr && _mtpControl->checkNodeExist(cached) && isStorage(*cached, storageID)) {
        return reinterpret_cast<_MTP_STORAGE_NODE*>(cached);
    }
    _MTP_STORAGE_NODE* node = hiddenStorageInfo(storageID);
    _hiddenVolumeLists.with([&](std::optional<platform::Dictionary>& table) {
        if (table && node != nullptr) {
            table->set(cacheKey, MtpControl::nodeIDText(node));
        }
    });
    return node;
}

MTPServicePrivate::Text MTPServicePrivate::convertHiddenVolumePathToFullPath(const Text& path,
                                                                             _MTP_STORAGE_NODE** storageNode) {
    *storageNode = nullptr;
    const auto parts = splitHiddenPath(path);
    if (!parts) {
        return std::nullopt;
    }
    const Synchronized library(MtpControl::classMonitor());
    const Text device = friendlyName();
    if (!device) {
        return std::nullopt;
    }
    const std::uint32_t storageID = hiddenStorageID(parts->name);
    if (storageID == 0) {
        return std::nullopt;
    }
    *storageNode = hiddenStorageInfo(storageID);
    return platform::formatText("/%@/%@/%@", *device, parts->name, parts->relativePath);
}

void MTPServicePrivate::releaseHiddenStorage() {
    const MethodTrace trace(6);
    if (getReleaseState() == 1) {
        return;
    }
    const Synchronized library(MtpControl::classMonitor());
    const Transferring transferring(*this);
    for (const auto& entry : _hiddenVolumeLists.get().value_or(platform::Dictionary())) {
        QD_LOG(7, "Entry = %@", entry.second);
        if (getReleaseState() == 1) {
            break;
        }
        // Only IDs: the table's handle texts name the same storages.
        const std::uint32_t storageID = entry.second.uint32().value_or(0);
        _MTP_STORAGE_NODE* storage = storageID == 0 ? nullptr : hiddenStorageInfo(storageID);
        _MTP_FOLDER_NODE* folders = nullptr;
        if (storage != nullptr &&
            _mtpControl->getMTPFolderListHead(nullptr, storage, &folders, nullptr, nullptr) == DGSTATUS_SUCCESS) {
            _mtpControl->releaseMTPFolderList(folders);
        }
    }
}
