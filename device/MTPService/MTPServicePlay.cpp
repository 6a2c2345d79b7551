// SPDX-License-Identifier: MIT
#include "device/MTPService/MTPService.h"
#include "device/MTPService/MethodTrace.h"
#include "device/MTPService/TransferJob.h"
#include "platform/Log.h"

using platform::Synchronized;

namespace {

using Text = std::optional<std::string>;

/// The file's node as far as the request knows it.
Text nodeOf(const _serviceinfo& request) {
    const std::string* node = request.contents.string();
    return node == nullptr ? std::nullopt : Text(*node);
}

/// What one attempt to receive the file came to.
struct Outcome {
    bool received = false;
    std::uint32_t status = DGSTATUS_SUCCESS;
};

/// The job: receives one file so that the application can play it. It announces no start, and a cancelled service ID
/// stays on the list of the cancelled ones.
class PlayFile {
public:
    PlayFile(MTPServicePrivate& service, const _serviceinfo& request)
        : _service(service)
        , _request(request)
        , _nodeID(nodeOf(request))
        , _job(service, request, 1, size(), {.announcesStart = false, .forgetsCancellation = false}) {}

    bool run();

private:
    [[nodiscard]] std::uint64_t size() const;
    Outcome receive(const Text& source);

    MTPServicePrivate& _service;
    const _serviceinfo& _request;
    Text _nodeID;
    TransferJob _job;
};

bool PlayFile::run() {
    if (_job.stopsForCancel()) {
        return true;
    }
    _job.beginFile(_request.destinationPath);
    if (_job.stopsForRelease()) {
        return true;
    }
    Text source = _request.sourcePath;
    Outcome outcome = receive(source);
    if (_job.stopsForStatus(outcome.status)) {
        return outcome.received;
    }
    if (outcome.status != DGSTATUS_SUCCESS) {
        source = _service.convertAvailableString(source.value_or(""));
        outcome = receive(source); // cancelled in this attempt, the file counts as failed
    }
    if (outcome.received && outcome.status == DGSTATUS_SUCCESS) {
        _job.fileSucceeded();
        return true;
    }
    QD_LOG(1, "Upload %@ to %@ failed.", source, _request.destinationPath);
    _job.remainingFilesFailed(outcome.status, 1); // the end of the job is told before the result here
    return outcome.received;
}

std::uint64_t PlayFile::size() const {
    const Synchronized library(MtpControl::classMonitor());
    Text unused;
    return _service._mtpControl->fileSize(_service._currentDeviceNode, _service._storageHeadNode, _request.sourcePath,
                                          _nodeID, &unused);
}

// The one transfer that is made without the library's monitor: a person who wants to hear a song does not hold up the
// rest of the application, nor the other way round. Only the two pointers are read inside.
Outcome PlayFile::receive(const Text& source) {
    _MTP_DEVICE_NODE* device = nullptr;
    _MTP_STORAGE_NODE* storageHead = nullptr;
    {
        const Synchronized library(MtpControl::classMonitor());
        device = _service._currentDeviceNode;
        storageHead = _service._storageHeadNode;
    }
    Outcome outcome;
    outcome.received =
        _service._mtpControl->uploadFileFromMTPEx(device, storageHead, _nodeID, source, _request.destinationPath,
                                                  &DeviceProgressCallbackEx, _job.callbackContext(), &outcome.status);
    return outcome;
}

} // namespace

bool MTPServicePrivate::doCopyMediaFileFromDevice(const _serviceinfo& request) {
    const MethodTrace trace(6);
    if (request.mediaType == MediaTypePodcast) {
        QD_LOG(3, "Media Type is not podcast. Media Type = %d",
               request.mediaType); // says the opposite of what it means
        return refuse(request);
    }
    return PlayFile(*this, request).run();
}
