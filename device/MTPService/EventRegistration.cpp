// SPDX-License-Identifier: MIT
#include "device/MTPService/EventRegistration.h"

#include "device/MTPService/MTPControl.h"
#include "device/MTPService/MTPService.h"

#include <utility>

using platform::Synchronized;

bool EventRegistration::registerWith(MtpControl& control, _MTP_DEVICE_NODE* device, const std::string& locationID,
                                     void* exContext) {
    bool otherDevice = false;
    {
        const Synchronized section(MtpControl::classMonitor());
        otherDevice = _device != nullptr && _device != device;
    }
    if (otherDevice) {
        withdraw(control);
    }
    const Synchronized section(MtpControl::classMonitor());
    if (_locationTexts.empty() || *_locationTexts.back() != locationID) {
        _locationTexts.push_back(std::make_unique<std::string>(locationID));
    }
    _device = device;
    const DGSTATUS plain =
        control.registerMtpRequestEventNotify(device, &NotifyCallback, _locationTexts.back()->data());
    const DGSTATUS extended = control.registerMtpRequestEventNotifyEx(device, &NotifyCallbackEx, exContext);
    return plain == DGSTATUS_SUCCESS || extended == DGSTATUS_SUCCESS;
}

void EventRegistration::withdraw(MtpControl& control) {
    _MTP_DEVICE_NODE* device = nullptr;
    std::vector<std::unique_ptr<std::string>> texts;
    {
        const Synchronized section(MtpControl::classMonitor());
        device = std::exchange(_device, nullptr);
        texts = std::exchange(_locationTexts, {});
    }
    if (device == nullptr) {
        return;
    }
    // Not inside the monitor: the library waits for a callback under way, and that one may wait for the monitor.
    control.registerMtpRequestEventNotify(device, nullptr, nullptr);
    control.registerMtpRequestEventNotifyEx(device, nullptr, nullptr);
}
