// SPDX-License-Identifier: MIT
#pragma once

#include "platform/NotificationCenter.h"
#include "tools/Command.h"
#include "tools/MediaPlan.h"
#include "tools/OverwriteQuestion.h"
#include "tools/RequestRunner.h"
#include "tools/TransferPrinters.h"
#include "tools/TransferProgress.h"

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace tool {

/// One run of a command that gives the service files to work through: what is told of each, the progress, the questions
/// and Ctrl-C, and the exit status. In order: leaveOut and begin, then requests, then finish.
class TransferRun {
public:
    enum class Told {
        everything,
        failuresOnly, ///< and the progress on a terminal; standard output stays free for the command's own line
    };

    /// `doneWord` is what became of a file in the summary: "copied", "deleted" …
    TransferRun(Environment& environment, std::string doneWord, Told told = Told::everything);
    ~TransferRun();
    TransferRun(const TransferRun&) = delete;
    TransferRun& operator=(const TransferRun&) = delete;

    /// The delegate that answers the service's overwrite questions as the mode says; it must not outlive the run.
    [[nodiscard]] std::shared_ptr<OverwriteQuestion> question(OverwriteMode mode, const char* where);

    /// Whether there is a person to ask, and the answer to a question that is answered with yes or no.
    [[nodiscard]] bool canAsk() const { return _answers.isThere(); }
    [[nodiscard]] bool confirms(const std::string& question);

    /// A file that is not worked on, and why.
    void leaveOut(const LeftOut& entry);
    void leaveOut(const std::vector<LeftOut>& entries);
    /// The files of the run, in the order of their requests. Notifications count from here.
    void begin(std::vector<LocalFile> files);
    [[nodiscard]] const std::vector<LocalFile>& files() const { return _progress->files(); }
    /// The indexes of the files that stay as they are, as far as is known by now.
    [[nodiscard]] std::vector<std::size_t> keptFiles() const { return _progress->keptFiles(); }
    /// The indexes of the files that fulfil the condition.
    [[nodiscard]] std::vector<std::size_t> filesWhere(const std::function<bool(const LocalFile&)>& condition) const;

    /// A file that stays as it is; a request that names it nevertheless does no harm.
    void keep(std::size_t file, const std::string& reason);
    /// Calls `enqueue` with a service ID of its own and stays until the request for these files is over.
    using Enqueue = std::function<void(std::uint32_t serviceID)>;
    void request(MTPService& service, const std::vector<std::size_t>& files, const Enqueue& enqueue);
    /// The person has stopped the run, or the device is gone: no further requests are made.
    [[nodiscard]] bool isOver() const;

    /// The last word, and the exit status.
    ExitStatus finish();
    [[nodiscard]] std::size_t skippedCount() const { return _skipped; }

private:
    void tick();

    Environment& _environment;
    const std::unique_ptr<TransferPrinter> _printer;
    TerminalAnswers _answers;
    std::unique_ptr<TransferProgress> _progress;
    std::optional<platform::Observation> _observation;
    std::uint32_t _serviceID = 0;
    std::size_t _skipped = 0;
    std::size_t _failed = 0;
    bool _saidStopping = false;
    bool _isCutShort = false; ///< stopped before all files were known
};

/// The kind of media that a request for a device file is labelled with; what the service does not classify, and podcast
/// descriptions, which have jobs of their own, go as music.
[[nodiscard]] MediaType requestType(const MTPService& service, const std::string& name);

/// Content dictionaries of files, as requests take them.
[[nodiscard]] platform::Array contentsOf(const std::vector<LocalFile>& files, const std::vector<std::size_t>& indexes);

} // namespace tool
