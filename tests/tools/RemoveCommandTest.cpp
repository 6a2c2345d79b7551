// SPDX-License-Identifier: MIT
// `rm` of the built program: it takes exactly what the path spells, or nothing.

#include "tests/tools/ToolRun.h"

#include <csignal>
#include <gtest/gtest.h>

namespace {

using Stream = ToolProcess::Stream;

class RemoveCommandTest : public testing::Test {
protected:
    void SetUp() override {
        box.createDevice({"Phone:64M"});
        for (const char* name : {"A/A", "A/B/x.mp3", "A/B/y.mp3", "A/z.mp3", "B/x.mp3", "T/song.mp3", "T/Song.mp3",
                                 "T/other.mp3", "x.mp3", "\u0131/dotless.mp3", "i/dotted.mp3"}) {
            box.folder.write(std::string("device/Phone/") + name, name);
        }
        before = files();
    }
    Texts files() { return box.filesBelow("device/Phone"); }
    /// The files without these.
    Texts without(const Texts& names) {
        Texts rest;
        for (const std::string& name : before) {
            if (std::find(names.begin(), names.end(), name) == names.end()) {
                rest.push_back(name);
            }
        }
        return rest;
    }
    ToolSandbox box;
    Texts before;
};

TEST_F(RemoveCommandTest, NothingElseIsTakenForWhatIsNotThere) {
    const std::pair<const char*, const char*> paths[] = {
        {"Phone/Missing/B/x.mp3", "there is no Missing in"}, // B/x.mp3 stands in the root
        {"Phone/A/Missing/x.mp3", "there is no Missing in"},
        {"Missing/x.mp3", "there is no Missing in"},
        {"Phone/B/B", "there is no B in"}, // a folder called so is above
        {"Phone/B/y.mp3", "there is no y.mp3 in"},
        {"Phone/x.mp3/x.mp3", "x.mp3 is no folder"},
        {"Phone/T/song.mp3", "upper and lower case only"},
        {"Phone/T/SONG.mp3", "upper and lower case only"},
        {"Phone/i/dotted.mp3", "upper and lower case only"}, // upper-cased, both are I
        {"Phone/B", "it is a folder"},
        {"Phone/A/*.flac", "there is no *.flac"},
        {"Phone/*/x.mp3", "there is no * in"},
        {"/Player/Phon/x.mp3", "no storage of the device"},
    };
    for (const auto& [path, reason] : paths) {
        const ToolResult result = box.runOnDevice({"rm", path});
        EXPECT_EQ(result.status, 1) << path << result.out << result.err;
        EXPECT_TRUE(contains(result.out, reason)) << path << "\n" << result.out;
        EXPECT_EQ(files(), before) << path;
    }
    EXPECT_EQ(box.runOnDevice({"rm", "-r", "--yes", "Phone"}).status, 2); // a whole storage
    EXPECT_EQ(files(), before);
}

TEST_F(RemoveCommandTest, AFileNamedLikeItsFolderIsDeletedAndTheFolderIsNot) {
    // Named twice: the second deletion would find the folder of that name.
    const ToolResult result = box.runOnDevice({"rm", "Phone/A/A", "/player/phone/a/a"});
    EXPECT_EQ(result.status, 0) << result.out;
    EXPECT_TRUE(contains(result.out, "1 deleted, 1 skipped, 0 failed")) << result.out;
    EXPECT_EQ(files(), without({"A/A"}));
    EXPECT_EQ(box.runOnDevice({"rm", "Phone/A/A"}).status, 1);
    EXPECT_EQ(files(), without({"A/A"}));
}

TEST_F(RemoveCommandTest, PathsPatternsAndCase) {
    const ToolResult result = box.runOnDevice({"rm", "phone/b/X.MP3", "Phone/A/B/?.mp3", "Phone/T/o*"});
    EXPECT_EQ(result.status, 0) << result.out << result.err;
    EXPECT_EQ(files(), without({"B/x.mp3", "A/B/x.mp3", "A/B/y.mp3", "T/other.mp3"}));
}

TEST_F(RemoveCommandTest, FoldersGoWhenThatIsSaidAndConfirmed) {
    const ToolResult unconfirmed = box.runOnDevice({"rm", "-r", "Phone/A"});
    EXPECT_EQ(unconfirmed.status, 2);
    EXPECT_TRUE(contains(unconfirmed.err, "--yes")) << unconfirmed.err;
    for (const char* answer : {"no\n", "y\n"}) {
        EXPECT_EQ(files(), before);
        ToolProcess process =
            box.start({"rm", "-r", "Phone/A", "--virtual", box.path("device")}, ToolProcess::Terminal::yes);
        ASSERT_TRUE(process.waitFor(Stream::out, "Delete 2 folders and 4 files"));
        process.type(answer);
        EXPECT_EQ(process.wait().status, *answer == 'y' ? 0 : 1);
    }
    EXPECT_EQ(files(), without({"A/A", "A/B/x.mp3", "A/B/y.mp3", "A/z.mp3"}));
    EXPECT_FALSE(std::filesystem::exists(box.path("device/Phone/A")));
    // What cannot be told apart goes with the folder around it.
    EXPECT_EQ(box.runOnDevice({"rm", "-r", "--yes", "Phone/T"}).status, 0);
    EXPECT_FALSE(std::filesystem::exists(box.path("device/Phone/T")));
}

} // namespace
