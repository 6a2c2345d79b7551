// SPDX-License-Identifier: MIT
#include "platform/Monitor.h"

namespace platform {

// The holder is only ever compared with the calling thread itself, which wrote it: relaxed order is enough.

void Monitor::lock() {
    _mutex.lock();
    ++_depth;
    _holder.store(std::this_thread::get_id(), std::memory_order_relaxed);
}

void Monitor::unlock() {
    if (--_depth == 0) {
        _holder.store(std::thread::id(), std::memory_order_relaxed);
    }
    _mutex.unlock();
}

bool Monitor::try_lock() {
    if (!_mutex.try_lock()) {
        return false;
    }
    ++_depth;
    _holder.store(std::this_thread::get_id(), std::memory_order_relaxed);
    return true;
}

bool Monitor::heldByCurrentThread() const {
    return _holder.load(std::memory_order_relaxed) == std::this_thread::get_id();
}

} // namespace platform
