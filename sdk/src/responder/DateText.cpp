// SPDX-License-Identifier: MIT
#include "responder/DateText.h"

#include "platform/Dates.h"

#include <array>
#include <chrono>
#include <optional>

namespace mtpsdk {

namespace {

using std::chrono::seconds;
using std::chrono::sys_seconds;

/// Zones change their offset on such a border only.
std::int64_t quarterHourOf(std::int64_t time) {
    constexpr std::int64_t length = 900;
    return time >= 0 ? time / length : (time + 1) / length - 1;
}

sys_seconds asIfUtc(const platform::CalendarDate& date) {
    const std::chrono::year_month_day day{std::chrono::year(date.year),
                                          std::chrono::month(static_cast<unsigned>(date.month)),
                                          std::chrono::day(static_cast<unsigned>(date.day))};
    return std::chrono::sys_days(day) + std::chrono::hours(date.hour) + std::chrono::minutes(date.minute) +
           seconds(date.second);
}

bool isDate(const platform::CalendarDate& date) {
    const std::chrono::year_month_day day{std::chrono::year(date.year),
                                          std::chrono::month(static_cast<unsigned>(date.month)),
                                          std::chrono::day(static_cast<unsigned>(date.day))};
    return day.ok() && date.hour < 24 && date.minute < 60 && date.second < 60;
}

void writeDigits(std::u16string& text, std::size_t position, std::size_t count, int value) {
    for (; count > 0; --count) {
        text[position + count - 1] = static_cast<char16_t>(u'0' + value % 10);
        value /= 10;
    }
}

std::optional<int> readDigits(std::u16string_view text, std::size_t position, std::size_t count) {
    if (position + count > text.size()) {
        return std::nullopt;
    }
    int value = 0;
    for (const char16_t digit : text.substr(position, count)) {
        if (digit < u'0' || digit > u'9') {
            return std::nullopt;
        }
        value = value * 10 + (digit - u'0');
    }
    return value;
}

/// Seconds east of Greenwich that the text ends with; nothing when it names no time zone.
std::optional<int> readZone(std::u16string_view text) {
    if (text.ends_with(u'Z')) {
        return 0;
    }
    constexpr std::size_t length = 5;
    if (text.size() < length) {
        return std::nullopt;
    }
    const std::u16string_view zone = text.substr(text.size() - length);
    const auto hours = readDigits(zone, 1, 2);
    const auto minutes = readDigits(zone, 3, 2);
    if ((zone[0] != u'+' && zone[0] != u'-') || !hours || !minutes) {
        return std::nullopt;
    }
    const int offset = (*hours * 60 + *minutes) * 60;
    return zone[0] == u'-' ? -offset : offset;
}

} // namespace

std::u16string DateTexts::operator()(std::int64_t time) {
    const auto [offset, isNew] = _offsets.try_emplace(quarterHourOf(time));
    if (isNew) {
        const platform::CalendarDate local = platform::localCalendarFromDate({sys_seconds(seconds(time))});
        offset->second = asIfUtc(local).time_since_epoch().count() - time;
    }
    const sys_seconds shown(seconds(time + offset->second));
    const auto day = std::chrono::floor<std::chrono::days>(shown);
    const std::chrono::year_month_day date(day);
    const std::chrono::hh_mm_ss clock(shown - day);
    std::u16string text = u"00000000T000000";
    writeDigits(text, 0, 4, static_cast<int>(date.year()));
    writeDigits(text, 4, 2, static_cast<int>(static_cast<unsigned>(date.month())));
    writeDigits(text, 6, 2, static_cast<int>(static_cast<unsigned>(date.day())));
    writeDigits(text, 9, 2, static_cast<int>(clock.hours().count()));
    writeDigits(text, 11, 2, static_cast<int>(clock.minutes().count()));
    writeDigits(text, 13, 2, static_cast<int>(clock.seconds().count()));
    return text;
}

std::int64_t secondsOfDateText(std::u16string_view text) {
    constexpr std::size_t dateLength = 15;
    std::array<int, 6> fields{};
    constexpr std::array<std::size_t, 6> positions = {0, 4, 6, 9, 11, 13};
    for (std::size_t i = 0; i < fields.size(); ++i) {
        const auto value = readDigits(text, positions[i], i == 0 ? 4 : 2);
        if (!value) {
            return 0;
        }
        fields[i] = *value;
    }
    const platform::CalendarDate calendar{fields[0], fields[1], fields[2], fields[3], fields[4], fields[5]};
    if (text[8] != u'T' || !isDate(calendar)) {
        return 0;
    }
    if (const auto zone = readZone(text.substr(dateLength))) {
        return (asIfUtc(calendar) - seconds(*zone)).time_since_epoch().count();
    }
    const auto date = platform::dateFromLocalCalendar(calendar);
    return date ? date->time.time_since_epoch().count() : 0;
}

} // namespace mtpsdk
