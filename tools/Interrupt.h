// SPDX-License-Identifier: MIT
#pragma once

#include "platform/PosixFile.h"

#include <atomic>
#include <chrono>
#include <csignal>
#include <thread>

namespace tool {

/// Ctrl-C (SIGINT), SIGTERM and SIGHUP while it lives: the first asks the program to stop in good order, the second
/// ends it at once with status 130. A signal that the program was started to ignore (by nohup, say) stays ignored.
///
/// A thread of its own takes the signals, whatever the others are waiting for: made before those are, for they inherit
/// that the signals are blocked for them. At most one at a time; any thread may ask and wait.
class Interrupt {
public:
    Interrupt();
    ~Interrupt();
    Interrupt(const Interrupt&) = delete;
    Interrupt& operator=(const Interrupt&) = delete;

    [[nodiscard]] bool isRequested() const { return _isRequested; }
    /// Stops the program from within, as a first Ctrl-C does.
    void request();
    /// Readable once a stop was requested, and from then on.
    [[nodiscard]] int descriptor() const { return _requested.get(); }
    /// Waits for a request, at most this long.
    void wait(std::chrono::milliseconds limit) const;

private:
    void takeSignals();

    std::atomic<bool> _isRequested{false};
    const platform::Descriptor _signals;
    const platform::Descriptor _requested;
    const platform::Descriptor _ended;
    sigset_t _blockedBefore{};
    std::thread _taker;
};

} // namespace tool
