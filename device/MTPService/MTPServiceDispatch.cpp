// SPDX-License-Identifier: MIT
#include "device/MTPService/MTPServicePrivate.h"

#include "device/MTPService/MethodTrace.h"
#include "platform/Log.h"

#include <algorithm>
#include <iterator>

using platform::Synchronized;

namespace {

/// A command, its name in messages, and the status that its failure stands for (0: none).
struct Command {
    ServiceCommand code;
    const char* name;
    std::uint32_t failure;
};

constexpr Command commands[] = {
    {FS_COMMAND_MTP_RENAME_FILE, "FS_COMMAND_MTP_RENAME_FILE", 0},
    {FS_COMMAND_MTP_PLAY_FILE, "FS_COMMAND_MTP_PLAY_FILE", 0},
    {FS_COMMAND_QD_COPY_TO_DEVICE_CONTENTS, "FS_COMMAND_QD_COPY_TO_DEVICE_CONTENTS", SERVICE_COPY_TO_DEVICE_FAILED},
    {FS_COMMAND_QD_COPY_TO_MAC_CONTENTS, "FS_COMMAND_QD_COPY_TO_MAC_CONTENTS", SERVICE_COPY_TO_MAC_FAILED},
    {FS_COMMAND_QD_DELETE_CONTENTS, "FS_COMMAND_QD_DELETE_CONTENTS", SERVICE_DELETE_FAILED},
    {FS_COMMAND_QD_SYNC_CONTENTS, "FS_COMMAND_QD_SYNC_CONTENTS", SERVICE_SYNC_FAILED},
    {FS_COMMAND_QD_COPY_DEVICE_TO_DEVICE_CONTENTS, "FS_COMMAND_QD_COPY_DEVICE_TO_DEVICE_CONTENTS", 0},
    {FS_COMMAND_QD_COPY_TO_PLAYLIST_CONTENTS, "FS_COMMAND_QD_COPY_TO_PLAYLIST_CONTENTS", 0},
    {FS_COMMAND_QD_DELETE_PLAYLIST_CONTENTS, "FS_COMMAND_QD_DELETE_PLAYLIST_CONTENTS", 0},
};

} // namespace

bool MTPServicePrivate::doMTPFileService(const _serviceinfo* request) {
    const MethodTrace trace(6);
    if (request == nullptr) {
        return false;
    }
    const auto* const command = std::ranges::find(commands, request->serviceCommand, &Command::code);
    if (command == std::end(commands)) {
        QD_LOG(7, "MTPService = %@, UNKNOWN service = %d", static_cast<const void*>(this), request->serviceCommand);
        return false;
    }
    QD_LOG(7, "MTPService = %@, %@", static_cast<const void*>(this), command->name);
    const bool succeeded = runJob(*request, command->name);
    if (!succeeded && command->failure != 0) {
        QD_LOG(7, "%@ is failed. error = 0x%08x", command->name, command->failure);
    }
    return succeeded;
}

bool MTPServicePrivate::runJob(const _serviceinfo& request, const char* name) {
    switch (request.serviceCommand) {
    case FS_COMMAND_MTP_RENAME_FILE:
        return renameFile(request);
    case FS_COMMAND_MTP_PLAY_FILE:
        return doCopyMediaFileFromDevice(request);
    case FS_COMMAND_QD_COPY_TO_DEVICE_CONTENTS:
        return request.mediaType == MediaTypePodcast ? doCopyPodcastContentsToDevice(request)
                                                     : doCopyMediaContentsToDevice(request);
    case FS_COMMAND_QD_COPY_TO_MAC_CONTENTS:
        return doCopyMediaContentsFromDevice(request);
    case FS_COMMAND_QD_DELETE_CONTENTS:
        return request.mediaType == MediaTypePodcast ? doDeletePodcastContents(request)
                                                     : doDeleteMediaContents(request);
    case FS_COMMAND_QD_SYNC_CONTENTS:
        return request.mediaType == MediaTypePodcast ? doSyncPodcastContentsToDevice(request)
                                                     : doSyncMediaContentsToDevice(request);
    case FS_COMMAND_QD_COPY_DEVICE_TO_DEVICE_CONTENTS:
        if (request.mediaType != MediaTypePodcast) {
            return doCopyMediaContentsDeviceToDevice(request);
        }
        break;
    case FS_COMMAND_QD_COPY_TO_PLAYLIST_CONTENTS:
        return doCopyMediaContentsToPlaylist(request);
    case FS_COMMAND_QD_DELETE_PLAYLIST_CONTENTS:
        return doDeletePlaylistContents(request);
    default:
        break;
    }
    QD_LOG(3, "There is no job for %@ with media type %d. It is not run.", name, request.mediaType);
    return false;
}

bool MTPServicePrivate::renameFile(const _serviceinfo& request) {
    const Synchronized library(MtpControl::classMonitor());
    // What the path spells or nothing: without a node the library must not look for a namesake.
    const Text nodeID = request.sourcePath ? exactNodeAtDevice(*request.sourcePath) : std::nullopt;
    std::uint32_t error = 0;
    const bool renamed =
        _mtpControl->renameItemAtPath(_currentDeviceNode, _storageHeadNode, nodeID,
                                      nodeID ? request.sourcePath : std::nullopt, request.destinationPath, &error);
    if (renamed) {
        renameIndexed(*request.sourcePath, request.destinationPath.value_or(""));
        _mtpControl->InitializeNodeDic(); // a renamed folder is not found under its old path any more
    }
    return renamed;
}
