// SPDX-License-Identifier: MIT
#include "device/MTPService/MTPServicePrivate.h"

#include "device/MTPService/ExactNames.h"
#include "device/MTPService/MethodTrace.h"
#include "platform/Files.h"
#include "platform/Log.h"
#include "platform/Paths.h"
#include "platform/Strings.h"

#include <algorithm>
#include <filesystem>

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

/// Whether it was the device that did not want an object, for whatever reason but its room.
bool isRefusedByDevice(std::uint32_t status) {
    constexpr std::uint32_t group = 0xFFFF0000;
    return (status & group) == (DGSTATUS_INTERNAL_GENERALERROR & group) && status != DGSTATUS_INTERNAL_STOREFULL &&
           status != DGSTATUS_INTERNAL_TRANSACTIONCANCELLED;
}

/// Lets the library ask whether the file on its way is to be stopped; no callback where nobody is there to be asked.
class Stop {
public:
    explicit Stop(std::function<bool()> isStopped)
        : _isStopped(std::move(isStopped)) {}

    [[nodiscard]] MtpProgressCallback callback() const { return _isStopped ? &answer : nullptr; }
    [[nodiscard]] void* context() { return _isStopped ? &_isStopped : nullptr; }

private:
    static std::uint32_t answer(std::uint64_t /*current*/, std::uint64_t /*total*/, void* context) {
        return (*static_cast<std::function<bool()>*>(context))() ? DGSTATUS_IO_CANCEL : DGSTATUS_SUCCESS;
    }

    std::function<bool()> _isStopped;
};

/// Where a file of a backup goes.
struct Place {
    _MTP_DEVICE_NODE* device;
    _MTP_STORAGE_NODE* storageHead;
    std::string path;
    Text folder; ///< node ID
};

/// Sends a file in place of the one that has its name there; whether it arrived.
bool replaceFile(MtpControl& control, const Dictionary& file, const Place& place, MtpProgressCallback callback,
                 void* context, std::uint32_t& status) {
    Text node;
    const auto send = [&] {
        return control.sendMediaFileToMTPEx(place.device, place.storageHead, place.folder, &file, place.path, callback,
                                            context, &node, &status);
    };
    bool sent = send();
    const bool isThere = status == DGSTATUS_NODE_FILE_DUPNAME_EXISTED && node;
    if (isThere && callback != nullptr && callback(0, 0, context) != DGSTATUS_SUCCESS) {
        status = DGSTATUS_IO_CANCEL_SUCCESS; // before the present file is deleted for one that would not be sent
    } else if (isThere && control.deleteItemAtPath(place.device, place.storageHead, node, place.path, &status) &&
               status == DGSTATUS_SUCCESS) {
        sent = send();
    }
    return !isEnd(sent, status);
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

bool MTPServicePrivate::fileBackup(const std::optional<platform::Array>& files, const Text& destinationFolder,
                                   std::function<bool()> isStopped) {
    const MethodTrace trace(6);
    Stop stop(std::move(isStopped));
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
        const bool received =
            _mtpControl->uploadFileFromMTPEx(_currentDeviceNode, _storageHeadNode, file->string("NodeID"), path,
                                             localPath, stop.callback(), stop.context(), &status);
        if (isEnd(received, status)) {
            return false;
        }
    }
    return isComplete;
}

bool MTPServicePrivate::fileRestore(const std::optional<platform::Array>& files, std::function<bool()> isStopped) {
    const MethodTrace trace(6);
    Stop stop(std::move(isStopped));
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
        if (!restoreFile(*file, platform::formatText("%@/%@", *volumePath, *subPath), stop.callback(),
                         stop.context())) {
            return false;
        }
    }
    return true;
}

bool MTPServicePrivate::restoreFile(const Dictionary& file, const std::string& path, MtpProgressCallback callback,
                                    void* context) {
    std::error_code ignored;
    const bool isFolder = std::filesystem::is_directory(file.string("FilePath").value_or(""), ignored);
    const Synchronized library(MtpControl::classMonitor());
    Place place{_currentDeviceNode, _storageHeadNode, path, std::nullopt};
    std::uint32_t status = 0;
    {
        const mtpcontrol::VerbatimNames verbatim(*_mtpControl, place.device);
        place.folder = mtpcontrol::exactFolder(*_mtpControl, place.device, place.storageHead,
                                               isFolder ? path : platform::deletingLastPathComponent(path));
        if (!place.folder) {
            QD_LOG(3, "Create %@ folder is fail", isFolder ? path : platform::deletingLastPathComponent(path));
            return false;
        }
        if (isFolder || replaceFile(*_mtpControl, file, place, callback, context, status)) {
            return true;
        }
    }
    // A device that takes fewer names: one that differs in case only replaces the other then.
    return isRefusedByDevice(status) && replaceFile(*_mtpControl, file, place, callback, context, status);
}
