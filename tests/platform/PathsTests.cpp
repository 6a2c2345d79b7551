// SPDX-License-Identifier: MIT
#include "platform/Paths.h"
#include "tests/platform/TemporaryFolder.h"

namespace {

TEST(Paths, components) {
    const struct {
        const char* path;
        std::vector<std::string> components;
        const char* last;
        const char* parent;
        const char* extension;
    } rows[] = {
        {"", {}, "", "", ""},
        {"/", {"/"}, "/", "/", ""},
        {"///", {"/"}, "/", "/", ""},
        {"a", {"a"}, "a", "", ""},
        {"a/", {"a"}, "a", "", ""},
        {"/a", {"/", "a"}, "a", "/", ""},
        {"/a/", {"/", "a"}, "a", "/", ""},
        {"//a//b//", {"/", "a", "b"}, "b", "//a", ""},
        {"a//b.txt", {"a", "b.txt"}, "b.txt", "a", "txt"},
        {"/Phone/Card/DCIM/x.tar.gz", {"/", "Phone", "Card", "DCIM", "x.tar.gz"}, "x.tar.gz", "/Phone/Card/DCIM", "gz"},
        {"/a.b/c", {"/", "a.b", "c"}, "c", "/a.b", ""},
        {"/a/.nomedia", {"/", "a", ".nomedia"}, ".nomedia", "/a", ""},
        {".hidden.mp3", {".hidden.mp3"}, ".hidden.mp3", "", "mp3"},
        {"/a/name.", {"/", "a", "name."}, "name.", "/a", ""},
        {"/a/..", {"/", "a", ".."}, "..", "/a", ""},
        {"/a/b.mp3/", {"/", "a", "b.mp3"}, "b.mp3", "/a", "mp3"},
        {"/é/日本 語.MP3", {"/", "é", "日本 語.MP3"}, "日本 語.MP3", "/é", "MP3"},
    };
    for (const auto& row : rows) {
        EXPECT_EQ(platform::pathComponents(row.path), row.components) << row.path;
        EXPECT_EQ(platform::lastPathComponent(row.path), row.last) << row.path;
        EXPECT_EQ(platform::deletingLastPathComponent(row.path), row.parent) << row.path;
        EXPECT_EQ(platform::pathExtension(row.path), row.extension) << row.path;
    }
}

TEST(Paths, tildeIsTheHomeFolder) {
    const struct {
        const char* home;
        const char* path;
        const char* expanded;
    } rows[] = {
        {"/home/ann", "~", "/home/ann"},
        {"/home/ann", "~/Temp/x", "/home/ann/Temp/x"},
        {"/home/ann/", "~/x", "/home/ann/x"},
        {"/", "~", "/"},
        {"/", "~/x", "/x"},
        {"/home/ann", "~bob/x", "~bob/x"},
        {"/home/ann", "/a/~", "/a/~"},
        {"/home/ann", "", ""},
    };
    for (const auto& row : rows) {
        const tests::ScopedEnvironment home("HOME", row.home);
        EXPECT_EQ(platform::expandingTilde(row.path), row.expanded) << row.path;
    }
    for (const char* none : {static_cast<const char*>(nullptr), ""}) {
        const tests::ScopedEnvironment home("HOME", none);
        EXPECT_TRUE(platform::expandingTilde("~").starts_with('/')) << "from the password database";
    }
}

} // namespace
