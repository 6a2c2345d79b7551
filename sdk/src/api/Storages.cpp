// SPDX-License-Identifier: MIT
#include "api/Guard.h"
#include "tree/DeviceCall.h"
#include "vemomtpsdk/Functions.h"

using namespace mtpsdk;

DGSTATUS mtpGetStorageListHead(_MTP_DEVICE_NODE* device, _MTP_STORAGE_NODE** head) {
    if (!clear(head)) {
        return DGSTATUS_INVALID_PARAMETER;
    }
    return guarded([&]() -> DGSTATUS {
        const DeviceCall call(device);
        NodeIndex first = 0;
        const DGSTATUS status = call ? call.device().openStorageList(first) : call.status();
        if (status == DGSTATUS_SUCCESS) {
            *head = call.tree().record<_MTP_STORAGE_NODE>(first);
        }
        return status;
    });
}

DGSTATUS mtpGetNextStorageNode(_MTP_STORAGE_NODE* storage, _MTP_STORAGE_NODE** next) {
    if (!clear(next)) {
        return DGSTATUS_INVALID_PARAMETER;
    }
    return guarded([&]() -> DGSTATUS {
        const DeviceCall call(storage, {NodeKind::storage});
        if (call) {
            *next = call.tree().record<_MTP_STORAGE_NODE>(call.device().nextStorage(call.node()));
        }
        return call.status();
    });
}

DGSTATUS mtpReleaseStorageList(_MTP_STORAGE_NODE* head) {
    return guarded([&]() -> DGSTATUS {
        if (const DeviceCall call(DeviceCall::OfLost{head}); call) {
            call.device().releaseStorageList();
            return DGSTATUS_SUCCESS;
        }
        const DeviceCall call(head, {NodeKind::storage});
        // The list of a device that is gone is given back all the same. A hidden storage belongs to no list.
        if (call.live() && !call.tree().at(call.node()).hidden) {
            call.device().releaseStorageList();
        }
        return call.live() ? DGSTATUS_SUCCESS : call.status();
    });
}

DGSTATUS mtpGetHiddenStorage(_MTP_DEVICE_NODE* device, std::uint32_t storageId, _MTP_STORAGE_NODE** storage) {
    if (!clear(storage) || storageId == 0) {
        return DGSTATUS_INVALID_PARAMETER;
    }
    return guarded([&]() -> DGSTATUS {
        const DeviceCall call(device);
        NodeIndex found = 0;
        const DGSTATUS status = call ? call.device().hiddenStorage(storageId, found) : call.status();
        if (status == DGSTATUS_SUCCESS) {
            *storage = call.tree().record<_MTP_STORAGE_NODE>(found);
        }
        return status;
    });
}
