// SPDX-License-Identifier: MIT
#pragma once

#include "platform/Export.h"

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

/// Text of the service is UTF-8; UTF-16 exists only where records meet it. Invalid UTF-8 and unpaired surrogates turn
/// into U+FFFD, never into an exception. Case rules are full Unicode, root locale, by ICU; ASCII takes a fast path.
namespace platform {

[[nodiscard]] std::u16string toUtf16(std::string_view text);
[[nodiscard]] std::string toUtf8(std::u16string_view text);

/// The canonically precomposed form (NFC).
[[nodiscard]] std::string precomposed(std::string_view text);
[[nodiscard]] std::u16string precomposed(std::u16string_view text);

/// Full Unicode upper-casing ("ß" becomes "SS").
[[nodiscard]] std::string upperCased(std::string_view text);
[[nodiscard]] std::string lowerCased(std::string_view text);

/// The form under which two texts that differ only in case (or in composition) are equal: normalised, then folded.
[[nodiscard]] MTPSERVICE_EXPORT std::string caseFolded(std::string_view text);
[[nodiscard]] std::u16string caseFolded(std::u16string_view text);
[[nodiscard]] bool equalIgnoringCase(std::string_view left, std::string_view right);
[[nodiscard]] bool containsIgnoringCase(std::string_view text, std::string_view part);

/// `text` with every occurrence of `from` replaced; an empty `from` changes nothing.
[[nodiscard]] std::string replacingAll(std::string_view text, std::string_view from, std::string_view to);

/// "%X" of a number.
[[nodiscard]] std::string upperHex(std::uint32_t value);
/// The C library's unsigned base-16 conversion of the text's leading digits ("0x" and blanks in front allowed), cut to
/// 32 bits; 0 when there are none.
[[nodiscard]] std::uint32_t hexValue(std::string_view text);
/// The leading decimal digits as a number, as the C library converts them; 0 when there are none.
[[nodiscard]] std::uint64_t decimalValue(std::string_view text);

} // namespace platform
