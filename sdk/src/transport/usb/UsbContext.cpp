// SPDX-License-Identifier: MIT
#include "transport/usb/UsbContext.h"

#include "platform/Log.h"

#include <libusb.h>

namespace mtpsdk {

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
        _stopping = true;
        libusb_interrupt_event_handler(_context);
        _thread.join();
    }
    libusb_exit(_context);
}

void UsbContext::startEvents() {
    if (_thread.joinable()) {
        return;
    }
    _thread = std::thread([this] {
        while (!_stopping) {
            (void) libusb_handle_events_completed(_context, nullptr);
        }
    });
}

} // namespace mtpsdk
