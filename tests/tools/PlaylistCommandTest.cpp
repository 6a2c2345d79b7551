// SPDX-License-Identifier: MIT
// `playlist` of the built program, from an .m3u file to the device and back.

#include "tests/tools/ToolRun.h"

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

namespace {

class PlaylistCommandTest : public testing::Test {
protected:
    void SetUp() override {
        box.createDevice({"Phone:64M", "Card:64M"});
        for (const char* name : {"Phone/Sounds/a.mp3", "Phone/Sounds/b.mp3", "Phone/Sounds/Üb er ♪.mp3",
                                 "Phone/Sounds/Live/a.mp3", "Card/Sounds/c.mp3"}) {
            box.folder.write(std::string("device/") + name, name);
        }
    }
    ToolResult playlist(Texts arguments) {
        arguments.insert(arguments.begin(), "playlist");
        return box.runOnDevice(arguments);
    }
    /// The paths in a playlist, without the device's name.
    Texts shown(const std::string& name) {
        const ToolResult result = box.runOnDevice({"--json", "playlist", "show", name});
        EXPECT_EQ(result.status, 0) << result.err;
        Texts paths;
        const auto description = nlohmann::json::parse(result.out, nullptr, false);
        for (const auto& child : description.is_object() ? description["children"] : nlohmann::json::array()) {
            paths.push_back(
                child.value("FilePath", child.value("FileName", "")).substr(std::string("/Player/").size()));
            EXPECT_FALSE(child.contains("NodeID"));
        }
        return paths;
    }
    ToolSandbox box;
};

TEST_F(PlaylistCommandTest, ARoundTrip) {
    const std::string name = "Road trip 🚗";
    box.folder.write("trip.m3u8",
                     "\xEF\xBB\xBF#EXTM3U\r\n#EXTINF:5,B\r\nC:\\Music\\B.MP3\r\n\r\n/home/me/live/a.mp3\r\n"
                     "gone.mp3\r\nhttp://radio/stream\r\nfile:///m/%C3%9Cb%20er%20%E2%99%AA.mp3\r\nc.mp3");
    const ToolResult made = playlist({"create", name, box.path("trip.m3u8")});
    EXPECT_EQ(made.status, 1) << made.err; // for two entries there is nothing
    EXPECT_TRUE(contains(made.err, "gone.mp3: not in the device's music folders")) << made.err;
    EXPECT_TRUE(contains(made.err, "http://radio/stream: not in")) << made.err;
    const Texts created = {"Phone/Sounds/b.mp3", "Phone/Sounds/Live/a.mp3", "Phone/Sounds/Üb er ♪.mp3",
                           "Card/Sounds/c.mp3"};
    EXPECT_EQ(shown(name), created);
    EXPECT_EQ(playlist({"create", "ROAD TRIP 🚗"}).status, 1); // exists
    EXPECT_EQ(shown(name), created);

    const ToolResult added = playlist({"add", name, "Phone/Sounds/a.mp3", "Phone/Sounds/b.mp3", "Phone/Sounds/no.mp3"});
    EXPECT_EQ(added.status, 1);
    EXPECT_TRUE(contains(added.out, "1 added, 1 skipped, 1 failed")) << added.out;
    Texts now = created;
    now.emplace_back("Phone/Sounds/a.mp3");
    EXPECT_EQ(shown(name), now);

    EXPECT_EQ(playlist({"remove", name, "a.mp3"}).status, 1); // which one?
    EXPECT_EQ(shown(name), now);
    const ToolResult removed =
        playlist({"remove", name, "Live/a.mp3", "/player/phone/sounds/B.mp3", "never.mp3", "c.mp3"});
    EXPECT_TRUE(contains(removed.out, "3 removed, 0 skipped, 1 failed")) << removed.out;
    EXPECT_EQ(shown(name), (Texts{"Phone/Sounds/Üb er ♪.mp3", "Phone/Sounds/a.mp3"}));

    EXPECT_EQ(playlist({"rename", name, "Home"}).status, 0);
    EXPECT_EQ(shown("home").size(), 2U);
    EXPECT_EQ(playlist({"export", "Home", box.path("out.m3u8")}).status, 0);
    EXPECT_EQ(box.content("out.m3u8"), "#EXTM3U\nÜb er ♪.mp3\na.mp3\n");
    EXPECT_EQ(playlist({"create", "Again", box.path("out.m3u8")}).status, 0);
    EXPECT_EQ(shown("Again"), shown("Home"));
    EXPECT_EQ(playlist({"export", "Home", box.path("own.pla")}).status, 0);
    EXPECT_FALSE(box.content("own.pla").empty());
    EXPECT_EQ(playlist({"export", "Home", box.path("out.m3u8"), "--overwrite", "never"}).status, 0);

    const ToolResult deleted = playlist({"delete", "HOME", "Nowhere"});
    EXPECT_EQ(deleted.status, 1);
    EXPECT_TRUE(contains(deleted.err, "Nowhere: no such playlist")) << deleted.err;
    EXPECT_EQ(playlist({"list"}).lines().size(), 2U); // the heading and one list
    EXPECT_EQ(box.content("device/Phone/Sounds/a.mp3"), "Phone/Sounds/a.mp3");
}

TEST_F(PlaylistCommandTest, SynchronisingMakesAndRewritesLists) {
    box.folder.write("one.m3u", "a.mp3\nb.mp3\n");
    box.folder.write("two.m3u8", "");
    const ToolResult made = playlist({"sync", box.path("one.m3u"), box.path("two.m3u8")});
    EXPECT_EQ(made.status, 0) << made.err;
    EXPECT_EQ(shown("one"), (Texts{"Phone/Sounds/a.mp3", "Phone/Sounds/b.mp3"}));
    EXPECT_TRUE(shown("two").empty());
    box.folder.write("one.m3u", "c.mp3\nb.mp3\nlive/a.mp3\nx.mp3\n");
    const ToolResult changed = playlist({"sync", box.path("one.m3u")});
    EXPECT_EQ(changed.status, 1);
    EXPECT_TRUE(contains(changed.err, "x.mp3: not in")) << changed.err;
    EXPECT_TRUE(contains(changed.err, "Live/a.mp3: the service takes another file")) << changed.err;
    EXPECT_EQ(shown("one"), (Texts{"Card/Sounds/c.mp3", "Phone/Sounds/b.mp3", "Phone/Sounds/a.mp3"}));
}

TEST_F(PlaylistCommandTest, WhatIsPutCanGoIntoAList) {
    const std::string song = box.folder.write("new.mp3", "new");
    ASSERT_EQ(box.runOnDevice({"put", "--playlist", "Fresh", song}).status, 0);
    ASSERT_EQ(box.runOnDevice({"put", "--playlist", "FRESH", box.folder.write("newer.mp3", "newer")}).status, 0);
    EXPECT_EQ(shown("fresh"), (Texts{"Phone/Sounds/new.mp3", "Phone/Sounds/newer.mp3"}));
    // What is there already and stays goes into the list as well, once.
    const Texts again = {"put", "--playlist", "Other", "--overwrite", "never", "--storage", "Phone", song};
    for (const char* extra : {"B.mp3", "third.mp3", "third.mp3"}) {
        Texts arguments = again;
        arguments.push_back(box.folder.write(std::string("local/") + extra, "content"));
        const ToolResult result = box.runOnDevice(arguments);
        EXPECT_EQ(result.status, 0) << result.out << result.err;
    }
    EXPECT_EQ(shown("Other"), (Texts{"Phone/Sounds/new.mp3", "Phone/Sounds/b.mp3", "Phone/Sounds/third.mp3"}));
    EXPECT_EQ(box.content("device/Phone/Sounds/b.mp3"), "Phone/Sounds/b.mp3");
}

TEST_F(PlaylistCommandTest, WrongUse) {
    EXPECT_EQ(playlist({"show", "Nothing"}).status, 1);
    EXPECT_EQ(playlist({"rename", "Nothing", "Something"}).status, 1);
    EXPECT_EQ(playlist({"create", "X", box.path("missing.m3u")}).status, 2);
    EXPECT_EQ(playlist({}).status, 2);
    EXPECT_EQ(playlist({"create", "a/b"}).status, 1); // no device takes such a name
    EXPECT_EQ(playlist({"create", "X", box.folder.write("none.m3u", "gone.mp3\n")}).status, 1);
    const ToolResult folder = playlist({"create", "X", "Phone/Sounds/Live"});
    EXPECT_EQ(folder.status, 1);
    EXPECT_TRUE(contains(folder.err, "/Live: it is a folder; name the files in it")) << folder.err;
    EXPECT_EQ(playlist({"list"}).lines().size(), 1U); // the heading
}

} // namespace
