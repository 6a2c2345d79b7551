// SPDX-License-Identifier: MIT
#pragma once

#include <chrono>

namespace tool {

/// Ctrl-C (SIGINT), SIGTERM and SIGHUP while it lives: the first asks the program to stop in good order, the second
/// ends it at once with status 130. At most one at a time; any thread may ask and wait.
class Interrupt {
public:
    Interrupt();
    ~Interrupt();
    Interrupt(const Interrupt&) = delete;
    Interrupt& operator=(const Interrupt&) = delete;

    [[nodiscard]] bool isRequested() const;
    /// Stops the program from within, as a first Ctrl-C does.
    void request();
    /// Readable once a stop was requested, and from then on.
    [[nodiscard]] int descriptor() const;
    /// Waits for a request, at most this long.
    void wait(std::chrono::milliseconds limit) const;
};

} // namespace tool
