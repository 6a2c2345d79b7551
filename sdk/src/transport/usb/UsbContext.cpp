// SPDX-License-Identifier: MIT
#include "transport/usb/UsbContext.h"

#include "platform/Log.h"

#include <libusb.h>

namespace mtpsdk {
namespace {

using std::chrono::steady_clock;

/// How long the thread stays aside after a wait: the next one follows within a moment as a rule, and to take the events
/// back from the thread costs what waiting without it saves. An event of the device is late by as much at most.
constexpr auto aside = std::chrono::milliseconds(50);

timeval timevalOf(steady_clock::duration time) {
    const auto all = std::chrono::ceil<std::chrono::microseconds>(time);
    const auto seconds = std::chrono::floor<std::chrono::seconds>(all);
    return {seconds.count(), (all - seconds).count()};
}

/// Handles events for a while, or waits for the thread that does. Whether it is done is looked at where no callback can
/// come in between.
void handleOnce(libusb_context* context, const std::function<bool()>& done, timeval limit) {
    if (libusb_try_lock_events(context) == 0) {
        if (!done()) {
            (void) libusb_handle_events_locked(context, &limit);
        }
        libusb_unlock_events(context);
        return;
    }
    libusb_lock_event_waiters(context);
    if (libusb_event_handler_active(context) != 0 && !done()) {
        (void) libusb_wait_for_event(context, &limit);
    }
    libusb_unlock_event_waiters(context);
}

} // namespace

/// A thread that waits has the events to itself.
class UsbContext::Turn {
public:
    explicit Turn(UsbContext& context)
        : _owner(context) {
        const std::lock_guard lock(_owner._mutex);
        ++_owner._waiting;
        ++_owner._waits;
        if (_owner._handling) {
            libusb_interrupt_event_handler(_owner._context);
        }
    }
    ~Turn() {
        const std::lock_guard lock(_owner._mutex);
        --_owner._waiting;
    }
    Turn(const Turn&) = delete;
    Turn& operator=(const Turn&) = delete;

private:
    UsbContext& _owner;
};

std::shared_ptr<UsbContext> UsbContext::make() {
    libusb_context* context = nullptr;
    if (const int error = libusb_init(&context); error != LIBUSB_SUCCESS) {
        QD_LOG(5, "USB cannot be used: %@", libusb_strerror(error));
        return nullptr;
    }
    return std::shared_ptr<UsbContext>(new UsbContext(context));
}

UsbContext::~UsbContext() {
    if (_thread.joinable()) {
        {
            const std::lock_guard lock(_mutex);
            _stopping = true;
            _changed.notify_all();
        }
        libusb_interrupt_event_handler(_context);
        _thread.join();
    }
    libusb_exit(_context);
}

void UsbContext::startEvents() {
    if (!_thread.joinable()) {
        _thread = std::thread([this] { handleEvents(); });
    }
}

void UsbContext::handleEvents() {
    std::unique_lock lock(_mutex);
    for (unsigned seen = 0; !_stopping;) {
        if (_waiting > 0 || _waits != seen) {
            // Those who wait spend no time on telling this thread, or on looking at a clock for it.
            seen = _waits;
            _changed.wait_for(lock, aside);
            continue;
        }
        _handling = true;
        lock.unlock();
        (void) libusb_handle_events_completed(_context, nullptr);
        lock.lock();
        _handling = false;
    }
}

bool UsbContext::wait(const std::function<bool()>& done, std::chrono::milliseconds patience) {
    if (done()) {
        return true;
    }
    const Turn turn(*this);
    const auto end = steady_clock::now() + patience;
    for (steady_clock::duration left = patience; left > steady_clock::duration::zero();) {
        handleOnce(_context, done, timevalOf(left));
        if (done()) {
            return true;
        }
        left = end - steady_clock::now();
    }
    return false;
}

} // namespace mtpsdk
