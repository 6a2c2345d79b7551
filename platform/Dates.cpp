// SPDX-License-Identifier: MIT
#include "platform/Dates.h"

#include <fmt/format.h>

#include <ctime>
#include <limits>

namespace platform {

namespace {

constexpr int firstYear = 1900; // struct tm counts years from here and months from 0

std::string formatted(const std::tm& calendar) {
    return fmt::format("{:04}-{:02}-{:02} {:02}:{:02}:{:02} +0000",
                       static_cast<std::int64_t>(calendar.tm_year) + firstYear, calendar.tm_mon + 1, calendar.tm_mday,
                       calendar.tm_hour, calendar.tm_min, calendar.tm_sec);
}

/// The number that digits alone spell; -1 for anything else.
int digits(std::string_view text) {
    int number = 0;
    for (const char digit : text) {
        if (digit < '0' || digit > '9') {
            return -1;
        }
        number = number * 10 + (digit - '0');
    }
    return number;
}

bool hasForm(std::string_view text) {
    constexpr std::string_view form = "dddd-dd-dd dd:dd:dd sdddd";
    if (text.size() != form.size()) {
        return false;
    }
    for (std::size_t i = 0; i < form.size(); ++i) {
        const bool fits = form[i] == 'd'   ? text[i] >= '0' && text[i] <= '9'
                          : form[i] == 's' ? text[i] == '+' || text[i] == '-'
                                           : text[i] == form[i];
        if (!fits) {
            return false;
        }
    }
    return true;
}

} // namespace

std::optional<Date> dateFromLocalCalendar(const CalendarDate& calendar) {
    if (calendar.year < std::numeric_limits<int>::min() + firstYear ||
        calendar.month == std::numeric_limits<int>::min()) {
        return std::nullopt;
    }
    std::tm fields{};
    fields.tm_year = calendar.year - firstYear;
    fields.tm_mon = calendar.month - 1;
    fields.tm_mday = calendar.day;
    fields.tm_hour = calendar.hour;
    fields.tm_min = calendar.minute;
    fields.tm_sec = calendar.second;
    fields.tm_isdst = -1;
    // -1 is also a good result (the second before 1970), but only a success sets the day of the week.
    fields.tm_wday = -1;
    const std::time_t seconds = std::mktime(&fields);
    if (fields.tm_wday < 0) {
        return std::nullopt;
    }
    return Date{std::chrono::sys_seconds(std::chrono::seconds(seconds))};
}

CalendarDate localCalendarFromDate(const Date& date) {
    const std::time_t seconds = date.time.time_since_epoch().count();
    std::tm fields{};
    ::tzset(); // localtime_r need not notice a change of the time zone itself
    if (!::localtime_r(&seconds, &fields) || fields.tm_year > std::numeric_limits<int>::max() - firstYear) {
        return {};
    }
    return {
        fields.tm_year + firstYear, fields.tm_mon + 1, fields.tm_mday, fields.tm_hour, fields.tm_min, fields.tm_sec};
}

std::string dateDescription(const Date& date) {
    const std::time_t seconds = date.time.time_since_epoch().count();
    std::tm fields{};
    if (!::gmtime_r(&seconds, &fields)) {
        return "(null)";
    }
    return formatted(fields);
}

std::optional<Date> parseDateDescription(std::string_view text) {
    if (!hasForm(text)) {
        return std::nullopt;
    }
    const std::chrono::year_month_day day(std::chrono::year(digits(text.substr(0, 4))),
                                          std::chrono::month(static_cast<unsigned>(digits(text.substr(5, 2)))),
                                          std::chrono::day(static_cast<unsigned>(digits(text.substr(8, 2)))));
    const int hour = digits(text.substr(11, 2));
    const int minute = digits(text.substr(14, 2));
    const int second = digits(text.substr(17, 2));
    const int zoneHour = digits(text.substr(21, 2));
    const int zoneMinute = digits(text.substr(23, 2));
    if (!day.ok() || hour > 23 || minute > 59 || second > 59 || zoneHour > 23 || zoneMinute > 59) {
        return std::nullopt;
    }
    const auto local = std::chrono::sys_days(day) + std::chrono::hours(hour) + std::chrono::minutes(minute) +
                       std::chrono::seconds(second);
    const auto offset = std::chrono::hours(zoneHour) + std::chrono::minutes(zoneMinute);
    return Date{text[20] == '-' ? local + offset : local - offset};
}

} // namespace platform
