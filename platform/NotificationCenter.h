// SPDX-License-Identifier: MIT
#pragma once

#include "platform/Export.h"
#include "platform/Value.h"

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <utility>

namespace platform {

struct Notification {
    std::string name;
    Dictionary userInfo;
};

/// Broadcasts notifications to observers on the posting thread, in the order in which the observers were added.
///
/// Observers may be added and removed at any time, from any thread, also inside a handler. An observer added during a
/// post is first called by the next one. A removed observer is never called again: removing waits until calls already
/// under way on other threads have returned and the handler is destroyed. Only a thread that is itself inside a handler
/// (this observer's or another's) does not wait, since two handlers that remove each other's observers would wait for
/// ever: there the removal keeps further calls from starting, and a call under way ends in its own time.
/// A handler may post. Handlers run under no lock of the centre; what a handler throws is caught and logged.
class MTPSERVICE_EXPORT NotificationCenter {
public:
    using Handler = std::function<void(const Notification&)>;

    /// The process's default centre; the service posts here.
    static NotificationCenter& defaultCenter();

    NotificationCenter();
    ~NotificationCenter();
    NotificationCenter(const NotificationCenter&) = delete;
    NotificationCenter& operator=(const NotificationCenter&) = delete;

    /// Calls `handler` for every notification of this name; an empty name means all. The number identifies the
    /// observer for removeObserver.
    std::uint64_t addObserver(std::string_view name, Handler handler);
    void removeObserver(std::uint64_t observer);
    void post(const Notification& notification);

private:
    struct State;
    std::unique_ptr<State> _state;
};

/// Observes the default centre for as long as it lives.
class MTPSERVICE_EXPORT Observation {
public:
    Observation(std::string_view name, NotificationCenter::Handler handler)
        : _observer(NotificationCenter::defaultCenter().addObserver(name, std::move(handler))) {}
    ~Observation() { NotificationCenter::defaultCenter().removeObserver(_observer); }
    Observation(const Observation&) = delete;
    Observation& operator=(const Observation&) = delete;

private:
    std::uint64_t _observer;
};

} // namespace platform
