// SPDX-License-Identifier: MIT
#include "tree/DeviceList.h"

#include "devices/DeviceRegistry.h"

#include <algorithm>
#include <utility>

namespace mtpsdk {
namespace {

_MTP_DEVICE_NODE* nodeOf(const std::shared_ptr<Device>& device) {
    return device->node();
}

/// A device in use frees its line at its next call.
void hangUp(Device& device) {
    if (!device.lock().heldByCurrentThread() && device.lock().try_lock()) {
        device.hangUp();
        device.lock().unlock();
    }
}

} // namespace

/// Never destroyed: event threads may still look devices up while the process ends.
DeviceList& DeviceList::shared() {
    static auto* const list = new DeviceList;
    return *list;
}

DGSTATUS DeviceList::head(_MTP_DEVICE_NODE** head) {
    const std::vector<vemomtpsdk::AttachedDevice> attached = DeviceRegistry::shared().devices();
    const std::lock_guard lock(_mutex);
    update(attached);
    const auto first = std::ranges::find(_members, true, &Member::attached);
    *head = first == _members.end() ? nullptr : nodeOf(first->device);
    // Without a node there is nothing to release the list with.
    _references += *head == nullptr ? 0 : 1;
    return DGSTATUS_SUCCESS;
}

DGSTATUS DeviceList::next(const _MTP_DEVICE_NODE* device, _MTP_DEVICE_NODE** next) {
    const std::lock_guard lock(_mutex);
    const auto isIt = [&](const Member& member) { return nodeOf(member.device) == device; };
    const auto current = std::ranges::find_if(_members, isIt);
    if (current == _members.end()) {
        return DGSTATUS_NODE_IS_NOT_EXISTED;
    }
    const auto following =
        std::find_if(current + 1, _members.end(), [](const Member& member) { return member.attached; });
    *next = following == _members.end() ? nullptr : nodeOf(following->device);
    return DGSTATUS_SUCCESS;
}

DGSTATUS DeviceList::release(const _MTP_DEVICE_NODE* device) {
    std::vector<Member> dropped;
    {
        const std::lock_guard lock(_mutex);
        const auto isIt = [&](const Member& member) { return nodeOf(member.device) == device; };
        if (_references == 0 || std::ranges::none_of(_members, isIt)) {
            return DGSTATUS_NODE_IS_NOT_EXISTED;
        }
        if (--_references != 0) {
            return DGSTATUS_SUCCESS;
        }
        dropped = std::exchange(_members, {});
    }
    for (const Member& member : dropped) {
        member.device->retire();
    }
    return DGSTATUS_SUCCESS;
}

void DeviceList::refresh() {
    const std::vector<vemomtpsdk::AttachedDevice> attached = DeviceRegistry::shared().devices();
    const std::lock_guard lock(_mutex);
    if (_references != 0) {
        update(attached);
    }
}

void DeviceList::update(const std::vector<vemomtpsdk::AttachedDevice>& attached) {
    for (Member& member : _members) {
        member.attached =
            std::ranges::any_of(attached, [&](const auto& description) { return member.device->is(description); });
        if (!member.attached) {
            hangUp(*member.device);
        }
    }
    for (const vemomtpsdk::AttachedDevice& description : attached) {
        if (std::ranges::none_of(_members, [&](const Member& member) { return member.device->is(description); })) {
            auto device = std::make_shared<Device>(description);
            if (nodeOf(device) != nullptr) {
                _members.push_back({std::move(device), true});
            }
        }
    }
}

template <typename Matches>
std::shared_ptr<Device> DeviceList::find(const Matches& matches) {
    const std::lock_guard lock(_mutex);
    const auto found = std::ranges::find_if(_members, [&](const Member& member) { return matches(*member.device); });
    return found == _members.end() ? nullptr : found->device;
}

std::shared_ptr<Device> DeviceList::deviceOf(const void* record) {
    return find([&](const Device& device) { return device.owns(record); });
}

std::shared_ptr<Device> DeviceList::deviceThatLost(const void* storage) {
    return find([&](const Device& device) { return device.hasLost(storage); });
}

std::shared_ptr<Device> DeviceList::at(std::uint32_t locationId) {
    return find([&](const Device& device) { return device.node()->header.LocationId == locationId; });
}

std::shared_ptr<Device> DeviceList::deviceOfEvent(const void* handle) {
    return find([&](const Device& device) { return device.isEventHandle(handle); });
}

} // namespace mtpsdk
