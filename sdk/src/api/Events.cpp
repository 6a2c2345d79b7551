// SPDX-License-Identifier: MIT
#include "api/Guard.h"
#include "tree/DeviceCall.h"
#include "tree/DeviceList.h"
#include "vemomtpsdk/Functions.h"

using namespace mtpsdk;

namespace {

/// Registering opens the device, which raises no events before; withdrawing works whatever became of it. The device's
/// lock is not held while a callback under way is waited for, since that callback may need it.
template <typename Register>
DGSTATUS registerCallback(_MTP_DEVICE_NODE* device, bool withdraw, const Register& change) {
    if (device == nullptr) {
        return DGSTATUS_INVALID_PARAMETER;
    }
    return guarded([&]() -> DGSTATUS {
        const std::shared_ptr<Device> found = DeviceList::shared().deviceOf(device);
        if (found == nullptr || found->node() != device) {
            return found == nullptr ? DGSTATUS_NODE_IS_NOT_EXISTED : DGSTATUS_INVALID_SIGNATURE;
        }
        if (!withdraw) {
            const DeviceCall call(device, DeviceCall::Records::left);
            if (!call) {
                return call.status();
            }
        }
        change(found->callbacks());
        return DGSTATUS_SUCCESS;
    });
}

} // namespace

DGSTATUS mtpRequestEventNotify(_MTP_DEVICE_NODE* device, MtpEventCallback callback, void* context) {
    return registerCallback(device, callback == nullptr,
                            [&](EventCallbacks& callbacks) { callbacks.set(callback, context); });
}

DGSTATUS mtpRequestEventNotifyEx(_MTP_DEVICE_NODE* device, MtpEventCallbackEx callback, void* context) {
    return registerCallback(device, callback == nullptr,
                            [&](EventCallbacks& callbacks) { callbacks.setEx(callback, context); });
}

DGSTATUS mtpApplyOperationNotification(void* handle, _MTP_COMMON_NODE** parent, _MTP_COMMON_NODE** updated) {
    if (!clear(parent) || !clear(updated)) {
        return DGSTATUS_INVALID_PARAMETER;
    }
    return guarded([&]() -> DGSTATUS {
        const DeviceCall call(DeviceCall::OfEvent{handle});
        if (!call) {
            return call.status();
        }
        NodeIndex above = 0;
        NodeIndex added = 0;
        const DGSTATUS status = call.device().applyAnnounced(above, added);
        *parent = call.tree().record<_MTP_COMMON_NODE>(above);
        *updated = call.tree().record<_MTP_COMMON_NODE>(added);
        return status;
    });
}
