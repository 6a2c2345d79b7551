// SPDX-License-Identifier: MIT
#pragma once

#include "platform/ThreadAnnotations.h"

#include <atomic>
#include <mutex>
#include <thread>

namespace platform {

/// A recursive lock that knows its holder, for the service's process-wide monitors and per-object sections.
class PLATFORM_CAPABILITY("monitor") Monitor {
public:
    Monitor() = default;
    Monitor(const Monitor&) = delete;
    Monitor& operator=(const Monitor&) = delete;

    void lock() PLATFORM_ACQUIRE();
    void unlock() PLATFORM_RELEASE();
    bool try_lock() PLATFORM_TRY_ACQUIRE(true);
    /// For assertions: whether the calling thread is inside.
    [[nodiscard]] bool heldByCurrentThread() const;

private:
    std::recursive_mutex _mutex;
    std::atomic<std::thread::id> _holder{};
    int _depth = 0;
};

/// A scope inside a monitor.
class PLATFORM_SCOPED_CAPABILITY Synchronized {
public:
    explicit Synchronized(Monitor& monitor) PLATFORM_ACQUIRE(monitor)
        : _monitor(monitor) {
        _monitor.lock();
    }
    ~Synchronized() PLATFORM_RELEASE() { _monitor.unlock(); }
    Synchronized(const Synchronized&) = delete;
    Synchronized& operator=(const Synchronized&) = delete;

private:
    Monitor& _monitor;
};

/// A plain mutex that clang's thread-safety analysis understands; use with MutexLock.
class PLATFORM_CAPABILITY("mutex") Mutex {
public:
    void lock() PLATFORM_ACQUIRE() { _mutex.lock(); }
    void unlock() PLATFORM_RELEASE() { _mutex.unlock(); }
    bool try_lock() PLATFORM_TRY_ACQUIRE(true) { return _mutex.try_lock(); }

private:
    std::mutex _mutex;
};

class PLATFORM_SCOPED_CAPABILITY MutexLock {
public:
    explicit MutexLock(Mutex& mutex) PLATFORM_ACQUIRE(mutex)
        : _mutex(mutex) {
        _mutex.lock();
    }
    ~MutexLock() PLATFORM_RELEASE() { _mutex.unlock(); }
    MutexLock(const MutexLock&) = delete;
    MutexLock& operator=(const MutexLock&) = delete;

private:
    Mutex& _mutex;
};

} // namespace platform
