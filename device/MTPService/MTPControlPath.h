// SPDX-License-Identifier: MIT
#pragma once

#include "device/MTPService/MTPControl.h"

#include <string>
#include <vector>

/// Device paths taken apart, and the walks down their folders. Deliberate differences between the operations (which
/// components equal to the friendly name count as the device's name) are the two functions that take a path apart.
namespace mtpcontrol {

/// A full device path: "/" friendly name "/" storage label "/" folders…
struct FullPath {
    MtpControl::Text storage; ///< missing when the path names none
    std::vector<std::string> folders;
};
/// Only the first component equal to the friendly name is the device; a later one is a folder of that name.
[[nodiscard]] FullPath splitFullPath(const std::vector<std::string>& components, const std::string& friendlyName);

/// The folders of a path whose storage is known: every component equal to the friendly name or to the label is skipped,
/// so paths with and without that head mean the same.
[[nodiscard]] std::vector<std::string> splitWithinStorage(const std::string& path, const std::string& friendlyName,
                                                          const _MTP_STORAGE_NODE& storage);

/// The storage that a volume path ("/friendly name/label") names.
[[nodiscard]] MtpControl::Text storageOfVolumePath(const std::string& path, const std::string& friendlyName);

/// How far the folders of a path exist on the device.
struct FolderWalk {
    _MTP_STORAGE_NODE* storage = nullptr; ///< null when the path leads to none
    _MTP_FOLDER_NODE* deepest = nullptr;  ///< the last folder found
    bool namesFolders = false;            ///< the path goes on after the storage
    bool restarted = false;               ///< a folder before the last component is missing
    bool lastFound = false;               ///< the last component was found as a folder
    bool spelledOut = false;              ///< nothing but the path's head was left out of the walk
};
/// Looks the folders up one below the other. After one that is missing the search goes on from the storage's root; the
/// application relies on finding a folder that has moved up that way.
[[nodiscard]] FolderWalk walkFolders(MtpControl& control, _MTP_STORAGE_NODE* storage,
                                     const std::vector<std::string>& folders);

/// Reads the friendly name, which every walk needs first; a failure is logged.
[[nodiscard]] DGSTATUS readFriendlyName(MtpControl& control, _MTP_DEVICE_NODE* device, std::string& name);

/// The walk of a full path, and of a path within a storage.
[[nodiscard]] FolderWalk walkFullPath(MtpControl& control, _MTP_DEVICE_NODE* device, _MTP_STORAGE_NODE** storageHead,
                                      const MtpControl::Text& path);
[[nodiscard]] FolderWalk walkWithinStorage(MtpControl& control, _MTP_DEVICE_NODE* device, _MTP_STORAGE_NODE* storage,
                                           const MtpControl::Text& path);

/// Whether the walk came just to where a file of the path lies: no folder missing or left out, none in the file's
/// place.
[[nodiscard]] bool leadsToFile(const FolderWalk& walk);

/// Whether a folder's name is this one, without regard to case.
[[nodiscard]] bool isNamed(const _MTP_FOLDER_NODE& folder, const std::string& name);

/// The file of that name in the walk's deepest folder, or in the storage's root when it reached no folder.
[[nodiscard]] _MTP_FILE_NODE* fileAtEndOf(MtpControl& control, const FolderWalk& walk, const std::string& name);

/// The node that an ID names, else the file that a full path, or a path within a storage, leads to. After a stale ID
/// only the file that the path spells: whoever held the ID means one certain file, not a namesake elsewhere.
[[nodiscard]] _MTP_COMMON_NODE* fileNode(MtpControl& control, _MTP_DEVICE_NODE* device, _MTP_STORAGE_NODE** storageHead,
                                         const MtpControl::NodeID& nodeID, const MtpControl::Text& path);
[[nodiscard]] _MTP_COMMON_NODE* fileNodeInStorage(MtpControl& control, _MTP_DEVICE_NODE* device,
                                                  _MTP_STORAGE_NODE* storage, const MtpControl::NodeID& nodeID,
                                                  const MtpControl::Text& path);

} // namespace mtpcontrol
