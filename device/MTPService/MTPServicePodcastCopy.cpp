// SPDX-License-Identifier: MIT
#include "device/MTPService/MethodTrace.h"
#include "device/MTPService/PodcastJob.h"
#include "platform/Log.h"

using platform::Dictionary;

namespace {

/// The job: sends each podcast's episodes into its channel's folder and brings the channel's document up to date.
class CopyPodcasts : public PodcastSendJob {
public:
    CopyPodcasts(MTPServicePrivate& service, const _serviceinfo& request, const Text& defaultNode)
        : PodcastSendJob(service, request, SERVICE_COPY_TO_DEVICE_FAILED,
                         [&service](const std::string& name) { return FileSender::asksToOverwrite(service, name); })
        , _defaultNode(defaultNode) {}

private:
    Next podcast(const Dictionary& podcast, const std::string& folderName) override;
    Next sendEpisodes(const platform::Array& episodes, PodcastChannel& channel);

    Text _defaultNode;
};

Next CopyPodcasts::podcast(const Dictionary& podcast, const std::string& folderName) {
    const platform::Array& episodes = *podcast.array("children");
    PodcastChannel channel(_service, _converter, *_request.destinationPath, folderName);
    channel.open(podcast);
    if (_job.stopsForRelease()) {
        return Next::stop;
    }
    if (const DGSTATUS status = channel.createFolder(_defaultNode); status != DGSTATUS_SUCCESS) {
        QD_LOG(3, "Create Folder for %@ is failed", channel.path());
        _job.beginFile(channel.path());
        _job.remainingFilesFailed(status, episodes.size()); // with one result for them all, or nobody would hear why
        _lastResult = false;
        return Next::goOn;
    }
    const Next next = attempt([&] { return sendEpisodes(episodes, channel); });
    // Also when the storage is full, or something else ended the job in between: what has arrived must be listed.
    const bool isFull = TransferJob::isStorageFull(_job.notifier().transferResult());
    if (next == Next::goOn || isFull || channel.isChanged() || channel.hadDocument()) {
        _lastResult = channel.write(_request.serviceID) && _lastResult;
    }
    return next;
}

Next CopyPodcasts::sendEpisodes(const platform::Array& episodes, PodcastChannel& channel) {
    for (const platform::Value& entry : episodes) {
        if (_job.stopsForCancel()) {
            return Next::stop;
        }
        const std::optional<Episode> episode = beginEpisode(entry);
        if (!episode) {
            _lastResult = false;
            _job.fileFailed(_failure);
        } else if (settle(send(*episode, channel)) == Next::stop) {
            return Next::stop;
        }
    }
    return Next::goOn;
}

} // namespace

bool MTPServicePrivate::doCopyPodcastContentsToDevice(const _serviceinfo& request) {
    const MethodTrace trace(6);
    const Text defaultNode = mediaDefaultNode(request.destinationPath, request.mediaType);
    if (request.mediaType != MediaTypePodcast) {
        QD_LOG(3, "Media Type is not podcast. Media Type = %d", request.mediaType);
        return refuse(request);
    }
    if (request.contents.array() == nullptr || !request.destinationPath) {
        QD_LOG(3, "Input Data is invalid");
        return refuse(request);
    }
    return CopyPodcasts(*this, request, defaultNode).run();
}
