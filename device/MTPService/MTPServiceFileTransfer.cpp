// SPDX-License-Identifier: MIT
#include "device/MTPService/MTPServicePrivate.h"

#include "device/MTPService/MTPService.h"
#include "device/MTPService/MethodTrace.h"
#include "platform/Files.h"
#include "platform/Log.h"
#include "platform/Paths.h"

using platform::Dictionary;
using platform::Synchronized;

namespace {

using Text = std::optional<std::string>;

void setError(std::uint32_t* error, std::uint32_t status) {
    if (error != nullptr) {
        *error = status;
    }
}

bool refuseArguments(std::uint32_t* error) {
    setError(error, DGSTATUS_INVALID_PARAMETER);
    return false;
}

/// What tells the library's progress on: nothing unless both parts are given, since without one of them the callback
/// would stop the transfer.
class Progress {
public:
    Progress(const platform::Value& callbackObject, const platform::Value& context)
        : _isGiven(!callbackObject.isNull() && !context.isNull())
        , _data{{"CallbackObject", callbackObject}, {"CallbackContext", context}} {}

    [[nodiscard]] MtpProgressCallback callback() const { return _isGiven ? &DeviceProgressCallbackEx : nullptr; }
    [[nodiscard]] void* context() { return _isGiven ? &_data : nullptr; }

private:
    bool _isGiven;
    Dictionary _data;
};

Text fileName(const Dictionary& information, const std::string& path) {
    std::string name = information.string("FileName").value_or(platform::lastPathComponent(path));
    return name.empty() ? std::nullopt : Text(std::move(name));
}

/// "FilePath" of the dictionary; nothing (logged) when it or the destination is missing, or the file has no name.
Text checkedPath(const std::optional<Dictionary>& information, const Text& destination, const char* noName) {
    if (!information || !destination) {
        QD_LOG(3, "Input parameter is invalid");
        return std::nullopt;
    }
    Text path = information->string("FilePath");
    if (!path) {
        QD_LOG(3, "Get file path is fail");
    } else if (!fileName(*information, *path)) {
        QD_LOG(3, noName);
        path.reset();
    }
    return path;
}

/// Sees to it that a local file may be written: its folder is there, and no file in its place that must stay. The
/// library replaces a file when the new one is whole, so one that may be replaced is not lost to a transfer that fails.
bool prepareLocalFile(const std::string& path, bool isOverWrite, std::uint32_t* error) {
    if (platform::fileExists(path)) {
        if (!isOverWrite) {
            QD_LOG(3, "%@ file is exist", path);
            setError(error, DGSTATUS_NODE_FILE_DUPNAME_EXISTED);
        }
        return isOverWrite;
    }
    const std::string folder = platform::deletingLastPathComponent(path);
    if (folder.empty()) {
        QD_LOG(3, "Get folder name is fail");
        return refuseArguments(error);
    }
    if (platform::createFolders(folder)) {
        QD_LOG(3, "Create %@ folder is fail", folder);
        return refuseArguments(error);
    }
    return true;
}

} // namespace

bool MTPServicePrivate::readFileFromDevice(const FileInformation& fileInformation, const Text& destinationPath,
                                           bool isOverWrite, const platform::Value& callbackObject,
                                           const platform::Value& context, std::uint32_t* error) {
    const MethodTrace trace(6);
    const Text path = checkedPath(fileInformation, destinationPath, "Get file name is failed");
    if (!path) {
        return refuseArguments(error);
    }
    if (!prepareLocalFile(*destinationPath, isOverWrite, error)) {
        return false;
    }
    Progress progress(callbackObject, context);
    const Synchronized library(MtpControl::classMonitor());
    const Text node = indexedNode(*path);
    _MTP_STORAGE_NODE* storage = nullptr;
    std::uint32_t status = 0;
    bool received = false;
    if (const Text relativePath = checkHiddenVolume(path, &storage)) {
        received = _mtpControl->transferFileFromDevice(_currentDeviceNode, storage, node, relativePath, destinationPath,
                                                       progress.callback(), progress.context(), &status);
    } else {
        received = _mtpControl->uploadFileFromMTPEx(_currentDeviceNode, _storageHeadNode, node, path, destinationPath,
                                                    progress.callback(), progress.context(), &status);
    }
    setError(error, status);
    return received;
}

bool MTPServicePrivate::writeFileToDevice(const FileInformation& fileInformation, const Text& destinationPath,
                                          bool isOverWrite, const platform::Value& callbackObject,
                                          const platform::Value& context, std::uint32_t* error) {
    const MethodTrace trace(6);
    const Text source = checkedPath(fileInformation, destinationPath, "Get file name is fail");
    if (!source) {
        return refuseArguments(error);
    }
    Progress progress(callbackObject, context);
    const Synchronized library(MtpControl::classMonitor());
    const Text parent = indexedNode(platform::deletingLastPathComponent(*destinationPath));
    // Nothing is deleted for a local file that is not there. What cannot be deleted shows when the new file meets it.
    if (isOverWrite && platform::fileSize(*source)) {
        deleteAtDevice(*destinationPath, nullptr);
    }
    _MTP_STORAGE_NODE* storage = nullptr;
    const Text relativePath = checkHiddenVolume(destinationPath, &storage);
    Text node;
    std::uint32_t status = 0;
    bool sent = false;
    if (relativePath) {
        sent = _mtpControl->transferFileToDevice(_currentDeviceNode, storage, parent, &*fileInformation, relativePath,
                                                 progress.callback(), progress.context(), &node, &status);
    } else {
        sent =
            _mtpControl->sendMediaFileToMTPEx(_currentDeviceNode, _storageHeadNode, parent, &*fileInformation,
                                              destinationPath, progress.callback(), progress.context(), &node, &status);
    }
    if (status == DGSTATUS_SUCCESS && node && !relativePath) {
        indexNode(*destinationPath, *node);
    }
    setError(error, status);
    return sent;
}

/// A folder inside a default folder, made where it is missing.
std::optional<MTPServicePrivate::SubFolder> MTPServicePrivate::subFolder(const Text& parentID, const std::string& name,
                                                                         std::uint32_t* error) {
    _MTP_COMMON_NODE* parent = MtpControl::nodeFromText(parentID);
    SubFolder made{.name = name, .nodeID = {}};
    std::uint32_t status = 0;
    const _MTP_FOLDER_NODE* folder = _mtpControl->createFolder(parent, made.name, &status);
    if (status == DGSTATUS_FILE_INVALID_CHAR) { // no folder can have this name
        made.name = convertAvailableFileName(name);
        folder = _mtpControl->createFolder(parent, made.name, &status);
    }
    if (folder == nullptr) {
        setError(error, status);
        return std::nullopt;
    }
    made.nodeID = MtpControl::nodeIDText(folder);
    return made;
}

bool MTPServicePrivate::syncWriteFileToDevice(const FileInformation& fileInformation, const Text& subFolderName,
                                              std::uint32_t diskIndex, std::uint32_t mediaType, bool isOverWrite,
                                              const platform::Value& callbackObject, const platform::Value& context,
                                              std::uint32_t* error) {
    const MethodTrace trace(6);
    if (!fileInformation) {
        QD_LOG(3, "Input parameters(sourcePath) is invalid.");
        return refuseArguments(error);
    }
    Text folderPath = defaultMediaPath(diskIndex, mediaType);
    if (!folderPath) {
        QD_LOG(3, "Get Contents default path is failed. diskIndex - %d, mediaType - %d", diskIndex, mediaType);
        return refuseArguments(error);
    }
    Text folderID = mediaDefaultNode(folderPath, mediaType);
    const Text source = fileInformation->string("FilePath");
    const Text name = fileName(*fileInformation, source.value_or(""));
    if (!name) {
        QD_LOG(3, "Get File Name from %@ is fail", source);
        return refuseArguments(error);
    }
    Progress progress(callbackObject, context);
    const Synchronized library(MtpControl::classMonitor());
    if (subFolderName) {
        const auto folder = subFolder(folderID, *subFolderName, error);
        if (!folder) {
            QD_LOG(3, "Create [%@] folder at [%@] is fail", subFolderName, folderPath);
            return false;
        }
        folderPath = platform::formatText("%@/%@", *folderPath, folder->name);
        folderID = folder->nodeID;
    }
    const std::string destination = platform::formatText("%@/%@", *folderPath, *name);
    std::uint32_t status = 0;
    if (isOverWrite && !deleteAtDevice(destination, &status) && status != DGSTATUS_SUCCESS) {
        // Answers true on purpose, also when there was nothing to delete: callers read the status.
        QD_LOG(3, "Delete %@ file is fail", destination);
        setError(error, status);
        return true;
    }
    Text node;
    const bool sent =
        _mtpControl->sendMediaFileToMTPEx(_currentDeviceNode, _storageHeadNode, folderID, &*fileInformation,
                                          destination, progress.callback(), progress.context(), &node, &status);
    if (status == DGSTATUS_SUCCESS && node) {
        indexNode(destination, *node);
    }
    setError(error, status);
    return sent;
}
