// SPDX-License-Identifier: MIT
#pragma once

#include "platform/Value.h"

#include <memory>
#include <optional>
#include <string>
#include <vector>

class MtpControl;
struct _MTP_DEVICE_NODE;

/// The service's callbacks as they are registered with the MTP library, and what their contexts need to stay valid.
/// Its fields are guarded by MtpControl's monitor, which the methods take themselves.
class EventRegistration {
public:
    /// Registers NotifyCallback with the location ID's text and NotifyCallbackEx with `exContext`. Another device's
    /// registration is withdrawn first, so do not hold a monitor. True when at least one of the two succeeded.
    bool registerWith(MtpControl& control, _MTP_DEVICE_NODE* device, const std::string& locationID, void* exContext);
    /// Withdraws both callbacks and waits for a call of them that is under way; do not hold a monitor.
    void withdraw(MtpControl& control);

private:
    _MTP_DEVICE_NODE* _device = nullptr;
    /// Contexts of NotifyCallback. The library may hold any of them until the callback is withdrawn.
    std::vector<std::unique_ptr<std::string>> _locationTexts;
};
