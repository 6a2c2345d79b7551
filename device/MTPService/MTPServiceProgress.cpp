// SPDX-License-Identifier: MIT
#include "device/MTPService/MTPServicePrivate.h"

#include "device/MTPService/ApplicationCall.h"
#include "device/MTPService/Notifications.h"
#include "platform/Log.h"

bool MTPServicePrivate::transferProgressInfoEx(const std::shared_ptr<QDMtpDeviceNotifier>& notifier,
                                               std::uint64_t maxTransferSize, std::uint64_t currentTransferSize) {
    if (notifier == nullptr) {
        QD_LOG(3, "Progress Object is nil");
        return false;
    }
    if (notifier->currentTransferStatus() == TransferStatusCancelled) {
        QD_LOG(3, "Cancel Transfering");
        return false;
    }
    if (notifier->maxSendBytes() == 0) {
        notifier->setMaxSendBytes(maxTransferSize);
    }
    notifier->addCurrentSendBytesEx(currentTransferSize);
    if (currentTransferSize == maxTransferSize) {
        notifier->setMaxSendBytes(0);
    }
    return true;
}

bool MTPServicePrivate::transferProgressInfo(const std::shared_ptr<QDMtpDeviceNotifier>& notifier,
                                             std::uint32_t maxTransferSize, std::uint32_t currentTransferSize) {
    return transferProgressInfoEx(notifier, maxTransferSize, currentTransferSize);
}

platform::Dictionary MTPServicePrivate::callbackContext(const Notifier& notifier) {
    return {{"CallbackObject", shared_from_this()}, {"CallbackContext", notifier}};
}

void MTPServicePrivate::sendMtpTransferEvent(std::uint32_t serviceID, const Text& locationId, std::uint32_t mediaType,
                                             std::uint32_t currentTransfer, std::uint32_t maxTransfer,
                                             std::uint32_t failTransfer, const Text& fileName, const Text& deviceName,
                                             std::uint32_t currentProgress, std::uint32_t maxProgress,
                                             std::uint32_t transferStatus) {
    const notifications::Progress progress{.serviceID = serviceID,
                                           .mediaType = mediaType,
                                           .current = currentTransfer,
                                           .max = maxTransfer,
                                           .fail = failTransfer,
                                           .currentProgress = currentProgress,
                                           .maxProgress = maxProgress,
                                           .transferStatus = transferStatus,
                                           .locationId = locationId,
                                           .fileName = fileName,
                                           .deviceName = deviceName};
    // The thread owns what it posts, and needs nothing of the service. Guarded since the system may refuse a thread.
    callApplication([&] { std::thread([info = progress.userInfo()] { sendMtpTransferEventThread(info); }).detach(); });
}

void MTPServicePrivate::sendMtpTransferEventThread(const platform::Dictionary& info) {
    notifications::post(notifications::transferProgress, info);
}

void MTPServicePrivate::sendCancelProgressEvent(std::uint32_t serviceID, const Text& locationId,
                                                std::uint32_t mediaType, std::uint32_t currentFile,
                                                std::uint32_t maxFile, std::uint32_t transferStatus) {
    notifications::Progress progress;
    progress.serviceID = serviceID;
    progress.mediaType = mediaType;
    progress.current = currentFile;
    progress.max = maxFile;
    progress.transferStatus = transferStatus;
    progress.locationId = locationId ? locationId : _currentLocationID.get();
    progress.deviceName = _modelName.get();
    notifications::post(notifications::transferProgress, progress.userInfo());
}

bool MTPServicePrivate::refuse(std::uint32_t serviceID, std::uint32_t mediaType, const Text& locationId) {
    sendCancelProgressEvent(serviceID, locationId, mediaType, 0, 0, TransferStatusCancelled);
    return false;
}

bool MTPServicePrivate::refuse(const _serviceinfo& request) {
    return refuse(request.serviceID, request.mediaType, _currentLocationID.get());
}
