// SPDX-License-Identifier: MIT
#include "device/MTPService/MTPControl.h"

#include "device/MTPService/MTPControlRecords.h"
#include "platform/Strings.h"
#include "vemomtpsdk/Functions.h"

platform::Monitor& MtpControl::classMonitor() {
    // Never destroyed: threads of the library or of the service may still use it while the process ends.
    static auto* const monitor = new platform::Monitor;
    return *monitor;
}

std::string MtpControl::nodeIDText(const void* node) {
    return platform::upperHex(mtpNodeHandle(node));
}

_MTP_COMMON_NODE* MtpControl::nodeFromText(const NodeID& nodeID) {
    const std::uint32_t handle = nodeID ? platform::hexValue(*nodeID) : 0;
    return handle == 0 ? nullptr : mtpNodeFromHandle(handle);
}

MtpControl::MtpControl() {
    QD_LOG(6, "ENTER");
    QD_LOG(6, "EXIT");
}

MtpControl::~MtpControl() {
    QD_LOG(6, "ENTER");
    _deviceConnected = false;
    _folderNode.clear();
    QD_LOG(6, "EXIT");
}

bool MtpControl::deviceConnected() const {
    return _deviceConnected;
}

void MtpControl::setDeviceConnected(bool connected) {
    _deviceConnected = connected;
}

void MtpControl::InitializeNodeDic() {
    QD_LOG(7, "ENTER");
    _folderNode.clear();
    QD_LOG(7, "EXIT");
}

_MTP_DEVICE_NODE* MtpControl::deviceWithLocationId(_MTP_DEVICE_NODE* deviceHead, std::uint32_t locationId) {
    if (deviceHead == nullptr) {
        QD_LOG(6, "Device Node Head is NULL. getMTPDeviceHead calling.");
        if (getMTPDeviceHead(&deviceHead) != DGSTATUS_SUCCESS) {
            return nullptr;
        }
    }
    return mtpcontrol::findNode(
        deviceHead,
        [this](_MTP_DEVICE_NODE* device, _MTP_DEVICE_NODE** next) { return getMTPNextDevice(device, next); },
        [locationId](const _MTP_DEVICE_NODE& device) { return device.header.LocationId == locationId; });
}

DGSTATUS MtpControl::refreshMtpDeviceList() {
    const DGSTATUS status = mtpRefreshDeviceList();
    if (status != DGSTATUS_SUCCESS) {
        QD_LOG(3, "mtpRefreshDeviceList is fail");
    }
    return status;
}

DGSTATUS MtpControl::registerMtpRequestEventNotify(_MTP_DEVICE_NODE* device, MtpEventCallback callback, void* context) {
    if (device == nullptr) {
        return DGSTATUS_UNSUCCESSFUL;
    }
    const DGSTATUS status = mtpRequestEventNotify(device, callback, context);
    if (status != DGSTATUS_SUCCESS) {
        QD_LOG(3, "mtpRequestEventNotify is error. status = %@", statusString(status));
    }
    return status;
}

DGSTATUS MtpControl::registerMtpRequestEventNotifyEx(_MTP_DEVICE_NODE* device, MtpEventCallbackEx callback,
                                                     void* context) {
    if (device == nullptr) {
        return DGSTATUS_UNSUCCESSFUL;
    }
    const DGSTATUS status = mtpRequestEventNotifyEx(device, callback, context);
    if (status != DGSTATUS_SUCCESS) {
        QD_LOG(3, "mtpRequestEventNotifyEx is error. status = %@", statusString(status));
    }
    return status;
}

DGSTATUS MtpControl::getMTPOperationNotify(void* handle, _MTP_COMMON_NODE** parent, _MTP_COMMON_NODE** updated) {
    if (handle == nullptr) {
        return DGSTATUS_SUCCESS; // an event without a handle changes nothing in the tree
    }
    const DGSTATUS status = mtpApplyOperationNotification(handle, parent, updated);
    if (status != DGSTATUS_SUCCESS) {
        QD_LOG(3, "mtpApplyOperationNotification is error. status = %@", statusString(status));
    }
    return status;
}

// The place to print nodes while hunting a fault in a device; nothing is printed otherwise.
void MtpControl::logMTPDeviceNode(const _MTP_DEVICE_NODE* /*node*/) const {}
void MtpControl::logMTPStorageNode(const _MTP_STORAGE_NODE* /*node*/) const {}
void MtpControl::logMTPFolderNode(const _MTP_FOLDER_NODE* /*node*/) const {}
void MtpControl::logMTPFileNode(const _MTP_FILE_NODE* /*node*/) const {}
void MtpControl::logMTPMediaFileInfoNode(const _MTP_MEDIA_FILE_INFO* /*node*/) const {}
void MtpControl::logMTPPlaylistNode(const _MTP_PLAYLIST_NODE* /*node*/) const {}
