// SPDX-License-Identifier: MIT
#include "device/MTPService/ApplicationCall.h"
#include "device/MTPService/MTPService.h"
#include "device/MTPService/MethodTrace.h"
#include "device/MTPService/TransferJob.h"
#include "host/MediaLibrary.h"
#include "host/VXDeviceConfirmDelegate.h"
#include "platform/Log.h"
#include "platform/UserDefaults.h"

using platform::Dictionary;
using platform::Synchronized;

namespace {

using Text = std::optional<std::string>;

constexpr const char* notAskKey = "LumoFileServicePreferencesNotAskOverwrite";
constexpr const char* isOverwriteKey = "LumoFileServicePreferencesIsOverwrite";

/// The overwrite decision for one file: the remembered one, or the application's, which may ask to be remembered.
bool mayOverwrite(VXDeviceConfirmDelegate& delegate, const std::string& fileName) {
    platform::UserDefaults& defaults = platform::UserDefaults::standardUserDefaults();
    if (defaults.boolForKey(notAskKey)) {
        return defaults.boolForKey(isOverwriteKey);
    }
    bool isNotAsk = false;
    const bool overwrite = delegate.confirmOverwrite(fileName, isNotAsk);
    if (isNotAsk) {
        defaults.setBool(overwrite, isOverwriteKey);
        defaults.setBool(true, notAskKey);
        defaults.synchronize();
    }
    return overwrite;
}

/// The dictionary that describes the file to the send: the host's, when the caller's holds no metadata ("Title" tells)
/// and the host knows the file.
Dictionary mediaData(const Dictionary& content, const std::string& source) {
    if (!content.contains("Title")) {
        if (auto known = MediaLibrary::sharedInstance()->getMediaInfo(source, content)) {
            return *std::move(known);
        }
    }
    return content;
}

/// One file to send.
struct File {
    std::string source; ///< local path
    std::string name;
    std::string target; ///< device path
    Dictionary data;
};

/// What became of sending one file.
struct Outcome {
    bool sent = false;
    std::uint32_t status = DGSTATUS_SUCCESS;
    Text node;               ///< the new file's, or the one that is in its place
    bool isReleased = false; ///< the service was released meanwhile, and that was told
};

enum class Next { goOn, stop };

/// The job: sends a request's files one by one into the default folder of their kind.
class CopyToDevice {
public:
    CopyToDevice(MTPServicePrivate& service, const _serviceinfo& request, const platform::Array& contents,
                 const Text& folderNode)
        : _service(service)
        , _request(request)
        , _contents(contents)
        , _folderNode(folderNode)
        , _job(service, request, contents.size(), service.totalMediaFileSize(contents)) {}

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
    std::optional<File> fileAt(std::size_t index) const;
    Outcome transfer(const File& file);
    Outcome send(const File& file);
    Outcome askAndReplace(const File& file, Outcome outcome);
    void finishFile(const File& file, const Text& node);

    MTPServicePrivate& _service;
    const _serviceinfo& _request;
    const platform::Array& _contents;
    Text _folderNode;
    TransferJob _job;
    bool _lastResult = true;
};

Next CopyToDevice::copy(std::size_t index) {
    if (_job.stopsForCancel()) {
        return Next::stop;
    }
    std::optional<File> file = fileAt(index);
    _job.beginFile(file ? Text(file->target) : std::nullopt);
    if (!file) {
        _job.fileFailed(SERVICE_COPY_TO_DEVICE_FAILED);
        return Next::goOn;
    }
    Outcome outcome;
    outcome.status = SERVICE_COPY_TO_DEVICE_FAILED;
    const bool described = callApplication([&] { file->data = mediaData(file->data, file->source); });
    if (_job.stopsForRelease()) {
        return Next::stop;
    }
    if (described) {
        outcome = transfer(*file);
    }
    if (outcome.isReleased) {
        return Next::stop;
    }
    _lastResult = outcome.sent;
    if (TransferJob::isCancelStatus(outcome.status)) {
        _job.cancelled();
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
    finishFile(*file, outcome.node);
    return Next::goOn;
}

std::optional<File> CopyToDevice::fileAt(std::size_t index) const {
    const Dictionary* content = _contents[index].dictionary();
    if (content == nullptr) {
        QD_LOG(1, "Contents data is nil. Next data search");
        return std::nullopt;
    }
    const Text source = content->string("FilePath");
    const Text name = content->string("FileName");
    if (!source || !name) {
        QD_LOG(1, "Get contents information is failed. filePath = %@, name = %@", source, name);
        return std::nullopt;
    }
    return File{.source = *source,
                .name = *name,
                .target = platform::formatText("%@/%@", *_request.destinationPath, *name),
                .data = *content};
}

// One section of the library's monitor from the first send to the last: nobody may come in between a deletion and the
// file that takes its place. The delegate is asked inside, as its interface says.
Outcome CopyToDevice::transfer(const File& file) {
    const Synchronized library(MtpControl::classMonitor());
    Outcome outcome = send(file);
    if (outcome.status == DGSTATUS_NODE_FILE_DUPNAME_EXISTED) {
        outcome = askAndReplace(file, std::move(outcome));
    }
    return outcome;
}

Outcome CopyToDevice::send(const File& file) {
    Outcome outcome;
    outcome.sent = _service._mtpControl->sendMediaFileToMTPEx(
        _service._currentDeviceNode, _service._storageHeadNode, _folderNode, &file.data, file.target,
        &DeviceProgressCallbackEx, _job.callbackContext(), &outcome.node, &outcome.status);
    return outcome;
}

Outcome CopyToDevice::askAndReplace(const File& file, Outcome outcome) {
    const auto delegate = _service._confirmDelegate.get().lock();
    if (delegate == nullptr) {
        return outcome;
    }
    bool overwrite = false;
    callApplication([&] { overwrite = mayOverwrite(*delegate, file.name); });
    if (!overwrite) {
        return outcome;
    }
    const bool isDeleted = _service._mtpControl->deleteItemAtPath(
        _service._currentDeviceNode, _service._storageHeadNode, outcome.node, file.target, &outcome.status);
    if (!isDeleted || outcome.status != DGSTATUS_SUCCESS) {
        return outcome;
    }
    if (_job.stopsForRelease()) {
        outcome.isReleased = true;
        return outcome;
    }
    return send(file);
}

void CopyToDevice::finishFile(const File& file, const Text& node) {
    _service.copyMediaFileToLocalTempPath(file.source, file.target, _request.mediaType);
    std::optional<Dictionary> info;
    _service.mediaFileInfo(file.target, node, info);
    if (info) {
        _job.notifier().setMediaInfo(info);
    }
    if (node) {
        _service.indexNode(file.target, *node);
    }
    if (_request.playlistName) {
        std::uint32_t error = 0;
        _lastResult = _service.sendMediaFileToPlaylist(*_request.playlistName, node, file.target, &error);
    }
    _job.fileSucceeded();
}

} // namespace

bool MTPServicePrivate::doCopyMediaContentsToDevice(const _serviceinfo& request) {
    const MethodTrace trace(6);
    const Text folderNode = mediaDefaultNode(request.destinationPath, request.mediaType);
    const platform::Array* contents = request.contents.array();
    if (contents == nullptr || !request.destinationPath) {
        QD_LOG(3, "Input Data is invalid");
        return refuse(request);
    }
    if (request.mediaType == MediaTypePodcast) {
        QD_LOG(3, "Media Type is not podcast. Media Type = %d",
               request.mediaType); // says the opposite of what it means
        return refuse(request);
    }
    return CopyToDevice(*this, request, *contents, folderNode).run();
}
