// SPDX-License-Identifier: MIT
#include "device/MTPService/MTPServicePrivate.h"

#include "device/MTPService/ApplicationCall.h"
#include "device/MTPService/MethodTrace.h"
#include "device/MTPService/ServiceSection.h"
#include "platform/Log.h"

#include <algorithm>

using platform::Synchronized;

void MTPServicePrivate::enqueue(std::unique_ptr<_serviceinfo> request, QueueLocking locking, Refusal refusal,
                                const Text& locationID) {
    if (acquireQueue(locking)) {
        if (getReleaseState() == 1) {
            _queueLock.unlock();
            if (refusal == Refusal::told) {
                refuse(request->serviceID, request->mediaType, locationID);
            }
            return;
        }
        ++_pendingCount;
        ++_queuedCount;
        _serviceItem.push_back(std::move(request));
        _queueLock.unlock();
    }
    signalWorker();
}

// A request that finds the queue busy is lost, and nothing tells so: a caller's thread never waits here. Only deletions
// wait. (The analysis of lock rules cannot follow the two ways.)
PLATFORM_ANNOTATION(no_thread_safety_analysis)
bool MTPServicePrivate::acquireQueue(QueueLocking locking) {
    if (locking == QueueLocking::wait) {
        _queueLock.lock();
        return true;
    }
    return tryQueueLock();
}

PLATFORM_ANNOTATION(no_thread_safety_analysis)
bool MTPServicePrivate::tryQueueLock() {
    return !_queueLock.heldByCurrentThread() && _queueLock.try_lock();
}

void MTPServicePrivate::signalWorker() {
    const std::scoped_lock lock(_syncMutex);
    _isWorkerWaiting = false;
    _syncCondition.notify_one();
}

// A worker that has been woken is not idle until it waits again: a wake-up in between would be lost.
bool MTPServicePrivate::isIdle() const {
    const std::scoped_lock lock(_syncMutex);
    return _isWorkerWaiting && _pendingCount.load() == 0;
}

// Worker

void MTPServicePrivate::startWorker() {
    _worker = std::thread([self = shared_from_this()] { self->runWorker(); });
}

void MTPServicePrivate::runWorker() {
    _workerID = std::this_thread::get_id();
    mtpFileServiceQueueThread();
    const std::scoped_lock lock(_syncMutex);
    _isWorkerWaiting = true; // for good: what comes now is refused
}

void MTPServicePrivate::mtpFileServiceQueueThread() {
    for (;;) {
        if (_queuedCount.load() == 0) {
            waitForRequest();
        }
        if (getReleaseState() == 1 || _endWorker.load()) {
            break;
        }
        const std::unique_ptr<_serviceinfo> request = takeRequest();
        if (request == nullptr) {
            std::this_thread::yield();
            continue;
        }
        {
            const Transferring transferring(*this);
            if (!callApplication([&] { doMTPFileService(request.get()); })) {
                refuse(*request);
            }
        }
        --_pendingCount;
    }
    QD_LOG(6, "mtpFileServiceQueueThread Exit!");
}

// The queue is not looked at again once the mutex is held: a wake-up between the caller's look at the queue and this
// wait is lost, and its request waits for the next one. Only the service's own end is never missed.
void MTPServicePrivate::waitForRequest() {
    QD_LOG(6, "Try Wait");
    std::unique_lock lock(_syncMutex);
    if (!_endWorker.load()) {
        _isWorkerWaiting = true;
        _syncCondition.wait(lock, [this] { return !_isWorkerWaiting; });
    }
}

std::unique_ptr<_serviceinfo> MTPServicePrivate::takeRequest() {
    std::unique_ptr<_serviceinfo> request;
    if (tryQueueLock()) {
        if (!_serviceItem.empty()) {
            request = std::move(_serviceItem.front());
            _serviceItem.pop_front();
            --_queuedCount;
        }
        _queueLock.unlock();
    }
    return request;
}

bool MTPServicePrivate::exitServiceThread() {
    const MethodTrace trace(6);
    if (tryQueueLock()) {
        _releaseState.store(1, std::memory_order_relaxed);
        _queueLock.unlock();
    }
    signalWorker();
    return true;
}

// Cancelling

void MTPServicePrivate::cancelFileAction(std::uint32_t serviceID) {
    const MethodTrace trace(6);
    _cancelServiceId.with([&](auto& ids) { ids.push_back(serviceID); });
    emptyQueue();
}

// The index advances after a removal too, so the ID that moved into the removed one's place is passed over; and the
// count is taken once, so a removal makes the last read one past the end. Applications know both.
void MTPServicePrivate::emptyQueue() {
    const MethodTrace trace(6);
    const ServiceSection section;
    const std::size_t count = _cancelServiceId.with([](const auto& ids) { return ids.size(); });
    for (std::size_t index = 0; index < count; ++index) {
        const std::uint32_t serviceID = _cancelServiceId.with([&](const auto& ids) { return ids.at(index); });
        if (emptyQueue(serviceID)) {
            removeCancelServiceId(serviceID);
            QD_LOG(7, "Cancel Service ID : 0x%08x", serviceID);
        }
    }
}

bool MTPServicePrivate::emptyQueue(std::uint32_t serviceID) {
    if (!tryQueueLock()) {
        return false;
    }
    bool removed = false;
    // Once around. An observer of the cancel notification may end the service and with it the queue.
    for (std::size_t count = _serviceItem.size(); count > 0 && !_serviceItem.empty(); --count) {
        std::unique_ptr<_serviceinfo> request = std::move(_serviceItem.front());
        _serviceItem.pop_front();
        if (request->serviceID != serviceID) {
            _serviceItem.push_back(std::move(request));
            continue;
        }
        QD_LOG(7, "0x%08x Service ID Remove", serviceID);
        --_queuedCount;
        refuse(*request);
        --_pendingCount;
        removed = true;
    }
    _queueLock.unlock();
    return removed;
}

void MTPServicePrivate::cancelQueuedRequests() {
    // Waits for a lock that another thread holds: records must not go away under it. A thread that holds it already
    // comes from a cancel notification.
    const Synchronized queue(_queueLock);
    std::optional<std::uint32_t> previous;
    while (!_serviceItem.empty()) {
        const std::unique_ptr<_serviceinfo> request = std::move(_serviceItem.front());
        _serviceItem.pop_front();
        --_queuedCount;
        if (request->serviceID != previous) {
            refuse(*request);
        }
        previous = request->serviceID;
        --_pendingCount;
    }
}

bool MTPServicePrivate::isCancelServiceId(std::uint32_t serviceID) const {
    return _cancelServiceId.with([&](const auto& ids) { return std::ranges::find(ids, serviceID) != ids.end(); });
}

bool MTPServicePrivate::removeCancelServiceId(std::uint32_t serviceID) {
    return _cancelServiceId.with([&](auto& ids) {
        const auto found = std::ranges::find(ids, serviceID);
        if (found == ids.end()) {
            return false;
        }
        ids.erase(found);
        return true;
    });
}
