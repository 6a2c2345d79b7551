// SPDX-License-Identifier: MIT
#pragma once

#include "device/MTPService/MTPServicePrivate.h"
#include "platform/AtomicFile.h"

#include <condition_variable>
#include <cstdint>
#include <mutex>
#include <optional>
#include <stop_token>
#include <string>
#include <thread>

/// Folders of local copies that are there and have room, as was found a moment ago, so that many small files into one
/// folder do not ask for each. One thread at a time.
class LocalFolders {
public:
    /// Makes the folder where it is missing and sees to it that the copy of a file of this size leaves enough space
    /// free on the disk. Failures are logged.
    bool prepare(const MTPServicePrivate& service, const std::string& folder, std::uint64_t size);

private:
    std::string _folder;     ///< the one that was looked at last
    std::uint64_t _room = 0; ///< bytes that may be copied into it before it is looked at again
};

/// The local copy of one file on a device, made in two steps: prepared aside, then kept. What was prepared and not kept
/// is gone with the object. Failures are logged. One thread at a time.
class LocalCopy {
public:
    /// Copies a local file beside the place of the local copy of `target`, a device path; nothing is copied when an
    /// up-to-date copy is there. false when there is nothing to keep.
    bool prepare(const MTPServicePrivate& service, LocalFolders& folders, const std::string& source,
                 const std::string& target, const std::stop_token& stop);
    bool keep();

private:
    platform::AtomicFile _file;
    std::string _path;
    bool _isThere = false;
};

/// Prepares the local copies of files while they are sent, on a thread of its own, so that the disk works while the
/// device does. Used on the job's thread; the service must outlive it.
class LocalCopier {
public:
    explicit LocalCopier(const MTPServicePrivate& service);
    /// Drops a copy that is under way.
    ~LocalCopier();
    LocalCopier(const LocalCopier&) = delete;
    LocalCopier& operator=(const LocalCopier&) = delete;

    /// Begins with the next file, for good or for nothing: a file before it that was not kept is dropped.
    void begin(const std::string& source, const std::string& target);
    /// The file was sent: waits for its copy, which then appears. false when there is none.
    bool keep();

private:
    struct Work {
        std::string source;
        std::string target;
        std::stop_token stop;
    };
    void run();
    void waitUntilDone(std::unique_lock<std::mutex>& lock);

    const MTPServicePrivate& _service;
    std::mutex _mutex;
    std::condition_variable _changed;
    LocalFolders _folders;          ///< the thread's
    std::optional<Work> _work;      ///< what is to be done, or is being done
    std::optional<LocalCopy> _copy; ///< the thread's while there is work, else the job's
    bool _isPrepared = false;
    bool _isEnding = false;
    std::stop_source _stop;
    std::thread _thread;
};
