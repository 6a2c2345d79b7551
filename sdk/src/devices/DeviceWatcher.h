// SPDX-License-Identifier: MIT
#pragma once

#include "devices/DeviceRegistry.h"
#include "vemomtpsdk/Devices.h"

#include <cstdint>
#include <memory>
#include <thread>
#include <vector>

namespace mtpsdk {

/// Compares the registry's devices with those it told of last: when a source has news, and each second, since not every
/// system and no folder announces by itself. For the rest see vemomtpsdk::DeviceWatch. The registry outlives it.
class DeviceWatcher {
public:
    DeviceWatcher(DeviceRegistry& registry, vemomtpsdk::DeviceWatch::Callback callback);
    ~DeviceWatcher();
    DeviceWatcher(const DeviceWatcher&) = delete;
    DeviceWatcher& operator=(const DeviceWatcher&) = delete;

private:
    struct State;
    static void loop(State& state);

    std::shared_ptr<State> _state; ///< shared with the thread, which may outlive the watcher by a callback's return
    std::uint64_t _listener = 0;
    std::vector<std::shared_ptr<void>> _watches;
    std::thread _thread;
};

} // namespace mtpsdk
