// SPDX-License-Identifier: MIT
#include "platform/Format.h"

#include <gtest/gtest.h>

namespace {

using platform::Array;
using platform::Dictionary;
using platform::FormatArgument;
using platform::formatText;

TEST(Format, conversions) {
    const auto* const pointer = reinterpret_cast<const void*>(std::uintptr_t{0x1F40});
    const struct {
        const char* format;
        FormatArgument argument;
        const char* expected;
    } rows[] = {
        {"%@ file is exist", "a.mp3", "a.mp3 file is exist"},
        {"%s", std::string("x"), "x"},
        {"Name = %S", u"é😀", "Name = é😀"},
        {"%@", static_cast<const char*>(nullptr), "(null)"},
        {"%S", static_cast<const char16_t*>(nullptr), "(null)"},
        {"%@", std::optional<std::string>(), "(null)"},
        {"%@", platform::Value(), "(null)"},
        {"%d", -5, "-5"},
        {"%i", true, "1"},
        {"%4d|", 42, "  42|"},
        {"%-4d|", 42, "42  |"},
        {"%04d", -42, "-042"},
        {"%+d", 7, "+7"},
        {"%ld", -5000000000LL, "-5000000000"},
        {"%lld", std::int64_t{-1}, "-1"},
        {"%llu", 18446744073709551615ULL, "18446744073709551615"},
        {"%u", -1, "4294967295"},
        {"%lu", -1L, "18446744073709551615"},
        {"%x", 0x1000000AU, "1000000a"},
        {"%08x", 0xBEEF, "0000beef"},
        {"0x%08X", -1, "0xFFFFFFFF"},
        {"%llX", std::int64_t{-2}, "FFFFFFFFFFFFFFFE"},
        {"%X", 0x123456789AULL, "123456789A"}, // never cut: the type says how long it is
        {"%#x", 16, "0x10"},
        {"%o", 8, "10"},
        {"%hhd", 200, "200"},
        {"%zu", std::size_t{3}, "3"},
        {"%c", 'A', "A"},
        {"%.2f", 2.5, "2.50"},
        {"%f", 0.5, "0.500000"},
        {"%6.1f|", -2.25, "  -2.2|"},
        {"%g", 0.0001, "0.0001"},
        {"%p", pointer, "0x1f40"},
        {"%p", 0x1F40U, "0x1f40"},
        {"%p", static_cast<const void*>(nullptr), "0x0"},
        {"%.2s", "日本語", "日本"},
        {"%4s|", "日本", "  日本|"},
        // arguments of another kind than the conversion's
        {"%d", "text", "text"},
        {"%05d", "ab", "   ab"},
        {"%@", 12, "12"},
        {"%@", 0xFFFFFFFFU, "4294967295"},
        {"%d", 1.5, "1.5"},
        {"%@", pointer, "0x1f40"},
        {"%X", pointer, "1F40"},
        // what is no conversion stays
        {"100%", 1, "100%"},
        {"100% of %d", 1, "100% of 1"},
        {"%!%d", 1, "%!1"},
        {"%%%d%%", 3, "%3%"},
        {"%99999999999999999999d", 1, nullptr},
        {"", 1, ""},
    };
    for (const auto& row : rows) {
        const std::string text = formatText(row.format, {row.argument});
        if (row.expected) {
            EXPECT_EQ(text, row.expected) << row.format;
        } else {
            EXPECT_LE(text.size(), 4096U) << "an absurd width is limited";
        }
    }
}

TEST(Format, argumentsAreTakenInOrderAndMayBeTooFewOrTooMany) {
    EXPECT_EQ(formatText("[%s:%s-(%d)] %@", "a.cpp", "run", 12, std::string("done 100%d")),
              "[a.cpp:run-(12)] done 100%d");
    EXPECT_EQ(formatText("%@/%@.pla", "list"), "list/%@.pla");
    EXPECT_EQ(formatText("%@", "a", "b"), "a");
    EXPECT_EQ(formatText("plain %d %% %@"), "plain %d % %@");
    EXPECT_EQ(formatText("%@ %@", Dictionary{{"b", 2}, {"a", "x"}}, Array{1, "y"}), "{a = x; b = 2} (1, y)");
}

} // namespace
