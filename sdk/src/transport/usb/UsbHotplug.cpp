// SPDX-License-Identifier: MIT
#include "transport/usb/UsbHotplug.h"

#include <libusb.h>

namespace mtpsdk {

struct UsbHotplug::Callback {
    static int LIBUSB_CALL run(libusb_context* /*context*/, libusb_device* /*device*/, libusb_hotplug_event /*event*/,
                               void* hotplug) {
        static_cast<UsbHotplug*>(hotplug)->_changed();
        constexpr int goOn = 0;
        return goOn;
    }
};

std::shared_ptr<UsbHotplug> UsbHotplug::make(std::function<void()> changed) {
    std::shared_ptr<UsbContext> context = UsbContext::make();
    if (!context || libusb_has_capability(LIBUSB_CAP_HAS_HOTPLUG) == 0) {
        return nullptr;
    }
    std::shared_ptr<UsbHotplug> hotplug(new UsbHotplug(std::move(context), std::move(changed)));
    libusb_context* const line = hotplug->_context->get();
    const int error = libusb_hotplug_register_callback(
        line, LIBUSB_HOTPLUG_EVENT_DEVICE_ARRIVED | LIBUSB_HOTPLUG_EVENT_DEVICE_LEFT, LIBUSB_HOTPLUG_NO_FLAGS,
        LIBUSB_HOTPLUG_MATCH_ANY, LIBUSB_HOTPLUG_MATCH_ANY, LIBUSB_HOTPLUG_MATCH_ANY, &Callback::run, hotplug.get(),
        &hotplug->_registration);
    if (error != LIBUSB_SUCCESS) {
        return nullptr;
    }
    hotplug->_context->startEvents();
    return hotplug;
}

UsbHotplug::~UsbHotplug() {
    if (_registration != 0) {
        libusb_hotplug_deregister_callback(_context->get(), _registration);
    }
}

} // namespace mtpsdk
