// SPDX-License-Identifier: MIT
#include "device/MTPService/MTPServicePrivate.h"

#include "device/MTPService/MethodTrace.h"
#include "platform/Log.h"

using platform::Synchronized;

namespace {

enum EventCode : std::uint32_t {
    EVENTCODE_OBJECTADDED = 0x4002,
    EVENTCODE_OBJECTREMOVED = 0x4003,
    EVENTCODE_STOREADDED = 0x4004,
    EVENTCODE_STOREREMOVED = 0x4005,
    EVENTCODE_DEVICERESET = 0x400B,
};

/// The parent of an object that came or went is a storage or a folder.
void checkParent(const _MTP_COMMON_NODE* parent) {
    if (parent == nullptr) {
        QD_LOG(3, "Parent Node is nil");
    } else if (parent->Signature != MTP_SIGNATURE_STORAGE && parent->Signature != MTP_SIGNATURE_FOLDER) {
        QD_LOG(3, "Invalid Parent Node Signature : 0x%0x", parent->Signature);
    }
}

} // namespace

std::int32_t MTPServicePrivate::processCallbackEvent(std::uint32_t eventCode, _MTP_COMMON_NODE* targetNode,
                                                     void* handle) {
    const MethodTrace trace(7);
    const Synchronized library(MtpControl::classMonitor());
    const std::int32_t signature = targetNode == nullptr ? 0 : targetNode->Signature;
    switch (eventCode) {
    case EVENTCODE_OBJECTADDED:
        QD_LOG(7, "EVENTCODE_OBJECTADDED. Signature : %d", signature);
        return objectAdded(handle);
    case EVENTCODE_OBJECTREMOVED:
        QD_LOG(7, "EVENTCODE_OBJECTREMOVED. Signature : %d", signature);
        return objectRemoved(targetNode, handle);
    case EVENTCODE_STOREADDED:
        QD_LOG(7, "EVENTCODE_STOREADDED. Signature : %d", signature);
        return DGSTATUS_SUCCESS;
    case EVENTCODE_STOREREMOVED:
        QD_LOG(7, "EVENTCODE_STOREREMOVED. Signature : %d", signature);
        return deviceReset(handle);
    case EVENTCODE_DEVICERESET:
        QD_LOG(7, "EVENTCODE_DEVICERESET. Signature : %d", signature);
        return deviceReset(handle);
    default:
        QD_LOG(7, "Invalid Event Code : 0x%0x", eventCode);
        return DGSTATUS_SUCCESS;
    }
}

DGSTATUS MTPServicePrivate::objectAdded(void* handle) {
    _MTP_COMMON_NODE* parent = nullptr;
    _MTP_COMMON_NODE* updated = nullptr;
    const DGSTATUS status = _mtpControl->getMTPOperationNotify(handle, &parent, &updated);
    if (status != DGSTATUS_SUCCESS) {
        return status;
    }
    checkParent(parent);
    if (updated == nullptr) {
        QD_LOG(3, "Updated Node is nil");
    } else if (updated->Signature != MTP_SIGNATURE_FOLDER && updated->Signature != MTP_SIGNATURE_FILE) {
        QD_LOG(3, "Invalid Updated Node Signature : 0x%0x", updated->Signature);
    }
    return status;
}

DGSTATUS MTPServicePrivate::objectRemoved(const _MTP_COMMON_NODE* target, void* handle) {
    if (target == nullptr) {
        QD_LOG(3, "Target Node is nil");
        return DGSTATUS_SUCCESS;
    }
    _MTP_COMMON_NODE* parent = nullptr;
    _MTP_COMMON_NODE* updated = nullptr;
    const DGSTATUS status = _mtpControl->getMTPOperationNotify(handle, &parent, &updated);
    if (status == DGSTATUS_SUCCESS) {
        checkParent(parent);
        if (updated != nullptr) {
            QD_LOG(3, "Updated Node is not nil. Updated Node must nil");
        }
    }
    return status;
}

DGSTATUS MTPServicePrivate::deviceReset(void* handle) {
    _MTP_COMMON_NODE* parent = nullptr;
    _MTP_COMMON_NODE* updated = nullptr;
    DGSTATUS status = _mtpControl->getMTPOperationNotify(handle, &parent, &updated);
    if (status != DGSTATUS_SUCCESS) {
        return status;
    }
    status = fetchStorageList();
    if (status != DGSTATUS_SUCCESS) {
        QD_LOG(3, "getMTPStorageListHead is failed.");
        return status;
    }
    _mediaContentInfoLists.with([](ContentIndex& index) {
        if (index) {
            index->clear();
        }
    });
    _mtpControl->InitializeNodeDic();
    return status;
}
