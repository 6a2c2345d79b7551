// SPDX-License-Identifier: MIT
#include "api/Guard.h"
#include "tree/DeviceCall.h"
#include "tree/DeviceList.h"
#include "vemomtpsdk/Functions.h"

using namespace mtpsdk;

namespace {

/// Whether a node lives. A file that was listed by name alone may be read from now on, so its record is completed.
DGSTATUS statusOfHandle(const _MTP_COMMON_NODE* node) {
    const std::shared_ptr<Device> device = DeviceList::shared().deviceOf(node);
    if (device == nullptr) {
        return DGSTATUS_NODE_IS_NOT_EXISTED;
    }
    if (device->listedNames()) {
        const DeviceCall call(node, {NodeKind::file});
        if (call && call.device().complete(call.node()) == DGSTATUS_NODE_IS_NOT_EXISTED) {
            return DGSTATUS_NODE_IS_NOT_EXISTED;
        }
    }
    return DGSTATUS_SUCCESS;
}

} // namespace

DGSTATUS mtpGetConnectedDeviceListHead(_MTP_DEVICE_NODE** head) {
    return clear(head) ? guarded([&]() -> DGSTATUS { return DeviceList::shared().head(head); })
                       : DGSTATUS_INVALID_PARAMETER;
}

DGSTATUS mtpGetNextDevice(_MTP_DEVICE_NODE* device, _MTP_DEVICE_NODE** next) {
    if (!clear(next) || device == nullptr) {
        return DGSTATUS_INVALID_PARAMETER;
    }
    return guarded([&]() -> DGSTATUS { return DeviceList::shared().next(device, next); });
}

DGSTATUS mtpReleaseDeviceList(_MTP_DEVICE_NODE* head) {
    return head == nullptr ? DGSTATUS_INVALID_PARAMETER
                           : guarded([&]() -> DGSTATUS { return DeviceList::shared().release(head); });
}

DGSTATUS mtpRefreshDeviceList(void) {
    return guarded([]() -> DGSTATUS {
        DeviceList::shared().refresh();
        return DGSTATUS_SUCCESS;
    });
}

std::uint8_t libIsExist(const _MTP_COMMON_NODE* node, std::int32_t signature) {
    const _MTP_COMMON_NODE* live = mtpNodeFromHandle(mtpNodeHandle(node));
    return live != nullptr && live == node && live->Signature == signature ? 1 : 0;
}

_MTP_COMMON_NODE* mtpNodeFromHandle(std::uint32_t handle) {
    auto* node = reinterpret_cast<_MTP_COMMON_NODE*>(mtpRecordMemoryBase() + handle);
    const bool exists = handle != 0 && guarded([&] { return statusOfHandle(node); }) == DGSTATUS_SUCCESS;
    return exists ? node : nullptr;
}
