// SPDX-License-Identifier: MIT
#include "device/MTPService/MTPControl.h"
#include "platform/Log.h"
#include "vemomtpsdk/Functions.h"

namespace {

/// Folder and file lists end with DGSTATUS_NO_MORE_DATA; for devices and storages only 0 is a success.
bool isListSuccess(DGSTATUS status) {
    return status == DGSTATUS_SUCCESS || status == DGSTATUS_NO_MORE_DATA;
}

template <typename Node>
Node* found(Node** out) {
    return out == nullptr ? nullptr : *out;
}

} // namespace

DGSTATUS MtpControl::getMTPDeviceHead(_MTP_DEVICE_NODE** device) {
    const DGSTATUS status = mtpGetConnectedDeviceListHead(device);
    if (status != DGSTATUS_SUCCESS) {
        QD_LOG(3, "mtpGetConnectedDeviceListHead is faild. status = %@", statusString(status));
        if (device != nullptr) {
            *device = nullptr;
        }
        return status;
    }
    logMTPDeviceNode(found(device));
    return status;
}

DGSTATUS MtpControl::getMTPNextDevice(_MTP_DEVICE_NODE* device, _MTP_DEVICE_NODE** next) {
    if (device == nullptr) {
        QD_LOG(3, "Current Device Node is NULL. status = %@", statusString(DGSTATUS_UNSUCCESSFUL));
        return DGSTATUS_UNSUCCESSFUL;
    }
    const DGSTATUS status = mtpGetNextDevice(device, next);
    if (status != DGSTATUS_SUCCESS) {
        QD_LOG(3, "mtpGetNextDevice is failed. Current Device Node = %p, status = %@", device, statusString(status));
        return status;
    }
    logMTPDeviceNode(found(next));
    return status;
}

DGSTATUS MtpControl::getMTPStorageListHead(_MTP_DEVICE_NODE* device, _MTP_STORAGE_NODE** storage) {
    if (device == nullptr) {
        const DGSTATUS headStatus = getMTPDeviceHead(&device);
        if (headStatus != DGSTATUS_SUCCESS) {
            return headStatus;
        }
    }
    const DGSTATUS status = mtpGetStorageListHead(device, storage);
    if (status != DGSTATUS_SUCCESS) {
        QD_LOG(3, "mtpGetStorageListHead is failed. Current Device Node = %p, status = %@", device,
               statusString(status));
        return status;
    }
    logMTPStorageNode(found(storage));
    return status;
}

DGSTATUS MtpControl::getMTPNextStorage(_MTP_STORAGE_NODE* storage, _MTP_STORAGE_NODE** next) {
    if (storage == nullptr) {
        QD_LOG(3, "Current Storage List is NULL.");
        return DGSTATUS_UNSUCCESSFUL;
    }
    const DGSTATUS status = mtpGetNextStorageNode(storage, next);
    if (status != DGSTATUS_SUCCESS) {
        QD_LOG(3, "mtpGetNextStorageNode is failed. Current Storage Node = %p, status = %@", storage,
               statusString(status));
        return status;
    }
    logMTPStorageNode(found(next));
    return status;
}

DGSTATUS MtpControl::getMTPFolderListHead(_MTP_FOLDER_NODE* parent, _MTP_STORAGE_NODE* atStorage,
                                          _MTP_FOLDER_NODE** child, MtpProgressCallback callback, void* context) {
    // The library takes the storage first.
    const DGSTATUS status = mtpGetFolderListHead(atStorage, parent, child, callback, context);
    if (!isListSuccess(status)) {
        QD_LOG(3, "mtpGetFolderListHead is failed. Current Folder Node = %p, status = %@", parent,
               statusString(status));
    } else if (found(child) == nullptr) {
        QD_LOG(6, "Child node is NULL. Current Folder Node = %p, status = %@", parent, statusString(status));
    } else {
        logMTPFolderNode(*child);
    }
    return status;
}

DGSTATUS MtpControl::getMTPNextFolder(_MTP_FOLDER_NODE* folder, _MTP_FOLDER_NODE** next) {
    const DGSTATUS status = mtpGetNextSiblingFolderNode(folder, next);
    if (!isListSuccess(status)) {
        QD_LOG(3, "mtpGetNextSiblingFolderNode is failed. Current Folder Node = %p, status = %@", folder,
               statusString(status));
    } else if (found(next) == nullptr) {
        QD_LOG(6, "Next folder node is NULL. Current Folder Node = %p, status = %@", folder, statusString(status));
    } else {
        logMTPFolderNode(*next);
    }
    return status;
}

DGSTATUS MtpControl::getMTPFileListHead(_MTP_COMMON_NODE* parent, _MTP_FILE_NODE** head, MtpProgressCallback callback,
                                        void* context) {
    const DGSTATUS status = mtpGetFileListHead(parent, head, callback, context);
    if (!isListSuccess(status)) {
        QD_LOG(3, "mtpGetFileListHead is failed. Common Node = %p, status = %@", parent, statusString(status));
    } else if (found(head) == nullptr) {
        QD_LOG(6, "child file node head is NULL. Common Node = %p, status = %@", parent, statusString(status));
    } else {
        logMTPFileNode(*head);
    }
    return status;
}

DGSTATUS MtpControl::getMTPNextFile(_MTP_FILE_NODE* file, _MTP_FILE_NODE** next) {
    const DGSTATUS status = mtpGetNextFileNode(file, next);
    if (!isListSuccess(status)) {
        QD_LOG(3, "mtpGetNextFileNode is failed. Current File Node = %p, status = %@", file, statusString(status));
    } else if (found(next) == nullptr) {
        QD_LOG(6, "Next File Node is NULL. Current File Node = %p, status = %@", file, statusString(status));
    } else {
        logMTPFileNode(*next);
    }
    return status;
}

DGSTATUS MtpControl::getMTPMediaFileInfo(_MTP_FILE_NODE* file, _MTP_MEDIA_FILE_INFO** media) {
    const DGSTATUS status = mtpGetMediaFileInfo(file, media);
    if (status != DGSTATUS_SUCCESS) {
        QD_LOG(3, "mtpGetMediaFileInfo is failed. Current File Node = %p. status = %@", file, statusString(status));
        return status;
    }
    logMTPMediaFileInfoNode(found(media));
    return status;
}

DGSTATUS MtpControl::setMTPMediaFileInfo(_MTP_FILE_NODE* file, _MTP_MEDIA_FILE_INFO* media) {
    const DGSTATUS status = mtpSetMediaFileInfo(file, media);
    if (status != DGSTATUS_SUCCESS) {
        QD_LOG(3, "mtpSetMediaFileInfo is failed. Current File Node = %p, status = %@", file, statusString(status));
    }
    return status;
}

DGSTATUS MtpControl::getMTPHiddenStorage(_MTP_DEVICE_NODE* device, std::uint32_t storageID,
                                         _MTP_STORAGE_NODE** storageNode) {
    if (device == nullptr || storageID == 0) {
        QD_LOG(3, "Input Parameter is invalid. current Device = %p, storageID = 0x%08x", device, storageID);
        return DGSTATUS_INVALID_PARAMETER;
    }
    const DGSTATUS status = mtpGetHiddenStorage(device, storageID, storageNode);
    if (status != DGSTATUS_SUCCESS) {
        QD_LOG(3, "mtpGetHiddenStorage is failed. status = %@", statusString(status));
        return status;
    }
    logMTPStorageNode(found(storageNode));
    return status;
}

void MtpControl::releaseMTPDeviceList(_MTP_DEVICE_NODE* head) {
    if (head != nullptr) {
        QD_LOG(7, "Release Device Node");
        mtpReleaseDeviceList(head);
    }
}

void MtpControl::releaseMTPStorageList(_MTP_STORAGE_NODE* head) {
    if (head != nullptr) {
        mtpReleaseStorageList(head);
    }
}

void MtpControl::releaseMTPFolderList(_MTP_FOLDER_NODE* head) {
    if (head != nullptr) {
        mtpReleaseFolderList(head);
    }
}

void MtpControl::releaseMTPFileList(_MTP_FILE_NODE* head) {
    if (head != nullptr) {
        mtpReleaseFileList(head);
    }
}

void MtpControl::releaseMTPMediaFileInfo(_MTP_MEDIA_FILE_INFO*& media) {
    if (media != nullptr) {
        mtpReleaseMediaFileInfo(&media);
    }
}
