// SPDX-License-Identifier: MIT
#include "device/MTPService/MTPControl.h"
#include "device/MTPService/MTPControlPath.h"
#include "device/MTPService/MTPControlRecords.h"
#include "platform/Paths.h"
#include "platform/Strings.h"
#include "vemomtpsdk/Functions.h"

using mtpcontrol::FolderWalk;
using mtpcontrol::NameMatcher;

namespace {

/// Whether the library still holds the node. It is looked up by its handle before anything of it is read, since the
/// pointer may be a leftover.
bool isAlive(_MTP_COMMON_NODE* node) {
    return node != nullptr && mtpNodeFromHandle(mtpNodeHandle(node)) == node && libIsExist(node, node->Signature) != 0;
}

} // namespace

_MTP_STORAGE_NODE* MtpControl::getStorageNode(_MTP_DEVICE_NODE* device, _MTP_STORAGE_NODE** storageHead,
                                              const Text& name) {
    if (device == nullptr || storageHead == nullptr || !name) {
        QD_LOG(3, "Input parameter is invalide. current device node is NULL");
        return nullptr;
    }
    Text label = name;
    if (name->starts_with('/')) {
        std::string friendlyName;
        if (mtpcontrol::readFriendlyName(*this, device, friendlyName) != DGSTATUS_SUCCESS) {
            return nullptr;
        }
        label = mtpcontrol::storageOfVolumePath(*name, friendlyName);
        if (!label) {
            return nullptr;
        }
    }
    if (*storageHead == nullptr) {
        _MTP_STORAGE_NODE* head = nullptr;
        if (getMTPStorageListHead(device, &head) != DGSTATUS_SUCCESS) {
            return nullptr;
        }
        *storageHead = head;
    }
    const NameMatcher wanted(*label);
    return mtpcontrol::findNode(
        *storageHead,
        [this](_MTP_STORAGE_NODE* storage, _MTP_STORAGE_NODE** next) { return getMTPNextStorage(storage, next); },
        [&](const _MTP_STORAGE_NODE& storage) {
            return wanted.matches(mtpcontrol::labelUnits(storage.Label, storage.LabelLength));
        });
}

_MTP_FOLDER_NODE* MtpControl::getFolderNode(std::string_view name, _MTP_STORAGE_NODE* atStorage,
                                            _MTP_FOLDER_NODE* parent) {
    _MTP_FOLDER_NODE* head = nullptr;
    if (getMTPFolderListHead(parent, atStorage, &head, nullptr, nullptr) != DGSTATUS_SUCCESS) {
        return nullptr;
    }
    const NameMatcher wanted(name);
    return mtpcontrol::findNode(
        head, [this](_MTP_FOLDER_NODE* folder, _MTP_FOLDER_NODE** next) { return getMTPNextFolder(folder, next); },
        [&](const _MTP_FOLDER_NODE& folder) {
            return wanted.matches(mtpcontrol::nameUnits(folder.name, folder.nameSize));
        });
}

_MTP_FILE_NODE* MtpControl::getFileNode(_MTP_COMMON_NODE* parent, std::string_view name) {
    _MTP_FILE_NODE* head = nullptr;
    const DGSTATUS status = getMTPFileListHead(parent, &head, nullptr, nullptr);
    if (status != DGSTATUS_SUCCESS && status != DGSTATUS_IGNORED_SUCCESS) {
        return nullptr;
    }
    const NameMatcher wanted(name);
    return mtpcontrol::findNode(
        head, [this](_MTP_FILE_NODE* file, _MTP_FILE_NODE** next) { return getMTPNextFile(file, next); },
        [&](const _MTP_FILE_NODE& file) { return wanted.matches(mtpcontrol::nameUnits(file.name, file.nameSize)); });
}

_MTP_FOLDER_NODE* MtpControl::folderNodeHead(_MTP_DEVICE_NODE* device, _MTP_STORAGE_NODE* currentStorage,
                                             const Text& folderPath) {
    if (!folderPath) {
        QD_LOG(3, "folder path is nil. Return storage node");
        return nullptr;
    }
    std::string friendlyName;
    if (mtpcontrol::readFriendlyName(*this, device, friendlyName) != DGSTATUS_SUCCESS || currentStorage == nullptr) {
        return nullptr;
    }
    // Each folder of the path is one more try to read the same list: the root's.
    for (std::size_t tries = mtpcontrol::splitWithinStorage(*folderPath, friendlyName, *currentStorage).size();
         tries > 0; --tries) {
        _MTP_FOLDER_NODE* head = nullptr;
        if (getMTPFolderListHead(nullptr, currentStorage, &head, nullptr, nullptr) == DGSTATUS_SUCCESS) {
            return head;
        }
    }
    return nullptr;
}

_MTP_FOLDER_NODE* MtpControl::lastFolderNode(_MTP_DEVICE_NODE* device, _MTP_STORAGE_NODE* currentStorage,
                                             const Text& folderPath) {
    return mtpcontrol::walkWithinStorage(*this, device, currentStorage, folderPath).deepest;
}

_MTP_FOLDER_NODE* MtpControl::searchFolder(_MTP_DEVICE_NODE* device, _MTP_STORAGE_NODE** storageHead,
                                           _MTP_STORAGE_NODE** retStorage, const Text& filePath) {
    const FolderWalk walk = mtpcontrol::walkFullPath(*this, device, storageHead, filePath);
    if (retStorage != nullptr && walk.storage != nullptr) {
        *retStorage = walk.storage;
    }
    return walk.deepest;
}

_MTP_COMMON_NODE* MtpControl::fileNodeAtPath(_MTP_DEVICE_NODE* device, _MTP_STORAGE_NODE* storageHead, const Text& path,
                                             bool* isDirectory) {
    _MTP_FOLDER_NODE* folder = searchFolder(device, &storageHead, nullptr, path);
    if (folder == nullptr) {
        return nullptr; // so a file in a storage's root is not found by path
    }
    const std::string name = platform::lastPathComponent(*path);
    if (!mtpcontrol::isNamed(*folder, name)) {
        _MTP_FILE_NODE* file = getFileNode(&folder->header, name);
        return file != nullptr && file->header.Signature == MTP_SIGNATURE_FILE ? &file->header : nullptr;
    }
    // The path ends in the folder's name, so it names the folder: a file named like the folder it lies in is reported
    // as that folder.
    if (folder->header.Signature != MTP_SIGNATURE_FOLDER) {
        return nullptr;
    }
    if (isDirectory != nullptr) {
        *isDirectory = true;
    }
    return &folder->header;
}

bool MtpControl::fileExistsAtPath(const Text& path, const NodeID& nodeID, _MTP_DEVICE_NODE* device,
                                  _MTP_STORAGE_NODE* storageHead, bool* isDirectory) {
    if (nodeID) {
        return fileIsExists(nodeID, isDirectory);
    }
    if (isDirectory != nullptr) {
        *isDirectory = false;
    }
    mtpcontrol::StorageHead head(*this, storageHead);
    _MTP_FOLDER_NODE* folder = searchFolder(device, head.address(), nullptr, path);
    if (folder == nullptr) {
        return false;
    }
    const std::string name = platform::lastPathComponent(*path);
    if (!mtpcontrol::isNamed(*folder, name)) {
        const _MTP_FILE_NODE* file = getFileNode(&folder->header, name);
        return file != nullptr && file->header.Signature == MTP_SIGNATURE_FILE;
    }
    if (isDirectory != nullptr) {
        *isDirectory = folder->header.Signature == MTP_SIGNATURE_FOLDER;
    }
    return true;
}

bool MtpControl::fileIsExists(const NodeID& nodeID, bool* isDirectory) {
    if (!nodeID) {
        QD_LOG(3, "Input parameter is invalid. File is not exist");
        return false;
    }
    const _MTP_COMMON_NODE* node = nodeFromText(nodeID);
    if (node == nullptr || libIsExist(node, node->Signature) == 0) {
        return false;
    }
    if (isDirectory != nullptr) {
        *isDirectory = node->Signature == MTP_SIGNATURE_FOLDER;
    }
    return true;
}

bool MtpControl::checkNodeExist(_MTP_COMMON_NODE* node) {
    if (!isAlive(node)) {
        QD_LOG(6, "Current node is not exist. node = (%p)", node);
        return false;
    }
    return true;
}

bool MtpControl::checkHiddenFolder(std::string_view name) const {
    return name.starts_with('.');
}

bool MtpControl::checkNoMedia(std::string_view name) const {
    return platform::equalIgnoringCase(name, ".nomedia");
}
