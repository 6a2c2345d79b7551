// SPDX-License-Identifier: MIT
#include "device/MTPService/TransferJob.h"

#include "platform/Log.h"

const platform::Array* mediaEntries(MTPServicePrivate& service, const _serviceinfo& request, NeedsFolder needsFolder) {
    const platform::Array* entries = request.contents.array();
    if (entries == nullptr || (needsFolder == NeedsFolder::yes && !request.destinationPath)) {
        QD_LOG(3, "Input Data is invalid");
        service.refuse(request);
        return nullptr;
    }
    if (request.mediaType == MediaTypePodcast) {
        // Says the opposite of what it means; whoever reads logs knows it so.
        QD_LOG(3, "Media Type is not podcast. Media Type = %d", request.mediaType);
        service.refuse(request);
        return nullptr;
    }
    return entries;
}

std::optional<NamedFile> namedFile(const platform::Dictionary& entry) {
    std::optional<std::string> path = entry.string("FilePath");
    std::optional<std::string> name = entry.string("FileName");
    if (!path || !name) {
        QD_LOG(1, "Get contents information is failed. filePath = %@, name = %@", path, name);
        return std::nullopt;
    }
    return NamedFile{.path = *std::move(path), .name = *std::move(name)};
}

TransferJob::TransferJob(MTPServicePrivate& service, const _serviceinfo& request, std::size_t fileCount,
                         std::uint64_t totalBytes, TransferJobManners manners)
    : _service(service)
    , _serviceID(request.serviceID)
    , _forgetsCancellation(manners.forgetsCancellation)
    , _notifier(std::make_shared<QDMtpDeviceNotifier>(
          request.srcLocationID ? request.srcLocationID : service.locationID(),
          request.destLocationID ? request.destLocationID : service.locationID(), request.serviceID, request.mediaType,
          service.modelName(), request.storageIndex, static_cast<std::uint32_t>(fileCount), totalBytes))
    , _callbackContext(service.callbackContext(_notifier)) {
    _notifier->setCurrentTransferStatus(TransferStatusRunning);
    if (manners.announcesStart) {
        _notifier->sendInitialTransferEvent();
    }
    if (request.playlistName) {
        _notifier->setPlaylistName(request.playlistName);
    }
}

TransferJob::~TransferJob() {
    if (_isCancelled && _forgetsCancellation) {
        _service.removeCancelServiceId(_serviceID);
    }
}

bool TransferJob::isCancelled() const {
    return _service.isCancelServiceId(_serviceID);
}

bool TransferJob::stopsForCancel() {
    if (!isCancelled()) {
        return false;
    }
    cancelled();
    return true;
}

bool TransferJob::stopsForRelease() {
    if (_service.getReleaseState() != 1) {
        return false;
    }
    QD_LOG(5, "Device Disconnected - %@", _service.locationID());
    _notifier->cancelFileTransfer();
    return true;
}

bool TransferJob::stopsForStatus(std::uint32_t status) {
    if (!isCancelStatus(status)) {
        return false;
    }
    cancelled();
    return true;
}

void TransferJob::cancelled() {
    _isCancelled = true;
    _notifier->cancelFileTransfer();
}

void TransferJob::beginFile(const std::optional<std::string>& path) {
    // A file that broke off must not lend its byte counts, nor any file its media information, to the next one.
    _notifier->setMaxSendBytes(0);
    _notifier->setPrevSendBytes(0);
    _notifier->setMediaInfo(std::nullopt);
    _notifier->setFilePath(path);
}

void TransferJob::fileSucceeded() {
    _notifier->setTransferResult(DGSTATUS_SUCCESS);
    _notifier->incCurrentTransferFileCount();
}

void TransferJob::fileFailed(std::uint32_t status) {
    _notifier->setTransferResult(status);
    _notifier->sendResultNotification(); // the count alone would not say which file failed, nor why
    _notifier->incFailTransferFileCount();
}

void TransferJob::entryFailed() {
    _notifier->incFailTransferFileCount();
}

void TransferJob::remainingFilesFailed(std::uint32_t status, std::size_t count) {
    _notifier->setTransferResult(status);
    _notifier->addFailTransferFileCount(static_cast<std::uint32_t>(count));
    _notifier->sendResultNotification();
}

bool TransferJob::isCancelStatus(std::uint32_t status) {
    return status == DGSTATUS_IO_CANCEL_SUCCESS || status == DGSTATUS_IO_CANCEL_FAILED;
}

bool TransferJob::isStorageFull(std::uint32_t status) {
    return status == DGSTATUS_STORAGE_FULL || status == DGSTATUS_INTERNAL_STOREFULL;
}
