// SPDX-License-Identifier: MIT
#include "platform/Dates.h"
#include "tests/platform/TemporaryFolder.h"

#include <climits>

namespace {

using platform::CalendarDate;
using platform::Date;

Date at(std::int64_t seconds) {
    return Date{std::chrono::sys_seconds(std::chrono::seconds(seconds))};
}

constexpr const char* centralEurope = "CET-1CEST,M3.5.0,M10.5.0/3";

TEST(Dates, localCalendarFollowsTheSystemTimeZone) {
    const struct {
        const char* zone;
        CalendarDate calendar;
        std::int64_t seconds;
    } rows[] = {
        {"UTC0", {1970, 1, 1, 0, 0, 0}, 0},
        {"UTC0", {1969, 12, 31, 23, 59, 59}, -1}, // also what the C calendar answers on failure
        {centralEurope, {2024, 1, 15, 12, 0, 0}, 1705316400},
        {centralEurope, {2024, 7, 15, 12, 0, 0}, 1721037600},
        {"EST5", {2038, 1, 19, 3, 14, 8}, 2147501648},
    };
    for (const auto& row : rows) {
        const tests::ScopedEnvironment zone("TZ", row.zone);
        const auto date = platform::dateFromLocalCalendar(row.calendar);
        ASSERT_TRUE(date) << row.seconds;
        EXPECT_EQ(date->time.time_since_epoch().count(), row.seconds);
        EXPECT_EQ(platform::localCalendarFromDate(*date), row.calendar);
    }
}

// Answers are remembered for a quarter of an hour of the calendar: never across a change of the zone or of its offset.
TEST(Dates, rememberedOffsetsFollowTheZone) {
    const CalendarDate noon{2024, 7, 15, 12, 0, 0};
    for (const auto& [name, seconds] :
         {std::pair(centralEurope, 1721037600), std::pair("UTC0", 1721044800), std::pair(centralEurope, 1721037600)}) {
        const tests::ScopedEnvironment zone("TZ", name);
        EXPECT_EQ(platform::dateFromLocalCalendar(noon), at(seconds)) << name;
        EXPECT_EQ(platform::localCalendarFromDate(at(seconds)), noon) << name;
    }
    const tests::ScopedEnvironment zone("TZ", centralEurope); // clocks go from 2:00 to 3:00 on 2024-03-31
    const std::pair<CalendarDate, int> rows[] = {{{2024, 3, 31, 1, 50, 0}, 1711846200},
                                                 {{2024, 3, 31, 1, 59, 59}, 1711846799},
                                                 {{2024, 3, 31, 3, 0, 0}, 1711846800},
                                                 {{2024, 3, 31, 3, 14, 59}, 1711847699},
                                                 {{2024, 3, 31, 1, 59, 59}, 1711846799}};
    for (const auto& [calendar, seconds] : rows) {
        EXPECT_EQ(platform::dateFromLocalCalendar(calendar), at(seconds)) << seconds;
    }
}

TEST(Dates, fieldsOutOfRangeCarryOverAndImpossibleOnesAreRefused) {
    const tests::ScopedEnvironment zone("TZ", "UTC0");
    EXPECT_EQ(platform::dateFromLocalCalendar({2023, 2, 29, 24, 60, 0}),
              platform::dateFromLocalCalendar({2023, 3, 2, 1, 0, 0}));
    EXPECT_EQ(platform::dateFromLocalCalendar({2024, 0, 0, 0, 0, 0}),
              platform::dateFromLocalCalendar({2023, 11, 30, 0, 0, 0}));
    EXPECT_FALSE(platform::dateFromLocalCalendar({INT_MAX, INT_MAX, 1, 0, 0, 0}));
    EXPECT_FALSE(platform::dateFromLocalCalendar({INT_MIN, INT_MIN, 1, 0, 0, 0}));
    EXPECT_EQ(platform::localCalendarFromDate(at(INT64_MAX)), CalendarDate());
}

TEST(Dates, descriptionIsUtcWhateverTheZone) {
    const tests::ScopedEnvironment zone("TZ", centralEurope);
    EXPECT_EQ(platform::dateDescription(at(1721037600)), "2024-07-15 10:00:00 +0000");
    EXPECT_EQ(platform::dateDescription(at(-1)), "1969-12-31 23:59:59 +0000");
    EXPECT_EQ(platform::dateDescription(at(INT64_MIN)), "(null)");
}

TEST(Dates, parseReadsDescriptionsOnly) {
    const struct {
        const char* text;
        std::optional<Date> date;
    } rows[] = {
        {"2024-07-15 10:00:00 +0000", at(1721037600)},
        {"2024-07-15 12:00:00 +0200", at(1721037600)},
        {"2024-07-15 04:30:00 -0530", at(1721037600)},
        {"2024-02-29 00:00:00 +0000", at(1709164800)},
        {"2023-02-29 00:00:00 +0000", std::nullopt},
        {"2024-13-01 00:00:00 +0000", std::nullopt},
        {"2024-00-01 00:00:00 +0000", std::nullopt},
        {"2024-07-15 24:00:00 +0000", std::nullopt},
        {"2024-07-15 10:60:00 +0000", std::nullopt},
        {"2024-07-15 10:00:60 +0000", std::nullopt},
        {"2024-07-15 10:00:00 +0060", std::nullopt},
        {"2024-07-15T10:00:00 +0000", std::nullopt},
        {"2024-07-15 10:00:00 00000", std::nullopt},
        {"2024-07-15 10:00:00 +0000 ", std::nullopt},
        {"2024-07-15 10:00:00", std::nullopt},
        {"-024-07-15 10:00:00 +0000", std::nullopt},
        {"", std::nullopt},
    };
    for (const auto& row : rows) {
        EXPECT_EQ(platform::parseDateDescription(row.text), row.date) << row.text;
    }
}

} // namespace
