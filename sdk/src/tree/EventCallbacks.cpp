// SPDX-License-Identifier: MIT
#include "tree/EventCallbacks.h"

namespace mtpsdk {

template <typename Callback>
void EventCallbacks::replace(Registration<Callback>& registration, Callback callback, void* context) {
    std::unique_lock lock(_mutex);
    registration.callback = callback;
    registration.context = context;
    if (callback != nullptr) {
        return;
    }
    _returned.wait(lock, [&] {
        return registration.caller == std::thread::id() || registration.caller == std::this_thread::get_id();
    });
}

template <typename Callback, typename... Arguments>
void EventCallbacks::run(Registration<Callback>& registration, Arguments... arguments) {
    std::unique_lock lock(_mutex);
    const Callback callback = registration.callback;
    void* const context = registration.context;
    if (callback == nullptr) {
        return;
    }
    registration.caller = std::this_thread::get_id();
    lock.unlock();
    callback(arguments..., context);
    lock.lock();
    registration.caller = {};
    _returned.notify_all();
}

void EventCallbacks::set(MtpEventCallback callback, void* context) {
    replace(_plain, callback, context);
}

void EventCallbacks::setEx(MtpEventCallbackEx callback, void* context) {
    replace(_extended, callback, context);
}

void EventCallbacks::call(std::uint32_t eventCode) {
    run(_plain, eventCode);
}

void EventCallbacks::callEx(std::uint32_t eventCode, _MTP_COMMON_NODE* target, void* handle) {
    run(_extended, eventCode, target, handle);
}

} // namespace mtpsdk
