// SPDX-License-Identifier: MIT
#include "device/MTPService/MTPControlPath.h"

#include "device/MTPService/MTPControlRecords.h"
#include "platform/Paths.h"
#include "platform/Strings.h"

namespace mtpcontrol {

namespace {

/// Whether a path's folders were all taken up: at most its head, the device's and the storage's name, is not among
/// them. Folders of the same names further down are left out too by some walks, which then lead elsewhere.
bool isSpelledOut(const std::vector<std::string>& components, const std::vector<std::string>& folders,
                  const std::string& friendlyName, const std::string& label) {
    const std::size_t first = !components.empty() && components.front() == "/" ? 1 : 0;
    const std::size_t leftOut = components.size() - first - folders.size();
    return leftOut == 0 || (leftOut == 2 && platform::equalIgnoringCase(components[first], friendlyName) &&
                            platform::equalIgnoringCase(components[first + 1], label));
}

/// The file at the end of a path to which an ID was given that names nothing any more, or none at all.
_MTP_COMMON_NODE* fileInsteadOf(MtpControl& control, const MtpControl::NodeID& nodeID, const FolderWalk& walk,
                                const std::string& path) {
    if (isStale(nodeID) && !leadsToFile(walk)) {
        return nullptr;
    }
    return reinterpret_cast<_MTP_COMMON_NODE*>(fileAtEndOf(control, walk, platform::lastPathComponent(path)));
}

} // namespace

FullPath splitFullPath(const std::vector<std::string>& components, const std::string& friendlyName) {
    FullPath full;
    bool deviceSeen = false;
    for (const std::string& component : components) {
        if (component == "/") {
            continue;
        }
        if (!deviceSeen && platform::equalIgnoringCase(component, friendlyName)) {
            deviceSeen = true;
        } else if (!full.storage) {
            full.storage = component;
        } else {
            full.folders.push_back(component);
        }
    }
    return full;
}

std::vector<std::string> splitWithinStorage(const std::string& path, const std::string& friendlyName,
                                            const _MTP_STORAGE_NODE& storage) {
    const std::string label = textOf(labelUnits(storage.Label, storage.LabelLength));
    std::vector<std::string> folders = platform::pathComponents(path);
    std::erase_if(folders, [&](const std::string& component) {
        return component == "/" || platform::equalIgnoringCase(component, friendlyName) ||
               platform::equalIgnoringCase(component, label);
    });
    return folders;
}

MtpControl::Text storageOfVolumePath(const std::string& path, const std::string& friendlyName) {
    return splitFullPath(platform::pathComponents(path), friendlyName).storage;
}

FolderWalk walkFolders(MtpControl& control, _MTP_STORAGE_NODE* storage, const std::vector<std::string>& folders) {
    FolderWalk walk;
    walk.storage = storage;
    walk.namesFolders = !folders.empty();
    _MTP_FOLDER_NODE* parent = nullptr;
    for (std::size_t i = 0; i < folders.size(); ++i) {
        parent = control.getFolderNode(folders[i], storage, parent);
        const bool last = i + 1 == folders.size();
        if (parent != nullptr) {
            walk.deepest = parent;
            walk.lastFound = last;
        } else if (!last) {
            walk.restarted = true;
        }
    }
    return walk;
}

DGSTATUS readFriendlyName(MtpControl& control, _MTP_DEVICE_NODE* device, std::string& name) {
    const DGSTATUS status = control.getMTPFriendlyName(device, name);
    if (status != DGSTATUS_SUCCESS) {
        QD_LOG(3, "Get Friendly name is failed.");
    }
    return status;
}

FolderWalk walkFullPath(MtpControl& control, _MTP_DEVICE_NODE* device, _MTP_STORAGE_NODE** storageHead,
                        const MtpControl::Text& path) {
    std::string friendlyName;
    if (readFriendlyName(control, device, friendlyName) != DGSTATUS_SUCCESS || !path) {
        return {};
    }
    const std::vector<std::string> components = platform::pathComponents(*path);
    const FullPath full = splitFullPath(components, friendlyName);
    if (!full.storage) {
        return {};
    }
    _MTP_STORAGE_NODE* storage = control.getStorageNode(device, storageHead, full.storage);
    if (storage == nullptr) {
        QD_LOG(3, "getStorageNode is failed.");
        return {};
    }
    FolderWalk walk = walkFolders(control, storage, full.folders);
    walk.spelledOut = isSpelledOut(components, full.folders, friendlyName, *full.storage);
    return walk;
}

FolderWalk walkWithinStorage(MtpControl& control, _MTP_DEVICE_NODE* device, _MTP_STORAGE_NODE* storage,
                             const MtpControl::Text& path) {
    if (!path) {
        QD_LOG(3, "folder path is nil. Return storage node");
        return {};
    }
    std::string friendlyName;
    if (readFriendlyName(control, device, friendlyName) != DGSTATUS_SUCCESS || storage == nullptr) {
        return {};
    }
    const std::vector<std::string> folders = splitWithinStorage(*path, friendlyName, *storage);
    FolderWalk walk = walkFolders(control, storage, folders);
    walk.spelledOut = isSpelledOut(platform::pathComponents(*path), folders, friendlyName,
                                   textOf(labelUnits(storage->Label, storage->LabelLength)));
    return walk;
}

bool leadsToFile(const FolderWalk& walk) {
    return walk.namesFolders && walk.spelledOut && !walk.restarted && !walk.lastFound;
}

bool isNamed(const _MTP_FOLDER_NODE& folder, const std::string& name) {
    return NameMatcher(name).matches(nameUnits(folder.name, folder.nameSize));
}

_MTP_FILE_NODE* fileAtEndOf(MtpControl& control, const FolderWalk& walk, const std::string& name) {
    if (walk.storage == nullptr) {
        return nullptr;
    }
    return control.getFileNode(walk.deepest == nullptr ? &walk.storage->header : &walk.deepest->header, name);
}

_MTP_COMMON_NODE* fileNode(MtpControl& control, _MTP_DEVICE_NODE* device, _MTP_STORAGE_NODE** storageHead,
                           const MtpControl::NodeID& nodeID, const MtpControl::Text& path) {
    if (_MTP_COMMON_NODE* given = MtpControl::nodeFromText(nodeID); given != nullptr || !path) {
        return given;
    }
    return fileInsteadOf(control, nodeID, walkFullPath(control, device, storageHead, path), *path);
}

_MTP_COMMON_NODE* fileNodeInStorage(MtpControl& control, _MTP_DEVICE_NODE* device, _MTP_STORAGE_NODE* storage,
                                    const MtpControl::NodeID& nodeID, const MtpControl::Text& path) {
    if (_MTP_COMMON_NODE* given = MtpControl::nodeFromText(nodeID); given != nullptr || !path) {
        return given;
    }
    return fileInsteadOf(control, nodeID, walkWithinStorage(control, device, storage, path), *path);
}

} // namespace mtpcontrol
