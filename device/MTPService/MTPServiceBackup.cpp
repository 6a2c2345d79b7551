// SPDX-License-Identifier: MIT
#include "device/MTPService/MTPServicePrivate.h"

#include "device/MTPService/MethodTrace.h"
#include "platform/Files.h"
#include "platform/Log.h"
#include "platform/Paths.h"
#include "platform/Strings.h"

#include <algorithm>

using platform::Dictionary;
using platform::Synchronized;

namespace {

using Text = std::optional<std::string>;

constexpr std::uint32_t internalMemory = 1;

/// Where a device file's copy lies below the folder. Nothing for a path that leads elsewhere: the names in it are the
/// device's, and a file of another storage has no place there.
Text backupPath(const std::string& devicePath, const std::string& volumePath, const std::string& folder) {
    const std::string base = folder.substr(0, folder.find_last_not_of('/') + 1);
    std::string path = platform::replacingAll(devicePath, volumePath, base);
    if (!path.starts_with(base + "/") || path.find('\0') != std::string::npos) {
        return std::nullopt;
    }
    const std::string inside = path.substr(base.size());
    return std::ranges::count(platform::pathComponents(inside), "..") == 0 ? Text(std::move(path)) : std::nullopt;
}

/// Whether a transfer that ended so is the last one.
bool isEnd(bool transferred, std::uint32_t status) {
    return !transferred || status != DGSTATUS_SUCCESS;
}

} // namespace

MTPServicePrivate::Text MTPServicePrivate::internalVolumePath() const {
    return _storageLists.with([](const StorageTable& table) {
        Text path;
        for (const Dictionary& storage : table.value_or(std::vector<Dictionary>())) {
            const Text own = storage.string("volumePath");
            if (own && storage.uint32("diskType") == internalMemory) {
                path = own;
            }
        }
        return path;
    });
}

bool MTPServicePrivate::fileBackup(const std::optional<platform::Array>& files, const Text& destinationFolder) {
    const MethodTrace trace(6);
    const Text volumePath = internalVolumePath();
    if (!files || files->empty() || !destinationFolder || !volumePath) {
        return false;
    }
    bool isComplete = true;
    for (const platform::Value& value : *files) {
        const Dictionary* file = value.dictionary();
        const Text path = file == nullptr ? std::nullopt : file->string("FilePath");
        if (!path) {
            continue;
        }
        const Text localPath = backupPath(*path, *volumePath, *destinationFolder);
        if (!localPath) {
            QD_LOG(3, "%@ has no place in %@", path, destinationFolder);
            isComplete = false;
            continue;
        }
        const std::string folder = platform::deletingLastPathComponent(*localPath);
        if (platform::createFolders(folder)) {
            QD_LOG(3, "Create %@ folder is fail", folder);
            isComplete = false;
            continue;
        }
        std::uint32_t status = 0;
        const Synchronized library(MtpControl::classMonitor());
        const bool received = _mtpControl->uploadFileFromMTPEx(
            _currentDeviceNode, _storageHeadNode, file->string("NodeID"), path, localPath, nullptr, nullptr, &status);
        if (isEnd(received, status)) {
            return false;
        }
    }
    return isComplete;
}

bool MTPServicePrivate::fileRestore(const std::optional<platform::Array>& files) {
    const MethodTrace trace(6);
    const Text volumePath = internalVolumePath();
    if (!files || files->empty() || !volumePath) {
        return false;
    }
    for (const platform::Value& value : *files) {
        const Dictionary* file = value.dictionary();
        const Text subPath = file == nullptr ? std::nullopt : file->string("subFilePath");
        if (!subPath || !file->string("FilePath")) {
            continue;
        }
        if (!restoreFile(*file, platform::formatText("%@/%@", *volumePath, *subPath))) {
            return false;
        }
    }
    return true;
}

bool MTPServicePrivate::restoreFile(const Dictionary& file, const std::string& path) {
    const Synchronized library(MtpControl::classMonitor());
    Text node;
    std::uint32_t status = 0;
    const auto send = [&] {
        return _mtpControl->sendMediaFileToMTPEx(_currentDeviceNode, _storageHeadNode, "0", &file, path, nullptr,
                                                 nullptr, &node, &status);
    };
    bool sent = send();
    if (status == DGSTATUS_NODE_FILE_DUPNAME_EXISTED && node &&
        _mtpControl->deleteItemAtPath(_currentDeviceNode, _storageHeadNode, node, path, &status) &&
        status == DGSTATUS_SUCCESS) {
        sent = send();
    }
    return !isEnd(sent, status);
}
