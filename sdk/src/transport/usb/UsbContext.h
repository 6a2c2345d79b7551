// SPDX-License-Identifier: MIT
#pragma once

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <functional>
#include <memory>
#include <mutex>
#include <thread>

struct libusb_context;

namespace mtpsdk {

/// One look at the USB system: the devices that are attached when it is made, and, once started, the thread on which
/// the transfers of a device opened through it complete while nobody waits for one. Each opened device has its own, so
/// that none waits for another's callbacks, and a system without a running device manager shows new devices too.
class UsbContext {
public:
    /// Null where there is no USB at all.
    [[nodiscard]] static std::shared_ptr<UsbContext> make();
    /// Every handle and transfer of the context has to be gone.
    ~UsbContext();
    UsbContext(const UsbContext&) = delete;
    UsbContext& operator=(const UsbContext&) = delete;

    [[nodiscard]] libusb_context* get() const { return _context; }
    void startEvents();
    /// Waits until `done`, which a transfer's callback brings about, for as long as `patience`; answers done. The
    /// callbacks run on the calling thread meanwhile: to be woken by another one costs more than most transfers take.
    /// Any thread, but no callback; `done` is cheap, and may take locks that callbacks take.
    [[nodiscard]] bool wait(const std::function<bool()>& done, std::chrono::milliseconds patience);

private:
    class Turn;
    explicit UsbContext(libusb_context* context)
        : _context(context) {}
    void handleEvents();

    libusb_context* _context;
    std::thread _thread;

    std::mutex _mutex; ///< of what follows; a leaf
    std::condition_variable _changed;
    bool _stopping = false;
    bool _handling = false; ///< the thread has the events
    int _waiting = 0;       ///< threads in wait()
    unsigned _waits = 0;    ///< so far
};

} // namespace mtpsdk
