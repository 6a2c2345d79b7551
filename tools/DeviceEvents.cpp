// SPDX-License-Identifier: MIT
#include "tools/DeviceEvents.h"

#include "tools/DeviceSelection.h"
#include "tools/JsonValue.h"

#include <fmt/format.h>

namespace tool {
namespace {

const char* eventName(std::uint32_t code) {
    switch (code) {
    case 0x4002:
        return "an object was added";
    case 0x4003:
        return "an object was removed";
    case 0x4004:
        return "a storage was added";
    case 0x4005:
        return "a storage was removed";
    case 0x4006:
        return "a property of the device changed";
    case 0x4007:
        return "an object changed";
    case 0x400A:
        return "a storage is full";
    case 0x400B:
        return "the device was reset";
    case 0x400C:
        return "a storage changed";
    default:
        return "something happened";
    }
}

void end(MTPService& service) {
    service.exitServiceThread();
    service.releaseDeviceHeadNode();
}

} // namespace

DeviceEvents::DeviceEvents(Console& console, bool json)
    : _console(console)
    , _observation("VXLUMO_NOTI_MTP_NOTIFY_EVENT", [this, json](const platform::Notification& notification) {
        if (json) {
            _console.print(jsonLine(notification));
            return;
        }
        const std::uint32_t code = notification.userInfo.uint32("EventCode").value_or(0);
        _console.print(fmt::format("event     {}  0x{:04X} {}", notification.userInfo.string("LocationId").value_or(""),
                                   code, eventName(code)));
    }) {}

DeviceEvents::~DeviceEvents() {
    for (const auto& [location, service] : _services) {
        end(*service);
    }
}

void DeviceEvents::open(const vemomtpsdk::AttachedDevice& device) {
    auto service = std::make_unique<MTPService>();
    service->setLocationID(locationText(device.locationId));
    service->registerNotifyEvent();
    _services[device.locationId] = std::move(service);
}

void DeviceEvents::close(const vemomtpsdk::AttachedDevice& device) {
    const auto found = _services.find(device.locationId);
    if (found != _services.end()) {
        end(*found->second);
        _services.erase(found);
    }
}

} // namespace tool
