// SPDX-License-Identifier: MIT
#pragma once

#include "mtp/Session.h"
#include "transport/Transport.h"

#include <memory>
#include <thread>

namespace mtpsdk {

/// Reads the device's events on a thread of its own and hands them on in order. Those that come while no handler is
/// set are kept (the oldest go first when there are very many). The transport outlives the pump.
class EventPump {
public:
    explicit EventPump(Transport& transport);
    /// Ends the thread; returns when no handler is under way, unless called from within one.
    ~EventPump();
    EventPump(const EventPump&) = delete;
    EventPump& operator=(const EventPump&) = delete;

    void setHandler(Session::EventHandler handler);
    /// Whether the line ended while the pump listened: the first sign of a device that went while nothing was asked of
    /// it.
    [[nodiscard]] bool lineLost() const;

private:
    struct State;
    static void loop(State& state, Transport& transport);
    static void deliver(State& state);

    std::shared_ptr<State> _state; ///< shared with the thread, which may outlive the pump by a handler's return
    std::thread _thread;
};

} // namespace mtpsdk
