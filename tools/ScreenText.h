// SPDX-License-Identifier: MIT
#pragma once

#include <string>
#include <string_view>

/// Texts as a terminal shows them. Names of files and devices are whatever somebody chose, so every one goes through
/// safeText before it is printed.
namespace tool {

/// The text with nothing in it that a terminal would act upon: control characters, marks that turn the writing
/// direction and bytes that are no UTF-8 become visible escapes ("\x1B", "\u{202E}").
[[nodiscard]] std::string safeText(std::string_view text);

/// Columns that the text takes on a terminal: wide characters two, combining ones none.
[[nodiscard]] int displayWidth(std::string_view text);

/// The text cut to at most this many columns, with "…" where something was cut off its end.
[[nodiscard]] std::string fittedText(std::string_view text, int columns);

/// The text with blanks added up to this many columns: at its end, or in front of it.
enum class Align { left, right };
[[nodiscard]] std::string paddedText(std::string_view text, int columns, Align align);

[[nodiscard]] bool isValidUtf8(std::string_view text);

} // namespace tool
