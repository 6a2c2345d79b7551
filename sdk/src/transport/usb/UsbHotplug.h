// SPDX-License-Identifier: MIT
#pragma once

#include "transport/usb/UsbContext.h"

#include <functional>
#include <memory>

namespace mtpsdk {

/// Tells when a device of any kind comes or goes on the USB buses, for as long as it lives.
class UsbHotplug {
public:
    /// `changed` runs on the thread of a context of its own, and must not wait. Null where the system does not tell.
    [[nodiscard]] static std::shared_ptr<UsbHotplug> make(std::function<void()> changed);
    ~UsbHotplug();
    UsbHotplug(const UsbHotplug&) = delete;
    UsbHotplug& operator=(const UsbHotplug&) = delete;

private:
    struct Callback;
    UsbHotplug(std::shared_ptr<UsbContext> context, std::function<void()> changed)
        : _changed(std::move(changed))
        , _context(std::move(context)) {}

    const std::function<void()> _changed;
    const std::shared_ptr<UsbContext> _context; ///< the first to go: its thread, which ends then, may be calling
    int _registration = 0;
};

} // namespace mtpsdk
