// SPDX-License-Identifier: MIT
#pragma once

#include "mtp/Session.h"

#include <functional>
#include <memory>
#include <thread>

namespace mtpsdk {

/// Hands a device's events on one after the other, on a thread of its own, so that handling one may take its time and
/// may call the session that raised it.
class EventThread {
public:
    using Handler = std::function<void(const Session::Event&)>;

    explicit EventThread(Handler handler);
    /// No event is handled afterwards that was not under way already. Waits for the thread unless it is handling one:
    /// its handler may be waiting for a lock of the caller, so it then ends by itself.
    ~EventThread();
    EventThread(const EventThread&) = delete;
    EventThread& operator=(const EventThread&) = delete;

    /// The oldest that wait go first when there are very many.
    void post(const Session::Event& event);

private:
    struct State;
    static void run(const std::shared_ptr<State>& state);

    std::shared_ptr<State> _state;
    std::thread _thread;
};

} // namespace mtpsdk
