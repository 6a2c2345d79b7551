// SPDX-License-Identifier: MIT
#include "device/MTPService/MTPControl.h"
#include "device/MTPService/MTPControlPath.h"
#include "device/MTPService/MTPControlRecords.h"
#include "platform/Paths.h"
#include "platform/Strings.h"
#include "vemomtpsdk/Functions.h"

#include <algorithm>

using mtpcontrol::FolderWalk;
using mtpcontrol::setError;

namespace {

/// The node that a path means once its folders were walked: the folder that the walk ended in when it has the last
/// component's name, else the file of that name in it. So a file named like the folder it lies in means that folder,
/// and below a missing folder the walk may end in a namesake nearer to the root; callers that must not take one object
/// for another give the node ID.
_MTP_COMMON_NODE* nodeAtEndOf(MtpControl& control, const FolderWalk& walk, const std::string& name) {
    if (walk.deepest != nullptr && mtpcontrol::isNamed(*walk.deepest, name)) {
        return &walk.deepest->header;
    }
    _MTP_FILE_NODE* file = mtpcontrol::fileAtEndOf(control, walk, name);
    return file == nullptr ? nullptr : &file->header;
}

/// Whether the walk found just what the path spells: every folder before the last component, none of them left out, and
/// no namesake of the last one in place of it.
bool isExact(const FolderWalk& walk, const std::string& name) {
    if (!walk.namesFolders || !walk.spelledOut || walk.restarted) {
        return false;
    }
    return walk.lastFound || walk.deepest == nullptr || !mtpcontrol::isNamed(*walk.deepest, name);
}

/// The live node that an ID names; null when it was not given or is stale.
_MTP_COMMON_NODE* existingNode(MtpControl& control, const MtpControl::NodeID& nodeID) {
    _MTP_COMMON_NODE* node = MtpControl::nodeFromText(nodeID);
    return node != nullptr && control.checkNodeExist(node) ? node : nullptr;
}

bool deleteExisting(const MtpControl& control, _MTP_COMMON_NODE* node, std::uint32_t* error) {
    if (node == nullptr) {
        QD_LOG(3, "Do not exist delete node.");
        setError(error, DGSTATUS_UNSUCCESSFUL);
        return false;
    }
    const DGSTATUS status = mtpDeleteNode(node);
    if (status != DGSTATUS_SUCCESS) {
        QD_LOG(3, "mtpDeleteNode is failed. Delete Node = (%p) status = %@", node, control.statusString(status));
    }
    setError(error, status);
    return status == DGSTATUS_SUCCESS;
}

/// After a stale ID only what the path spells exactly is deleted: whoever held the ID means one certain object, and the
/// forgiving walk might lead to a namesake of it.
_MTP_COMMON_NODE* deleteTarget(MtpControl& control, const MtpControl::NodeID& nodeID, const FolderWalk& walk,
                               const std::string& path) {
    const std::string name = platform::lastPathComponent(path);
    if (mtpcontrol::isStale(nodeID) && !isExact(walk, name)) {
        return nullptr;
    }
    return nodeAtEndOf(control, walk, name);
}

} // namespace

bool MtpControl::deleteNode(_MTP_DEVICE_NODE* device, _MTP_STORAGE_NODE* currentStorage, const NodeID& nodeID,
                            const Text& destination, std::uint32_t* error) {
    QD_LOG(5, "DELETE at Node : %@, Path = %@", nodeID, destination);
    _MTP_COMMON_NODE* node = existingNode(*this, nodeID);
    if (node == nullptr && destination) {
        FolderWalk walk;
        // The cache says nothing about how its folders were found, so a stale ID does without it.
        if (_MTP_COMMON_NODE* cached =
                mtpcontrol::isStale(nodeID) ? nullptr : cachedFolder(currentStorage, *destination)) {
            walk.storage = currentStorage;
            walk.deepest = reinterpret_cast<_MTP_FOLDER_NODE*>(cached);
        } else {
            walk = mtpcontrol::walkWithinStorage(*this, device, currentStorage, destination);
        }
        node = deleteTarget(*this, nodeID, walk, *destination);
    }
    return deleteExisting(*this, node, error);
}

bool MtpControl::deleteItemAtPath(_MTP_DEVICE_NODE* device, _MTP_STORAGE_NODE* storageHead, const NodeID& fileNode,
                                  const Text& path, std::uint32_t* error) {
    QD_LOG(5, "DELETE at Node : %@, Path = %@", fileNode, path);
    mtpcontrol::StorageHead head(*this, storageHead);
    _MTP_COMMON_NODE* node = existingNode(*this, fileNode);
    if (node == nullptr && path) { // playlists have an ID only
        const FolderWalk walk = mtpcontrol::walkFullPath(*this, device, head.address(), path);
        node = deleteTarget(*this, fileNode, walk, *path);
    }
    return deleteExisting(*this, node, error);
}

bool MtpControl::renameItemAtPath(_MTP_DEVICE_NODE* device, _MTP_STORAGE_NODE* storageHead, const NodeID& nodeID,
                                  const Text& source, const Text& toName, std::uint32_t* error) {
    mtpcontrol::StorageHead head(*this, storageHead);
    _MTP_COMMON_NODE* node = existingNode(*this, nodeID);
    if (mtpcontrol::isStale(nodeID)) {
        QD_LOG(3, "%p Node is not exist.", platform::hexValue(*nodeID));
    }
    if (node == nullptr && source) {
        const FolderWalk walk = mtpcontrol::walkFullPath(*this, device, head.address(), source);
        const std::string name = platform::lastPathComponent(*source);
        if (!mtpcontrol::isStale(nodeID) || mtpcontrol::leadsToFile(walk)) {
            node = reinterpret_cast<_MTP_COMMON_NODE*>(mtpcontrol::fileAtEndOf(*this, walk, name));
        }
    }
    if (node == nullptr) {
        QD_LOG(3, "Do not exist delete node.");
        setError(error, DGSTATUS_UNSUCCESSFUL);
        return false;
    }
    const auto text = mtpcontrol::CallText::make(toName.value_or(""));
    if (!text) {
        QD_LOG(3, "Memory allocate for rename is failed.");
        setError(error, DGSTATUS_UNSUCCESSFUL);
        return false;
    }
    QD_LOG(5, "Target Name = %S", text->text());
    const DGSTATUS status = mtpRenameNode(node, text->data(), text->bytesWithTerminator());
    if (status != DGSTATUS_SUCCESS) {
        QD_LOG(3, "mtpRenameNode is failed. Rename Node = (%p), status = %@", node, statusString(status));
    }
    setError(error, status);
    return status == DGSTATUS_SUCCESS;
}

std::uint64_t MtpControl::fileSize(_MTP_DEVICE_NODE* device, _MTP_STORAGE_NODE* storageHead, const Text& filePath,
                                   const NodeID& fileNode, NodeID* retFileNode) {
    if (device == nullptr || !filePath) {
        QD_LOG(3, "Input parameter is error. device = %p, file Path = %@", device, filePath);
        return 0;
    }
    mtpcontrol::StorageHead head(*this, storageHead);
    const _MTP_COMMON_NODE* node = mtpcontrol::fileNode(*this, device, head.address(), fileNode, filePath);
    if (node == nullptr || node->Signature != MTP_SIGNATURE_FILE) {
        return 0; // only a file's record has a size
    }
    if (retFileNode != nullptr) {
        *retFileNode = "X"; // a conversion that lost its percent sign long ago; nobody reads the value
    }
    return reinterpret_cast<const _MTP_FILE_NODE*>(node)->size;
}

bool MtpControl::isMatchFileExtension(const Text& fileName, const std::vector<std::string>& extension) const {
    if (!fileName) {
        QD_LOG(7, "File Path Name is invalid.");
        return false;
    }
    const std::string own = platform::pathExtension(*fileName);
    return std::any_of(extension.begin(), extension.end(),
                       [&own](const std::string& listed) { return platform::equalIgnoringCase(own, listed); });
}
