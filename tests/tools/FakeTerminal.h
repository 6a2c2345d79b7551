// SPDX-License-Identifier: MIT
#pragma once

#include "tools/Output.h"

#include <string>

/// Remembers what was written, and what a terminal's bottom line would show.
class FakeOutput : public tool::Output {
public:
    explicit FakeOutput(bool isTerminal, int columns = 80)
        : _isTerminal(isTerminal)
        , _columns(columns) {}
    bool write(std::string_view text) override {
        written += text;
        return !isClosed;
    }
    [[nodiscard]] bool isTerminal() const override { return _isTerminal; }
    [[nodiscard]] int columns() const override { return _columns; }

    /// What stands on the line of the cursor, erasures applied.
    [[nodiscard]] std::string cursorLine() const {
        std::string line = written.substr(written.find_last_of('\n') + 1);
        const std::size_t erased = line.rfind("\r\x1B[K");
        return erased == std::string::npos ? line : line.substr(erased + 4);
    }

    std::string written;
    bool isClosed = false;

private:
    bool _isTerminal;
    int _columns;
};
