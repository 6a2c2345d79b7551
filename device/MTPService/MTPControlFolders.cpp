// SPDX-License-Identifier: MIT
#include "device/MTPService/MTPControl.h"
#include "device/MTPService/MTPControlPath.h"
#include "device/MTPService/MTPControlRecords.h"
#include "platform/Paths.h"
#include "vemomtpsdk/Functions.h"

using mtpcontrol::noFolderReached;
using mtpcontrol::setError;

namespace {

/// The last folder of a chain, with the missing ones created; null when the last one could be neither found nor made.
/// A failure in between does not stop the walk: its error stays in the error argument, where callers find it, and what
/// follows is made in the storage's root.
_MTP_FOLDER_NODE* createMissing(MtpControl& control, _MTP_STORAGE_NODE* storage,
                                const std::vector<std::string>& folders, std::uint32_t* error) {
    _MTP_FOLDER_NODE* current = nullptr;
    for (const std::string& name : folders) {
        _MTP_FOLDER_NODE* child = control.getFolderNode(name, storage, current);
        if (child == nullptr) {
            _MTP_COMMON_NODE* parent = current == nullptr ? &storage->header : &current->header;
            child = control.createFolder(parent, name, error);
        }
        current = child;
    }
    return current;
}

/// Where a full path leads: its storage (null when there is none; the error is set) and its folders.
struct Destination {
    _MTP_STORAGE_NODE* storage = nullptr;
    std::vector<std::string> folders;
};

Destination findDestination(MtpControl& control, _MTP_DEVICE_NODE* device, _MTP_STORAGE_NODE** storageHead,
                            const std::vector<std::string>& components, std::uint32_t* error) {
    std::string friendlyName;
    const DGSTATUS status = mtpcontrol::readFriendlyName(control, device, friendlyName);
    if (status != DGSTATUS_SUCCESS) {
        setError(error, status);
        return {};
    }
    mtpcontrol::FullPath full = mtpcontrol::splitFullPath(components, friendlyName);
    _MTP_STORAGE_NODE* storage = full.storage ? control.getStorageNode(device, storageHead, full.storage) : nullptr;
    if (storage == nullptr) {
        QD_LOG(3, "getStorageNode is failed.");
        setError(error, noFolderReached);
    }
    return {storage, std::move(full.folders)};
}

} // namespace

_MTP_FOLDER_NODE* MtpControl::createFolder(_MTP_COMMON_NODE* parent, std::string_view name, std::uint32_t* error) {
    const auto text = mtpcontrol::CallText::makePrecomposed(name);
    if (!text) {
        QD_LOG(3, "Memory allocate for create folder is failed.");
        setError(error, noFolderReached);
        return nullptr;
    }
    QD_LOG(6, "Create Folder Name = %S", text->text());
    _MTP_FOLDER_NODE* folder = nullptr;
    const DGSTATUS status = mtpCreateFolderNode(parent, text->data(), text->bytesWithTerminator(), &folder);
    if (mtpcontrol::isDuplicateName(status)) {
        QD_LOG(6, "%@ folder is existed", name);
        setError(error, DGSTATUS_SUCCESS);
        return folder;
    }
    if (status != DGSTATUS_SUCCESS) {
        QD_LOG(3, "mtpCreateFolderNode is failed. Parent Node = (%p), status = %@", parent, statusString(status));
        setError(error, status);
        return nullptr;
    }
    return folder;
}

bool MtpControl::createFolder(_MTP_DEVICE_NODE* device, _MTP_STORAGE_NODE* storageHead, const Text& path,
                              NodeID* retNode, std::uint32_t* error) {
    if (device == nullptr || !path) {
        QD_LOG(3, "Input parameter is invalid. device = %p, folderPath = %@", device, path);
        setError(error, noFolderReached);
        return false;
    }
    const Destination destination =
        findDestination(*this, device, &storageHead, platform::pathComponents(*path), error);
    if (destination.storage == nullptr) {
        return false;
    }
    const _MTP_FOLDER_NODE* folder = createMissing(*this, destination.storage, destination.folders, error);
    if (retNode != nullptr) {
        // A path without folders names its storage. A folder that could not be made has no ID, only an error.
        if (folder != nullptr) {
            *retNode = nodeIDText(folder);
        } else if (destination.folders.empty()) {
            *retNode = nodeIDText(destination.storage);
        } else {
            *retNode = std::nullopt;
        }
    }
    return true;
}

bool MtpControl::createFolderInStorage(_MTP_DEVICE_NODE* device, _MTP_STORAGE_NODE* currentStorage,
                                       const Text& destination, NodeID* retNode, std::uint32_t* error) {
    if (device == nullptr || currentStorage == nullptr || !destination) {
        QD_LOG(3, "Input parameter is invalid. device = %p, storage = %p, folderPath = %@", device, currentStorage,
               destination);
        setError(error, noFolderReached);
        return false;
    }
    std::string friendlyName;
    const DGSTATUS status = mtpcontrol::readFriendlyName(*this, device, friendlyName);
    if (status != DGSTATUS_SUCCESS) {
        setError(error, status);
        return false;
    }
    const _MTP_FOLDER_NODE* folder = createMissing(
        *this, currentStorage, mtpcontrol::splitWithinStorage(*destination, friendlyName, *currentStorage), error);
    if (folder == nullptr) {
        setError(error, noFolderReached);
        return false;
    }
    if (retNode != nullptr) {
        *retNode = nodeIDText(folder);
    }
    return true;
}

_MTP_COMMON_NODE* MtpControl::checkCreateFolder(_MTP_DEVICE_NODE* device, _MTP_STORAGE_NODE** storageHead,
                                                const Text& path, std::uint32_t* error) {
    if (device == nullptr || !path) {
        QD_LOG(3, "Input parameter is invalid. device = (%p), folderPath = %@", device, path);
        setError(error, noFolderReached);
        return nullptr;
    }
    std::vector<std::string> components = platform::pathComponents(*path);
    if (!components.empty()) {
        components.pop_back(); // the file's name
    }
    const Destination destination = findDestination(*this, device, storageHead, components, error);
    if (destination.storage == nullptr) {
        return nullptr;
    }
    if (destination.folders.empty()) {
        return &destination.storage->header;
    }
    _MTP_FOLDER_NODE* folder = createMissing(*this, destination.storage, destination.folders, error);
    return folder == nullptr ? nullptr : &folder->header;
}
