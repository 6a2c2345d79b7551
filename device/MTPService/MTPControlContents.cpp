// SPDX-License-Identifier: MIT
#include "device/MTPService/ContentWalk.h"
#include "device/MTPService/ExactNames.h"
#include "device/MTPService/MTPControl.h"
#include "device/MTPService/MTPControlPath.h"
#include "device/MTPService/MTPControlRecords.h"
#include "platform/Paths.h"
#include "platform/Strings.h"
#include "vemomtpsdk/Functions.h"

using mtpcontrol::ContentRules;
using mtpcontrol::ContentWalk;
using mtpcontrol::Detail;
using platform::Array;

namespace {

using Text = MtpControl::Text;
using NodeID = MtpControl::NodeID;

std::string labelOf(const _MTP_STORAGE_NODE& storage) {
    return mtpcontrol::textOf(mtpcontrol::labelUnits(storage.Label, storage.LabelLength));
}

/// Where a path leads within its storage. No storage when there is none; no node when the path spells nothing there.
struct Spot {
    _MTP_STORAGE_NODE* storage = nullptr;
    _MTP_COMMON_NODE* node = nullptr;
};

/// What a full path spells, its folders looked up by `find`. The storage list stays fetched, since nodes of it are
/// handed out.
template <typename Find>
Spot spotOfFullPath(MtpControl& control, _MTP_DEVICE_NODE* device, _MTP_STORAGE_NODE* storageHead, const Text& path,
                    const Find& find) {
    std::string friendlyName;
    if (device == nullptr || !path || mtpcontrol::readFriendlyName(control, device, friendlyName) != DGSTATUS_SUCCESS) {
        QD_LOG(3, "Input parameter is invalid. device = %p, path = %@", device, path);
        return {};
    }
    const mtpcontrol::FullPath full = mtpcontrol::splitFullPath(platform::pathComponents(*path), friendlyName);
    Spot spot;
    spot.storage = full.storage ? control.getStorageNode(device, &storageHead, full.storage) : nullptr;
    if (spot.storage != nullptr) {
        spot.node = find(spot.storage, full.folders);
    }
    return spot;
}

Spot spotOfFullPath(MtpControl& control, _MTP_DEVICE_NODE* device, _MTP_STORAGE_NODE* storageHead, const Text& path) {
    return spotOfFullPath(control, device, storageHead, path,
                          [&](_MTP_STORAGE_NODE* storage, const std::vector<std::string>& components) {
                              return mtpcontrol::exactNodeAt(control, storage, components);
                          });
}

/// The components of a path within a storage, which may begin with the device's and the storage's names.
std::vector<std::string> withinStorage(const std::string& path, const std::string& friendlyName,
                                       const std::string& label) {
    std::vector<std::string> components = platform::pathComponents(path);
    if (components.empty() || components.front() != "/") {
        return components;
    }
    const bool hasHead = components.size() > 2 && platform::equalIgnoringCase(components[1], friendlyName) &&
                         platform::equalIgnoringCase(components[2], label);
    components.erase(components.begin(), components.begin() + (hasHead ? 3 : 1));
    return components;
}

Spot spotInStorage(MtpControl& control, _MTP_DEVICE_NODE* device, _MTP_STORAGE_NODE* storage, const Text& path) {
    std::string friendlyName;
    if (device == nullptr || storage == nullptr || !path ||
        mtpcontrol::readFriendlyName(control, device, friendlyName) != DGSTATUS_SUCCESS) {
        QD_LOG(3, "Input parameter is invalid. device = %p, storage = %p, path = %@", device, storage, path);
        return {};
    }
    const auto components = withinStorage(*path, friendlyName, labelOf(*storage));
    return {storage, mtpcontrol::exactNodeAt(control, storage, components)};
}

bool isFolder(const _MTP_COMMON_NODE* node) {
    return node != nullptr && (node->Signature == MTP_SIGNATURE_FOLDER || node->Signature == MTP_SIGNATURE_STORAGE);
}

/// As the folder lists take it: null for a storage's root.
_MTP_FOLDER_NODE* asFolder(_MTP_COMMON_NODE* node) {
    return node->Signature == MTP_SIGNATURE_FOLDER ? reinterpret_cast<_MTP_FOLDER_NODE*>(node) : nullptr;
}

/// Whether a node is still what an ID that was kept for a path means: an object may have been renamed since, and paths
/// that differ in case only share their ID.
bool bearsLastName(const _MTP_COMMON_NODE* node, const std::string& path) {
    const std::string name = platform::lastPathComponent(path);
    if (node != nullptr && node->Signature == MTP_SIGNATURE_FILE) {
        return mtpcontrol::nameOf(*reinterpret_cast<const _MTP_FILE_NODE*>(node)) == name;
    }
    return node != nullptr && node->Signature == MTP_SIGNATURE_FOLDER &&
           mtpcontrol::nameOf(*reinterpret_cast<const _MTP_FOLDER_NODE*>(node)) == name;
}

/// The folder to list: by ID, else by path; null (logged) when there is none.
_MTP_COMMON_NODE* folderToList(MtpControl& control, _MTP_DEVICE_NODE* device, _MTP_STORAGE_NODE* storage,
                               const Text& folderpath, const NodeID& nodeID) {
    if (storage == nullptr || !folderpath) {
        QD_LOG(3, "Input parameter is invalid. storage = %p, folderPath = %@", storage, folderpath);
        return nullptr;
    }
    _MTP_COMMON_NODE* node = MtpControl::nodeFromText(nodeID);
    if (node == nullptr) {
        node = spotInStorage(control, device, storage, folderpath).node;
    }
    if (!isFolder(node)) {
        QD_LOG(3, "%@ folder is not exist", folderpath);
        return nullptr;
    }
    return node;
}

/// While it lives, lists ask the device for names alone.
class NameListing {
public:
    explicit NameListing(_MTP_DEVICE_NODE* device)
        : _device(device) {
        mtpSetNameListing(_device, true);
    }
    ~NameListing() { mtpSetNameListing(_device, false); }
    NameListing(const NameListing&) = delete;
    NameListing& operator=(const NameListing&) = delete;

private:
    _MTP_DEVICE_NODE* _device;
};

std::optional<Array> filesBelow(MtpControl& control, _MTP_DEVICE_NODE* device, _MTP_STORAGE_NODE* storageHead,
                                const Text& source, const ContentRules& rules) {
    const Spot spot = spotOfFullPath(control, device, storageHead, source);
    if (!isFolder(spot.node)) {
        QD_LOG(3, "%@ folder is not exist", source);
        return std::nullopt;
    }
    std::optional<NameListing> namesAlone;
    if (rules.detail == Detail::names) {
        namesAlone.emplace(device);
    }
    ContentWalk walk(control, rules);
    if (!walk.below(spot.storage, asFolder(spot.node), *source)) {
        return std::nullopt;
    }
    return walk.take();
}

} // namespace

std::optional<Array> MtpControl::enumeratorFiles(_MTP_DEVICE_NODE* device, _MTP_STORAGE_NODE* currentStorage,
                                                 const Text& folderpath, const NodeID& nodeID) {
    _MTP_COMMON_NODE* folder = folderToList(*this, device, currentStorage, folderpath, nodeID);
    ContentWalk walk(*this, {.detail = Detail::metadata});
    if (folder == nullptr || !walk.files(folder, *folderpath)) {
        return std::nullopt;
    }
    return walk.take();
}

std::optional<Array> MtpControl::enumeratorFolders(_MTP_DEVICE_NODE* device, _MTP_STORAGE_NODE* currentStorage,
                                                   const Text& folderpath, const NodeID& nodeID) {
    _MTP_COMMON_NODE* folder = folderToList(*this, device, currentStorage, folderpath, nodeID);
    ContentWalk walk(*this, {});
    if (folder == nullptr || !walk.folders(currentStorage, asFolder(folder), *folderpath)) {
        return std::nullopt;
    }
    return walk.take();
}

std::optional<Array> MtpControl::enumeratorMediaFiles(_MTP_DEVICE_NODE* device, _MTP_STORAGE_NODE* storageHead,
                                                      const Text& source,
                                                      const std::vector<std::string>& fileExtension) {
    return filesBelow(*this, device, storageHead, source,
                      {.detail = Detail::metadata, .mediaOnly = true, .extensions = &fileExtension});
}

std::optional<Array> MtpControl::enumeratorMediaFileNames(_MTP_DEVICE_NODE* device, _MTP_STORAGE_NODE* storageHead,
                                                          const Text& source,
                                                          const std::vector<std::string>& fileExtension) {
    return filesBelow(*this, device, storageHead, source,
                      {.detail = Detail::names, .mediaOnly = true, .extensions = &fileExtension});
}

std::optional<Array> MtpControl::enumeratorBackupFiles(_MTP_DEVICE_NODE* device, _MTP_STORAGE_NODE* storageHead,
                                                       const Text& source) {
    return filesBelow(*this, device, storageHead, source, {.detail = Detail::listing});
}

std::optional<Array> MtpControl::enumeratorAllContents(_MTP_DEVICE_NODE* device, _MTP_STORAGE_NODE* storageHead) {
    std::string friendlyName;
    if (device == nullptr || mtpcontrol::readFriendlyName(*this, device, friendlyName) != DGSTATUS_SUCCESS ||
        (storageHead == nullptr && getMTPStorageListHead(device, &storageHead) != DGSTATUS_SUCCESS)) {
        QD_LOG(3, "Input parameter is invalid. device = %p, storage = %p", device, storageHead);
        return std::nullopt;
    }
    ContentWalk walk(*this, {.detail = Detail::listing, .tellsFolders = true});
    _MTP_STORAGE_NODE* storage = storageHead;
    while (storage != nullptr) {
        if (!walk.below(storage, nullptr, platform::formatText("/%@/%@", friendlyName, labelOf(*storage)))) {
            return std::nullopt;
        }
        _MTP_STORAGE_NODE* next = nullptr;
        if (getMTPNextStorage(storage, &next) != DGSTATUS_SUCCESS) {
            break;
        }
        storage = next;
    }
    return walk.take();
}

std::optional<Array> MtpControl::subpathsOfDirectoryAtNode(_MTP_COMMON_NODE* node, _MTP_STORAGE_NODE* atStorage,
                                                           const Text& path) {
    ContentWalk walk(*this, {.detail = Detail::listing, .tellsFolders = true});
    if (!isFolder(node) || atStorage == nullptr || !path || !walk.below(atStorage, asFolder(node), *path)) {
        return std::nullopt;
    }
    return walk.take();
}

std::optional<Array> MtpControl::contentsOfFileAtNode(_MTP_COMMON_NODE* node, const Text& path) {
    ContentWalk walk(*this, {.detail = Detail::listing});
    if (!isFolder(node) || !path || !walk.files(node, *path)) {
        return std::nullopt;
    }
    return walk.take();
}

bool MtpControl::makeFolderNode(const _MTP_FOLDER_NODE* folder, platform::Dictionary& contents) const {
    if (folder == nullptr) {
        return false;
    }
    contents.set("FileName", mtpcontrol::nameOf(*folder));
    contents.set("NodeID", nodeIDText(folder));
    return true;
}

MtpControl::Text MtpControl::makeMediaFilePath(_MTP_DEVICE_NODE* device, const _MTP_STORAGE_NODE* storageNode,
                                               const Text& mediaFilePath) {
    std::string friendlyName;
    if (storageNode == nullptr || !mediaFilePath ||
        mtpcontrol::readFriendlyName(*this, device, friendlyName) != DGSTATUS_SUCCESS) {
        return std::nullopt;
    }
    const std::size_t start = mediaFilePath->starts_with('/') ? 1 : 0;
    return platform::formatText("/%@/%@/%@", friendlyName, labelOf(*storageNode), mediaFilePath->substr(start));
}

MtpControl::NodeID MtpControl::exactNode(_MTP_DEVICE_NODE* device, _MTP_STORAGE_NODE* storageHead, const NodeID& nodeID,
                                         const Text& path) {
    if (path && bearsLastName(nodeFromText(nodeID), *path)) {
        return nodeID;
    }
    const Spot spot = spotOfFullPath(*this, device, storageHead, path);
    return spot.node == nullptr ? NodeID() : NodeID(nodeIDText(spot.node));
}

MtpControl::NodeID MtpControl::exactNodeInStorage(_MTP_DEVICE_NODE* device, _MTP_STORAGE_NODE* currentStorage,
                                                  const NodeID& nodeID, const Text& path) {
    if (path && bearsLastName(nodeFromText(nodeID), *path)) {
        return nodeID;
    }
    const Spot spot = spotInStorage(*this, device, currentStorage, path);
    return spot.node == nullptr ? NodeID() : NodeID(nodeIDText(spot.node));
}

namespace mtpcontrol {

NodeID exactFolder(MtpControl& control, _MTP_DEVICE_NODE* device, _MTP_STORAGE_NODE* storageHead, const Text& path) {
    const Spot spot = spotOfFullPath(control, device, storageHead, path,
                                     [&](_MTP_STORAGE_NODE* storage, const std::vector<std::string>& folders) {
                                         return exactFolderMade(control, storage, folders);
                                     });
    return spot.node == nullptr ? NodeID() : NodeID(MtpControl::nodeIDText(spot.node));
}

VerbatimNames::VerbatimNames(const MtpControl& control, _MTP_DEVICE_NODE* device)
    : _device(device) {
    const DGSTATUS status = mtpSetVerbatimNames(_device, true);
    if (status != DGSTATUS_SUCCESS) {
        QD_LOG(3, "mtpSetVerbatimNames is failed. status = %@", control.statusString(status));
    }
}

VerbatimNames::~VerbatimNames() {
    mtpSetVerbatimNames(_device, false);
}

} // namespace mtpcontrol
