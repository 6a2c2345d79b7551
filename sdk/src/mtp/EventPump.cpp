// SPDX-License-Identifier: MIT
#include "mtp/EventPump.h"

#include "mtp/Container.h"

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <deque>
#include <mutex>
#include <optional>

namespace mtpsdk {
namespace {

using namespace std::chrono_literals;

/// How long a new handler waits at most for events that came before it.
constexpr auto readTimeout = 100ms;
/// Between attempts on a line that fails at once.
constexpr auto pauseAfterFailure = 200ms;
constexpr std::size_t maximumKept = 65536;

std::optional<Session::Event> decodeEvent(std::span<const std::byte> bytes) {
    const auto container = decodeContainer(bytes);
    if (!container || container->type != ContainerType::Event) {
        return std::nullopt;
    }
    Session::Event event;
    event.code = static_cast<EventCode>(container->code);
    for (std::size_t i = 0; i < std::size(event.parameters); ++i) {
        event.parameters[i] = container->parameters[i];
    }
    return event;
}

} // namespace

struct EventPump::State {
    std::mutex mutex;
    std::condition_variable changed;
    std::deque<Session::Event> events;
    Session::EventHandler handler;
    bool delivering = false;
    bool stopped = false;
    std::atomic<bool> lost{false};
};

EventPump::EventPump(Transport& transport)
    : _state(std::make_shared<State>()) {
    _thread = std::thread([state = _state, &transport] { loop(*state, transport); });
}

EventPump::~EventPump() {
    {
        const std::lock_guard lock(_state->mutex);
        _state->stopped = true;
        _state->changed.notify_all();
    }
    if (_thread.get_id() == std::this_thread::get_id()) {
        _thread.detach(); // ends once the handler that destroys us returns, and touches the transport no more
    } else {
        _thread.join();
    }
}

void EventPump::setHandler(Session::EventHandler handler) {
    std::unique_lock lock(_state->mutex);
    _state->handler = std::move(handler);
    _state->changed.notify_all();
    if (_thread.get_id() != std::this_thread::get_id()) {
        _state->changed.wait(lock, [this] { return !_state->delivering; });
    }
}

bool EventPump::lineLost() const {
    return _state->lost;
}

void EventPump::deliver(State& state) {
    std::unique_lock lock(state.mutex);
    while (!state.stopped && state.handler && !state.events.empty()) {
        const auto handler = state.handler;
        const Session::Event event = state.events.front();
        state.events.pop_front();
        state.delivering = true;
        lock.unlock();
        handler(event);
        lock.lock();
        state.delivering = false;
        state.changed.notify_all();
    }
}

void EventPump::loop(State& state, Transport& transport) {
    bool attached = true;
    for (;;) {
        deliver(state);
        {
            std::unique_lock lock(state.mutex);
            if (!attached) {
                state.changed.wait(lock, [&] { return state.stopped || (state.handler && !state.events.empty()); });
            }
            if (state.stopped) {
                return;
            }
        }
        if (!attached) {
            continue;
        }
        std::vector<std::byte> container;
        const DGSTATUS status = transport.readEvent(container, readTimeout);
        attached = status != DGSTATUS_NO_DEVICE_ATTACHED;
        state.lost = !attached;
        const std::optional<Session::Event> event = status == DGSTATUS_SUCCESS ? decodeEvent(container) : std::nullopt;
        std::unique_lock lock(state.mutex);
        if (event) {
            state.events.push_back(*event);
            if (state.events.size() > maximumKept) {
                state.events.pop_front();
            }
        } else if (attached && status != DGSTATUS_NO_DATA) {
            state.changed.wait_for(lock, pauseAfterFailure, [&] { return state.stopped; });
        }
    }
}

} // namespace mtpsdk
