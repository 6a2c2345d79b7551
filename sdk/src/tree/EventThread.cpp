// SPDX-License-Identifier: MIT
#include "tree/EventThread.h"

#include <condition_variable>
#include <deque>
#include <mutex>
#include <utility>

namespace mtpsdk {
namespace {

/// A device that tells more than anybody handles must not fill the memory.
constexpr std::size_t greatestQueue = 65536;

} // namespace

struct EventThread::State {
    std::mutex mutex;
    std::condition_variable changed;
    std::deque<Session::Event> events;
    Handler handler;
    bool handling = false;
    bool stopped = false;
};

EventThread::EventThread(Handler handler)
    : _state(std::make_shared<State>()) {
    _state->handler = std::move(handler);
    _thread = std::thread([state = _state] { run(state); });
}

EventThread::~EventThread() {
    std::unique_lock lock(_state->mutex);
    _state->stopped = true;
    const bool handling = _state->handling;
    lock.unlock();
    _state->changed.notify_all();
    if (handling) {
        _thread.detach();
    } else {
        _thread.join();
    }
}

void EventThread::post(const Session::Event& event) {
    {
        const std::lock_guard lock(_state->mutex);
        _state->events.push_back(event);
        if (_state->events.size() > greatestQueue) {
            _state->events.pop_front();
        }
    }
    _state->changed.notify_all();
}

void EventThread::run(const std::shared_ptr<State>& state) {
    std::unique_lock lock(state->mutex);
    while (true) {
        state->changed.wait(lock, [&] { return state->stopped || !state->events.empty(); });
        if (state->stopped) {
            return;
        }
        const Session::Event event = state->events.front();
        state->events.pop_front();
        state->handling = true;
        lock.unlock();
        state->handler(event);
        lock.lock();
        state->handling = false;
    }
}

} // namespace mtpsdk
