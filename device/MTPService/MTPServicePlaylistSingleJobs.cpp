// SPDX-License-Identifier: MIT
#include "device/MTPService/MethodTrace.h"
#include "device/MTPService/PlaylistJob.h"
#include "platform/Log.h"

// The playlist jobs as they are when the library finds the list by itself: one call per file, on nodes that the content
// index knows.

using platform::Dictionary;
using platform::Synchronized;

namespace {

using Text = std::optional<std::string>;

class AddOneByOne : public PlaylistJob {
public:
    AddOneByOne(MTPServicePrivate& service, const PlaylistRequest& request)
        : PlaylistJob(service, request,
                      {.pathKey = "FilePath",
                       .withoutPath = "Get contents information is failed. filePath = %@",
                       .failed = "Update %@ file to %@ playlist is failed.",
                       .reportsNull = true,
                       .announcesStart = false,
                       .stopsWhenCancelFailed = false}) {}

private:
    Outcome edit(std::size_t /*index*/, const Dictionary& /*content*/, const std::string& path) override {
        const Text node = service().indexedNode(path);
        const Synchronized library(MtpControl::classMonitor());
        Outcome outcome{.isWritten = true};
        outcome.succeeded = service()._mtpControl->updateMediaFileToPlaylist(
            service()._currentDeviceNode, storageNode(), name(), node, path, &outcome.status);
        return outcome;
    }
};

class DeleteOneByOne : public PlaylistJob {
public:
    DeleteOneByOne(MTPServicePrivate& service, const PlaylistRequest& request)
        : PlaylistJob(service, request,
                      {.pathKey = "FilePath",
                       .withoutPath = "Get Contents information is failed. filePath = %@",
                       .failed = "Delete %@ File at %@ failed.",
                       .reportsNull = false,
                       .announcesStart = false,
                       .stopsWhenCancelFailed = false}) {}

private:
    Outcome edit(std::size_t /*index*/, const Dictionary& /*content*/, const std::string& path) override {
        const Text node = service().indexedNode(path);
        QD_LOG(5, "Contents File Path = %@, nodeID = %@", path, node);
        const Synchronized library(MtpControl::classMonitor());
        Outcome outcome{.isWritten = true};
        outcome.succeeded = service()._mtpControl->deleteMediaFileAtPlaylist(
            service()._currentDeviceNode, storageNode(), service().indexedNode(name()), name(), node, path,
            &outcome.status);
        return outcome;
    }
};

/// These need to know the playlist folder too.
template <typename Job>
bool runInFolder(MTPServicePrivate& service, const _serviceinfo& request) {
    const auto checked = PlaylistRequest::check(service, request);
    if (!checked) {
        return false;
    }
    if (!service.playlistFolderPath(checked->storage, request.mediaType)) {
        return service.refuse(request);
    }
    return Job(service, *checked).run();
}

} // namespace

bool MTPServicePrivate::doCopyMediaContentsToPlaylist2(const _serviceinfo& request) {
    const MethodTrace trace(6);
    return runInFolder<AddOneByOne>(*this, request);
}

bool MTPServicePrivate::doDeletePlaylistContents2(const _serviceinfo& request) {
    const MethodTrace trace(6);
    return runInFolder<DeleteOneByOne>(*this, request);
}
