// SPDX-License-Identifier: MIT
#include "platform/Dates.h"

#include <fmt/format.h>

#include <cstdlib>
#include <ctime>
#include <limits>
#include <mutex>

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

/// Makes the C library use the time zone that is set now: a changed TZ at once, a changed system setting within a
/// second, since looking for that one asks the file system. Answers a number that changes whenever the zone may have
/// changed.
std::uint64_t refreshTimeZone() {
    using Clock = std::chrono::steady_clock;
    static std::mutex mutex;
    static std::optional<std::string> known;
    static Clock::time_point next;
    static std::uint64_t generation = 0;
    const char* const variable = std::getenv("TZ");
    const Clock::time_point now = Clock::now();
    const std::lock_guard lock(mutex);
    const bool same = variable != nullptr ? known == variable : !known;
    if (generation == 0 || !same || now >= next) {
        known = variable != nullptr ? std::optional<std::string>(variable) : std::nullopt;
        next = now + std::chrono::seconds(1);
        ++generation;
        ::tzset();
    }
    return generation;
}

/// A real date of modern times as if it were UTC; nullopt for fields out of range. Before 1973 some zones changed their
/// offset, or had one, on odd seconds.
std::optional<std::chrono::sys_seconds> plainSeconds(const CalendarDate& calendar) {
    const std::chrono::year_month_day day(std::chrono::year(calendar.year),
                                          std::chrono::month(static_cast<unsigned>(calendar.month)),
                                          std::chrono::day(static_cast<unsigned>(calendar.day)));
    const bool plain = calendar.year >= 1973 && calendar.year <= 9999 && day.ok() && calendar.hour >= 0 &&
                       calendar.hour < 24 && calendar.minute >= 0 && calendar.minute < 60 && calendar.second >= 0 &&
                       calendar.second < 60;
    if (!plain) {
        return std::nullopt;
    }
    return std::chrono::sys_days(day) + std::chrono::hours(calendar.hour) + std::chrono::minutes(calendar.minute) +
           std::chrono::seconds(calendar.second);
}

std::optional<Date> calendarTime(const CalendarDate& calendar) {
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

} // namespace

// The files of a folder are mostly of about the same time, and zones change their offset on the border of a quarter of
// an hour only: the C calendar, which asks the file system for the time zone each time, is asked once per quarter.
std::optional<Date> dateFromLocalCalendar(const CalendarDate& calendar) {
    struct Quarter {
        std::uint64_t zone = 0;
        std::chrono::sys_seconds start{};
        std::chrono::seconds offset{};
    };
    thread_local Quarter last;
    const auto plain = plainSeconds(calendar);
    if (!plain) {
        return calendarTime(calendar);
    }
    constexpr std::chrono::minutes quarter{15};
    const auto start = *plain - plain->time_since_epoch() % quarter;
    const std::uint64_t zone = refreshTimeZone();
    if (last.zone == zone && last.start == start) {
        return Date{*plain - last.offset};
    }
    const auto date = calendarTime(calendar);
    if (date) {
        last = {zone, start, *plain - date->time};
    }
    return date;
}

CalendarDate localCalendarFromDate(const Date& date) {
    const std::time_t seconds = date.time.time_since_epoch().count();
    std::tm fields{};
    (void) refreshTimeZone(); // localtime_r need not notice a change of the time zone itself
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
