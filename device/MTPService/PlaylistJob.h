// SPDX-License-Identifier: MIT
#pragma once

#include "device/MTPService/PlaylistNodes.h"
#include "device/MTPService/TransferJob.h"

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>

/// A request that edits a playlist, once it was found valid.
struct PlaylistRequest {
    /// Answers nothing when there is no content, no name, no playlist meant or no internal memory; that is logged and
    /// told by the cancel notification.
    static std::optional<PlaylistRequest> check(MTPServicePrivate& service, const _serviceinfo& request);

    _serviceinfo request; ///< with the index of the storage that holds the playlist
    MTPServicePrivate::PlaylistStorage storage;

    [[nodiscard]] const std::string& name() const { return *request.playlistName; }
    [[nodiscard]] const platform::Array& contents() const { return *request.contents.array(); }
};

/// What the jobs that edit a playlist do alike: they go through the contents one by one, stop when they must, and give
/// each file the outcome of its edit. A job's own part is edit(). Lives on the worker thread.
class PlaylistJob {
public:
    /// Where the jobs differ in what they read and say.
    struct Manners {
        const char* pathKey;     ///< of the content dictionary: the file's device path
        const char* withoutPath; ///< message, takes the path
        const char* failed;      ///< message, takes the path and the playlist's name
        bool reportsNull;        ///< an entry that is no dictionary gets a result of its own
        bool announcesStart;
        bool stopsWhenCancelFailed; ///< DGSTATUS_IO_CANCEL_FAILED ends the job too
    };

    PlaylistJob(MTPServicePrivate& service, const PlaylistRequest& request, const Manners& manners);
    virtual ~PlaylistJob() = default;
    PlaylistJob(const PlaylistJob&) = delete;
    PlaylistJob& operator=(const PlaylistJob&) = delete;

    /// Answers whether the last write succeeded; true when none was tried.
    bool run();

protected:
    /// What became of one file.
    struct Outcome {
        bool isWritten = false; ///< the playlist was written, or that was tried
        bool succeeded = false;
        std::uint32_t status = DGSTATUS_SUCCESS;
    };

    /// Before the first file; false when memory runs out (logged).
    virtual bool prepare() { return true; }
    virtual Outcome edit(std::size_t index, const platform::Dictionary& content, const std::string& path) = 0;

    /// The files that the playlist refers to now, with `more` null entries behind them; nothing (logged) when memory
    /// runs out. When the list cannot be read, no file is edited: each fails with the reason, since a list that is
    /// written without what was not read loses it.
    std::optional<PlaylistNodes> presentNodes(std::size_t more, const char* announcement);
    /// Makes nodes that died since they were put into the list null: neither they nor their places are to be used.
    /// Under the library's monitor, in the same section as what uses the nodes.
    void forgetDeadNodes(PlaylistNodes& nodes);
    /// Writes the first nodes as the playlist's list.
    Outcome write(const PlaylistNodes& nodes, std::size_t count);
    [[nodiscard]] MTPServicePrivate& service() { return _service; }
    [[nodiscard]] const std::string& name() const { return _request.name(); }
    [[nodiscard]] std::size_t fileCount() const { return _request.contents().size(); }
    [[nodiscard]] _MTP_STORAGE_NODE* storageNode() { return _service.playlistStorageNode(_request.storage); }

private:
    Next editEntry(std::size_t index);
    std::optional<std::string> beginEntry(const platform::Dictionary* content);
    Next finishFile(const std::string& path, const Outcome& outcome);

    MTPServicePrivate& _service;
    PlaylistRequest _request;
    Manners _manners;
    TransferJob _job;
    std::uint32_t _unreadable = DGSTATUS_SUCCESS; ///< why the present list could not be read
    bool _lastResult = true;
};
