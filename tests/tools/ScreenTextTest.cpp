// SPDX-License-Identifier: MIT
#include "tools/ScreenText.h"

#include "tests/tools/FakeTerminal.h"
#include "tools/Table.h"

#include <gtest/gtest.h>
#include <sstream>

namespace {

using namespace tool;

TEST(ScreenText, NothingReachesTheTerminalThatItActsUpon) {
    const std::pair<std::string, std::string> rows[] = {
        {"plain Ünïcode 音楽 🎵.mp3", "plain Ünïcode 音楽 🎵.mp3"},
        {"e\u0301 decomposed", "e\u0301 decomposed"},
        {"\x1B[31mred\x1B[0m", "\\x1B[31mred\\x1B[0m"},
        {"a\nb\tc\rd\x7F", "a\\x0Ab\\x09c\\x0Dd\\x7F"},
        {std::string("nul\0!", 5), "nul\\x00!"},
        {"\u009B2J", "\\u{9B}2J"},                                  // the one-byte form of escape and bracket
        {"gpj.\u202Eexe", "gpj.\\u{202E}exe"},                      // turns what follows around
        {"line\u2028break", "line\\u{2028}break"},                  //
        {"bad \xFF\xC3( bytes", "bad \\xFF\\xC3( bytes"},           //
        {"👩‍👩‍👧 family", "👩‍👩‍👧 family"}, // held together by joiners
    };
    for (const auto& [text, expected] : rows) {
        EXPECT_EQ(safeText(text), expected);
    }
}

TEST(ScreenText, TextsAreMeasuredAndCutInColumns) {
    EXPECT_EQ(displayWidth("abc"), 3);
    EXPECT_EQ(displayWidth("音楽"), 4);
    EXPECT_EQ(displayWidth("e\u0301"), 1);
    EXPECT_EQ(fittedText("abcdef", 6), "abcdef");
    EXPECT_EQ(fittedText("abcdef", 5), "abcd…");
    EXPECT_EQ(fittedText("音楽音楽", 6), "音楽…"); // a wide character is not halved
    EXPECT_EQ(fittedText("abc", 1), "…");
    EXPECT_EQ(fittedText("abc", 0), "");
    EXPECT_EQ(paddedText("音", 4, Align::left), "音  ");
    EXPECT_EQ(paddedText("12", 4, Align::right), "  12");
}

TEST(Table, FitsTheTerminalAndIsWholeElsewhere) {
    Table table({{"SIZE", Align::right}, Table::text("NAME"), {"KIND"}, Table::text("PATH")});
    table.addRow({"1 KiB", "音楽音楽音楽音楽音楽音楽音楽音楽", "music", "/Player/Phone/" + std::string(60, 'x')});
    table.addRow({"20 KiB", "short", "image", "/Player"});
    for (const int columns : {60, 80, 200}) {
        FakeOutput terminal(true, columns);
        FakeOutput other(true);
        Console console(terminal, other);
        table.print(console);
        std::istringstream lines(terminal.written);
        for (std::string line; std::getline(lines, line);) {
            EXPECT_LE(displayWidth(line), columns) << line;
            EXPECT_TRUE(line.starts_with("  SIZE") || line.starts_with(" 1 KiB") || line.starts_with("20 KiB")) << line;
        }
        EXPECT_EQ(terminal.written.find("…") == std::string::npos, columns == 200) << terminal.written;
    }
    FakeOutput pipe(false);
    Console console(pipe, pipe);
    table.print(console);
    EXPECT_NE(pipe.written.find(std::string(60, 'x')), std::string::npos);
}

TEST(ScreenText, TellsUtf8) {
    EXPECT_TRUE(isValidUtf8(""));
    EXPECT_TRUE(isValidUtf8("é音🎵"));
    EXPECT_FALSE(isValidUtf8("a\xE9"));
    EXPECT_FALSE(isValidUtf8("\xED\xA0\x80")); // half a surrogate pair
    EXPECT_FALSE(isValidUtf8("\xC0\xAF"));     // overlong
}

} // namespace
