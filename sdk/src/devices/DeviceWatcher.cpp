// SPDX-License-Identifier: MIT
#include "devices/DeviceWatcher.h"

#include <algorithm>
#include <chrono>
#include <condition_variable>
#include <iterator>
#include <mutex>
#include <utility>

namespace mtpsdk {
namespace {

using vemomtpsdk::AttachedDevice;
using vemomtpsdk::DeviceChange;

constexpr auto lookInterval = std::chrono::seconds(1);

bool isSame(const AttachedDevice& left, const AttachedDevice& right) {
    return left.locationId == right.locationId && left.plugging == right.plugging && left.kind == right.kind &&
           left.location == right.location;
}

/// Those of `devices` that are not among `others`.
std::vector<AttachedDevice> without(const std::vector<AttachedDevice>& devices,
                                    const std::vector<AttachedDevice>& others) {
    std::vector<AttachedDevice> rest;
    std::ranges::copy_if(devices, std::back_inserter(rest), [&](const AttachedDevice& device) {
        return std::ranges::none_of(others, [&](const AttachedDevice& other) { return isSame(device, other); });
    });
    return rest;
}

} // namespace

struct DeviceWatcher::State {
    State(DeviceRegistry& all, vemomtpsdk::DeviceWatch::Callback told)
        : registry(all)
        , callback(std::move(told)) {}

    void wake(bool stop) {
        const std::lock_guard lock(mutex);
        woken = true;
        stopped = stopped || stop;
        changed.notify_all();
    }
    [[nodiscard]] bool isStopped() {
        const std::lock_guard lock(mutex);
        return stopped;
    }

    DeviceRegistry& registry;
    const vemomtpsdk::DeviceWatch::Callback callback;
    std::mutex mutex;
    std::condition_variable changed;
    bool woken = false;
    bool stopped = false;
};

DeviceWatcher::DeviceWatcher(DeviceRegistry& registry, vemomtpsdk::DeviceWatch::Callback callback)
    : _state(std::make_shared<State>(registry, std::move(callback))) {
    const auto wake = [state = _state] { state->wake(false); };
    _listener = registry.addListener([wake](std::uint32_t, DeviceRegistry::Change) { wake(); });
    _watches = registry.watch(wake);
    _thread = std::thread([state = _state] { loop(*state); });
}

DeviceWatcher::~DeviceWatcher() {
    _state->registry.removeListener(_listener);
    _watches.clear();
    _state->wake(true);
    if (_thread.get_id() == std::this_thread::get_id()) {
        _thread.detach(); // ends once the callback that destroys us returns
    } else {
        _thread.join();
    }
}

void DeviceWatcher::loop(State& state) {
    std::vector<AttachedDevice> known;
    for (;;) {
        const std::vector<AttachedDevice> attached = state.registry.devices();
        const auto tell = [&](DeviceChange change, const std::vector<AttachedDevice>& devices) {
            for (const AttachedDevice& device : devices) {
                if (!state.isStopped()) {
                    state.callback(change, device);
                }
            }
        };
        tell(DeviceChange::detached, without(known, attached));
        tell(DeviceChange::attached, without(attached, known));
        known = attached;
        std::unique_lock lock(state.mutex);
        state.changed.wait_for(lock, lookInterval, [&] { return state.woken; });
        if (state.stopped) {
            return;
        }
        state.woken = false;
    }
}

} // namespace mtpsdk
