// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <string>

/// Tiny media files, built byte by byte.
namespace samples {

/// One second of silence at 8 kHz, 8 bits.
[[nodiscard]] std::string wav();
/// 40 frames at 128 kbit/s, tagged: title "Tïtle", artist, album, track 7 of 12, year 1999, genre.
[[nodiscard]] std::string taggedMp3();
[[nodiscard]] std::string png(std::uint32_t width, std::uint32_t height);
[[nodiscard]] std::string jpeg(std::uint16_t width, std::uint16_t height);

} // namespace samples
