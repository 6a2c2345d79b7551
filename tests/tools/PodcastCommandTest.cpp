// SPDX-License-Identifier: MIT
// `podcast` of the built program.

#include "tests/tools/ToolRun.h"

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

namespace {

class PodcastCommandTest : public testing::Test {
protected:
    PodcastCommandTest() { box.createDevice({"Phone:64M", "Card:64M"}); }

    /// A feed with these episodes, the first one the newest, and their files.
    std::string feed(const std::string& title, const Texts& episodes) {
        std::string items;
        int day = 28;
        for (const std::string& name : episodes) {
            items += "<item><title>About " + name + "</title><pubDate>" + std::to_string(day--) +
                     " Feb 2020 10:00 GMT</pubDate><enclosure url='http://e.org/" + name + ".mp3?x'/></item>";
            box.folder.write("feeds/" + name + ".mp3", "sound of " + name);
        }
        return box.folder.write("feeds/" + title + ".rss",
                                "<rss><channel><title>" + title + "</title>" + items + "</channel></rss>");
    }
    ToolSandbox box;
};

TEST_F(PodcastCommandTest, AFeedIsPutListedGrownAndRemoved) {
    const ToolResult first = box.runOnDevice({"podcast", "put", "--episodes", "2", feed("News", {"c", "b", "a"})});
    EXPECT_EQ(first.status, 0) << first.err;
    EXPECT_TRUE(contains(first.out, "2 copied, 0 skipped, 0 failed;")) << first.out;
    EXPECT_EQ(box.filesBelow("device/Phone"),
              (Texts{"Podcast/News/News.xml", "Podcast/News/b.mp3", "Podcast/News/c.mp3"}));

    const ToolResult synced = box.runOnDevice({"podcast", "sync", feed("News", {"d", "c", "b"}), feed("Other", {"x"})});
    EXPECT_EQ(synced.status, 0) << synced.err;
    EXPECT_TRUE(contains(synced.out, "2 copied, 2 skipped, 0 failed;")) << synced.out;
    EXPECT_TRUE(contains(synced.out, "c.mp3: is there already")) << synced.out;
    const ToolResult listed = box.runOnDevice({"podcast", "list"});
    EXPECT_TRUE(contains(listed.out, "News")) << listed.out;
    EXPECT_EQ(listed.lines().size(), 3U);
    const ToolResult shown = box.runOnDevice({"podcast", "show", "news"});
    ASSERT_EQ(shown.lines().size(), 4U) << shown.out;
    EXPECT_TRUE(contains(shown.lines()[3], "About d")) << shown.out;
    EXPECT_TRUE(contains(shown.lines()[3], "2020-02-28")) << shown.out;

    const ToolResult removed = box.runOnDevice({"podcast", "remove", "News", "1", "About d", "1"});
    EXPECT_EQ(removed.status, 0) << removed.err;
    EXPECT_EQ(box.filesBelow("device/Phone/Podcast/News"), (Texts{"News.xml", "b.mp3"}));
    EXPECT_EQ(box.runOnDevice({"podcast", "remove", "News", "9"}).status, 1);
    EXPECT_EQ(box.runOnDevice({"podcast", "remove", "News"}).status, 2) << "nobody to confirm";
    EXPECT_EQ(box.runOnDevice({"podcast", "remove", "--yes", "News"}).status, 0);
    EXPECT_EQ(box.filesBelow("device/Phone"), (Texts{"Podcast/Other/Other.xml", "Podcast/Other/x.mp3"}));
    const ToolResult json = box.runOnDevice({"--json", "podcast", "list"});
    EXPECT_EQ(json.lines().size(), 1U) << json.out;
}

TEST_F(PodcastCommandTest, AResultInJsonHoldsItsOwnEpisodeOfTheChannel) {
    const ToolResult put = box.runOnDevice({"--json", "podcast", "put", feed("News", {"a", "b", "c"})});
    const std::string folder = "/Player/Phone/Podcast/News/";
    Texts paths;
    for (const std::string& line : put.lines()) {
        const auto info = nlohmann::json::parse(line)["userInfo"];
        if (info.contains("PodcastXmlInfo")) {
            EXPECT_EQ(info["PodcastXmlInfo"]["Title"], "News");
            for (const auto& episode : info["PodcastXmlInfo"]["children"]) {
                paths.push_back(episode["FilePath"].get<std::string>());
            }
        }
    }
    EXPECT_EQ(paths, (Texts{folder + "a.mp3", folder + "b.mp3", folder + "c.mp3"})) << put.out;
}

TEST_F(PodcastCommandTest, WhatIsWrongIsTold) {
    box.folder.write("feeds/bad.rss", "<html/>");
    const std::pair<Texts, int> rows[] = {
        {{"podcast"}, 2},
        {{"podcast", "put", box.path("none.rss")}, 2},
        {{"podcast", "put", box.path("feeds/bad.rss")}, 2},
        {{"podcast", "put", box.path("feeds")}, 2},
        {{"podcast", "put", "--episodes", "-1", box.path("feeds/bad.rss")}, 2},
        {{"podcast", "show", "News"}, 1},
    };
    for (const auto& [arguments, status] : rows) {
        const ToolResult result = box.runOnDevice(arguments);
        EXPECT_EQ(result.status, status) << result.err;
        EXPECT_FALSE(result.err.empty());
    }
    const std::string path = feed("News", {"a", "b"});
    const ToolResult nothing = box.runOnDevice({"podcast", "put", "--media", box.path("device"), path});
    EXPECT_EQ(nothing.status, 1);
    EXPECT_TRUE(contains(nothing.err, "no media file in " + box.path("device") + ": a.mp3, b.mp3.")) << nothing.err;
    const std::string text = box.folder.write(
        "feeds/text.rss", "<rss><channel><title>Text</title><item><title>Read</title></item></channel></rss>");
    EXPECT_TRUE(contains(box.runOnDevice({"podcast", "put", text}).err, "without any media file: Read."));
    EXPECT_EQ(box.runOnDevice({"podcast", "list"}).lines().size(), 1U);
}

} // namespace
