// SPDX-License-Identifier: MIT
#include "device/MTPService/MTPControl.h"
#include "device/MTPService/MTPControlRecords.h"
#include "vemomtpsdk/Functions.h"

#include <algorithm>
#include <memory>
#include <new>

namespace {

using GetProperty = DGSTATUS (*)(_MTP_DEVICE_NODE*, std::uint16_t*, std::uint32_t*);

/// What one text property of the device adds to the common way of reading it.
struct ReadableProperty {
    GetProperty get;
    int failureLevel;
    const char* failure;
};

/// The second call, with a buffer of the size that the first one asked for.
DGSTATUS readIntoBuffer(const MtpControl& control, const ReadableProperty& property, _MTP_DEVICE_NODE* device,
                        std::uint32_t bytes, std::string& text) {
    const std::size_t capacity = (std::size_t{bytes} + 1) / 2;
    const std::unique_ptr<std::uint16_t[]> buffer(new (std::nothrow) std::uint16_t[capacity]());
    if (buffer == nullptr) {
        QD_LOG(3, "Memory allocate is failed. status = %@", control.statusString(DGSTATUS_MORE_DATA));
        return DGSTATUS_MORE_DATA;
    }
    const DGSTATUS status = property.get(device, buffer.get(), &bytes);
    if (status == DGSTATUS_SUCCESS) {
        // The size may have changed since; it counts the terminator, and more than there is room for is not read.
        const std::size_t units = std::min<std::size_t>(bytes / 2, capacity);
        text = mtpcontrol::textOf({buffer.get(), units == 0 ? 0 : units - 1});
    }
    return status;
}

DGSTATUS readProperty(const MtpControl& control, const ReadableProperty& property, _MTP_DEVICE_NODE* device,
                      std::string& text) {
    if (device == nullptr) {
        return DGSTATUS_UNSUCCESSFUL;
    }
    std::uint32_t bytes = 0;
    DGSTATUS status = property.get(device, nullptr, &bytes);
    if (status == DGSTATUS_MORE_DATA) {
        status = readIntoBuffer(control, property, device, bytes, text);
    }
    if (status != DGSTATUS_SUCCESS) {
        QD_LOG(property.failureLevel, property.failure, control.statusString(status));
    }
    return status;
}

} // namespace

DGSTATUS MtpControl::getMTPFriendlyName(_MTP_DEVICE_NODE* device, std::string& name) {
    return readProperty(*this, {mtpGetFriendlyName, 6, "Get MTP Friendly name is failed. status = %@"}, device, name);
}

DGSTATUS MtpControl::getMTPModelName(_MTP_DEVICE_NODE* device, std::string& name) {
    return readProperty(*this, {mtpGetModelName, 3, "Get MTP model Name is failed. status = %@"}, device, name);
}

DGSTATUS MtpControl::getMTPManufactureName(_MTP_DEVICE_NODE* device, std::string& name) {
    return readProperty(*this, {mtpGetManufacturerName, 3, "Get MTP Manufacture Name is failed. status = %@"}, device,
                        name);
}

DGSTATUS MtpControl::getMTPSerialNumber(_MTP_DEVICE_NODE* device, std::string& number) {
    return readProperty(*this, {mtpGetSerialNumber, 3, "Get MTP serial number is failed. status = %@"}, device, number);
}

DGSTATUS MtpControl::getMTPSyncPartner(_MTP_DEVICE_NODE* device, std::string& name) {
    return readProperty(*this, {mtpGetSyncpartner, 3, "Get MTP Sync Partner Name is failed. status = %@"}, device,
                        name);
}

DGSTATUS MtpControl::setMTPFriendlyName(_MTP_DEVICE_NODE* device, std::string_view name) {
    if (device == nullptr || name.empty()) {
        return DGSTATUS_UNSUCCESSFUL;
    }
    const auto text = mtpcontrol::CallText::make(name);
    if (!text) {
        QD_LOG(3, "Memory allocated is failed. status = %@", statusString(DGSTATUS_UNSUCCESSFUL));
        return DGSTATUS_UNSUCCESSFUL;
    }
    const DGSTATUS status = mtpSetFriendlyName(device, text->data(), text->bytes());
    if (status != DGSTATUS_SUCCESS) {
        QD_LOG(3, "Set Friendly Name is failed. current Device Node = (%p), status = %@", device, statusString(status));
    }
    return status;
}

DGSTATUS MtpControl::setMTPSyncPartner(_MTP_DEVICE_NODE* device, std::string_view name) {
    if (device == nullptr || name.empty()) {
        return DGSTATUS_UNSUCCESSFUL;
    }
    const auto text = mtpcontrol::CallText::make(name);
    if (!text) {
        QD_LOG(3, "Memory allocate is failed. status = %@", statusString(DGSTATUS_UNSUCCESSFUL));
        return DGSTATUS_UNSUCCESSFUL;
    }
    const DGSTATUS status = mtpSetSyncpartner(device, text->data(), text->bytes());
    if (status != DGSTATUS_SUCCESS) {
        QD_LOG(3, "Set syncPartner Name is failed. status = %@", statusString(status));
    }
    return status;
}

std::uint64_t MtpControl::maxCapacity(_MTP_DEVICE_NODE* device, _MTP_STORAGE_NODE* storageHead, const Text& name) {
    mtpcontrol::StorageHead head(*this, storageHead);
    const _MTP_STORAGE_NODE* storage = getStorageNode(device, head.address(), name);
    return storage == nullptr ? 0 : storage->MaxCapacity;
}

std::uint64_t MtpControl::freeSpace(_MTP_DEVICE_NODE* device, _MTP_STORAGE_NODE* storageHead, const Text& name) {
    mtpcontrol::StorageHead head(*this, storageHead);
    const _MTP_STORAGE_NODE* storage = getStorageNode(device, head.address(), name);
    if (storage == nullptr) {
        return 0;
    }
    const std::uint64_t capacity = storage->MaxCapacity;
    const std::uint64_t used = storage->UsedSize;
    // A device that claims more use than capacity has no room, rather than nearly endless room.
    return used > capacity ? 0 : capacity - used;
}

std::uint64_t MtpControl::storageSpace(_MTP_DEVICE_NODE* device, _MTP_STORAGE_NODE* storageHead, const Text& name,
                                       std::uint64_t* totalSpace) {
    mtpcontrol::StorageHead head(*this, storageHead);
    const _MTP_STORAGE_NODE* storage = getStorageNode(device, head.address(), name);
    if (storage == nullptr) {
        return 0;
    }
    if (totalSpace != nullptr) {
        *totalSpace = storage->MaxCapacity;
    }
    return storage->UsedSize;
}
