// SPDX-License-Identifier: MIT
#include "platform/NotificationCenter.h"

#include "platform/Log.h"
#include "platform/Monitor.h"

#include <algorithm>
#include <atomic>
#include <exception>
#include <vector>

namespace platform {

namespace {

/// How many handlers the calling thread is inside of; see NotificationCenter about removing there.
thread_local int handlerDepth = 0;

class HandlerScope {
public:
    HandlerScope() { ++handlerDepth; }
    ~HandlerScope() { --handlerDepth; }
    HandlerScope(const HandlerScope&) = delete;
    HandlerScope& operator=(const HandlerScope&) = delete;
};

/// One observer. Its state word counts the calls under way and says whether it is removed; no call starts after that,
/// so the count reaches zero exactly once then, and whoever brings it there destroys the handler.
class Observer {
public:
    Observer(std::uint64_t identifier, std::string_view name, NotificationCenter::Handler handler)
        : _identifier(identifier)
        , _name(name)
        , _handler(std::move(handler)) {}

    [[nodiscard]] std::uint64_t identifier() const { return _identifier; }
    [[nodiscard]] bool observes(std::string_view name) const { return _name.empty() || _name == name; }

    void call(const Notification& notification) {
        if (!enter()) {
            return;
        }
        const HandlerScope scope;
        try {
            _handler(notification);
        } catch (const std::exception& exception) {
            QD_LOG(3, "Reason :%@", exception.what());
        } catch (...) {
            QD_LOG(3, "Reason :%@", "unknown exception");
        }
        leave();
    }

    void remove() {
        if (_state.fetch_or(removed, std::memory_order_acq_rel) == 0) {
            destroyHandler();
        } else if (handlerDepth == 0) {
            std::uint32_t state = 0;
            while (((state = _state.load(std::memory_order_acquire)) & destroyed) == 0) {
                _state.wait(state, std::memory_order_acquire);
            }
        }
    }

private:
    static constexpr std::uint32_t removed = 0x80000000U;
    static constexpr std::uint32_t destroyed = 0x40000000U;

    bool enter() {
        std::uint32_t state = _state.load(std::memory_order_relaxed);
        do {
            if ((state & removed) != 0) {
                return false;
            }
        } while (!_state.compare_exchange_weak(state, state + 1, std::memory_order_acquire, std::memory_order_relaxed));
        return true;
    }

    void leave() {
        if (_state.fetch_sub(1, std::memory_order_acq_rel) == (removed | 1U)) {
            destroyHandler();
        }
    }

    void destroyHandler() {
        _handler = nullptr;
        _state.fetch_or(destroyed, std::memory_order_release);
        _state.notify_all();
    }

    const std::uint64_t _identifier;
    const std::string _name;
    NotificationCenter::Handler _handler;
    std::atomic<std::uint32_t> _state{0};
};

using ObserverList = std::vector<std::shared_ptr<Observer>>;

} // namespace

/// The list is replaced, never changed, so a post walks the one it found without a lock.
struct NotificationCenter::State {
    Mutex mutex;
    std::shared_ptr<const ObserverList> observers PLATFORM_GUARDED_BY(mutex) = std::make_shared<const ObserverList>();
    std::uint64_t lastIdentifier PLATFORM_GUARDED_BY(mutex) = 0;

    std::shared_ptr<const ObserverList> current() {
        const MutexLock lock(mutex);
        return observers;
    }
};

NotificationCenter& NotificationCenter::defaultCenter() {
    // Never destroyed: threads that outlive main may still post.
    static auto* const center = new NotificationCenter;
    return *center;
}

NotificationCenter::NotificationCenter()
    : _state(std::make_unique<State>()) {}

NotificationCenter::~NotificationCenter() = default;

std::uint64_t NotificationCenter::addObserver(std::string_view name, Handler handler) {
    const MutexLock lock(_state->mutex);
    const std::uint64_t identifier = ++_state->lastIdentifier;
    auto observers = std::make_shared<ObserverList>(*_state->observers);
    observers->push_back(std::make_shared<Observer>(identifier, name, std::move(handler)));
    _state->observers = std::move(observers);
    return identifier;
}

void NotificationCenter::removeObserver(std::uint64_t observer) {
    std::shared_ptr<Observer> found;
    {
        const MutexLock lock(_state->mutex);
        auto observers = std::make_shared<ObserverList>(*_state->observers);
        const auto position = std::find_if(observers->begin(), observers->end(),
                                           [=](const auto& each) { return each->identifier() == observer; });
        if (position == observers->end()) {
            return;
        }
        found = std::move(*position);
        observers->erase(position);
        _state->observers = std::move(observers);
    }
    found->remove();
}

void NotificationCenter::post(const Notification& notification) {
    const auto observers = _state->current();
    for (const auto& observer : *observers) {
        if (observer->observes(notification.name)) {
            observer->call(notification);
        }
    }
}

} // namespace platform
