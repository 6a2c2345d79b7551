// SPDX-License-Identifier: MIT
#pragma once

#include "platform/Export.h"

#include <chrono>
#include <optional>
#include <string>
#include <string_view>

namespace platform {

/// A point in time, in whole seconds of UTC.
struct Date {
    std::chrono::sys_seconds time{};
    auto operator<=>(const Date&) const = default;
};

/// A calendar date and time of day in the system's time zone.
struct CalendarDate {
    int year = 0;
    int month = 0;
    int day = 0;
    int hour = 0;
    int minute = 0;
    int second = 0;
    bool operator==(const CalendarDate&) const = default;
};

/// The point in time of a calendar date in the system's current time zone. Fields out of range carry over, as the
/// C calendar does; nullopt when the calendar cannot represent the result.
[[nodiscard]] MTPSERVICE_EXPORT std::optional<Date> dateFromLocalCalendar(const CalendarDate& calendar);
[[nodiscard]] MTPSERVICE_EXPORT CalendarDate localCalendarFromDate(const Date& date);

/// "YYYY-MM-DD HH:MM:SS +0000": the standard description of a date, always in UTC.
[[nodiscard]] MTPSERVICE_EXPORT std::string dateDescription(const Date& date);
/// Reads "YYYY-MM-DD HH:MM:SS ±HHMM"; nullopt when the text has any other form or names no real date.
[[nodiscard]] MTPSERVICE_EXPORT std::optional<Date> parseDateDescription(std::string_view text);

} // namespace platform
