// SPDX-License-Identifier: MIT
#pragma once

#include <chrono>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

/// Sizes and times as people write and read them. Units of sizes are powers of 1024.
namespace tool {

/// "64M", "1.5G", "512", "2 GiB", "4kb": bytes; nullopt when it is no size or does not fit 64 bits.
[[nodiscard]] std::optional<std::uint64_t> parseSize(std::string_view text);

/// "512 B", "1.5 KiB", "230 MiB": at most three digits and one decimal.
[[nodiscard]] std::string sizeText(std::uint64_t bytes);

/// "0:07", "12:34", "1:02:03".
[[nodiscard]] std::string durationText(std::chrono::seconds duration);

/// Bytes per second as "12.3 MiB/s"; empty while no time has passed.
[[nodiscard]] std::string rateText(std::uint64_t bytes, std::chrono::milliseconds duration);

} // namespace tool
