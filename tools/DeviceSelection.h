// SPDX-License-Identifier: MIT
#pragma once

#include "tools/Command.h"
#include "vemomtpsdk/Devices.h"

#include <string>
#include <vector>

namespace tool {

/// "%X" of a location ID, as the service takes it.
[[nodiscard]] std::string locationText(std::uint32_t locationId);

/// Attaches the virtual devices named on the command line and answers all devices.
[[nodiscard]] std::vector<vemomtpsdk::AttachedDevice> findDevices(const GlobalOptions& options);

/// The device that the person means: the one with this location ID or name (without regard to case), or the only one.
/// Throws Failure when there is none, or when several fit.
[[nodiscard]] vemomtpsdk::AttachedDevice selectDevice(const std::vector<vemomtpsdk::AttachedDevice>& devices,
                                                      const std::string& wanted);

} // namespace tool
