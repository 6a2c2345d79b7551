// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <filesystem>
#include <string>
#include <vector>

namespace mtpsdk {

/// The file through which programs use a USB device, below /dev/bus/usb.
[[nodiscard]] std::filesystem::path usbNode(std::uint8_t bus, std::uint8_t address);

/// Which other programs have a file open, like "gvfsd-mtp (process 1234)", as far as the system lets us see.
/// `processes` is where it tells of them.
[[nodiscard]] std::vector<std::string> programsHolding(const std::filesystem::path& node,
                                                       const std::filesystem::path& processes = "/proc");

} // namespace mtpsdk
