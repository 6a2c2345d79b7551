// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <string>

namespace mtpsdk {

/// Which other programs have a USB device open, like "gvfsd-mtp (process 1234)", as far as the system lets us see;
/// empty when it does not tell.
[[nodiscard]] std::string programsHolding(std::uint8_t bus, std::uint8_t address);

} // namespace mtpsdk
