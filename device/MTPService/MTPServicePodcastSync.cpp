// SPDX-License-Identifier: MIT
#include "device/MTPService/MethodTrace.h"
#include "device/MTPService/PodcastJob.h"
#include "device/MTPService/SyncFolders.h"
#include "platform/Files.h"
#include "platform/Log.h"

#include <algorithm>
#include <iterator>
#include <vector>

using platform::Dictionary;

namespace {

/// A channel's place on one of the storages.
struct Place {
    const SyncFolder* storage;
    PodcastChannel channel;
};

/// The job: makes the device hold the episodes of each podcast. Listed episodes whose files are there stay, missing
/// ones go to the first storage with room, those where the channel lies already before the others; what the request
/// does not name is left alone.
class SyncPodcasts : public PodcastSendJob {
public:
    SyncPodcasts(MTPServicePrivate& service, const _serviceinfo& request, std::vector<SyncFolder> storages)
        : PodcastSendJob(service, request, SERVICE_SYNC_FAILED, [](const std::string&) { return true; })
        , _storages(std::move(storages)) {}

private:
    Next podcast(const Dictionary& podcast, const std::string& folderName) override;
    std::vector<Place> placesOf(const Dictionary& podcast, const std::string& folderName);
    Next syncEpisodes(const platform::Array& episodes, std::vector<Place>& places);
    bool leave(const Episode& episode, std::vector<Place>& places);
    void keep(const Episode& episode, Place& place);
    SendOutcome syncPodcastFile(const Episode& episode, std::vector<Place>& places);
    std::optional<SendOutcome> sendTo(Place& place, const Episode& episode);

    const std::vector<SyncFolder> _storages;
};

Next SyncPodcasts::podcast(const Dictionary& podcast, const std::string& folderName) {
    std::vector<Place> places = placesOf(podcast, folderName);
    if (_job.stopsForRelease()) {
        return Next::stop;
    }
    const Next next = attempt([&] { return syncEpisodes(*podcast.array("children"), places); });
    for (Place& place : places) {
        if (place.channel.hadDocument() || place.channel.isChanged()) {
            _lastResult = place.channel.write(_request.serviceID) && _lastResult;
        }
    }
    return next;
}

std::vector<Place> SyncPodcasts::placesOf(const Dictionary& podcast, const std::string& folderName) {
    std::vector<Place> known;
    std::vector<Place> others;
    for (const SyncFolder& storage : _storages) {
        PodcastChannel channel(_service, _converter, storage.path, folderName);
        channel.open(podcast);
        channel.findFolder(_service.mediaDefaultNode(storage.path, _request.mediaType), storage.volumePath);
        (channel.hadDocument() ? known : others).push_back({.storage = &storage, .channel = std::move(channel)});
    }
    std::ranges::move(others, std::back_inserter(known));
    return known;
}

Next SyncPodcasts::syncEpisodes(const platform::Array& episodes, std::vector<Place>& places) {
    for (const platform::Value& entry : episodes) {
        if (_job.stopsForCancel()) {
            return Next::stop;
        }
        const std::optional<Episode> episode = beginEpisode(entry);
        if (!episode) {
            _lastResult = false;
            _job.fileFailed(_failure);
        } else if (!leave(*episode, places) && settle(syncPodcastFile(*episode, places)) == Next::stop) {
            return Next::stop;
        }
    }
    return Next::goOn;
}

/// Whether the episode is on the device: it is listed, or its file lies there unlisted, whole, and is listed now.
bool SyncPodcasts::leave(const Episode& episode, std::vector<Place>& places) {
    for (Place& place : places) {
        if (place.channel.lists(episode.data)) {
            keep(episode, place);
            return true;
        }
    }
    const auto localSize = platform::fileSize(episode.source);
    for (Place& place : places) {
        if (localSize && place.channel.sizeOnDevice(episode.name) == localSize) {
            place.channel.list(episode.data, episode.name);
            keep(episode, place);
            return true;
        }
    }
    return false;
}

/// The episode counts as done, and its bytes as passed: the bar ends full.
void SyncPodcasts::keep(const Episode& episode, Place& place) {
    const auto counted = static_cast<std::uint32_t>(PodcastChannel::length(episode.data).value_or(0));
    _job.notifier().setStorageIndex(place.storage->diskIndex);
    _service.transferProgressInfoEx(_job.sharedNotifier(), counted, counted);
    place.channel.tell(_job.notifier());
    _job.notifier().setMediaInfo(Dictionary{{"IsKept", true}}); // where one that was sent has its media information
    _lastResult = true;
    _job.fileSucceeded();
}

SendOutcome SyncPodcasts::syncPodcastFile(const Episode& episode, std::vector<Place>& places) {
    const std::uint64_t sentBefore = _job.notifier().currentTransferSize();
    for (Place& place : places) {
        _job.notifier().setStorageIndex(place.storage->diskIndex);
        if (const auto outcome = sendTo(place, episode)) {
            return *outcome;
        }
        QD_LOG(5, "%@ storage not enought memory. Send Next Storage", place.storage->volumePath);
        _job.notifier().setCurrentTransferSize(sentBefore); // what passed before the storage was full does not count
        _job.notifier().setPrevTransferFileSize(sentBefore);
        _job.notifier().setMaxSendBytes(0);
        _job.notifier().setPrevSendBytes(0);
    }
    SendOutcome full;
    full.status = DGSTATUS_STORAGE_FULL;
    return full;
}

/// Nothing when the storage has no room.
std::optional<SendOutcome> SyncPodcasts::sendTo(Place& place, const Episode& episode) {
    const auto size = platform::fileSize(episode.source);
    if (size &&
        !_service.checkPodcastEpisodeSize(place.storage->volumePath, platform::Array{Dictionary{{"Length", *size}}})) {
        return std::nullopt;
    }
    SendOutcome outcome;
    if (!place.channel.folderNode()) {
        const Text parent = _service.mediaDefaultNode(place.storage->path, _request.mediaType);
        outcome.status = place.channel.createFolder(parent);
    }
    if (place.channel.folderNode()) {
        outcome = send(episode, place.channel);
    }
    return TransferJob::isStorageFull(outcome.status) ? std::nullopt : std::optional(outcome);
}

} // namespace

bool MTPServicePrivate::doSyncPodcastContentsToDevice(const _serviceinfo& request) {
    const MethodTrace trace(6);
    if (request.mediaType != MediaTypePodcast) {
        QD_LOG(3, "Media Type is not podcast. Media Type = %d", request.mediaType);
        return refuse(request);
    }
    if (request.contents.array() == nullptr) {
        QD_LOG(3, "Input Data is invalid");
        return refuse(request);
    }
    std::uint32_t start = 0;
    storagePathWithOption(request.isStartInternal != 0, &start); // 0 when there is none of that kind
    std::vector<SyncFolder> storages = syncFolders(*this, request.mediaType, start);
    if (storages.empty()) {
        QD_LOG(3, "Consist of Podcast Default Path is failed.");
        return refuse(request);
    }
    return SyncPodcasts(*this, request, std::move(storages)).run();
}
