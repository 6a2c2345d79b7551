// SPDX-License-Identifier: MIT
#pragma once

#include "device/MTPService/MTPServicePrivate.h"

#include <cstdint>
#include <functional>
#include <optional>
#include <string>

/// One local file on its way to a device.
struct OutgoingFile {
    std::string source;        ///< local path; the library names the new file by its last component
    std::string name;          ///< as the overwrite question calls it
    std::string target;        ///< device path
    MtpControl::NodeID folder; ///< the node of the target's folder; by path when missing
    platform::Dictionary data; ///< describes the file; its "FilePath" is the local path
};

/// What became of sending one file.
struct SendOutcome {
    bool sent = false;
    std::uint32_t status = DGSTATUS_SUCCESS;
    MtpControl::NodeID node; ///< the new file's, or the one that is in its place
    bool isStopped = false;  ///< given up after the present file was deleted, since the job must stop
};

/// Sends files to a service's device for a job, and replaces what is there of the same name where that is wanted.
/// Used on the job's thread; everything given must outlive it.
class FileSender {
public:
    struct Progress {
        MtpProgressCallback callback;
        void* context;
    };
    struct Rules {
        /// Whether the device's file of this name may be overwritten. Asked inside the library's monitor.
        std::function<bool(const std::string& name)> mayOverwrite;
        /// Whether the job must stop, tested before a file is sent in place of one that was deleted.
        std::function<bool()> mustStop;
        /// Whether the application cancelled the job, tested before a file is deleted for one that would not be sent.
        std::function<bool()> isCancelled;
    };
    FileSender(MTPServicePrivate& service, Progress progress, Rules rules)
        : _service(service)
        , _progress(progress)
        , _rules(std::move(rules)) {}

    /// One section of the library's monitor from the first send to the last: nobody may come in between a deletion and
    /// the file that takes its place.
    SendOutcome send(const OutgoingFile& file);
    /// A file was sent: enters it in the content index and gives the notifier the device's information about it.
    void takeIn(const OutgoingFile& file, const SendOutcome& outcome, QDMtpDeviceNotifier& notifier);

    /// The application's decision about a file of this name, or the one that it asked to remember; false without a
    /// delegate.
    static bool asksToOverwrite(MTPServicePrivate& service, const std::string& name);
    /// The dictionary that describes a local file: the host's, when the caller's holds no metadata ("Title" tells) and
    /// the host knows the file; nothing when the host fails.
    static std::optional<platform::Dictionary> describe(const platform::Dictionary& content, const std::string& source);

private:
    SendOutcome sendOnce(const OutgoingFile& file);
    SendOutcome replace(const OutgoingFile& file, SendOutcome outcome);

    MTPServicePrivate& _service;
    Progress _progress;
    Rules _rules;
};
