// SPDX-License-Identifier: MIT
#pragma once

#include "platform/Monitor.h"

#include <memory>
#include <utility>

/// The one object of an interface that the application supplies, or a default until it does. Thread-safe; an object
/// that is replaced lives on while somebody uses it.
template <typename Interface>
class SharedInstance {
public:
    explicit SharedInstance(std::shared_ptr<Interface> fallback)
        : _fallback(std::move(fallback)) {}

    [[nodiscard]] std::shared_ptr<Interface> get() {
        const platform::MutexLock lock(_mutex);
        return _current != nullptr ? _current : _fallback;
    }

    /// Null brings the default back.
    void set(std::shared_ptr<Interface> current) {
        const platform::MutexLock lock(_mutex);
        std::swap(_current, current); // the old one dies outside the lock
    }

private:
    platform::Mutex _mutex;
    const std::shared_ptr<Interface> _fallback;
    std::shared_ptr<Interface> _current PLATFORM_GUARDED_BY(_mutex);
};

/// That of an interface whose default is a `Fallback`. It outlives threads that still run at the process's end.
template <typename Interface, typename Fallback>
SharedInstance<Interface>& sharedInstanceOf() {
    static auto& instance = *new SharedInstance<Interface>(std::make_shared<Fallback>());
    return instance;
}
