// SPDX-License-Identifier: MIT
#pragma once

#include <atomic>
#include <memory>
#include <thread>

struct libusb_context;

namespace mtpsdk {

/// One look at the USB system: the devices that are attached when it is made, and, once started, the thread on which
/// the transfers of a device opened through it complete. Each opened device has its own, so that none waits for
/// another's callbacks, and a system without a running device manager shows new devices too.
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

private:
    explicit UsbContext(libusb_context* context)
        : _context(context) {}

    libusb_context* _context;
    std::atomic<bool> _stopping = false;
    std::thread _thread;
};

} // namespace mtpsdk
