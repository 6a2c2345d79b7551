// SPDX-License-Identifier: MIT
#include "device/MTPService/QDMtpDeviceNotifier.h"

#include "device/MTPService/MethodTrace.h"
#include "device/MTPService/Notifications.h"
#include "device/MTPService/ServiceStatus.h"
#include "platform/Paths.h"

using platform::Synchronized;

namespace {

/// Progress is told in hundredths.
constexpr std::uint32_t progressScale = 100;
/// Within a file, a progress notification goes out when more than this many bytes have passed since the last one.
constexpr std::uint64_t progressStep = 1'000'000;

} // namespace

QDMtpDeviceNotifier::QDMtpDeviceNotifier() = default;

QDMtpDeviceNotifier::QDMtpDeviceNotifier(const Text& srcLocationID, const Text& destLocationID, std::uint32_t serviceID,
                                         std::uint32_t mediaType, const Text& deviceName, std::uint32_t storageIndex,
                                         std::uint32_t maxTransferFileCount, std::uint64_t maxTransferSize)
    : _srcLocationID(srcLocationID)
    , _destLocationID(destLocationID)
    , _serviceID(serviceID)
    , _storageIndex(storageIndex)
    , _mediaType(mediaType)
    , _maxTransferFileCount(maxTransferFileCount)
    , _deviceName(deviceName)
    , _maxTransferSize(maxTransferSize) {}

QDMtpDeviceNotifier::~QDMtpDeviceNotifier() = default;

void QDMtpDeviceNotifier::sendTransferEvent(std::uint32_t maxPersent, std::uint32_t currentPersent) {
    const MethodTrace trace(7);
    notifications::Progress progress;
    {
        const Synchronized section(_monitor);
        progress.serviceID = _serviceID;
        progress.mediaType = _mediaType;
        progress.current = _currentTransferFileCount;
        progress.max = _maxTransferFileCount;
        progress.fail = _failTransferFileCount;
        progress.currentProgress = currentPersent;
        progress.maxProgress = maxPersent;
        progress.transferStatus = static_cast<std::uint32_t>(_currentTransferStatus);
        progress.locationId = _srcLocationID;
        if (_filePath) {
            progress.fileName = platform::lastPathComponent(*_filePath);
        }
        progress.deviceName = _deviceName;
    }
    notifications::post(notifications::transferProgress, progress.userInfo());
}

void QDMtpDeviceNotifier::sendInitialTransferEvent() {
    sendTransferEvent(progressScale, 0);
}

void QDMtpDeviceNotifier::sendResultEvent() {
    const MethodTrace trace(7);
    platform::Dictionary info;
    {
        const Synchronized section(_monitor);
        if (_mediaInfo) {
            info = *_mediaInfo;
        }
        info.set("ServiceID", _serviceID);
        info.set("MediaNotiType", _mediaType);
        info.set("VolumeIndex", _storageIndex);
        info.set("ResultStatus", _transferResult);
        notifications::setText(info, "LocationId", _destLocationID);
        notifications::setText(info, "FilePath", _filePath);
        notifications::setText(info, "PlaylistName", _playlistName);
        notifications::setText(info, "MN", _deviceName);
        notifications::setText(info, "ChannelName", _channelName);
        if (_xmlInfo) {
            info.set("PodcastXmlInfo", *_xmlInfo);
        }
    }
    notifications::post(notifications::mediaTransferResult, info);
}

void QDMtpDeviceNotifier::sendResultNotification() {
    const Synchronized section(_monitor);
    sendResultEvent();
}

void QDMtpDeviceNotifier::fileCountTransfer() {
    const Synchronized section(_monitor);
    if (_maxTransferFileCount != 0) {
        sendTransferEvent(progressScale, _currentTransferFileCount * progressScale / _maxTransferFileCount);
    }
}

void QDMtpDeviceNotifier::cancelFileTransfer() {
    const Synchronized section(_monitor);
    _currentTransferStatus = TransferStatusCancelled;
    sendTransferEvent(progressScale, progressScale);
}

void QDMtpDeviceNotifier::addCurrentSendBytes(std::uint32_t sendBytes) {
    addCurrentSendBytesEx(sendBytes);
}

void QDMtpDeviceNotifier::addCurrentSendBytesEx(std::uint64_t sendBytes) {
    const Synchronized section(_monitor);
    const bool fileComplete = sendBytes == _maxSendBytes;
    if (sendBytes < _prevSendBytes) {
        _prevSendBytes = 0; // a new file began
    }
    _currentTransferSize += sendBytes - _prevSendBytes;
    if (_maxTransferSize != 0 && (fileComplete || _currentTransferSize - _prevTransferFileSize > progressStep)) {
        const std::uint64_t percent = _currentTransferSize * progressScale / _maxTransferSize;
        sendTransferEvent(progressScale, static_cast<std::uint32_t>(percent));
        _prevTransferFileSize = _currentTransferSize;
    }
    _prevSendBytes = fileComplete ? 0 : sendBytes;
}

void QDMtpDeviceNotifier::incCurrentTransferFileCount() {
    const Synchronized section(_monitor);
    sendResultEvent();
    if (_currentTransferFileCount == _maxTransferFileCount) {
        finish();
    } else if (_currentTransferFileCount < _maxTransferFileCount) {
        ++_currentTransferFileCount;
    }
}

// Unlike the success path, this one advances before it tests: a failure of the next-to-last file already reports the
// end of the job. Applications count on it.
void QDMtpDeviceNotifier::incFailTransferFileCount() {
    const Synchronized section(_monitor);
    ++_failTransferFileCount;
    if (_currentTransferFileCount < _maxTransferFileCount) {
        ++_currentTransferFileCount;
    }
    if (_currentTransferFileCount == _maxTransferFileCount) {
        finish();
    }
}

void QDMtpDeviceNotifier::addCurrentTransferFileCount(std::uint32_t count) {
    const Synchronized section(_monitor);
    _currentTransferFileCount += count;
    if (_currentTransferFileCount > _maxTransferFileCount) {
        _currentTransferFileCount = _maxTransferFileCount;
    }
    if (_currentTransferFileCount == _maxTransferFileCount) {
        finish();
    }
}

void QDMtpDeviceNotifier::addFailTransferFileCount(std::uint32_t count) {
    const Synchronized section(_monitor);
    _failTransferFileCount += count;
    _currentTransferFileCount += count;
    if (_currentTransferFileCount - 1 == _maxTransferFileCount) {
        --_currentTransferFileCount;
        finish();
    }
}

void QDMtpDeviceNotifier::finish() {
    _currentTransferStatus = TransferStatusDone;
    sendTransferEvent(progressScale, progressScale);
}

// Accessors: one line each, all under the notifier's own lock.
#define NOTIFIER_FIELD(Type, Argument, getter, Setter)                                                                 \
    Type QDMtpDeviceNotifier::getter() const {                                                                         \
        const Synchronized section(_monitor);                                                                          \
        return _##getter;                                                                                              \
    }                                                                                                                  \
    void QDMtpDeviceNotifier::Setter(Argument value) {                                                                 \
        const Synchronized section(_monitor);                                                                          \
        _##getter = value;                                                                                             \
    }

NOTIFIER_FIELD(QDMtpDeviceNotifier::Text, const Text&, srcLocationID, setSrcLocationID)
NOTIFIER_FIELD(QDMtpDeviceNotifier::Text, const Text&, destLocationID, setDestLocationID)
NOTIFIER_FIELD(QDMtpDeviceNotifier::Text, const Text&, filePath, setFilePath)
NOTIFIER_FIELD(QDMtpDeviceNotifier::Text, const Text&, deviceName, setDeviceName)
NOTIFIER_FIELD(QDMtpDeviceNotifier::Text, const Text&, playlistName, setPlaylistName)
NOTIFIER_FIELD(QDMtpDeviceNotifier::Text, const Text&, channelName, setChannelName)
NOTIFIER_FIELD(std::optional<platform::Dictionary>, const std::optional<platform::Dictionary>&, mediaInfo, setMediaInfo)
NOTIFIER_FIELD(std::uint32_t, std::uint32_t, serviceID, setServiceID)
NOTIFIER_FIELD(std::uint32_t, std::uint32_t, storageIndex, setStorageIndex)
NOTIFIER_FIELD(std::uint32_t, std::uint32_t, mediaType, setMediaType)
NOTIFIER_FIELD(std::uint32_t, std::uint32_t, currentTransferFileCount, setCurrentTransferFileCount)
NOTIFIER_FIELD(std::uint32_t, std::uint32_t, maxTransferFileCount, setMaxTransferFileCount)
NOTIFIER_FIELD(std::uint32_t, std::uint32_t, failTransferFileCount, setFailTransferFileCount)
NOTIFIER_FIELD(std::uint64_t, std::uint64_t, currentTransferSize, setCurrentTransferSize)
NOTIFIER_FIELD(std::uint64_t, std::uint64_t, maxTransferSize, setMaxTransferSize)
NOTIFIER_FIELD(std::uint64_t, std::uint64_t, maxSendBytes, setMaxSendBytes)
NOTIFIER_FIELD(std::uint64_t, std::uint64_t, prevTransferFileSize, setPrevTransferFileSize)
NOTIFIER_FIELD(std::uint64_t, std::uint64_t, prevSendBytes, setPrevSendBytes)
NOTIFIER_FIELD(std::int32_t, std::int32_t, currentTransferStatus, setCurrentTransferStatus)
NOTIFIER_FIELD(std::uint32_t, std::uint32_t, transferResult, setTransferResult)
#undef NOTIFIER_FIELD

void QDMtpDeviceNotifier::setPodcastXmlData(const std::optional<platform::Dictionary>& value) {
    const Synchronized section(_monitor);
    _xmlInfo = value;
}
