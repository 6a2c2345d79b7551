// SPDX-License-Identifier: MIT
#pragma once

#include "platform/NotificationCenter.h"
#include "tools/MediaPlan.h"

#include <cstdint>
#include <mutex>
#include <string>
#include <string_view>
#include <vector>

namespace tool {

enum class FileState {
    waiting,
    copied, ///< or whatever else the run does with its files: deleted, added …
    kept,   ///< what is there already stays
    failed,
    cancelled, ///< not sent, because the person stopped it
};

struct FileResult {
    const LocalFile& file;
    FileState state;
    std::string reason; ///< words that follow the name; empty for copied
};

/// Where a whole run stands.
struct TransferSnapshot {
    std::size_t filesDone = 0;
    std::size_t filesTotal = 0;
    std::uint64_t bytesDone = 0;
    std::uint64_t bytesTotal = 0;
    std::uint64_t bytesCopied = 0; ///< of files that are on the device whole
    std::string currentName;       ///< the file under way; empty between files
    std::size_t copied = 0;        ///< files whose state is so
    std::size_t kept = 0;
    std::size_t failed = 0; ///< and cancelled
};

/// What is told of a run. Called on the service's threads and the program's own, one call at a time; must not call
/// back.
class TransferListener {
public:
    virtual ~TransferListener() = default;
    virtual void notified(const platform::Notification& notification) = 0;
    virtual void progressed(const TransferSnapshot& snapshot) = 0;
    virtual void settled(const FileResult& result, const TransferSnapshot& snapshot) = 0;
};

/// Counts the files and bytes of a run of requests from the service's notifications; each file ends in exactly one
/// state. A file's own result notification decides; files that got none are settled by what is known otherwise, when a
/// later one has its result or the request is over. Thread-safe.
class TransferProgress {
public:
    TransferProgress(std::vector<LocalFile> files, TransferListener& listener);

    /// The files (indexes) that the next request sends, in its order.
    void beginRequest(std::uint32_t serviceID, std::vector<std::size_t> files);
    /// Forgets what was heard of the request, before it is queued anew.
    void restartRequest();
    /// Whether the service has said anything of the request.
    [[nodiscard]] bool hasRequestStarted() const;
    /// The request is over: its files without result are settled.
    void endRequest();
    /// Files of requests that never ran.
    void settleRest();
    /// A file that stays as it is, known before it is asked for.
    void keep(std::size_t file, const std::string& reason);

    void handle(const platform::Notification& notification);
    /// The question about this file was answered with no.
    void noteKept(const std::string& fileName);
    /// The person has stopped the run.
    void noteCancelled();

    /// Time passes: the listener is told where the run stands. To be called every now and then.
    void tick();
    [[nodiscard]] TransferSnapshot snapshot() const;
    [[nodiscard]] const std::vector<LocalFile>& files() const { return _files; }
    /// The files (indexes) that stay as they are.
    [[nodiscard]] std::vector<std::size_t> keptFiles() const;
    /// The device was gone at some file.
    [[nodiscard]] bool isDeviceGone() const;

private:
    void handleProgress(const platform::Dictionary& userInfo);
    void handleResult(const platform::Dictionary& userInfo);
    void settleUnheard(std::size_t endPosition);
    void settle(std::size_t file, FileState state, std::string reason);
    [[nodiscard]] std::size_t positionOf(std::string_view name) const;
    [[nodiscard]] TransferSnapshot currentSnapshot() const;

    const std::vector<LocalFile> _files;
    TransferListener& _listener;
    mutable std::mutex _mutex;
    std::vector<FileState> _states;
    TransferSnapshot _counts;

    // The request under way.
    std::uint32_t _serviceID = 0;
    std::vector<std::size_t> _request;
    std::size_t _nextPosition = 0; ///< all before it are settled
    std::uint64_t _requestBytes = 0;
    std::uint64_t _requestBytesSettled = 0;
    std::uint64_t _requestBytesCopied = 0;
    std::uint32_t _percent = 0;
    std::string _currentName;
    bool _hasStarted = false;
    bool _isRefused = false;

    bool _isCancelled = false;
    bool _isFull = false;
    bool _isDeviceGone = false;
};

} // namespace tool
