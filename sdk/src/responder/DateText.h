// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace mtpsdk {

/// "YYYYMMDDThhmmss" in the system's time zone, for seconds of UTC.
[[nodiscard]] std::u16string dateText(std::int64_t seconds);
/// Reads "YYYYMMDDThhmmss", tenths of a second and a time zone ("Z", "±hhmm") allowed behind; 0 for anything else.
[[nodiscard]] std::int64_t secondsOfDateText(std::u16string_view text);

} // namespace mtpsdk
