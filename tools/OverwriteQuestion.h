// SPDX-License-Identifier: MIT
#pragma once

#include "host/VXDeviceConfirmDelegate.h"
#include "tools/Console.h"
#include "tools/Interrupt.h"

#include <functional>
#include <optional>
#include <string>

namespace tool {

enum class OverwriteMode { ask, always, never };

/// What a person answers to "overwrite?".
enum class OverwriteAnswer { yes, no, all, none };

/// "y", "Yes", "all" …; nothing for what is no answer.
[[nodiscard]] std::optional<OverwriteAnswer> parseOverwriteAnswer(const std::string& line);

/// Where answers come from: a line from the terminal, or nothing when there is none any more (no terminal, Ctrl-D,
/// Ctrl-C).
class AnswerSource {
public:
    virtual ~AnswerSource() = default;
    virtual std::optional<std::string> readLine() = 0;
};

/// The terminal that the program runs on. Waiting for a line ends when the program is interrupted.
class TerminalAnswers : public AnswerSource {
public:
    explicit TerminalAnswers(const Interrupt& interrupt);
    ~TerminalAnswers() override;
    /// Whether there is a person to ask.
    [[nodiscard]] bool isThere() const { return _descriptor >= 0; }
    std::optional<std::string> readLine() override;

private:
    const Interrupt& _interrupt;
    int _descriptor = -1;
    bool _isOwned = false;
};

/// Answers the service's overwrite questions. "All" and "none" are remembered here, for this run only: the service's
/// own memory is the user's settings, which would outlive it. Without a source every question is answered with no.
class OverwriteQuestion : public VXDeviceConfirmDelegate {
public:
    /// Told of every file that is not overwritten; called on the service's worker.
    using Kept = std::function<void(const std::string& fileName)>;

    /// `answers` may be null. `where` says where the files in question are.
    OverwriteQuestion(OverwriteMode mode, Console& console, AnswerSource* answers, Kept kept,
                      const char* where = "on the device");

    bool confirmOverwrite(const std::string& fileName, bool& isNotAsk) override;
    /// The service offered last, for its own location.
    std::shared_ptr<MTPService> getFileServiceObject(const std::string& locationID) override;
    /// The other device of a copy between two; not kept alive.
    void offerService(const std::string& locationID, const std::shared_ptr<MTPService>& service);

private:
    [[nodiscard]] bool decide(const std::string& fileName);
    [[nodiscard]] OverwriteAnswer askPerson(const std::string& fileName);

    OverwriteMode _mode;
    Console& _console;
    AnswerSource* _answers;
    const Kept _kept;
    const char* const _where;
    bool _saidNobodyThere = false;
    std::string _offeredLocation;
    std::weak_ptr<MTPService> _offeredService;
};

/// Makes the service ask about every file in this process, whatever it was told to remember by an earlier application.
/// The user's settings file stays as it is.
void forgetRememberedOverwriteDecision();

} // namespace tool
