// SPDX-License-Identifier: MIT
#pragma once

#include "platform/Monitor.h"

#include <utility>

/// A value that several threads read and change without the service's monitors: it can only be reached under its own
/// small mutex. That mutex is a leaf of the lock order: `use` must not call out of the service nor take another lock.
template <typename T>
class Guarded {
public:
    Guarded() = default;
    explicit Guarded(T value)
        : _value(std::move(value)) {}

    [[nodiscard]] T get() const {
        const platform::MutexLock lock(_mutex);
        return _value;
    }

    /// The value it had dies outside the mutex.
    void set(T value) {
        const platform::MutexLock lock(_mutex);
        std::swap(_value, value);
    }

    template <typename Use>
    auto with(Use&& use) {
        const platform::MutexLock lock(_mutex);
        return std::forward<Use>(use)(_value);
    }

    template <typename Use>
    auto with(Use&& use) const {
        const platform::MutexLock lock(_mutex);
        return std::forward<Use>(use)(_value);
    }

private:
    mutable platform::Mutex _mutex;
    T _value PLATFORM_GUARDED_BY(_mutex){};
};
