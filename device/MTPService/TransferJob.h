// SPDX-License-Identifier: MIT
#pragma once

#include "device/MTPService/MTPServicePrivate.h"

#include <cstdint>
#include <memory>
#include <optional>
#include <string>

/// Where a job differs from the others at its ends.
struct TransferJobManners {
    bool announcesStart = true;      ///< posts the initial progress notification
    bool forgetsCancellation = true; ///< takes the service ID off the cancelled ones after it stopped because of them
};

/// After one entry of a job: the next one, or none of those that remain.
enum class Next { goOn, stop };

/// The entries of a request for ordinary media. Null for one that holds none, lacks the folder that it needs, or is for
/// podcasts: that is logged and told by the cancel notification.
enum class NeedsFolder { no, yes };
[[nodiscard]] const platform::Array* mediaEntries(MTPServicePrivate& service, const _serviceinfo& request,
                                                  NeedsFolder needsFolder);

/// What an entry must say of its file.
struct NamedFile {
    std::string path; ///< "FilePath"
    std::string name; ///< "FileName"
};
/// Logged when the entry lacks one of them.
[[nodiscard]] std::optional<NamedFile> namedFile(const platform::Dictionary& entry);

/// What every queued job does alike: it has a notifier that announces the start, tests between files whether it must
/// stop, hands the library a context for DeviceProgressCallbackEx, gives each file exactly one outcome, and takes its
/// service ID off the cancelled ones at the end when it stopped because of them. Lives as long as the job runs, on the
/// worker thread.
class TransferJob {
public:
    /// totalBytes over all files; 0 when bytes are not counted. The notifier tells of the request's source and
    /// destination devices; those of a request that names none are the service's own.
    TransferJob(MTPServicePrivate& service, const _serviceinfo& request, std::size_t fileCount,
                std::uint64_t totalBytes, TransferJobManners manners = {});
    ~TransferJob();
    TransferJob(const TransferJob&) = delete;
    TransferJob& operator=(const TransferJob&) = delete;

    [[nodiscard]] QDMtpDeviceNotifier& notifier() { return *_notifier; }
    [[nodiscard]] const std::shared_ptr<QDMtpDeviceNotifier>& sharedNotifier() const { return _notifier; }
    /// The context for the library's progress callback; valid while the job lives.
    [[nodiscard]] void* callbackContext() { return &_callbackContext; }

    /// Whether the application cancelled this request.
    [[nodiscard]] bool isCancelled() const;
    /// True (and told) when it did.
    bool stopsForCancel();
    /// True (and told) when the service was released.
    bool stopsForRelease();
    /// True (and told) when the library says that the transfer was cancelled.
    bool stopsForStatus(std::uint32_t status);
    /// A transfer was cancelled: told, and the request's cancellation is done with.
    void cancelled();

    /// A file's story begins: the outcome and progress that follow are this path's (the file's on the device; nothing
    /// when the request does not even name it).
    void beginFile(const std::optional<std::string>& path);
    void fileSucceeded();
    void fileFailed(std::uint32_t status);
    /// Counts an entry that is no file at all: there is no result to tell of it.
    void entryFailed();
    /// This file and all that remain failed, the way a full storage ends a job.
    void remainingFilesFailed(std::uint32_t status, std::size_t count);

    /// The library's cancel results, and its two words for a full storage.
    [[nodiscard]] static bool isCancelStatus(std::uint32_t status);
    [[nodiscard]] static bool isStorageFull(std::uint32_t status);

private:
    MTPServicePrivate& _service;
    std::uint32_t _serviceID;
    bool _forgetsCancellation;
    bool _isCancelled = false;
    std::shared_ptr<QDMtpDeviceNotifier> _notifier;
    platform::Dictionary _callbackContext;
};
