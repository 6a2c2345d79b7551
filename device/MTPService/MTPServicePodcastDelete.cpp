// SPDX-License-Identifier: MIT
#include "device/MTPService/MethodTrace.h"
#include "device/MTPService/PodcastJob.h"
#include "platform/Log.h"

#include <algorithm>
#include <iterator>

using platform::Array;
using platform::Dictionary;
using platform::Synchronized;
using platform::Value;

namespace {

constexpr const char* deleteKey = "Delete";

/// The episodes that a podcast of the request wants deleted: those flagged, or, where no episode has a flag, all.
Array episodesToDelete(const Array& episodes) {
    const auto hasFlag = [](const Value& episode) {
        return episode.dictionary() != nullptr && episode.dictionary()->contains(deleteKey);
    };
    Array chosen;
    const bool flagged = std::ranges::any_of(episodes, hasFlag);
    std::ranges::copy_if(episodes, std::back_inserter(chosen), [&](const Value& episode) {
        return !flagged || (hasFlag(episode) && episode.dictionary()->find(deleteKey)->boolean().value_or(false));
    });
    return chosen;
}

std::size_t countToDelete(const Array& podcasts) {
    std::size_t count = 0;
    for (const Value& podcast : podcasts) {
        const Array* episodes = podcast.dictionary() == nullptr ? nullptr : podcast.dictionary()->array("children");
        count += episodes == nullptr ? 0 : episodesToDelete(*episodes).size();
    }
    return count;
}

/// The job: deletes episodes and takes them off their channel's document. A channel that is left without episodes goes
/// as a whole.
class DeletePodcasts : public PodcastJob {
public:
    DeletePodcasts(MTPServicePrivate& service, const _serviceinfo& request)
        : PodcastJob(service, request, SERVICE_DELETE_FAILED, countToDelete(*request.contents.array()), 0,
                     {.announcesStart = false}) {}

private:
    Next podcast(const Dictionary& podcast, const std::string& folderName) override;
    Next deleteEpisodes(const Array& episodes, PodcastChannel& channel);
    void deleteEpisode(const Dictionary& episode, PodcastChannel& channel);
};

Next DeletePodcasts::podcast(const Dictionary& podcast, const std::string& folderName) {
    PodcastChannel channel(_service, _converter, *_request.destinationPath, folderName);
    channel.open(podcast);
    if (_job.stopsForRelease()) {
        return Next::stop;
    }
    const Next next = attempt([&] { return deleteEpisodes(episodesToDelete(*podcast.array("children")), channel); });
    if (_service.getReleaseState() == 1) {
        return Next::stop;
    }
    if (!channel.hasEpisodes()) {
        channel.remove();
    } else if (channel.hadDocument()) {
        const Text parent = _service.mediaDefaultNode(_request.destinationPath, _request.mediaType);
        _lastResult =
            channel.createFolder(parent) == DGSTATUS_SUCCESS && channel.write(_request.serviceID) && _lastResult;
    }
    return next;
}

Next DeletePodcasts::deleteEpisodes(const Array& episodes, PodcastChannel& channel) {
    for (const Value& entry : episodes) {
        if (_job.stopsForCancel() || _job.stopsForRelease()) {
            return Next::stop;
        }
        const Dictionary* episode = entry.dictionary();
        if (episode == nullptr) {
            QD_LOG(1, "Episode Data is nil.");
            _job.beginFile(std::nullopt);
            _job.entryFailed();
            continue;
        }
        deleteEpisode(*episode, channel);
    }
    return Next::goOn;
}

void DeletePodcasts::deleteEpisode(const Dictionary& episode, PodcastChannel& channel) {
    // Lists give full paths, others name the local file; either way the file lies in the channel's folder.
    const Text name = channel.fileNameOf(episode);
    const Text path = name ? Text(channel.episodePath(*name)) : std::nullopt;
    _job.beginFile(path);
    if (!path) {
        QD_LOG(1, "Get Contents information is failed. filePath = %@", path);
        _lastResult = false;
        _job.fileFailed(_failure);
        return;
    }
    std::uint32_t status = DGSTATUS_SUCCESS;
    {
        const Synchronized library(MtpControl::classMonitor());
        _lastResult = _service.deleteAtDevice(*path, &status);
    }
    if (!_lastResult) {
        QD_LOG(1, "Delete %@ File at %@ failed.", *path, _service.indexedNode(*path));
        _job.fileFailed(status);
        return;
    }
    channel.strike(episode, *name);
    channel.tell(_job.notifier());
    _job.notifier().fileCountTransfer();
    _job.fileSucceeded();
}

} // namespace

bool MTPServicePrivate::doDeletePodcastContents(const _serviceinfo& request) {
    const MethodTrace trace(6);
    if (request.mediaType != MediaTypePodcast) {
        QD_LOG(3, "Media Type is not podcast. Media Type = %d", request.mediaType);
        return refuse(request);
    }
    if (request.contents.array() == nullptr || !request.destinationPath) {
        QD_LOG(3, "Input Data is invalid");
        return refuse(request);
    }
    return DeletePodcasts(*this, request).run();
}
