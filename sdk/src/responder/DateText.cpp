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

std::u16string dateText(std::int64_t time) {
    const platform::CalendarDate date = platform::localCalendarFromDate({sys_seconds(seconds(time))});
    std::u16string text = u"00000000T000000";
    writeDigits(text, 0, 4, date.year);
    writeDigits(text, 4, 2, date.month);
    writeDigits(text, 6, 2, date.day);
    writeDigits(text, 9, 2, date.hour);
    writeDigits(text, 11, 2, date.minute);
    writeDigits(text, 13, 2, date.second);
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
    if (text[8] != u'T') {
        return 0;
    }
    if (const auto zone = readZone(text.substr(dateLength))) {
        const std::chrono::year_month_day day{std::chrono::year(fields[0]),
                                              std::chrono::month(static_cast<unsigned>(fields[1])),
                                              std::chrono::day(static_cast<unsigned>(fields[2]))};
        const sys_seconds time = std::chrono::sys_days(day) + std::chrono::hours(fields[3]) +
                                 std::chrono::minutes(fields[4]) + seconds(fields[5] - *zone);
        return day.ok() ? time.time_since_epoch().count() : 0;
    }
    const auto date =
        platform::dateFromLocalCalendar({fields[0], fields[1], fields[2], fields[3], fields[4], fields[5]});
    return date ? date->time.time_since_epoch().count() : 0;
}

} // namespace mtpsdk
