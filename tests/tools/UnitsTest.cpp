// SPDX-License-Identifier: MIT
#include "tools/Units.h"

#include <gtest/gtest.h>

namespace {

using namespace tool;

TEST(Units, SizesAreRead) {
    const std::pair<const char*, std::optional<std::uint64_t>> rows[] = {
        {"0", 0},
        {"512", 512},
        {"64M", 64ULL << 20},
        {"64m", 64ULL << 20},
        {"2G", 2ULL << 30},
        {"1.5G", 3ULL << 29},
        {"4 KiB", 4096},
        {"4kb", 4096},
        {"7B", 7},
        {"16T", 16ULL << 40},
        {"15E", 15ULL << 60},
        {"16E", std::nullopt}, // past 64 bits
        {"", std::nullopt},
        {"G", std::nullopt},
        {"-1G", std::nullopt},
        {"1.5", std::nullopt}, // half a byte
        {"1 GG", std::nullopt},
        {"5X", std::nullopt},
        {"nan", std::nullopt},
        {"inf", std::nullopt},
        {"1e3", std::nullopt},
        {"12 34", std::nullopt},
    };
    for (const auto& [text, expected] : rows) {
        EXPECT_EQ(parseSize(text), expected) << text;
    }
}

TEST(Units, SizesAndTimesAreWritten) {
    EXPECT_EQ(sizeText(0), "0 B");
    EXPECT_EQ(sizeText(1023), "1023 B");
    EXPECT_EQ(sizeText(1536), "1.5 KiB");
    EXPECT_EQ(sizeText(1048575), "1.0 MiB");
    EXPECT_EQ(sizeText(230ULL << 20), "230 MiB");
    EXPECT_EQ(sizeText(UINT64_MAX), "16 EiB");
    EXPECT_EQ(durationText(std::chrono::seconds(7)), "0:07");
    EXPECT_EQ(durationText(std::chrono::seconds(754)), "12:34");
    EXPECT_EQ(durationText(std::chrono::seconds(3723)), "1:02:03");
    EXPECT_EQ(rateText(3 << 20, std::chrono::milliseconds(1500)), "2.0 MiB/s");
    EXPECT_EQ(rateText(1, std::chrono::milliseconds(0)), "");
}

} // namespace
