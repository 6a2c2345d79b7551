// SPDX-License-Identifier: MIT
#include "device/MTPService/MTPServicePrivate.h"

#include "device/MTPService/ApplicationCall.h"
#include "device/MTPService/MediaTypeTable.h"
#include "device/MTPService/MethodTrace.h"
#include "host/ProfileHandler.h"
#include "platform/Log.h"
#include "platform/Paths.h"
#include "platform/Strings.h"

using platform::Synchronized;

namespace {

using Text = std::optional<std::string>;

constexpr const char* profileFile = "Contents.xml";

/// The profile's folder, or the fallback. An empty node asks no profile; a failing handler counts as having no entry.
std::string defaultFolder(const std::string& volumePath, const Text& modelName, std::string_view profileNode,
                          std::string_view fallback) {
    Text value;
    if (!profileNode.empty()) {
        callApplication([&] {
            value =
                ProfileHandler::sharedInstance()->valueForModelName(modelName, profileFile, std::string(profileNode));
        });
    }
    return value ? platform::formatText("%@%@", volumePath, *value)
                 : platform::formatText("%@/%@", volumePath, fallback);
}

void setIfPresent(platform::Dictionary& dictionary, std::string_view key, const Text& text) {
    if (text) {
        dictionary.set(key, *text);
    }
}

} // namespace

// A card is listed last on the devices served, so every storage behind one counts as external too: the mark is never
// taken back.
void MTPServicePrivate::setDefaultMediaInfo(const platform::Array& storages) {
    const MethodTrace trace(6);
    bool external = false;
    for (const platform::Value& entry : storages) {
        const platform::Dictionary* storage = entry.dictionary();
        const Text volume = storage != nullptr ? storage->string("volumePath") : std::nullopt;
        if (!volume) {
            continue;
        }
        external = external || platform::equalIgnoringCase(platform::lastPathComponent(*volume), "Card");
        platform::Dictionary completed = withDefaultFolders(*storage, *volume, external);
        QD_LOG(6, "[DEVICE] MTP Default Info = %@", completed);
        _storageLists.with([&](StorageTable& table) {
            if (table) {
                table->push_back(std::move(completed));
            }
        });
    }
}

platform::Dictionary MTPServicePrivate::withDefaultFolders(const platform::Dictionary& storage,
                                                           const std::string& volumePath, bool external) {
    platform::Dictionary completed;
    completed.set("diskIndex", storage.uint32("diskIndex").value_or(0));
    completed.set("diskType", storage.uint32("diskType").value_or(0));
    completed.set("volumePath", volumePath);
    const Text model = _modelName.get();
    // All paths before the first folder is made.
    for (const MediaTypeEntry& media : mediaTypeTable()) {
        const bool askExternal = external && media.type != MediaTypePlaylist;
        completed.set(media.pathKey, defaultFolder(volumePath, model,
                                                   askExternal ? media.externalProfileNode : media.internalProfileNode,
                                                   media.fallbackFolder));
    }
    for (const MediaTypeEntry& media : mediaTypeTable()) {
        setIfPresent(completed, media.idKey, createDefaultMediaFolder(completed.string(media.pathKey)));
    }
    setIfPresent(completed, "locationId", _currentLocationID.get());
    return completed;
}

MTPServicePrivate::Text MTPServicePrivate::createDefaultMediaFolder(const Text& path) {
    const MethodTrace trace(6);
    const Synchronized library(MtpControl::classMonitor());
    const Text device = friendlyName();
    if (!device || !path) {
        return std::nullopt;
    }
    _MTP_STORAGE_NODE* storage = nullptr;
    _MTP_FOLDER_NODE* folder = nullptr;
    for (const std::string& component : platform::pathComponents(*path)) {
        if (component == "/" || platform::equalIgnoringCase(component, *device)) {
            continue;
        }
        if (storage == nullptr) {
            storage = _mtpControl->getStorageNode(_currentDeviceNode, &_storageHeadNode, component);
            if (storage == nullptr) {
                return std::nullopt;
            }
            continue;
        }
        folder = folderInside(storage, folder, component);
        if (folder == nullptr) {
            return std::nullopt;
        }
    }
    return folder == nullptr ? std::nullopt : Text(MtpControl::nodeIDText(folder));
}

_MTP_FOLDER_NODE* MTPServicePrivate::folderInside(_MTP_STORAGE_NODE* storage, _MTP_FOLDER_NODE* parent,
                                                  const std::string& name) {
    _MTP_FOLDER_NODE* present = _mtpControl->getFolderNode(name, storage, parent);
    if (present != nullptr) {
        return present;
    }
    std::uint32_t error = 0;
    _MTP_COMMON_NODE* place = parent != nullptr ? &parent->header : &storage->header;
    return _mtpControl->createFolder(place, name, &error);
}

MTPServicePrivate::Text MTPServicePrivate::defaultMediaPath(std::uint32_t diskIndex, std::uint32_t mediaType) const {
    const MediaTypeEntry* media = findMediaType(mediaType);
    const auto storage = media != nullptr ? storageInfoFromIndex(diskIndex) : std::nullopt;
    return storage ? storage->string(media->pathKey) : std::nullopt;
}

MTPServicePrivate::Text MTPServicePrivate::defaultMediaContentsPath(const platform::Array& list, std::uint32_t index,
                                                                    std::uint32_t mediaType) const {
    const MediaTypeEntry* media = findMediaType(mediaType);
    const auto storage = media != nullptr ? diskInfoFromDiskInfoList(list, index) : std::nullopt;
    return storage ? storage->string(media->pathKey) : std::nullopt;
}

MTPServicePrivate::Text MTPServicePrivate::defaultMediaContentsPath(const Text& volumePath, std::uint32_t diskType,
                                                                    std::uint32_t mediaType) const {
    const MediaTypeEntry* media = findMediaType(mediaType);
    if (media == nullptr) {
        QD_LOG(3, "Do not support media type. Media Type = %d", mediaType);
        return std::nullopt;
    }
    if (!volumePath) {
        return std::nullopt;
    }
    return defaultFolder(*volumePath, _modelName.get(),
                         diskType == 1 ? media->internalProfileNode : media->externalProfileNode,
                         media->fallbackFolder);
}

// Looking up accepts any path inside the default folder, setting names the folder itself.
MTPServicePrivate::Text MTPServicePrivate::defaultMediaID(const Text& path, std::uint32_t mediaType) const {
    const MediaTypeEntry* media = findMediaType(mediaType);
    if (media == nullptr || !path) {
        return std::nullopt;
    }
    const auto storage = firstStorage([&](const platform::Dictionary& candidate) {
        const Text folder = candidate.string(media->pathKey);
        return folder && platform::containsIgnoringCase(*path, *folder);
    });
    return storage ? storage->string(media->idKey) : std::nullopt;
}

void MTPServicePrivate::setDefaultMediaID(const Text& path, std::uint32_t mediaType, const Text& defaultID) {
    if (!path || !defaultID) {
        QD_LOG(7, "Input Parameter is invalid");
        return;
    }
    const MediaTypeEntry* media = findMediaType(mediaType);
    if (media == nullptr) {
        return;
    }
    const auto isFolder = [&](const platform::Dictionary& candidate) {
        const Text folder = candidate.string(media->pathKey);
        return folder && platform::equalIgnoringCase(*path, *folder);
    };
    setInFirstStorage(isFolder, media->idKey, *defaultID);
}

MTPServicePrivate::Text MTPServicePrivate::mediaDefaultNode(const Text& path, std::uint32_t mediaType) {
    if (findMediaType(mediaType) == nullptr) {
        return std::nullopt;
    }
    Text folderID = defaultMediaID(path, mediaType);
    // A handle of one digit is none: some storage entries hold "0".
    if (!folderID || folderID->size() < 2) {
        folderID = createDefaultMediaFolder(path);
        setDefaultMediaID(path, mediaType, folderID);
    }
    return folderID;
}
