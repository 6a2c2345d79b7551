// SPDX-License-Identifier: MIT
#pragma once

#include "vemomtpsdk/Callbacks.h"

#include <condition_variable>
#include <cstdint>
#include <mutex>
#include <thread>

namespace mtpsdk {

/// The event callbacks that an application registered for one device. Thread-safe; callbacks run under no lock.
class EventCallbacks {
public:
    /// Null withdraws, and waits until no call is under way, unless called from within one. Another callback takes over
    /// from the next event on without a wait: whoever registers may hold a lock that the call under way needs.
    void set(MtpEventCallback callback, void* context);
    void setEx(MtpEventCallbackEx callback, void* context);

    /// Calls what is registered, on the calling thread; one thread at a time may call.
    void call(std::uint32_t eventCode);
    void callEx(std::uint32_t eventCode, _MTP_COMMON_NODE* target, void* handle);

private:
    template <typename Callback>
    struct Registration {
        Callback callback = nullptr;
        void* context = nullptr;
        std::thread::id caller; ///< the thread that a call is under way on
    };
    template <typename Callback>
    void replace(Registration<Callback>& registration, Callback callback, void* context);
    template <typename Callback, typename... Arguments>
    void run(Registration<Callback>& registration, Arguments... arguments);

    std::mutex _mutex;
    std::condition_variable _returned;
    Registration<MtpEventCallback> _plain;
    Registration<MtpEventCallbackEx> _extended;
};

} // namespace mtpsdk
