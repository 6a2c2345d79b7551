// SPDX-License-Identifier: MIT
#pragma once

#include "platform/Dates.h"

#include <optional>
#include <string>
#include <string_view>

/// The forms that feeds give their values in.
namespace tool {

/// Text without its HTML: elements go (a break or a block's end ends the line), character references become what they
/// stand for, blanks are joined.
[[nodiscard]] std::string plainText(std::string_view html);

/// A date of a mail header ("Wed, 02 Oct 2002 15:00:00 +0200", also with a zone's name or without the day) or of
/// ISO 8601 ("2002-10-02T15:00:00Z", also without the time); nothing for anything else.
[[nodiscard]] std::optional<platform::Date> feedDate(std::string_view text);

} // namespace tool
