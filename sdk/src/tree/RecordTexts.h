// SPDX-License-Identifier: MIT
#pragma once

#include "vemomtpsdk/Records.h"
#include "vemomtpsdk/Status.h"

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

/// Between the texts of records (zero-terminated UTF-16 in record memory) and UTF-16 strings.
namespace mtpsdk {

/// A new zero-terminated copy in record memory; null when the memory is exhausted.
[[nodiscard]] std::uint16_t* newRecordText(std::u16string_view text);

/// Writes the text and its terminator to `target`, which has room for them, and answers the place behind.
std::uint16_t* copyText(std::u16string_view text, std::uint16_t* target);

/// The text at a record's pointer: up to its terminator, never beyond the block that holds it, whatever the record's
/// own size says. Empty for null and for a pointer into no live block.
[[nodiscard]] std::u16string readRecordText(RecordText text);

/// At most `units` code units of a caller's text, up to its terminator. Empty for null.
[[nodiscard]] std::u16string readText(const std::uint16_t* text, std::size_t units);

/// Hands a text out by the two-call protocol: a missing or short buffer answers DGSTATUS_MORE_DATA, and `bytes` becomes
/// the size needed, terminator counted.
[[nodiscard]] DGSTATUS handOut(const std::u16string& text, std::uint16_t* buffer, std::uint32_t* bytes);

} // namespace mtpsdk
