// SPDX-License-Identifier: MIT
#include "tools/OverwriteQuestion.h"

#include "platform/UserDefaults.h"
#include "tools/ScreenText.h"

#include <algorithm>
#include <array>
#include <cctype>
#include <fcntl.h>
#include <fmt/format.h>
#include <poll.h>
#include <unistd.h>
#include <utility>

namespace tool {

std::optional<OverwriteAnswer> parseOverwriteAnswer(const std::string& line) {
    std::string word;
    for (const unsigned char character : line) {
        if (std::isspace(character) == 0) {
            word += static_cast<char>(std::tolower(character));
        }
    }
    const std::pair<const char*, OverwriteAnswer> words[] = {
        {"y", OverwriteAnswer::yes},     {"yes", OverwriteAnswer::yes}, {"n", OverwriteAnswer::no},
        {"no", OverwriteAnswer::no},     {"a", OverwriteAnswer::all},   {"all", OverwriteAnswer::all},
        {"none", OverwriteAnswer::none},
    };
    const auto* found =
        std::find_if(std::begin(words), std::end(words), [&](const auto& row) { return row.first == word; });
    return found == std::end(words) ? std::nullopt : std::optional(found->second);
}

TerminalAnswers::TerminalAnswers(const Interrupt& interrupt)
    : _interrupt(interrupt) {
    if (isatty(STDERR_FILENO) != 1) {
        return; // the question could not be seen
    }
    if (isatty(STDIN_FILENO) == 1) {
        _descriptor = STDIN_FILENO;
    } else {
        _descriptor = open("/dev/tty", O_RDONLY | O_CLOEXEC);
        _isOwned = true;
    }
}

TerminalAnswers::~TerminalAnswers() {
    if (_isOwned && _descriptor >= 0) {
        close(_descriptor);
    }
}

std::optional<std::string> TerminalAnswers::readLine() {
    std::string line;
    while (!_interrupt.isRequested()) {
        std::array<pollfd, 2> ready{{{_descriptor, POLLIN, 0}, {_interrupt.descriptor(), POLLIN, 0}}};
        if (poll(ready.data(), ready.size(), -1) <= 0 || ready[0].revents == 0) {
            continue;
        }
        char character = 0;
        if (read(_descriptor, &character, 1) != 1) {
            return std::nullopt;
        }
        if (character == '\n') {
            return line;
        }
        line += character;
    }
    return std::nullopt;
}

OverwriteQuestion::OverwriteQuestion(OverwriteMode mode, Console& console, AnswerSource* answers, Kept kept,
                                     const char* where)
    : _mode(mode)
    , _console(console)
    , _answers(answers)
    , _kept(std::move(kept))
    , _where(where) {}

bool OverwriteQuestion::confirmOverwrite(const std::string& fileName, bool& isNotAsk) {
    isNotAsk = false;
    const bool isConfirmed = decide(fileName);
    if (!isConfirmed && _kept) {
        _kept(fileName);
    }
    return isConfirmed;
}

std::shared_ptr<MTPService> OverwriteQuestion::getFileServiceObject(const std::string& locationID) {
    return locationID == _offeredLocation ? _offeredService.lock() : nullptr;
}

void OverwriteQuestion::offerService(const std::string& locationID, const std::shared_ptr<MTPService>& service) {
    _offeredLocation = locationID;
    _offeredService = service;
}

bool OverwriteQuestion::decide(const std::string& fileName) {
    if (_mode == OverwriteMode::ask && !_answers && !std::exchange(_saidNobodyThere, true)) {
        _console.say("Files that exist already are kept, since there is no terminal to ask on (see --overwrite).");
    }
    if (_mode != OverwriteMode::ask || !_answers) {
        return _mode == OverwriteMode::always;
    }
    switch (askPerson(fileName)) {
    case OverwriteAnswer::all:
        _mode = OverwriteMode::always;
        return true;
    case OverwriteAnswer::none:
        _mode = OverwriteMode::never;
        return false;
    case OverwriteAnswer::yes:
        return true;
    case OverwriteAnswer::no:
        break;
    }
    return false;
}

OverwriteAnswer OverwriteQuestion::askPerson(const std::string& fileName) {
    std::optional<OverwriteAnswer> answer;
    while (!answer) {
        _console.ask(
            fmt::format("{} exists {}. Overwrite it? [y]es / [n]o / [a]ll / none: ", safeText(fileName), _where), [&] {
                const std::optional<std::string> line = _answers->readLine();
                answer = line ? parseOverwriteAnswer(*line) : OverwriteAnswer::none;
            });
    }
    return *answer;
}

void forgetRememberedOverwriteDecision() {
    platform::UserDefaults& defaults = platform::UserDefaults::standardUserDefaults();
    defaults.removeKey("LumoFileServicePreferencesNotAskOverwrite");
    defaults.removeKey("LumoFileServicePreferencesIsOverwrite");
}

} // namespace tool
