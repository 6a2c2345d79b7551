// SPDX-License-Identifier: MIT
#include "tools/MediaPlan.h"

#include "tests/host/TestFolder.h"
#include "tests/tools/Texts.h"

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

using namespace tool;

class MediaPlanTest : public testing::Test {
protected:
    MediaPlan plan(const std::vector<std::string>& below, std::optional<MediaType> type = std::nullopt) {
        std::vector<std::string> paths;
        for (const std::string& path : below) {
            paths.push_back(folder.path(path));
        }
        return planMedia(paths, type, [] { return false; });
    }
    /// "name=type" of the files, "path: reason" of what is left out, with "!" before failures.
    std::vector<std::string> files(const MediaPlan& plan) {
        std::vector<std::string> texts;
        for (const LocalFile& file : plan.files) {
            texts.push_back(file.path.substr(folder.path().size() + 1) + "=" + std::to_string(file.type));
        }
        return texts;
    }
    std::vector<std::string> leftOut(const MediaPlan& plan) {
        std::vector<std::string> texts;
        for (const LeftOut& entry : plan.leftOut) {
            texts.push_back((entry.isFailure ? "!" : "") + entry.shownPath.substr(folder.path().size() + 1) + ": " +
                            entry.reason);
        }
        return texts;
    }
    TestFolder folder;
};

TEST_F(MediaPlanTest, FoldersAreWalkedInOrderOfTheirNames) {
    for (const char* name : {"t/b/2.jpg", "t/b/deep/3.MP4", "t/a.mp3", "t/z.mp3", "t/notes.txt", "t/.hidden/4.mp3",
                             "t/.nomedia", "t/b/song.flac"}) {
        folder.write(name, "x");
    }
    std::filesystem::create_directories(folder.path("t/empty"));
    const MediaPlan result = plan({"t"});
    EXPECT_EQ(files(result), (Texts{"t/a.mp3=1", "t/z.mp3=1", "t/b/2.jpg=2", "t/b/deep/3.MP4=3"}));
    EXPECT_EQ(leftOut(result), (Texts{"t/notes.txt: not a kind of media that is known",
                                      "t/b/song.flac: not a kind of media that is known"}));
    EXPECT_EQ(result.hiddenCount, 2U);
    EXPECT_EQ(result.files[0].size, 1U);
    EXPECT_EQ(result.files[0].name, "a.mp3");
}

TEST_F(MediaPlanTest, AForcedTypeTakesNamedFilesAndWhatFitsInFolders) {
    for (const char* name : {"t/song.flac", "t/cover.jpg", "raw.bin", ".hidden.ogg"}) {
        folder.write(name, "x");
    }
    const MediaPlan result = plan({"t", "raw.bin", ".hidden.ogg"}, MediaTypeMusic);
    EXPECT_EQ(files(result), (Texts{"t/song.flac=1", "raw.bin=1", ".hidden.ogg=1"}));
    EXPECT_EQ(leftOut(result), (Texts{"t/cover.jpg: not a file of this type"}));
}

TEST_F(MediaPlanTest, OneNameInOneFolderOfTheDeviceIsSentOnce) {
    folder.write("a/One.mp3", "first");
    folder.write("b/one.MP3", "second");
    folder.write("c/caf\u00E9.mp3", "composed");
    folder.write("c/cafe\u0301.mp3", "decomposed");
    folder.write("d/one.jpg", "a picture goes elsewhere");
    const MediaPlan result = plan({"a", "b", "a/One.mp3", "d", "c"});
    EXPECT_EQ(files(result), (Texts{"a/One.mp3=1", "d/one.jpg=2", "c/cafe\u0301.mp3=1"}));
    const Texts said = leftOut(result);
    ASSERT_EQ(said.size(), 3U);
    EXPECT_EQ(said[0].find("!b/one.MP3: has the same name on the device as "), 0U) << said[0];
    EXPECT_EQ(said[1], "a/One.mp3: named twice, sent once");
    EXPECT_EQ(said[2].find("!c/caf\u00E9.mp3: has the same name"), 0U) << said[2];
}

TEST_F(MediaPlanTest, WhatCannotBeSentIsSaidAndTheRestGoesOn) {
    folder.write("good.mp3", "x");
    folder.write("real/inside.mp3", "x");
    folder.write("bad\xFF.mp3", "x");
    ASSERT_EQ(mkfifo(folder.path("pipe.mp3").c_str(), 0600), 0);
    std::filesystem::create_symlink(folder.path("real"), folder.path("real/loop"));
    std::filesystem::create_symlink(folder.path("good.mp3"), folder.path("real/link.mp3"));
    std::filesystem::create_symlink(folder.path("gone"), folder.path("real/dangling.mp3"));
    const MediaPlan result = plan({"missing.mp3", "pipe.mp3", "bad\xFF.mp3", "real", "good.mp3"});
    EXPECT_EQ(files(result), (Texts{"real/inside.mp3=1", "real/link.mp3=1", "good.mp3=1"}));
    EXPECT_EQ(leftOut(result), (Texts{"!missing.mp3: no such file or folder", "!pipe.mp3: not a regular file",
                                      "!bad\xFF.mp3: the name is not valid UTF-8, so no device can hold it",
                                      "!real/dangling.mp3: the file cannot be read: No such file or directory",
                                      "real/loop: a link to a folder, not followed"}));
}

TEST_F(MediaPlanTest, AFolderThatMayNotBeReadFails) {
    if (geteuid() == 0) {
        GTEST_SKIP() << "root may read everything";
    }
    std::filesystem::create_directories(folder.path("closed"));
    chmod(folder.path("closed").c_str(), 0);
    EXPECT_EQ(leftOut(plan({"closed"})), (Texts{"!closed: the folder cannot be read: Permission denied"}));
    chmod(folder.path("closed").c_str(), 0700);
}

} // namespace
