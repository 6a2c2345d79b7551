// SPDX-License-Identifier: MIT
#pragma once

#include "platform/Value.h"
#include "tools/Console.h"
#include "vemomtpsdk/DeviceReport.h"

namespace tool {

/// What identifies an attached device, as `devices --json` prints it.
[[nodiscard]] platform::Dictionary deviceDictionary(const vemomtpsdk::AttachedDevice& device);

/// All of a report, under that of the device itself.
[[nodiscard]] platform::Dictionary reportDictionary(const vemomtpsdk::DeviceReport& report);
/// The same for people.
void printReport(const vemomtpsdk::DeviceReport& report, Console& console);

} // namespace tool
