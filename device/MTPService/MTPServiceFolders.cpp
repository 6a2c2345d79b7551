// SPDX-License-Identifier: MIT
#include "device/MTPService/MTPServicePrivate.h"

#include "device/MTPService/ApplicationCall.h"
#include "device/MTPService/MethodTrace.h"
#include "platform/Log.h"

using platform::Synchronized;

std::optional<platform::Array> MTPServicePrivate::fileLists(const Text& path) {
    const MethodTrace trace(6);
    return listFolder(path, &MtpControl::enumeratorFiles, "file Lists = %@");
}

std::optional<platform::Array> MTPServicePrivate::folderLists(const Text& path) {
    const MethodTrace trace(6);
    auto folders = listFolder(path, &MtpControl::enumeratorFolders, "Folder Lists = %@");
    if (!folders || folders->empty()) {
        QD_LOG(3, "Get Folder Lists is failed");
    }
    return folders;
}

std::optional<platform::Array> MTPServicePrivate::listFolder(const Text& path, Enumeration enumeration,
                                                             const char* message) {
    if (!path) {
        QD_LOG(3, "Input parameter is invalid");
        return std::nullopt;
    }
    const Synchronized library(MtpControl::classMonitor());
    _MTP_STORAGE_NODE* storage = nullptr;
    Text folderPath = path;
    // A path of a hidden volume begins with its name; a ":" further down a device path is part of a name.
    if (path->starts_with('/') || path->find(':') == std::string::npos) {
        storage = currentStorageNode(path);
    } else {
        folderPath = checkHiddenVolume(path, &storage);
        if (!folderPath) {
            return std::nullopt;
        }
    }
    std::optional<platform::Array> entries;
    {
        const Transferring transferring(*this);
        callApplication([&] {
            entries = ((*_mtpControl).*enumeration)(_currentDeviceNode, storage, folderPath, indexedNode(*path));
        });
    }
    if (entries) {
        QD_LOG(7, message, *entries);
        indexListed(*entries, *path);
    }
    return entries;
}

void MTPServicePrivate::indexListed(platform::Array& entries, const std::string& folderPath) {
    for (platform::Value& value : entries) {
        const platform::Dictionary* listed = value.dictionary();
        if (listed == nullptr) {
            QD_LOG(3, "Data is nil. Next Data Dictionary search.");
            continue;
        }
        const Text name = listed->string("FileName");
        if (!name) {
            QD_LOG(3, "File Name is nil");
            continue;
        }
        // As the path was given, so that a path of a hidden volume leads back into it.
        const std::string path = platform::formatText("%@/%@", folderPath, *name);
        platform::Dictionary entry = *listed;
        if (const Text node = entry.string("NodeID")) {
            indexNode(path, *node);
            entry.remove("NodeID");
        }
        entry.set("FilePath", path);
        value = std::move(entry);
    }
}

std::optional<platform::Array> MTPServicePrivate::subpathsAtDisk(std::uint32_t diskIndex) {
    const MethodTrace trace(6);
    const auto storage = storageInfoFromIndex(diskIndex);
    const Text volumePath = storage ? storage->string("volumePath") : std::nullopt;
    if (!volumePath) {
        return std::nullopt;
    }
    if (getReleaseState() == 1) {
        QD_LOG(3, "Device is not connected. Processing is Stop");
        return std::nullopt;
    }
    const Synchronized library(MtpControl::classMonitor());
    std::optional<platform::Array> files;
    {
        const Transferring transferring(*this);
        callApplication(
            [&] { files = _mtpControl->enumeratorBackupFiles(_currentDeviceNode, _storageHeadNode, volumePath); });
    }
    if (files) {
        indexNodes(*files);
    }
    return files;
}

bool MTPServicePrivate::createFolder(const Text& folderPath) {
    const MethodTrace trace(6);
    if (!folderPath) {
        QD_LOG(3, "Input Parameter(folderPath) is nil");
        return false;
    }
    const Synchronized library(MtpControl::classMonitor());
    _MTP_STORAGE_NODE* storage = nullptr;
    const Text relativePath = checkHiddenVolume(folderPath, &storage);
    Text node;
    std::uint32_t status = 0;
    const bool walked =
        relativePath ? _mtpControl->createFolderInStorage(_currentDeviceNode, storage, relativePath, &node, &status)
                     : _mtpControl->createFolder(_currentDeviceNode, _storageHeadNode, folderPath, &node, &status);
    // The library's walk also answers true when a folder on its way could not be made.
    const bool made = walked && status == DGSTATUS_SUCCESS && node;
    if (made) {
        indexNode(*folderPath, *node);
    }
    return made;
}

bool MTPServicePrivate::fileExistsAtPath(const Text& path, bool* isDirectory) {
    const MethodTrace trace(6);
    if (!path) {
        QD_LOG(3, "File path is nil");
        return false;
    }
    const Synchronized library(MtpControl::classMonitor());
    return _mtpControl->fileExistsAtPath(path, indexedNode(*path), _currentDeviceNode, _storageHeadNode, isDirectory);
}

bool MTPServicePrivate::deletefileAtDevice(const Text& path, std::uint32_t* error) {
    const MethodTrace trace(6);
    const Synchronized library(MtpControl::classMonitor());
    return path ? deleteAtDevice(*path, error)
                : _mtpControl->deleteItemAtPath(_currentDeviceNode, _storageHeadNode, std::nullopt, path, error);
}

MTPServicePrivate::Text MTPServicePrivate::exactNodeAtDevice(const std::string& path) {
    _MTP_STORAGE_NODE* storage = nullptr;
    if (const Text relativePath = checkHiddenVolume(path, &storage)) {
        return _mtpControl->exactNodeInStorage(_currentDeviceNode, storage, indexedNode(path), relativePath);
    }
    return _mtpControl->exactNode(_currentDeviceNode, _storageHeadNode, indexedNode(path), path);
}

bool MTPServicePrivate::deleteAtDevice(const std::string& path, std::uint32_t* error) {
    const Text node = exactNodeAtDevice(path);
    // Without a node the library must not look for one by the path either: its walk goes on at the storage's root when
    // a folder is missing, and would delete what bears the same name there.
    const Text searched = node ? Text(path) : std::nullopt;
    _MTP_STORAGE_NODE* storage = nullptr;
    const Text relativePath = checkHiddenVolume(path, &storage);
    const bool deleted =
        relativePath ? _mtpControl->deleteNode(_currentDeviceNode, storage, node, searched, error)
                     : _mtpControl->deleteItemAtPath(_currentDeviceNode, _storageHeadNode, node, searched, error);
    if (deleted) {
        unindexNode(path);
    }
    return deleted;
}

MTPServicePrivate::Text MTPServicePrivate::knownNode(const std::string& path) {
    if (Text indexed = indexedNode(path)) {
        return indexed;
    }
    _MTP_STORAGE_NODE* storage = nullptr;
    const Text relativePath = checkHiddenVolume(path, &storage);
    return relativePath && storage != nullptr
               ? _mtpControl->exactNodeInStorage(_currentDeviceNode, storage, std::nullopt, relativePath)
               : std::nullopt;
}
