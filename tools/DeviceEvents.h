// SPDX-License-Identifier: MIT
#pragma once

#include "device/MTPService/MTPService.h"
#include "platform/NotificationCenter.h"
#include "tools/Console.h"
#include "vemomtpsdk/Devices.h"

#include <cstdint>
#include <map>
#include <memory>

namespace tool {

/// Opens devices through the service and prints what they tell of themselves while they are open: one line an event,
/// or the notification as JSON. One thread at a time opens and closes.
class DeviceEvents {
public:
    DeviceEvents(Console& console, bool json);
    ~DeviceEvents();
    DeviceEvents(const DeviceEvents&) = delete;
    DeviceEvents& operator=(const DeviceEvents&) = delete;

    void open(const vemomtpsdk::AttachedDevice& device);
    void close(const vemomtpsdk::AttachedDevice& device);

private:
    Console& _console;
    std::map<std::uint32_t, std::unique_ptr<MTPService>> _services; ///< by location
    platform::Observation _observation;
};

} // namespace tool
