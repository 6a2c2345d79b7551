// SPDX-License-Identifier: MIT
#include "device/MTPService/MTPServicePrivate.h"

#include "device/MTPService/ApplicationCall.h"
#include "device/MTPService/MTPService.h"
#include "device/MTPService/MethodTrace.h"
#include "host/VXDeviceConfirmDelegate.h"
#include "platform/Log.h"

#include <new>

// Every operation here answers true, also when it refuses: the application hears of that through the cancel
// notification.

namespace {

using Contents = std::optional<platform::Array>;

bool isEmpty(const Contents& contents) {
    return !contents || contents->empty();
}

const void* address(const Contents& contents) {
    return contents ? &*contents : nullptr;
}

} // namespace

std::unique_ptr<_serviceinfo> MTPServicePrivate::newRequest(std::uint32_t serviceID, ServiceCommand command,
                                                            std::uint32_t mediaType, const Contents& contents,
                                                            const Text& locationID) {
    try {
        auto request = std::make_unique<_serviceinfo>();
        request->serviceID = serviceID;
        request->serviceCommand = command;
        request->mediaType = mediaType;
        if (contents) {
            request->contents = *contents;
        }
        return request;
    } catch (const std::bad_alloc&) {
        QD_LOG(3, "Memory alloc for File Service is FAILED.");
        refuse(serviceID, mediaType, locationID);
        return nullptr;
    }
}

bool MTPServicePrivate::copyContentsMacToDevice(std::uint32_t serviceID, const Contents& contents,
                                                std::uint32_t mediaType, std::uint32_t storageIndex,
                                                const Text& playlistName) {
    const MethodTrace trace(6);
    const Text location = _currentLocationID.get();
    if (isEmpty(contents)) {
        QD_LOG(3, "Meida Contents Count is 0");
        refuse(serviceID, mediaType, location);
        return true;
    }
    const Text folder = defaultMediaPath(storageIndex, mediaType);
    if (!folder) {
        QD_LOG(3, "Get Default Path is failed. current Location ID = 0x%08x", locationNumber());
        refuse(serviceID, mediaType, location);
        return true;
    }
    auto request = newRequest(serviceID, FS_COMMAND_QD_COPY_TO_DEVICE_CONTENTS, mediaType, contents, location);
    if (request != nullptr) {
        request->destinationPath = folder;
        request->storageIndex = storageIndex;
        request->playlistName = playlistName;
        enqueue(std::move(request), QueueLocking::tryOnce, Refusal::told, location);
    }
    return true;
}

bool MTPServicePrivate::copyContentsDeviceToMac(std::uint32_t serviceID, const Contents& contents,
                                                const Text& destinationPath, std::uint32_t mediaType,
                                                const Text& playlistName) {
    const MethodTrace trace(6);
    const Text location = _currentLocationID.get();
    if (isEmpty(contents)) {
        QD_LOG(3, "Contents Count is 0");
        refuse(serviceID, mediaType, location);
        return true;
    }
    auto request = newRequest(serviceID, FS_COMMAND_QD_COPY_TO_MAC_CONTENTS, mediaType, contents, location);
    if (request != nullptr) {
        request->destinationPath = destinationPath;
        request->playlistName = playlistName;
        enqueue(std::move(request), QueueLocking::tryOnce, Refusal::told, location);
    }
    return true;
}

bool MTPServicePrivate::copyContentsDeviceToDevice(std::uint32_t serviceID, const Contents& contents,
                                                   const Text& srcLocationId, const Text& destLocationId,
                                                   std::uint32_t mediaType, std::uint32_t destStorageIndex) {
    const MethodTrace trace(6);
    if (isEmpty(contents)) {
        QD_LOG(3, "Meida Contents Count is 0");
        refuse(serviceID, mediaType, srcLocationId);
        return true;
    }
    if (!srcLocationId || !destLocationId) {
        QD_LOG(3, "Input Parameter is invalid.");
        refuse(serviceID, mediaType, srcLocationId);
        return true;
    }
    const Text folder = folderOnOtherDevice(*destLocationId, mediaType, destStorageIndex);
    if (!folder) {
        refuse(serviceID, mediaType, srcLocationId);
        return true;
    }
    auto request =
        newRequest(serviceID, FS_COMMAND_QD_COPY_DEVICE_TO_DEVICE_CONTENTS, mediaType, contents, srcLocationId);
    if (request != nullptr) {
        request->destinationPath = folder;
        request->destLocationID = destLocationId;
        request->srcLocationID = srcLocationId;
        request->storageIndex = destStorageIndex;
        enqueue(std::move(request), QueueLocking::tryOnce, Refusal::told, srcLocationId);
    }
    return true;
}

MTPServicePrivate::Text MTPServicePrivate::folderOnOtherDevice(const std::string& locationID, std::uint32_t mediaType,
                                                               std::uint32_t storageIndex) {
    const auto delegate = _confirmDelegate.get().lock();
    if (delegate == nullptr) {
        QD_LOG(3, "Delegate is nil");
        return std::nullopt;
    }
    std::shared_ptr<MTPService> other;
    callApplication([&] { other = delegate->getFileServiceObject(locationID); });
    if (other == nullptr) {
        QD_LOG(3, "Get Target File Service Object is fail");
        return std::nullopt;
    }
    const std::optional<platform::Array> storages = other->diskInformation();
    if (!storages) {
        QD_LOG(3, "Get Target Storage Info List is fail");
        return std::nullopt;
    }
    if (Text folder = defaultMediaContentsPath(*storages, storageIndex, mediaType)) {
        return folder;
    }
    const auto storage = diskInfoFromDiskInfoList(*storages, storageIndex);
    if (!storage) {
        QD_LOG(3, "Disk Information is nil");
        return std::nullopt;
    }
    const Text volume = storage->string("volumePath");
    if (!volume) {
        QD_LOG(3, "Volume Path is nil");
        return std::nullopt;
    }
    Text folder = defaultMediaContentsPath(volume, storage->uint32("diskType").value_or(0), mediaType);
    if (!folder) {
        QD_LOG(3, "Get Default Path is failed. Current Location ID = 0x%08x", locationNumber());
    }
    return folder;
}

bool MTPServicePrivate::deleteContents(std::uint32_t serviceID, const Contents& contents, std::uint32_t mediaType,
                                       std::uint32_t diskIndex) {
    const MethodTrace trace(6);
    const Text location = _currentLocationID.get();
    if (isEmpty(contents)) {
        QD_LOG(3, "Contents Count is 0");
        refuse(serviceID, mediaType, location);
        return true;
    }
    Text podcastFolder;
    if (mediaType == MediaTypePodcast) {
        podcastFolder = defaultMediaPath(diskIndex, mediaType);
        if (!podcastFolder) {
            QD_LOG(3, "Get Podcast Default Path is failed. Current Locaiton ID = 0x%08x", locationNumber());
            refuse(serviceID, mediaType, location);
            return true;
        }
    }
    auto request = newRequest(serviceID, FS_COMMAND_QD_DELETE_CONTENTS, mediaType, contents, location);
    if (request != nullptr) {
        request->destinationPath = podcastFolder;
        request->storageIndex = diskIndex;
        enqueue(std::move(request), QueueLocking::wait, Refusal::told, location);
    }
    return true;
}

bool MTPServicePrivate::syncContents(std::uint32_t serviceID, const Contents& contents, std::uint32_t mediaType,
                                     bool isStartInternal) {
    const MethodTrace trace(6);
    const Text location = _currentLocationID.get();
    if (isEmpty(contents)) {
        QD_LOG(3, "Contents Count is 0");
        refuse(serviceID, mediaType, location);
        return true;
    }
    auto request = newRequest(serviceID, FS_COMMAND_QD_SYNC_CONTENTS, mediaType, contents, location);
    if (request != nullptr) {
        request->isStartInternal = isStartInternal ? 1 : 0;
        enqueue(std::move(request), QueueLocking::tryOnce, Refusal::told, location);
    }
    return true;
}

bool MTPServicePrivate::addContentsToPlaylist(std::uint32_t serviceID, const Contents& contents,
                                              std::uint32_t mediaType, const Text& playlistName) {
    const MethodTrace trace(6);
    enqueuePlaylistEdit(FS_COMMAND_QD_COPY_TO_PLAYLIST_CONTENTS, QueueLocking::tryOnce, serviceID, contents, mediaType,
                        playlistName);
    return true;
}

bool MTPServicePrivate::deleteContentsAtPlaylist(std::uint32_t serviceID, const Contents& contents,
                                                 std::uint32_t mediaType, const Text& playlistName) {
    const MethodTrace trace(6);
    // The other command is never chosen, since only playlists pass the check of what was given; it stands for what a
    // request of another media type would mean.
    const ServiceCommand command =
        mediaType == MediaTypePlaylist ? FS_COMMAND_QD_DELETE_PLAYLIST_CONTENTS : FS_COMMAND_QD_DELETE_CONTENTS;
    enqueuePlaylistEdit(command, QueueLocking::wait, serviceID, contents, mediaType, playlistName);
    return true;
}

void MTPServicePrivate::enqueuePlaylistEdit(ServiceCommand command, QueueLocking locking, std::uint32_t serviceID,
                                            const Contents& contents, std::uint32_t mediaType,
                                            const Text& playlistName) {
    const Text location = _currentLocationID.get();
    if (isEmpty(contents) || !playlistName || mediaType != MediaTypePlaylist) {
        QD_LOG(3, "Input parameter is invalid. contents = %p, playlistName = %@, mediaType = %d", address(contents),
               playlistName, mediaType);
        refuse(serviceID, mediaType, location);
        return;
    }
    auto request = newRequest(serviceID, command, mediaType, contents, location);
    if (request != nullptr) {
        request->playlistName = playlistName;
        enqueue(std::move(request), locking, Refusal::told, location);
    }
}

bool MTPServicePrivate::renameContent(std::uint32_t serviceID, const Text& path, const Text& newName) {
    const MethodTrace trace(6);
    const Text location = _currentLocationID.get();
    if (!path || !newName) {
        QD_LOG(3, "Input Parameter is invalid.");
        refuse(serviceID, MediaTypeNone, location);
        return true;
    }
    auto request = newRequest(serviceID, FS_COMMAND_MTP_RENAME_FILE, MediaTypeNone, std::nullopt, location);
    if (request != nullptr) {
        request->sourcePath = path;
        request->destinationPath = newName;
        enqueue(std::move(request), QueueLocking::tryOnce, Refusal::told, location);
    }
    return true;
}

MTPServicePrivate::Text MTPServicePrivate::copyContentToPlay(std::uint32_t serviceID, std::uint32_t diskIndex,
                                                             std::uint32_t mediaType,
                                                             const platform::Dictionary& fileInformation) {
    const MethodTrace trace(6);
    const Text location = _currentLocationID.get();
    const Text source = fileInformation.string("FilePath");
    const Text localPath = source ? localCopyPath(*source) : std::nullopt;
    if (!localPath) {
        QD_LOG(3, "Media File Path Value is nil");
        refuse(serviceID, mediaType, location);
        return std::nullopt;
    }
    Text nodeID = indexedNode(*source);
    Text foundNode;
    if (isExistContentFromMac(fileInformation, &foundNode)) {
        return localPath;
    }
    auto request = newRequest(serviceID, FS_COMMAND_MTP_PLAY_FILE, mediaType, std::nullopt, location);
    if (request != nullptr) {
        request->sourcePath = source;
        request->destinationPath = localPath;
        request->storageIndex = diskIndex;
        if (!nodeID) {
            nodeID = foundNode;
        }
        if (nodeID) {
            request->contents = *nodeID;
        }
        enqueue(std::move(request), QueueLocking::tryOnce, Refusal::silent, location);
    }
    return std::nullopt;
}
