// SPDX-License-Identifier: MIT
#include "device/MTPService/MTPServicePrivate.h"

#include "device/MTPService/MethodTrace.h"
#include "platform/Log.h"
#include "platform/Strings.h"

#include <chrono>

using platform::Synchronized;

platform::Monitor& MTPServicePrivate::classMonitor() {
    static auto& monitor = *new platform::Monitor(); // outlives threads that still run at the process's end
    return monitor;
}

MTPServicePrivate::MTPServicePrivate()
    : _mtpControl(std::make_unique<MtpControl>()) {}

MTPServicePrivate::~MTPServicePrivate() = default;

void MTPServicePrivate::init() {
    const MethodTrace trace(6);
    _storageLists.set(StorageTable(std::in_place));
    _mediaContentInfoLists.set(ContentIndex(std::in_place));
    _hiddenVolumeLists.set(platform::Dictionary());
    startWorker();
    const Synchronized library(MtpControl::classMonitor());
    if (!fetchDeviceList()) {
        QD_LOG(3, "getMTPDeviceHead is failed.");
    }
    QD_LOG(7, "Device Node Head = %p", static_cast<const void*>(_deviceHeadNode.load()));
}

void MTPServicePrivate::initWithLocationID(const Text& locationID) {
    const MethodTrace trace(6);
    if (locationID) {
        _currentLocationID.set(locationID);
    }
    startWorker();
    const Synchronized library(MtpControl::classMonitor());
    if (!fetchDeviceList()) {
        QD_LOG(3, "getMTPDeviceHead is failed.");
    }
    QD_LOG(6, "_deviceHeadNode = (%p)", static_cast<const void*>(_deviceHeadNode.load()));
    _currentDeviceNode = _mtpControl->deviceWithLocationId(_deviceHeadNode.load(), locationNumber());
}

// The waiting below must not happen on a thread that the job itself waits for: the worker (the object goes away in one
// of its own job's notifications), or a thread inside a monitor (in a notification of another service). The rest is
// then done by a thread of its own, which keeps this object alive meanwhile.
void MTPServicePrivate::tearDown() {
    const MethodTrace trace(6);
    {
        const std::scoped_lock lock(_syncMutex);
        _endWorker = true;
    }
    if (mayWaitForJob()) {
        stop();
    } else {
        std::thread([self = shared_from_this()] { self->stop(); }).detach();
    }
}

bool MTPServicePrivate::mayWaitForJob() const {
    return std::this_thread::get_id() != _workerID.load() && !classMonitor().heldByCurrentThread() &&
           !MtpControl::classMonitor().heldByCurrentThread();
}

void MTPServicePrivate::stop() {
    _eventRegistration.withdraw(*_mtpControl);
    {
        const Synchronized section(classMonitor());
        cancelQueuedRequests();
        _cancelServiceId.set({});
        signalWorker();
    }
    // Outside the monitor: the running job may need it, in an observer that asks the service something.
    waitWhileTransferring();
    _worker.join();
    const Synchronized library(MtpControl::classMonitor());
    releaseLists();
    forgetTables();
}

void MTPServicePrivate::releaseLists() {
    _mtpControl->releaseMTPStorageList(_storageHeadNode);
    _storageHeadNode = nullptr;
    if (_bReleaseDeviceList.load() == 1) {
        _mtpControl->releaseMTPDeviceList(_deviceHeadNode.exchange(nullptr));
        _currentDeviceNode = nullptr;
        _bReleaseDeviceList = 0;
    }
}

void MTPServicePrivate::forgetTables() {
    _storageLists.set(std::nullopt);
    _modelName.set(std::nullopt);
    _mediaContentInfoLists.set(std::nullopt);
    _hiddenVolumeLists.set(std::nullopt);
    _currentLocationID.set(std::nullopt);
}

void MTPServicePrivate::beginTransfer() {
    _FileTransferStatus.store(2, std::memory_order_relaxed);
}

void MTPServicePrivate::endTransfer() {
    const std::scoped_lock lock(_statusMutex);
    _FileTransferStatus.store(4, std::memory_order_relaxed);
    _statusChanged.notify_all();
}

bool MTPServicePrivate::isTransferring() const {
    return _FileTransferStatus.load(std::memory_order_relaxed) == 2;
}

void MTPServicePrivate::waitWhileTransferring() {
    std::unique_lock lock(_statusMutex);
    while (isTransferring()) {
        _statusChanged.wait_for(lock, std::chrono::seconds(1));
    }
}

bool MTPServicePrivate::fetchDeviceList() {
    if (_deviceHeadNode.load() != nullptr) {
        return true;
    }
    _MTP_DEVICE_NODE* head = nullptr;
    const DGSTATUS status = _mtpControl->getMTPDeviceHead(&head);
    _deviceHeadNode = head;
    return status == DGSTATUS_SUCCESS;
}

// Fetching adds a reference to the library's list. The one held before goes back afterwards, so that nodes which both
// lists share never die in between.
DGSTATUS MTPServicePrivate::fetchStorageList() {
    _MTP_STORAGE_NODE* fetched = nullptr;
    const DGSTATUS status = _mtpControl->getMTPStorageListHead(_currentDeviceNode, &fetched);
    _MTP_STORAGE_NODE* const held = _storageHeadNode;
    _storageHeadNode = status == DGSTATUS_SUCCESS ? fetched : nullptr;
    _mtpControl->releaseMTPStorageList(held);
    return status;
}

std::uint32_t MTPServicePrivate::locationNumber() const {
    return platform::hexValue(_currentLocationID.get().value_or(""));
}
