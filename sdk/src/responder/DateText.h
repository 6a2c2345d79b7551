// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <unordered_map>

namespace mtpsdk {

/// Makes "YYYYMMDDThhmmss" in the system's time zone from seconds of UTC. Asking the system for local time costs more
/// than all the rest of a listing, so the zone's offsets are remembered; make one for each operation.
class DateTexts {
public:
    [[nodiscard]] std::u16string operator()(std::int64_t seconds);

private:
    std::unordered_map<std::int64_t, std::int64_t> _offsets; ///< by quarter of an hour, in seconds
};

/// Reads "YYYYMMDDThhmmss", tenths of a second and a time zone ("Z", "±hhmm") allowed behind; 0 for anything else.
[[nodiscard]] std::int64_t secondsOfDateText(std::u16string_view text);

} // namespace mtpsdk
