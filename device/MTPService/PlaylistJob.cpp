// SPDX-License-Identifier: MIT
#include "device/MTPService/PlaylistJob.h"

#include "platform/Log.h"

#include <algorithm>

using platform::Dictionary;
using platform::Synchronized;

std::optional<PlaylistRequest> PlaylistRequest::check(MTPServicePrivate& service, const _serviceinfo& request) {
    const platform::Array* contents = request.contents.array();
    std::optional<MTPServicePrivate::PlaylistStorage> storage;
    if (contents == nullptr || contents->empty() || !request.playlistName) {
        QD_LOG(3, "Input Data is invalid. contents = %p, playlistName = %@", static_cast<const void*>(contents),
               request.playlistName);
    } else if (request.mediaType != MediaTypePlaylist) {
        QD_LOG(3, "Media Type is not playlist. Media Type = %d", request.mediaType);
    } else {
        storage = service.playlistStorage();
    }
    if (!storage) {
        service.refuse(request);
        return std::nullopt;
    }
    PlaylistRequest checked{.request = request, .storage = *storage};
    checked.request.storageIndex = storage->index;
    return checked;
}

PlaylistJob::PlaylistJob(MTPServicePrivate& service, const PlaylistRequest& request, const Manners& manners)
    : _service(service)
    , _request(request)
    , _manners(manners)
    , _job(service, request.request, request.contents().size(), 0, {.announcesStart = manners.announcesStart}) {}

bool PlaylistJob::run() {
    if (!prepare()) {
        return _service.refuse(_request.request);
    }
    for (std::size_t i = 0; i < fileCount(); ++i) {
        if (editEntry(i) == Next::stop) {
            break;
        }
    }
    return _lastResult;
}

Next PlaylistJob::editEntry(std::size_t index) {
    if (_job.stopsForCancel()) {
        return Next::stop;
    }
    const Dictionary* content = _request.contents()[index].dictionary();
    const std::optional<std::string> path = beginEntry(content);
    if (!path) {
        return Next::goOn;
    }
    if (_job.stopsForRelease()) {
        return Next::stop;
    }
    return finishFile(*path, _unreadable == DGSTATUS_SUCCESS
                                 ? edit(index, *content, *path)
                                 : Outcome{.isWritten = true, .succeeded = false, .status = _unreadable});
}

std::optional<std::string> PlaylistJob::beginEntry(const Dictionary* content) {
    if (content == nullptr) {
        QD_LOG(1, "Contents data is nil. Next data search");
        _job.beginFile(std::nullopt);
        if (_manners.reportsNull) {
            _job.fileFailed(SERVICE_PLAYLIST_ENTRY_INVALID);
        } else {
            _job.entryFailed();
        }
        return std::nullopt;
    }
    auto path = content->string(_manners.pathKey);
    _job.beginFile(path);
    if (!path) {
        QD_LOG(3, _manners.withoutPath, path);
        _job.fileFailed(SERVICE_PLAYLIST_ENTRY_INVALID);
    }
    return path;
}

Next PlaylistJob::finishFile(const std::string& path, const Outcome& outcome) {
    if (outcome.isWritten) {
        _lastResult = outcome.succeeded;
    }
    const bool isCancelled = _manners.stopsWhenCancelFailed ? TransferJob::isCancelStatus(outcome.status)
                                                            : outcome.status == DGSTATUS_IO_CANCEL_SUCCESS;
    if (isCancelled) {
        _job.cancelled();
        return Next::stop;
    }
    if (outcome.succeeded && outcome.status == DGSTATUS_SUCCESS) {
        _job.notifier().fileCountTransfer();
        _job.fileSucceeded();
    } else {
        QD_LOG(3, _manners.failed, path, name());
        _job.fileFailed(outcome.status);
    }
    return Next::goOn;
}

std::optional<PlaylistNodes> PlaylistJob::presentNodes(std::size_t more, const char* announcement) {
    PlaylistNodes present;
    {
        const Synchronized library(MtpControl::classMonitor());
        present = _service._mtpControl->enumeratorFileNodeAtPlaylist(_service._currentDeviceNode, storageNode(), name(),
                                                                     &_unreadable);
    }
    QD_LOG(5, announcement, name(), present.size());
    auto nodes = makePlaylistNodes(present.size() + more, "Memory allocate is failed.");
    if (nodes) {
        std::ranges::copy(present, nodes->begin());
    }
    return nodes;
}

void PlaylistJob::forgetDeadNodes(PlaylistNodes& nodes) {
    const auto isDead = [&](_MTP_FILE_NODE* node) {
        return node != nullptr && !_service._mtpControl->checkNodeExist(&node->header);
    };
    std::ranges::replace_if(nodes, isDead, nullptr);
}

PlaylistJob::Outcome PlaylistJob::write(const PlaylistNodes& nodes, std::size_t count) {
    const Synchronized library(MtpControl::classMonitor());
    Outcome outcome{.isWritten = true};
    outcome.succeeded = _service._mtpControl->updateMediaFileToPlaylist(
        _service._currentDeviceNode, storageNode(), name(), MtpControl::NodeList(nodes).first(count), &outcome.status);
    return outcome;
}
