// SPDX-License-Identifier: MIT
#pragma once

#include "device/MTPService/FileSender.h"
#include "device/MTPService/PodcastChannel.h"
#include "device/MTPService/TransferJob.h"
#include "ui/VXUIPodcastXMLConverter.h"

#include <cstdint>
#include <functional>
#include <optional>
#include <string>

/// What every job over podcasts does alike: goes through the request's channels, tells of those that are none, and ends
/// with a last progress notification whatever happened. Lives as long as the job runs, on the worker thread. The
/// request must hold an array.
class PodcastJob {
public:
    virtual ~PodcastJob() = default;
    PodcastJob(const PodcastJob&) = delete;
    PodcastJob& operator=(const PodcastJob&) = delete;

    /// Answers whether the last step that was taken succeeded.
    bool run();

protected:
    using Text = std::optional<std::string>;

    /// `failure` is the status of what the request itself gets wrong.
    PodcastJob(MTPServicePrivate& service, const _serviceinfo& request, std::uint32_t failure, std::size_t episodeCount,
               std::uint64_t totalBytes, TransferJobManners manners = {});

    /// One channel; the podcast has an array of "children".
    virtual Next podcast(const platform::Dictionary& podcast, const std::string& folderName) = 0;
    /// All episodes that have not been counted failed: the job is over.
    void remainingEpisodesFailed(std::uint32_t status);
    /// Does what may meet an exception: a document without addresses, a host's library. One ends the job (stop, a
    /// failed result, all that is not counted failed) and is logged.
    Next attempt(const std::function<Next()>& work);

    MTPServicePrivate& _service;
    const _serviceinfo& _request;
    const std::uint32_t _failure;
    VXUIPodcastXMLConverter _converter;
    TransferJob _job;
    bool _lastResult = true;

private:
    Next entry(const platform::Value& entry);
};

/// A job that sends episodes.
class PodcastSendJob : public PodcastJob {
protected:
    struct Episode {
        platform::Dictionary data;
        std::string source; ///< local path
        std::string name;   ///< the file's, here and on the device
    };
    using Overwriting = std::function<bool(const std::string& name)>;

    PodcastSendJob(MTPServicePrivate& service, const _serviceinfo& request, std::uint32_t failure,
                   Overwriting mayOverwrite);

    /// Begins the episode's story. Nothing (logged) when there is no episode, or no file in it.
    std::optional<Episode> beginEpisode(const platform::Value& entry);
    /// What describes the file to the library: what the host knows of it, else the episode's title. Nothing when the
    /// host fails.
    static std::optional<platform::Dictionary> describe(const Episode& episode);
    SendOutcome send(const Episode& episode, PodcastChannel& channel);
    /// Counts the episode by what became of sending it; a full storage stops.
    Next settle(const SendOutcome& outcome);

private:
    FileSender _sender;
};
