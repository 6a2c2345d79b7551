// SPDX-License-Identifier: MIT
#include "tree/Device.h"

#include "devices/DeviceRegistry.h"

#include <utility>

namespace mtpsdk {

Device::Device(const vemomtpsdk::AttachedDevice& description)
    : _description(description)
    , _node(static_cast<_MTP_DEVICE_NODE*>(mtpRecordAllocate(sizeof(_MTP_DEVICE_NODE))))
    , _tree(description.locationId) {
    if (_node != nullptr) {
        _node->header = {description.locationId, MTP_SIGNATURE_DEVICE, description.locationId};
    }
}

Device::~Device() {
    retire();
    closeSession();
    mtpRecordFree(_node);
}

void Device::retire() {
    _retired = true;
    std::unique_ptr<EventThread> events;
    std::shared_ptr<Session> session;
    {
        const std::lock_guard lock(_sessionMutex);
        session = _session;
        std::swap(events, _eventThread);
    }
    if (session != nullptr) {
        session->setEventHandler({}); // it posts to the thread
    }
}

bool Device::is(const vemomtpsdk::AttachedDevice& description) const {
    return _description.locationId == description.locationId && _description.kind == description.kind &&
           _description.location == description.location && _description.plugging == description.plugging &&
           !vanished();
}

bool Device::vanished() const {
    const std::lock_guard lock(_sessionMutex);
    return _lost || (_session != nullptr && !_session->connected());
}

void Device::hangUp() {
    if (vanished()) {
        closeSession();
        const std::lock_guard lock(_sessionMutex);
        _lost = true;
    }
}

void Device::closeSession() {
    _storageListing.reset();
    std::unique_ptr<EventThread> events;
    std::shared_ptr<Session> session;
    {
        const std::lock_guard lock(_sessionMutex);
        std::swap(session, _session);
        std::swap(events, _eventThread);
    }
    session.reset(); // it posts to the thread
}

DGSTATUS Device::open() {
    if (vanished()) {
        hangUp();
        return DGSTATUS_NO_DEVICE_ATTACHED;
    }
    if (_session != nullptr) {
        return DGSTATUS_SUCCESS;
    }
    const DGSTATUS status = openSession();
    return status == DGSTATUS_SUCCESS || status == DGSTATUS_NO_DEVICE_ATTACHED ? status : DGSTATUS_DEVICE_OPEN_FAILED;
}

DGSTATUS Device::openSession() {
    std::unique_ptr<Transport> transport;
    DGSTATUS status = DeviceRegistry::shared().openTransport(_description.locationId, transport);
    std::unique_ptr<Session> session;
    if (status == DGSTATUS_SUCCESS) {
        status = Session::open(std::move(transport), session);
    }
    if (status != DGSTATUS_SUCCESS) {
        return status;
    }
    const std::lock_guard lock(_sessionMutex);
    if (_retired) {
        return DGSTATUS_NO_DEVICE_ATTACHED;
    }
    _session = std::move(session);
    _eventThread = std::make_unique<EventThread>([device = weak_from_this()](const Session::Event& event) {
        if (const std::shared_ptr<Device> self = device.lock()) {
            self->handleEvent(event);
        }
    });
    _session->setEventHandler([thread = _eventThread.get()](const Session::Event& event) { thread->post(event); });
    return DGSTATUS_SUCCESS;
}

} // namespace mtpsdk
