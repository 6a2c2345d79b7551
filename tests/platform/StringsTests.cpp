// SPDX-License-Identifier: MIT
#include "platform/Strings.h"

#include <gtest/gtest.h>

#include <random>

namespace {

using namespace std::string_literals;

TEST(Strings, invalidTextIsReplacedPieceByPiece) {
    const struct {
        std::string text;
        std::u16string expected;
    } rows[] = {
        {"plain"s, u"plain"s},
        {"a\0b"s, u"a\0b"s},
        {"é日😀"s, u"é日😀"s},
        {"a\xFFz"s, u"a\uFFFDz"s},
        {"\x80\x80"s, u"\uFFFD\uFFFD"s},
        {"\xE6\x97"s, u"\uFFFD"s},                          // a character cut off at the end
        {"\xC0\xAF"s, u"\uFFFD\uFFFD"s},                    // an overlong slash must not become one
        {"\xED\xA0\x80"s, u"\uFFFD\uFFFD\uFFFD"s},          // a surrogate in UTF-8
        {"\xF4\x90\x80\x80"s, u"\uFFFD\uFFFD\uFFFD\uFFFD"s} // beyond the last code point
    };
    for (const auto& row : rows) {
        EXPECT_EQ(platform::toUtf16(row.text), row.expected);
    }
    EXPECT_EQ(platform::toUtf8(std::u16string{u'a', 0xD800, u'b', 0xDC00}), "a\uFFFDb\uFFFD");
    EXPECT_EQ(platform::toUtf8(std::u16string{0xD83D}), "\uFFFD");
    EXPECT_EQ(platform::toUtf8(u"é日😀\0x"s), "é日😀\0x"s);
}

TEST(Strings, caseAndComposition) {
    EXPECT_EQ(platform::precomposed("e\u0301"), "\u00E9");
    EXPECT_EQ(platform::precomposed(u"\u1112\u1161\u11AB"s), u"\uD55C");
    EXPECT_EQ(platform::upperCased("straße/ﬁ.mp3"), "STRASSE/FI.MP3");
    EXPECT_EQ(platform::upperCased("i"), "I") << "root locale, not the user's";
    EXPECT_EQ(platform::lowerCased("ÀΣ SOUNDS"), "àς sounds");

    const struct {
        const char* left;
        const char* right;
        bool equal;
    } rows[] = {
        {"DCIM", "dcim", true},
        {"", "", true},
        {"a", "ab", false},
        {"[", "{", false}, // differ by the bit that tells ASCII letters' case
        {"@", "`", false},
        {"Straße", "STRASSE", true},
        {"\u00C9t\u00E9", "e\u0301T\u00C9", true},
        {"\u212A", "k", true},                         // the Kelvin sign: one side ASCII, the other not
        {"\u1EA5\u0323", "A\u0323\u0302\u0301", true}, // marks in another order
        {"\u0391\u0345\u0301", "\u03AC\u03B9", true},  // a mark that folds to a letter
        {"é", "e", false},
    };
    for (const auto& row : rows) {
        EXPECT_EQ(platform::equalIgnoringCase(row.left, row.right), row.equal) << row.left << " " << row.right;
        EXPECT_EQ(platform::caseFolded(row.left) == platform::caseFolded(row.right), row.equal) << row.left;
    }
    EXPECT_TRUE(platform::containsIgnoringCase("/Phone/Card/PODCASTS", "card/pod"));
    EXPECT_TRUE(platform::containsIgnoringCase("ma\u0308rz", "\u00C4R"));
    EXPECT_FALSE(platform::containsIgnoringCase("abc", "abcd"));
}

TEST(Strings, asciiAgreesWithTheFullRules) {
    std::string all;
    for (char c = 1; c < 0x7F; ++c) {
        all.push_back(c);
    }
    const std::string marker = "日"; // has no case; takes the text off the fast path
    EXPECT_EQ(platform::upperCased(all) + marker, platform::upperCased(all + marker));
    EXPECT_EQ(platform::lowerCased(all) + marker, platform::lowerCased(all + marker));
    EXPECT_EQ(platform::caseFolded(all) + marker, platform::caseFolded(all + marker));
    EXPECT_EQ(platform::precomposed(all) + marker, platform::precomposed(all + marker));
    EXPECT_EQ(platform::caseFolded(platform::toUtf16(all)), platform::toUtf16(platform::caseFolded(all)));
}

TEST(Strings, replacing) {
    EXPECT_EQ(platform::replacingAll("a//b//", "//", "/"), "a/b/");
    EXPECT_EQ(platform::replacingAll("aaa", "aa", "b"), "ba");
    EXPECT_EQ(platform::replacingAll("aaa", "a", "aa"), "aaaaaa");
    EXPECT_EQ(platform::replacingAll("abc", "", "x"), "abc");
    EXPECT_EQ(platform::replacingAll("", "a", "x"), "");
}

TEST(Strings, numbers) {
    EXPECT_EQ(platform::upperHex(0), "0");
    EXPECT_EQ(platform::upperHex(0xDEADBEEF), "DEADBEEF");
    const struct {
        std::string text;
        std::uint32_t hex;
        std::uint64_t decimal;
    } rows[] = {
        {""s, 0, 0},
        {"xyz"s, 0, 0},
        {"0x1F"s, 0x1F, 0},
        {"  12ag"s, 0x12A, 12},
        {"1A2B3C4D5"s, 0xA2B3C4D5, 1},           // longer than 32 bits: the low ones
        {"FFFFFFFFFFFFFFFFF"s, 0xFFFFFFFF, 0},   // longer than 64 bits: the largest
        {"-1"s, 0xFFFFFFFF, 0xFFFFFFFFFFFFFFFF}, // as the C library wraps it
        {"12\0"
         "34"s,
         0x12, 12},
        {"18446744073709551615"s, 0x09551615, 18446744073709551615U},
    };
    for (const auto& row : rows) {
        EXPECT_EQ(platform::decimalValue(row.text), row.decimal) << row.text;
        if (row.text.size() < 20) {
            EXPECT_EQ(platform::hexValue(row.text), row.hex) << row.text;
        }
    }
}

bool isWellFormed(const std::u16string& text) {
    for (std::size_t i = 0; i < text.size(); ++i) {
        const bool lead = (text[i] & 0xFC00) == 0xD800;
        const bool paired = lead && i + 1 < text.size() && (text[i + 1] & 0xFC00) == 0xDC00;
        if ((text[i] & 0xF800) == 0xD800 && !paired) {
            return false;
        }
        i += paired ? 1 : 0;
    }
    return true;
}

/// Random bytes with enough lead and continuation bytes that real characters occur.
std::string randomText(std::mt19937& generator) {
    std::uniform_int_distribution<int> length(0, 60);
    std::uniform_int_distribution<int> byte(0, 255);
    std::uniform_int_distribution<char32_t> mark(0xC0, 0x3FF);
    std::string text;
    for (int left = length(generator); left > 0; --left) {
        if (byte(generator) < 128) {
            const char32_t c = mark(generator);
            text += platform::toUtf8(std::u16string(1, static_cast<char16_t>(c)));
        } else {
            text.push_back(static_cast<char>(byte(generator)));
        }
    }
    return text;
}

TEST(Strings, randomBytesNeverHarm) {
    std::mt19937 generator(20240715);
    for (int round = 0; round < 3000; ++round) {
        const std::string text = randomText(generator);
        const std::u16string wide = platform::toUtf16(text);
        EXPECT_TRUE(isWellFormed(wide));
        const std::string clean = platform::toUtf8(wide);
        EXPECT_EQ(platform::toUtf16(clean), wide);
        for (const auto& made : {platform::precomposed(text), platform::upperCased(text), platform::lowerCased(text),
                                 platform::caseFolded(text)}) {
            EXPECT_EQ(platform::toUtf8(platform::toUtf16(made)), made) << "the result is valid UTF-8";
        }
        EXPECT_EQ(platform::precomposed(platform::precomposed(clean)), platform::precomposed(clean));
        EXPECT_EQ(platform::caseFolded(platform::caseFolded(clean)), platform::caseFolded(clean));
        EXPECT_TRUE(platform::equalIgnoringCase(clean, platform::precomposed(clean)));
        EXPECT_TRUE(platform::containsIgnoringCase(text, text));
        static_cast<void>(platform::hexValue(text));
        static_cast<void>(platform::decimalValue(text));
    }
}

} // namespace
