// SPDX-License-Identifier: MIT
#include "device/MTPService/PodcastJob.h"

#include "device/MTPService/ApplicationCall.h"
#include "device/MTPService/MTPService.h"
#include "platform/Log.h"
#include "platform/Paths.h"

using platform::Dictionary;
using platform::Value;

namespace {

bool hasArrived(const SendOutcome& outcome) {
    return outcome.sent && outcome.status == DGSTATUS_SUCCESS && outcome.node;
}

/// Tells of an episode that failed alone; what ends the job tells of itself.
void logFailure(const OutgoingFile& file, const SendOutcome& outcome) {
    if (outcome.isStopped || TransferJob::isCancelStatus(outcome.status) ||
        TransferJob::isStorageFull(outcome.status)) {
        return;
    }
    if (outcome.node) {
        QD_LOG(1, "Podcast Download %@ to %@ failed.", file.source, file.target);
    } else {
        QD_LOG(1, "Podcast sync failed - fileNode is nil");
    }
}

} // namespace

PodcastJob::PodcastJob(MTPServicePrivate& service, const _serviceinfo& request, std::uint32_t failure,
                       std::size_t episodeCount, std::uint64_t totalBytes, TransferJobManners manners)
    : _service(service)
    , _request(request)
    , _failure(failure)
    , _job(service, request, episodeCount, totalBytes, manners) {}

bool PodcastJob::run() {
    attempt([this] {
        Next next = Next::goOn;
        const platform::Array& podcasts = *_request.contents.array();
        for (auto podcast = podcasts.begin(); podcast != podcasts.end() && next == Next::goOn; ++podcast) {
            next = entry(*podcast);
        }
        return next;
    });
    QDMtpDeviceNotifier& notifier = _job.notifier();
    if (notifier.currentTransferStatus() == TransferStatusRunning) { // nothing was counted to the end
        notifier.setCurrentTransferStatus(TransferStatusDone);
        notifier.sendTransferEvent(100, 100);
    }
    return _lastResult;
}

Next PodcastJob::entry(const Value& entry) {
    _lastResult = true;
    if (_job.stopsForCancel()) {
        QD_LOG(5, "Cancel Podcast Processing.");
        return Next::stop;
    }
    const Dictionary* podcast = entry.dictionary();
    _job.beginFile(std::nullopt);
    _job.notifier().setChannelName(std::nullopt);
    _job.notifier().setPodcastXmlData(std::nullopt);
    if (podcast == nullptr) {
        QD_LOG(1, "Podcast data is nil. Next Podcast search");
        _job.fileFailed(_failure);
        return Next::goOn;
    }
    const platform::Array* episodes = podcast->array("children");
    if (episodes == nullptr) {
        QD_LOG(1, "Podcast Episode is NULL");
        return Next::goOn;
    }
    const Text name = PodcastChannel::folderName(_service, *podcast);
    if (!name) {
        QD_LOG(1, "Podcast Title is invalid. Title = %@", podcast->string("Title"));
        _job.remainingFilesFailed(_failure, episodes->size());
        _lastResult = false;
        return Next::goOn;
    }
    _job.notifier().setChannelName(name);
    return this->podcast(*podcast, *name);
}

void PodcastJob::remainingEpisodesFailed(std::uint32_t status) {
    const QDMtpDeviceNotifier& notifier = _job.notifier();
    _job.remainingFilesFailed(status, notifier.maxTransferFileCount() + 1 - notifier.currentTransferFileCount());
}

Next PodcastJob::attempt(const std::function<Next()>& work) {
    Next next = Next::stop;
    if (!callApplication([&] { next = work(); })) {
        remainingEpisodesFailed(_failure);
        _lastResult = false;
    }
    return next;
}

PodcastSendJob::PodcastSendJob(MTPServicePrivate& service, const _serviceinfo& request, std::uint32_t failure,
                               Overwriting mayOverwrite)
    : PodcastJob(service, request, failure, service.mtpTotalPodcastCount(*request.contents.array()),
                 service.totalPodcastFileSize(*request.contents.array(), nullptr), {.announcesStart = false})
    , _sender(service, {&DeviceProgressCallbackEx, _job.callbackContext()},
              {.mayOverwrite = std::move(mayOverwrite),
               .mustStop = [this] { return _job.stopsForRelease(); },
               .isCancelled = [this] { return _job.isCancelled(); }}) {}

std::optional<PodcastSendJob::Episode> PodcastSendJob::beginEpisode(const Value& entry) {
    const Dictionary* data = entry.dictionary();
    const Text source = data == nullptr ? std::nullopt : data->string("FilePath");
    _job.beginFile(source);
    if (data == nullptr) {
        QD_LOG(3, "Episode Data is nil.");
        return std::nullopt;
    }
    if (!source) {
        QD_LOG(3, "Episode Medias File Path is nil.");
        return std::nullopt;
    }
    Text name = PodcastChannel::fileName(*data);
    if (!name) {
        QD_LOG(3, "Target Episode Path is nil. Next episode processing.");
        return std::nullopt;
    }
    return Episode{.data = *data, .source = *source, .name = *std::move(name)};
}

std::optional<Dictionary> PodcastSendJob::describe(const Episode& episode) {
    auto data = FileSender::describe({{"FilePath", episode.source}, {"FileName", episode.name}}, episode.source);
    if (data) {
        data->set("FilePath", episode.source);
        const Text title = episode.data.string("Title");
        if (title && !data->contains("Title")) {
            data->set("Title", *title);
        }
    }
    return data;
}

SendOutcome PodcastSendJob::send(const Episode& episode, PodcastChannel& channel) {
    SendOutcome outcome;
    outcome.status = _failure;
    auto data = describe(episode);
    if (_job.stopsForRelease()) {
        outcome.isStopped = true;
        return outcome;
    }
    if (!data) {
        return outcome;
    }
    OutgoingFile file{.source = episode.source,
                      .name = episode.name,
                      .target = channel.episodePath(episode.name),
                      .folder = channel.folderNode(),
                      .data = *std::move(data)};
    outcome = channel.send(_sender, file);
    if (hasArrived(outcome)) {
        channel.list(episode.data, platform::lastPathComponent(file.target));
        channel.tell(_job.notifier());
        _sender.takeIn(file, outcome, _job.notifier());
    } else {
        logFailure(file, outcome);
    }
    return outcome;
}

Next PodcastSendJob::settle(const SendOutcome& outcome) {
    if (outcome.isStopped) {
        return Next::stop;
    }
    _lastResult = outcome.sent;
    if (_job.stopsForStatus(outcome.status)) {
        return Next::stop;
    }
    if (TransferJob::isStorageFull(outcome.status)) {
        remainingEpisodesFailed(outcome.status);
        return Next::stop;
    }
    if (hasArrived(outcome)) {
        _job.fileSucceeded();
        return Next::goOn;
    }
    _job.fileFailed(outcome.status == DGSTATUS_SUCCESS ? std::uint32_t{DGSTATUS_UNSUCCESSFUL} : outcome.status);
    return Next::goOn;
}
