// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <string>

namespace tool {

/// What a result status means, in words that follow a file's name: "the storage is full".
[[nodiscard]] std::string statusText(std::uint32_t status);

/// The device can take no further part: it is gone.
[[nodiscard]] bool meansDeviceGone(std::uint32_t status);
[[nodiscard]] bool meansStorageFull(std::uint32_t status);

} // namespace tool
