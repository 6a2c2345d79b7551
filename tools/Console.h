// SPDX-License-Identifier: MIT
#pragma once

#include "tools/Output.h"

#include <functional>
#include <mutex>
#include <string>
#include <string_view>

namespace tool {

/// Where the program talks to a person: data on standard output, talk on standard error, and below both, when standard
/// output is a terminal, one status line that stays at the bottom. Thread-safe. Callers escape names (see safeText).
class Console {
public:
    Console(Output& out, Output& err);

    /// A line of data.
    void print(std::string_view line);
    /// A line of talk.
    void say(std::string_view line);

    [[nodiscard]] bool hasStatusLine() const { return _out.isTerminal(); }
    [[nodiscard]] int columns() const { return _out.columns(); }
    /// Shows the line in place of the last one; nothing without a terminal. It must fit the width.
    void setStatus(std::string_view line);
    void clearStatus();

    /// Puts the status line away, writes `question` to standard error and runs `read` with nobody printing in between.
    void ask(std::string_view question, const std::function<void()>& read);

    /// Whether standard output has failed, so that going on would be for nobody.
    [[nodiscard]] bool isBroken() const;

private:
    void writeLine(Output& output, std::string_view line);
    void eraseStatus();
    void drawStatus();

    Output& _out;
    Output& _err;
    mutable std::mutex _mutex;
    std::string _status;
    bool _isDrawn = false;
    bool _isBroken = false;
};

} // namespace tool
