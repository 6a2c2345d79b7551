// SPDX-License-Identifier: MIT
#include "device/MTPService/MTPServicePrivate.h"

#include "device/MTPService/MethodTrace.h"
#include "platform/Log.h"
#include "platform/Strings.h"

using platform::Synchronized;

void MTPServicePrivate::setLocationID(const Text& locationID) {
    const MethodTrace trace(6);
    _currentLocationID.set(locationID);
    if (!locationID) {
        QD_LOG(3, "Invalid Parameter. locationId is nil");
        return;
    }
    QD_LOG(7, "_currentLocationID = %p", static_cast<const void*>(&*locationID));
    const Synchronized library(MtpControl::classMonitor());
    const Transferring transferring(*this);
    if (!fetchDeviceList()) {
        QD_LOG(3, "getMTPDeviceHead failed");
    }
    if (_deviceHeadNode.load() == nullptr) {
        return;
    }
    _currentDeviceNode = _mtpControl->deviceWithLocationId(_deviceHeadNode.load(), platform::hexValue(*locationID));
    QD_LOG(7, "current Device Node = %p", static_cast<const void*>(_currentDeviceNode));
    if (_currentDeviceNode != nullptr && fetchStorageList() != DGSTATUS_SUCCESS) {
        QD_LOG(3, "getMTPStorageListHead failed.");
    }
}

MTPServicePrivate::Text MTPServicePrivate::locationID() const {
    return _currentLocationID.get();
}

MTPServicePrivate::Text MTPServicePrivate::modelName() const {
    return _modelName.get();
}

std::uint8_t MTPServicePrivate::getReleaseState() const {
    return _releaseState.load(std::memory_order_relaxed);
}

bool MTPServicePrivate::isEnding() const {
    return getReleaseState() == 1 || _endWorker.load();
}

bool MTPServicePrivate::refreshDeviceList() {
    const MethodTrace trace(6);
    if (_deviceHeadNode.load() == nullptr) {
        QD_LOG(3, "Device Head Node is nil. Do not Refresh.");
        return false;
    }
    const Synchronized library(MtpControl::classMonitor());
    return _mtpControl->refreshMtpDeviceList() == DGSTATUS_SUCCESS;
}

void MTPServicePrivate::releaseDeviceHeadNode() {
    _bReleaseDeviceList = 1;
}

bool MTPServicePrivate::deviceNodeHeadExist() {
    if (_deviceHeadNode.load() != nullptr) {
        return true;
    }
    const Synchronized library(MtpControl::classMonitor());
    _MTP_DEVICE_NODE* probe = nullptr;
    const DGSTATUS status = _mtpControl->getMTPDeviceHead(&probe);
    _mtpControl->releaseMTPDeviceList(probe);
    return status == DGSTATUS_SUCCESS && probe != nullptr;
}

void MTPServicePrivate::disconnectDevice(const Text& locationID) {
    const MethodTrace trace(6);
    const Text current = _currentLocationID.get();
    if (locationID && current && platform::equalIgnoringCase(*locationID, *current)) {
        _mtpControl->setDeviceConnected(false);
        _releaseState.store(1, std::memory_order_relaxed);
    }
    // Called by the job itself (in one of its notifications), the wait could never end.
    if (mayWaitForJob()) {
        waitWhileTransferring();
    }
}

bool MTPServicePrivate::registerNotifyEvent(MTPService* service) {
    const MethodTrace trace(6);
    const std::string location = _currentLocationID.get().value_or("");
    _MTP_DEVICE_NODE* device = nullptr;
    {
        const Synchronized library(MtpControl::classMonitor());
        if (_currentDeviceNode == nullptr && _deviceHeadNode.load() != nullptr) {
            _currentDeviceNode = _mtpControl->deviceWithLocationId(_deviceHeadNode.load(), locationNumber());
        }
        device = _currentDeviceNode;
    }
    return device != nullptr && _eventRegistration.registerWith(*_mtpControl, device, location, service);
}

void MTPServicePrivate::setConfirmDelegate(const std::shared_ptr<VXDeviceConfirmDelegate>& delegate) {
    if (delegate != nullptr) {
        _confirmDelegate.set(delegate);
    }
}
