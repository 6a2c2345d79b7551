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

/// An operation of the application's on its way into the queue. Both outcomes answer true, as the operations do.
class Enqueueing {
public:
    using Text = MTPServicePrivate::Text;
    using Locking = MTPServicePrivate::QueueLocking;

    Enqueueing(MTPServicePrivate& service, std::uint32_t serviceID, std::uint32_t mediaType, Text location)
        : _service(service)
        , _serviceID(serviceID)
        , _mediaType(mediaType)
        , _location(std::move(location)) {}

    bool refuse() const {
        _service.refuse(_serviceID, _mediaType, _location);
        return true;
    }
    /// `fill` adds to the request what this operation's job needs.
    template <typename Fill>
    bool queue(ServiceCommand command, const Contents& contents, const Fill& fill, Locking locking = Locking::tryOnce,
               MTPServicePrivate::Refusal refusal = MTPServicePrivate::Refusal::told) const {
        auto request = _service.newRequest(_serviceID, command, _mediaType, contents, _location);
        if (request != nullptr) {
            fill(*request);
            _service.enqueue(std::move(request), locking, refusal, _location);
        }
        return true;
    }

private:
    MTPServicePrivate& _service;
    std::uint32_t _serviceID;
    std::uint32_t _mediaType;
    Text _location;
};

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
    const Enqueueing operation(*this, serviceID, mediaType, _currentLocationID.get());
    if (isEmpty(contents)) {
        QD_LOG(3, "Meida Contents Count is 0");
        return operation.refuse();
    }
    const Text folder = defaultMediaPath(storageIndex, mediaType);
    if (!folder) {
        QD_LOG(3, "Get Default Path is failed. current Location ID = 0x%08x", locationNumber());
        return operation.refuse();
    }
    return operation.queue(FS_COMMAND_QD_COPY_TO_DEVICE_CONTENTS, contents, [&](_serviceinfo& request) {
        request.destinationPath = folder;
        request.storageIndex = storageIndex;
        request.playlistName = playlistName;
    });
}

bool MTPServicePrivate::copyContentsDeviceToMac(std::uint32_t serviceID, const Contents& contents,
                                                const Text& destinationPath, std::uint32_t mediaType,
                                                const Text& playlistName) {
    const MethodTrace trace(6);
    const Enqueueing operation(*this, serviceID, mediaType, _currentLocationID.get());
    if (isEmpty(contents)) {
        QD_LOG(3, "Contents Count is 0");
        return operation.refuse();
    }
    return operation.queue(FS_COMMAND_QD_COPY_TO_MAC_CONTENTS, contents, [&](_serviceinfo& request) {
        request.destinationPath = destinationPath;
        request.playlistName = playlistName;
    });
}

bool MTPServicePrivate::copyContentsDeviceToDevice(std::uint32_t serviceID, const Contents& contents,
                                                   const Text& srcLocationId, const Text& destLocationId,
                                                   std::uint32_t mediaType, std::uint32_t destStorageIndex) {
    const MethodTrace trace(6);
    const Enqueueing operation(*this, serviceID, mediaType, srcLocationId);
    if (isEmpty(contents)) {
        QD_LOG(3, "Meida Contents Count is 0");
        return operation.refuse();
    }
    if (!srcLocationId || !destLocationId) {
        QD_LOG(3, "Input Parameter is invalid.");
        return operation.refuse();
    }
    const Text folder = folderOnOtherDevice(*destLocationId, mediaType, destStorageIndex);
    if (!folder) {
        return operation.refuse();
    }
    return operation.queue(FS_COMMAND_QD_COPY_DEVICE_TO_DEVICE_CONTENTS, contents, [&](_serviceinfo& request) {
        request.destinationPath = folder;
        request.destLocationID = destLocationId;
        request.srcLocationID = srcLocationId;
        request.storageIndex = destStorageIndex;
    });
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
    const Enqueueing operation(*this, serviceID, mediaType, _currentLocationID.get());
    if (isEmpty(contents)) {
        QD_LOG(3, "Contents Count is 0");
        return operation.refuse();
    }
    Text podcastFolder;
    if (mediaType == MediaTypePodcast) {
        podcastFolder = defaultMediaPath(diskIndex, mediaType);
        if (!podcastFolder) {
            QD_LOG(3, "Get Podcast Default Path is failed. Current Locaiton ID = 0x%08x", locationNumber());
            return operation.refuse();
        }
    }
    return operation.queue(
        FS_COMMAND_QD_DELETE_CONTENTS, contents,
        [&](_serviceinfo& request) {
            request.destinationPath = podcastFolder;
            request.storageIndex = diskIndex;
        },
        QueueLocking::wait);
}

bool MTPServicePrivate::syncContents(std::uint32_t serviceID, const Contents& contents, std::uint32_t mediaType,
                                     bool isStartInternal) {
    const MethodTrace trace(6);
    const Enqueueing operation(*this, serviceID, mediaType, _currentLocationID.get());
    if (isEmpty(contents)) {
        QD_LOG(3, "Contents Count is 0");
        return operation.refuse();
    }
    return operation.queue(FS_COMMAND_QD_SYNC_CONTENTS, contents,
                           [&](_serviceinfo& request) { request.isStartInternal = isStartInternal ? 1 : 0; });
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
    const Enqueueing operation(*this, serviceID, mediaType, _currentLocationID.get());
    if (isEmpty(contents) || !playlistName || mediaType != MediaTypePlaylist) {
        QD_LOG(3, "Input parameter is invalid. contents = %p, playlistName = %@, mediaType = %d", address(contents),
               playlistName, mediaType);
        operation.refuse();
        return;
    }
    operation.queue(
        command, contents, [&](_serviceinfo& request) { request.playlistName = playlistName; }, locking);
}

bool MTPServicePrivate::renameContent(std::uint32_t serviceID, const Text& path, const Text& newName) {
    const MethodTrace trace(6);
    const Enqueueing operation(*this, serviceID, MediaTypeNone, _currentLocationID.get());
    if (!path || !newName) {
        QD_LOG(3, "Input Parameter is invalid.");
        return operation.refuse();
    }
    return operation.queue(FS_COMMAND_MTP_RENAME_FILE, std::nullopt, [&](_serviceinfo& request) {
        request.sourcePath = path;
        request.destinationPath = newName;
    });
}

MTPServicePrivate::Text MTPServicePrivate::copyContentToPlay(std::uint32_t serviceID, std::uint32_t diskIndex,
                                                             std::uint32_t mediaType,
                                                             const platform::Dictionary& fileInformation) {
    const MethodTrace trace(6);
    const Enqueueing operation(*this, serviceID, mediaType, _currentLocationID.get());
    const Text source = fileInformation.string("FilePath");
    Text localPath = source ? localCopyPath(*source) : std::nullopt;
    if (!localPath) {
        QD_LOG(3, "Media File Path Value is nil");
        operation.refuse();
        return std::nullopt;
    }
    Text nodeID = indexedNode(*source);
    Text foundNode;
    if (isExistContentFromMac(fileInformation, &foundNode)) {
        return localPath;
    }
    operation.queue(
        FS_COMMAND_MTP_PLAY_FILE, std::nullopt,
        [&](_serviceinfo& request) {
            request.sourcePath = source;
            request.destinationPath = localPath;
            request.storageIndex = diskIndex;
            if (!nodeID) {
                nodeID = foundNode;
            }
            if (nodeID) {
                request.contents = *nodeID;
            }
        },
        QueueLocking::tryOnce, Refusal::silent);
    return std::nullopt;
}
