// SPDX-License-Identifier: MIT
#include "device/MTPService/MethodTrace.h"
#include "device/MTPService/PlaylistJob.h"
#include "platform/Log.h"

#include <algorithm>

using platform::Dictionary;
using platform::Synchronized;

namespace {

/// Appends files to a playlist; one that it has already counts as done. Each file writes the whole list, so that what
/// was told as done is done, whatever happens next.
class AddToPlaylist : public PlaylistJob {
public:
    AddToPlaylist(MTPServicePrivate& service, const PlaylistRequest& request)
        : PlaylistJob(service, request,
                      {.pathKey = "FilePath",
                       .withoutPath = "Get contents information is failed. filePath = %@",
                       .failed = "Update %@ file to %@ playlist is failed.",
                       .reportsNull = true,
                       .announcesStart = true,
                       .stopsWhenCancelFailed = true}) {}

private:
    bool prepare() override;
    Outcome edit(std::size_t index, const Dictionary& content, const std::string& path) override;

    PlaylistNodes _nodes; ///< filled from the front
    std::size_t _presentCount = 0;
    std::size_t _filledCount = 0;
};

bool AddToPlaylist::prepare() {
    auto nodes = presentNodes(fileCount(), "PlaylistName = %@, Number Of Files = %d");
    if (!nodes) {
        return false;
    }
    _nodes = std::move(*nodes);
    _presentCount = _nodes.size() - fileCount();
    _filledCount = _presentCount;
    return true;
}

PlaylistJob::Outcome AddToPlaylist::edit(std::size_t index, const Dictionary& /*content*/, const std::string& path) {
    const Synchronized library(MtpControl::classMonitor());
    _MTP_FILE_NODE* file = service().mediaFileNode(path);
    if (file == nullptr) {
        return {.status = DGSTATUS_NODE_IS_NOT_EXISTED};
    }
    forgetDeadNodes(_nodes);
    if (service().checkMediaFileAtPlaylist(MtpControl::NodeList(_nodes).first(_filledCount), file->header.Id)) {
        return {.succeeded = true};
    }
    _nodes[_filledCount++] = file;
    // The count goes by the place in the request: after a file that was left out, null entries are written at the end.
    return write(_nodes, _presentCount + index + 1);
}

/// Takes files out of a playlist, each the first entry with its object ID.
class DeleteFromPlaylist : public PlaylistJob {
public:
    DeleteFromPlaylist(MTPServicePrivate& service, const PlaylistRequest& request)
        : PlaylistJob(service, request,
                      {.pathKey = "FileName",
                       .withoutPath = "Get Contents information is failed. filePath = %@",
                       .failed = "Delete %@ File at %@ failed.",
                       .reportsNull = false,
                       .announcesStart = true,
                       .stopsWhenCancelFailed = true}) {}

private:
    bool prepare() override;
    Outcome edit(std::size_t index, const Dictionary& content, const std::string& path) override;
    void takeOut(std::uint32_t objectID);

    PlaylistNodes _nodes;
    std::size_t _count = 0; ///< references that the playlist is taken to have
    std::size_t _deletedCount = 0;
};

bool DeleteFromPlaylist::prepare() {
    auto nodes = presentNodes(0, "Playlist Name = %@, Number of Files = %d");
    if (!nodes) {
        return false;
    }
    _nodes = std::move(*nodes);
    _count = _nodes.size();
    return true;
}

// The playlist is written one entry shorter even when no entry was taken out. And the deletions are counted twice, in
// the count that went down and in those deleted: from the second deletion of a request on, each write also drops an
// entry at the end that should have stayed. Applications know both, and delete one file per request. Below zero
// nothing is left to write.
PlaylistJob::Outcome DeleteFromPlaylist::edit(std::size_t /*index*/, const Dictionary& content,
                                              const std::string& /*path*/) {
    const Synchronized library(MtpControl::classMonitor());
    forgetDeadNodes(_nodes);
    takeOut(content.uint32("ObjectID").value_or(0));
    const std::size_t shorterBy = 1 + _deletedCount;
    const Outcome outcome = write(_nodes, _count > shorterBy ? _count - shorterBy : 0);
    if (outcome.succeeded && outcome.status == DGSTATUS_SUCCESS && _count > 0) {
        --_count;
        ++_deletedCount;
    }
    return outcome;
}

void DeleteFromPlaylist::takeOut(std::uint32_t objectID) {
    const auto found = std::ranges::find_if(
        _nodes, [&](const _MTP_FILE_NODE* node) { return node != nullptr && node->header.Id == objectID; });
    if (found != _nodes.end()) {
        std::shift_left(found, _nodes.end(), 1);
        _nodes.back() = nullptr;
    }
}

} // namespace

bool MTPServicePrivate::doCopyMediaContentsToPlaylist(const _serviceinfo& request) {
    const MethodTrace trace(6);
    const auto checked = PlaylistRequest::check(*this, request);
    return checked && AddToPlaylist(*this, *checked).run();
}

bool MTPServicePrivate::doDeletePlaylistContents(const _serviceinfo& request) {
    const MethodTrace trace(6);
    const auto checked = PlaylistRequest::check(*this, request);
    return checked && DeleteFromPlaylist(*this, *checked).run();
}
