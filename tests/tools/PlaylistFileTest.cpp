// SPDX-License-Identifier: MIT
#include "tools/PlaylistFile.h"

#include "tests/tools/Texts.h"
#include "tools/DevicePath.h"

#include <gtest/gtest.h>

namespace {

using namespace tool;

TEST(PlaylistFileTest, EntriesAreReadAsTheyAreWrittenEverywhere) {
    struct Row {
        std::string content;
        Texts entries;
    };
    const Row rows[] = {
        {"", {}},
        {"#EXTM3U\n#EXTINF:1,x\na.mp3\n", {"a.mp3"}},
        {"a.mp3\r\n\r\nb.mp3\rc.mp3", {"a.mp3", "b.mp3", "c.mp3"}},
        {"\xEF\xBB\xBF"
         "a.mp3",
         {"a.mp3"}},
        {"\xEF\xBB\xBF#x\n ./a b.mp3\t\n", {"./a b.mp3"}},
        {"caf\xC3\xA9.mp3", {"caf\xC3\xA9.mp3"}},
        {"caf\xE9.mp3\n\xFC", {"caf\xC3\xA9.mp3", "\xC3\xBC"}}, // Latin-1
        {"a.mp3\na.mp3\n", {"a.mp3", "a.mp3"}},
        {std::string("a\0b.mp3\n", 8), {std::string("a\0b.mp3", 7)}},
    };
    for (const Row& row : rows) {
        EXPECT_EQ(parsePlaylist(row.content), row.entries) << row.content;
    }
    const Texts written = {"a.mp3", "Live/b ♪.mp3", "#1 hit.mp3"};
    EXPECT_EQ(parsePlaylist(playlistText(written)), (Texts{"a.mp3", "Live/b ♪.mp3", "./#1 hit.mp3"}));
}

TEST(PlaylistFileTest, EntriesNameFilesInManyWays) {
    const std::pair<const char*, Texts> rows[] = {
        {"a.mp3", {"a.mp3"}},
        {"./x/../Live//a.mp3", {"Live", "a.mp3"}},
        {"../../a.mp3", {"a.mp3"}},
        {"/home/me/a.mp3", {"home", "me", "a.mp3"}},
        {"C:\\Music\\a.mp3", {"Music", "a.mp3"}},
        {"file:///m/a%20b%2.mp3", {"m", "a b%2.mp3"}},
        {"FILE://m/%C3%A9", {"m", "\xC3\xA9"}},
        {"100%.mp3", {"100%.mp3"}},
        {"http://radio/a.mp3", {}},
        {"", {}},
        {"..", {}},
    };
    for (const auto& [entry, components] : rows) {
        EXPECT_EQ(entryComponents(entry), components) << entry;
    }
}

TEST(DevicePathTest, WhatAPathMeans) {
    const Texts one = {"/My Player/Phone"};
    const Texts two = {"/My Player/Phone", "/My Player/Card"};
    struct Row {
        const char* text;
        const Texts& volumes;
        int storage; ///< -1: none
        Texts components;
    };
    const Row rows[] = {
        {"Phone/a/b.mp3", two, 0, {"a", "b.mp3"}},
        {"card/a", two, 1, {"a"}},
        {"Card", two, 1, {}},
        {"/my player/CARD//./a/", two, 1, {"a"}},
        {"a/b", two, -1, {}},
        {"a/b", one, 0, {"a", "b"}},
        {"Phone/b", one, 0, {"b"}},
        {"/My Player/a", one, -1, {}},
        {"/Phone/a", one, -1, {}},
        {"Phone/../a", one, -1, {}},
        {"", one, -1, {}},
        {"/", one, -1, {}},
    };
    for (const Row& row : rows) {
        std::string problem;
        const auto path = parseDevicePath(row.text, row.volumes, problem);
        EXPECT_EQ(path ? static_cast<int>(path->storage) : -1, row.storage) << row.text << problem;
        EXPECT_EQ(path ? path->components : Texts(), row.components) << row.text;
        EXPECT_EQ(problem.empty(), path.has_value()) << row.text;
    }
    std::string problem; // labels that differ in case only
    EXPECT_FALSE(parseDevicePath("x/a", {"/P/X", "/P/x"}, problem));
}

TEST(DevicePathTest, Patterns) {
    struct Row {
        const char* pattern;
        const char* name;
        bool fits;
    };
    const Row rows[] = {
        {"*", "a.mp3", true},       {"*", ".a", false},
        {".*", ".a", true},         {"*.mp3", "a.mp3", true},
        {"*.mp3", "a.MP3", false},  {"a*b*c", "aXbYbZc", true},
        {"a*b*c", "aXbYbZ", false}, {"?", "é", true},
        {"?", "🎵", true},           {"??", "🎵", false},
        {"[a]*", "[a]b", true},     {"*a", "aaab", false},
        {"a**", "a", true},         {"", "", true},
        {"?", "", false},
    };
    for (const Row& row : rows) {
        EXPECT_EQ(matchesPattern(row.name, row.pattern), row.fits) << row.pattern << " " << row.name;
    }
}

TEST(DevicePathTest, LocalNamesAreNeverAWayOut) {
    EXPECT_EQ(localName(".."), "__");
    EXPECT_EQ(localName("."), "_");
    EXPECT_EQ(localName(""), "_");
    EXPECT_EQ(localName("a\x1B[2J.mp3"), "a_[2J.mp3");
    EXPECT_EQ(localName("...mp3"), "...mp3");
}

} // namespace
