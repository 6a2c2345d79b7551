// SPDX-License-Identifier: MIT
#pragma once

#include "platform/Export.h"
#include "platform/Monitor.h"
#include "platform/Value.h"

#include <atomic>
#include <cstdint>
#include <optional>
#include <string>

/// Counts the files and bytes of one request and posts them as notifications on the default centre.
///
/// Byte and file counting synchronise on the notifier and post while inside, on the calling thread: an observer must
/// not wait for another thread that counts on the same notifier. Setters copy; all methods may be called from any
/// thread.
class MTPSERVICE_EXPORT QDMtpDeviceNotifier {
public:
    using Text = std::optional<std::string>;

    QDMtpDeviceNotifier();
    /// maxTransferSize in bytes, over all files.
    QDMtpDeviceNotifier(const Text& srcLocationID, const Text& destLocationID, std::uint32_t serviceID,
                        std::uint32_t mediaType, const Text& deviceName, std::uint32_t storageIndex,
                        std::uint32_t maxTransferFileCount, std::uint64_t maxTransferSize);
    ~QDMtpDeviceNotifier();
    QDMtpDeviceNotifier(const QDMtpDeviceNotifier&) = delete;
    QDMtpDeviceNotifier& operator=(const QDMtpDeviceNotifier&) = delete;

    // Posting
    void sendTransferEvent(std::uint32_t maxPersent, std::uint32_t currentPersent);
    void sendInitialTransferEvent();
    void sendResultEvent();
    void sendResultNotification();
    void fileCountTransfer();
    void cancelFileTransfer();

    // Counting. Byte counts are of the current file.
    void addCurrentSendBytes(std::uint32_t sendBytes);
    void addCurrentSendBytesEx(std::uint64_t sendBytes);
    void incCurrentTransferFileCount();
    void incFailTransferFileCount();
    void addCurrentTransferFileCount(std::uint32_t count);
    void addFailTransferFileCount(std::uint32_t count);

    // Fields
    [[nodiscard]] Text srcLocationID() const;
    void setSrcLocationID(const Text& value);
    [[nodiscard]] Text destLocationID() const;
    void setDestLocationID(const Text& value);
    [[nodiscard]] Text filePath() const;
    void setFilePath(const Text& value);
    [[nodiscard]] Text deviceName() const;
    void setDeviceName(const Text& value);
    [[nodiscard]] Text playlistName() const;
    void setPlaylistName(const Text& value);
    [[nodiscard]] Text channelName() const;
    void setChannelName(const Text& value);
    [[nodiscard]] std::optional<platform::Dictionary> mediaInfo() const;
    void setMediaInfo(const std::optional<platform::Dictionary>& value);
    void setPodcastXmlData(const std::optional<platform::Dictionary>& value);
    [[nodiscard]] std::uint32_t serviceID() const;
    void setServiceID(std::uint32_t value);
    [[nodiscard]] std::uint32_t storageIndex() const;
    void setStorageIndex(std::uint32_t value);
    [[nodiscard]] std::uint32_t mediaType() const;
    void setMediaType(std::uint32_t value);
    [[nodiscard]] std::uint32_t currentTransferFileCount() const;
    void setCurrentTransferFileCount(std::uint32_t value);
    [[nodiscard]] std::uint32_t maxTransferFileCount() const;
    void setMaxTransferFileCount(std::uint32_t value);
    [[nodiscard]] std::uint32_t failTransferFileCount() const;
    void setFailTransferFileCount(std::uint32_t value);
    [[nodiscard]] std::uint64_t currentTransferSize() const;
    void setCurrentTransferSize(std::uint64_t value);
    [[nodiscard]] std::uint64_t maxTransferSize() const;
    void setMaxTransferSize(std::uint64_t value);
    [[nodiscard]] std::uint64_t maxSendBytes() const;
    void setMaxSendBytes(std::uint64_t value);
    [[nodiscard]] std::uint64_t prevTransferFileSize() const;
    void setPrevTransferFileSize(std::uint64_t value);
    [[nodiscard]] std::uint64_t prevSendBytes() const;
    void setPrevSendBytes(std::uint64_t value);
    /// 0 at first, 2 transferring, 3 cancelled, 4 all files done.
    [[nodiscard]] std::int32_t currentTransferStatus() const;
    void setCurrentTransferStatus(std::int32_t value);
    [[nodiscard]] std::uint32_t transferResult() const;
    void setTransferResult(std::uint32_t value);

private:
    void finish();

    mutable platform::Monitor _monitor;
    Text _srcLocationID;
    Text _destLocationID;
    std::uint32_t _serviceID = 0;
    std::uint32_t _storageIndex = 0;
    std::uint32_t _mediaType = 0;
    std::uint32_t _currentTransferFileCount = 1;
    std::uint32_t _maxTransferFileCount = 0;
    std::uint32_t _failTransferFileCount = 0;
    Text _filePath;
    Text _deviceName;
    std::uint64_t _currentTransferSize = 0;
    std::uint64_t _maxTransferSize = 0;
    std::uint64_t _maxSendBytes = 0;
    std::uint64_t _prevTransferFileSize = 0;
    std::uint64_t _prevSendBytes = 0;
    Text _playlistName;
    Text _channelName;
    std::optional<platform::Dictionary> _xmlInfo;
    std::optional<platform::Dictionary> _mediaInfo;
    std::int32_t _currentTransferStatus = 0;
    std::uint32_t _transferResult = 0x10000001;
};
