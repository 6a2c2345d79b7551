// SPDX-License-Identifier: MIT
#include "tools/Console.h"

namespace tool {

Console::Console(Output& out, Output& err)
    : _out(out)
    , _err(err) {}

void Console::print(std::string_view line) {
    const std::lock_guard lock(_mutex);
    writeLine(_out, line);
}

void Console::say(std::string_view line) {
    const std::lock_guard lock(_mutex);
    writeLine(_err, line);
}

void Console::setStatus(std::string_view line) {
    const std::lock_guard lock(_mutex);
    if (hasStatusLine()) {
        eraseStatus();
        _status = line;
        drawStatus();
    }
}

void Console::clearStatus() {
    const std::lock_guard lock(_mutex);
    eraseStatus();
    _status.clear();
}

void Console::ask(std::string_view question, const std::function<void()>& read) {
    const std::lock_guard lock(_mutex);
    eraseStatus();
    _err.write(question);
    read();
    drawStatus();
}

bool Console::isBroken() const {
    const std::lock_guard lock(_mutex);
    return _isBroken;
}

void Console::writeLine(Output& output, std::string_view line) {
    eraseStatus();
    // One write a line, so that lines of several processes on one terminal do not mix.
    const bool isWritten = output.write(std::string(line) + "\n");
    _isBroken = _isBroken || (&output == &_out && !isWritten);
    drawStatus();
}

void Console::eraseStatus() {
    if (_isDrawn) {
        _out.write("\r\x1B[K");
        _isDrawn = false;
    }
}

void Console::drawStatus() {
    if (!_status.empty()) {
        _out.write(_status);
        _isDrawn = true;
    }
}

} // namespace tool
