// SPDX-License-Identifier: MIT
#include "device/MTPService/FileSender.h"
#include "device/MTPService/LocalCopy.h"
#include "device/MTPService/MTPService.h"
#include "device/MTPService/MethodTrace.h"
#include "device/MTPService/TransferJob.h"
#include "platform/Log.h"

using platform::Dictionary;

namespace {

using Text = std::optional<std::string>;

/// The job: sends a request's files one by one into the default folder of their kind.
class CopyToDevice {
public:
    CopyToDevice(MTPServicePrivate& service, const _serviceinfo& request, const platform::Array& contents,
                 const Text& folderNode)
        : _service(service)
        , _request(request)
        , _contents(contents)
        , _folderNode(folderNode)
        , _job(service, request, contents.size(), service.totalMediaFileSize(contents))
        , _sender(
              service, {&DeviceProgressCallbackEx, _job.callbackContext()},
              {.mayOverwrite = [this](const std::string& name) { return FileSender::asksToOverwrite(_service, name); },
               .mustStop = [this] { return _job.stopsForRelease(); },
               .isCancelled = [this] { return _job.isCancelled(); }})
        , _localCopier(service) {}

    /// Answers whether the last file operation succeeded.
    bool run() {
        for (std::size_t i = 0; i < _contents.size(); ++i) {
            if (copy(i) == Next::stop) {
                break;
            }
        }
        return _lastResult;
    }

private:
    Next copy(std::size_t index);
    [[nodiscard]] std::optional<OutgoingFile> fileAt(std::size_t index) const;
    void finishFile(const OutgoingFile& file, const SendOutcome& outcome);

    MTPServicePrivate& _service;
    const _serviceinfo& _request;
    const platform::Array& _contents;
    Text _folderNode;
    TransferJob _job;
    FileSender _sender;
    LocalCopier _localCopier;
    bool _lastResult = true;
};

Next CopyToDevice::copy(std::size_t index) {
    if (_job.stopsForCancel()) {
        return Next::stop;
    }
    std::optional<OutgoingFile> file = fileAt(index);
    _job.beginFile(file ? Text(file->target) : std::nullopt);
    if (!file) {
        _job.fileFailed(SERVICE_COPY_TO_DEVICE_FAILED);
        return Next::goOn;
    }
    SendOutcome outcome;
    outcome.status = SERVICE_COPY_TO_DEVICE_FAILED;
    std::optional<Dictionary> data = FileSender::describe(file->data, file->source);
    if (_job.stopsForRelease()) {
        return Next::stop;
    }
    if (data) {
        file->data = *std::move(data);
        _localCopier.begin(file->source, file->target);
        outcome = _sender.send(*file);
    }
    if (outcome.isStopped) {
        return Next::stop;
    }
    _lastResult = outcome.sent;
    if (_job.stopsForStatus(outcome.status)) {
        return Next::stop;
    }
    if (TransferJob::isStorageFull(outcome.status)) {
        _job.remainingFilesFailed(outcome.status, _contents.size() - index);
        return Next::stop;
    }
    if (!outcome.sent || outcome.status != DGSTATUS_SUCCESS) {
        QD_LOG(1, "Download %@ to %@ failed.", file->source, file->target);
        _job.fileFailed(outcome.status);
        return Next::goOn;
    }
    finishFile(*file, outcome);
    return Next::goOn;
}

std::optional<OutgoingFile> CopyToDevice::fileAt(std::size_t index) const {
    const Dictionary* content = _contents[index].dictionary();
    if (content == nullptr) {
        QD_LOG(1, "Contents data is nil. Next data search");
        return std::nullopt;
    }
    const std::optional<NamedFile> named = namedFile(*content);
    if (!named) {
        return std::nullopt;
    }
    return OutgoingFile{.source = named->path,
                        .name = named->name,
                        .target = platform::formatText("%@/%@", *_request.destinationPath, named->name),
                        .folder = _folderNode,
                        .data = *content};
}

void CopyToDevice::finishFile(const OutgoingFile& file, const SendOutcome& outcome) {
    _localCopier.keep();
    _sender.takeIn(file, outcome, _job.notifier());
    if (_request.playlistName) {
        std::uint32_t error = 0;
        _lastResult = _service.sendMediaFileToPlaylist(*_request.playlistName, outcome.node, file.target, &error);
    }
    _job.fileSucceeded();
}

} // namespace

bool MTPServicePrivate::doCopyMediaContentsToDevice(const _serviceinfo& request) {
    const MethodTrace trace(6);
    const Text folderNode = mediaDefaultNode(request.destinationPath, request.mediaType);
    const platform::Array* contents = mediaEntries(*this, request, NeedsFolder::yes);
    if (contents == nullptr) {
        return false;
    }
    return CopyToDevice(*this, request, *contents, folderNode).run();
}
