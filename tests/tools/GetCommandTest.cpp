// SPDX-License-Identifier: MIT
// `get` and `play` of the built program: what arrives here, and what a run that is killed leaves behind.

#include "tests/tools/ToolRun.h"

#include <csignal>
#include <gtest/gtest.h>
#include <map>
#include <random>

namespace {

namespace fs = std::filesystem;
using Stream = ToolProcess::Stream;

class GetCommandTest : public testing::Test {
protected:
    /// The files below a folder with their bytes.
    std::map<std::string, std::string> filesOf(const std::string& below) {
        std::map<std::string, std::string> files;
        if (fs::exists(box.path(below))) {
            for (const std::string& name : box.filesBelow(below)) {
                files[name] = box.content(below + "/" + name);
            }
        }
        return files;
    }
    /// The names in `all` that a folder lacks.
    [[nodiscard]] Texts missing(const std::map<std::string, std::string>& all, const std::string& below) const {
        Texts names;
        for (const auto& [name, content] : all) {
            if (!fs::exists(box.path(below + "/" + name))) {
                names.push_back(name);
            }
        }
        return names;
    }
    /// Any of them: a run that is stopped when it has come to that one may be anywhere behind it.
    static std::string oneOf(const Texts& names, std::mt19937& random) {
        return names.empty() ? "" : names[random() % names.size()];
    }
    ToolSandbox box;
};

TEST_F(GetCommandTest, WhatWasPutComesBack) {
    box.createDevice({"Phone:64M", "Card:64M"});
    const char* const names[] = {"song.mp3", "deep/er/café.MP3", "🎵 ♪.jpg", "clip.3gp", "empty.png", ".hidden.mp3"};
    std::string content;
    for (const char* name : names) {
        box.folder.write(std::string("tree/") + name, content);
        content += std::string(70001, static_cast<char>('a' + content.size() % 26));
    }
    ASSERT_EQ(box.runOnDevice({"put", box.path("tree"), box.path("tree/.hidden.mp3")}).status, 0);
    fs::create_directories(box.path("device/Phone/My/Deep 🎸/nothing"));
    box.folder.write("device/Phone/My/Deep 🎸/no media.txt", "text");

    const ToolResult all = box.runOnDevice({"get", "-r", "Phone", "-o", box.path("all")});
    EXPECT_EQ(all.status, 0) << all.out << all.err;
    EXPECT_TRUE(contains(all.out, "7 copied, 0 skipped, 0 failed;")) << all.out;
    EXPECT_EQ(filesOf("all/Phone"), filesOf("device/Phone"));
    EXPECT_TRUE(fs::is_directory(box.path("all/Phone/My/Deep 🎸/nothing")));

    // Single files, by the ways in which a path may be given.
    const ToolResult some = box.runOnDevice({"get", "-o", box.path("some/new"), "/player/PHONE/sounds/SONG.mp3",
                                             "Phone/Sounds/./caf\u0065\u0301.mp3", "Phone/DCIM/Camera/*.p?g"});
    EXPECT_EQ(some.status, 0) << some.out << some.err;
    EXPECT_EQ(box.filesBelow("some/new"), (Texts{"café.MP3", "empty.png", "song.mp3"}));
    EXPECT_EQ(box.content("some/new/café.MP3"), box.content("tree/deep/er/café.MP3"));
}

TEST_F(GetCommandTest, ExistingFilesAreKeptOrReplacedAsTold) {
    box.createDevice({"Phone:64M"});
    box.folder.write("device/Phone/one.mp3", "device's");
    box.folder.write("out/one.mp3", "mine");
    for (const char* mode : {"never", "ask"}) { // and nobody is there to be asked
        const ToolResult kept = box.runOnDevice({"get", "one.mp3", "-o", box.path("out"), "--overwrite", mode});
        EXPECT_EQ(kept.status, 0);
        EXPECT_TRUE(contains(kept.out, "0 copied, 1 skipped, 0 failed;")) << kept.out;
        EXPECT_EQ(box.content("out/one.mp3"), "mine");
    }
    ToolProcess process = box.start({"get", "one.mp3", "-o", box.path("out"), "--virtual", box.path("device")},
                                    ToolProcess::Terminal::yes);
    ASSERT_TRUE(process.waitFor(Stream::out, "one.mp3 exists here. Overwrite it?"));
    process.type("yes\n");
    EXPECT_EQ(process.wait().status, 0);
    EXPECT_EQ(box.content("out/one.mp3"), "device's");
}

TEST_F(GetCommandTest, WhatIsNotThereIsSaidAndTheOthersCome) {
    box.createDevice({"Phone:64M"});
    box.folder.write("device/Phone/A/one.mp3", "1");
    box.folder.write("device/Phone/B/one.mp3", "2");
    box.folder.write("device/Phone/Phone/x.mp3", "3");
    fs::create_directories(box.path("out/two.mp3"));
    box.folder.write("device/Phone/two.mp3", "4");
    const ToolResult result =
        box.runOnDevice({"get", "-o", box.path("out"), "A/one.mp3", "B/one.mp3", "A/two.mp3", "C/one.mp3", "A", "../x",
                         "Phone/x.mp3", "/Other/Phone/x.mp3", "two.mp3", "A/one.mp3/x", "*.flac"});
    EXPECT_EQ(result.status, 1);
    EXPECT_TRUE(contains(result.out, "1 copied, 0 skipped, 10 failed;")) << result.out;
    for (const char* reason : {"B/one.mp3: would get the same name here", "A/two.mp3: there is no two.mp3 in",
                               "C/one.mp3: there is no C in", "/A: it is a folder", "\"..\" is no name",
                               "Phone/x.mp3: the storage and a folder in it are called so", "no storage of the device",
                               "a folder of that name is in its place", "one.mp3 is no folder", "there is no *.flac"}) {
        EXPECT_TRUE(contains(result.out, reason)) << reason << "\n" << result.out;
    }
    EXPECT_EQ(box.content("out/one.mp3"), "1");
}

TEST_F(GetCommandTest, EveryLineOfJsonIsANotification) {
    box.createDevice({"Phone:64M"});
    box.folder.write("device/Phone/A/one.mp3", "1");
    const ToolResult result = box.runOnDevice({"--json", "get", "-r", "A", "-o", box.path("out")});
    EXPECT_EQ(result.status, 0) << result.err;
    ASSERT_FALSE(result.lines().empty());
    for (const std::string& line : result.lines()) {
        EXPECT_TRUE(line.starts_with("{\"notification\":\"VXLUMO_NOTI_")) << line;
    }
    EXPECT_TRUE(contains(result.out, "\"ResultStatus\":0")) << result.out;
}

TEST_F(GetCommandTest, KilledAtAnyMomentAndRunAgainItEndsComplete) {
    box.createDevice({"Phone:512M"});
    constexpr unsigned kFiles = 150;
    std::mt19937 random(20);
    for (unsigned file = 0; file < kFiles; ++file) {
        const unsigned size = file % 25 == 0 ? 1500000 : random() % 10000;
        box.folder.write("device/Phone/Tree/" + std::to_string(file % 7) + "/" + std::to_string(1000 + file) + ".bin",
                         std::string(size, static_cast<char>(random())));
    }
    box.folder.write("out/Tree/mine.txt", "mine");
    const auto onDevice = filesOf("device/Phone");
    const Texts command = {"get", "-r", "Tree", "-o", box.path("out"), "--overwrite", "never"};
    for (int round = 0; round < 8; ++round) {
        Texts arguments = command;
        arguments.insert(arguments.end(), {"--virtual", box.path("device")});
        ToolProcess process = box.start(arguments);
        static_cast<void>(process.waitFor(Stream::out, "✓ /Player/Phone/" + oneOf(missing(onDevice, "out"), random)));
        process.signal(round % 3 == 2 ? SIGINT : SIGKILL);
        static_cast<void>(process.wait());
        for (const auto& [name, content] : filesOf("out")) {
            if (!contains(name, "/.mtpservice-") && name != "Tree/mine.txt") {
                ASSERT_EQ(onDevice.count(name), 1U) << name;
                ASSERT_TRUE(onDevice.at(name) == content) << name << " is not whole";
            }
        }
    }
    const ToolResult last = box.runOnDevice(command);
    EXPECT_EQ(last.status, 0) << last.out << last.err;
    auto here = filesOf("out");
    EXPECT_EQ(here["Tree/mine.txt"], "mine");
    here.erase("Tree/mine.txt");
    EXPECT_TRUE(here == onDevice) << testing::PrintToString(box.filesBelow("out"));
    EXPECT_TRUE(filesOf("device/Phone") == onDevice);
}

TEST_F(GetCommandTest, APutStoppedAtAnyMomentAndRunAgainEndsCompleteAndComesBack) {
    box.createDevice({"Phone:512M"});
    std::mt19937 random(21);
    constexpr unsigned kFiles = 150;
    const char* const endings[] = {".mp3", ".jpg", ".mp4"};
    const char* const folders[] = {"Sounds/", "DCIM/Camera/", "Videos/"};
    std::map<std::string, std::string> wanted;
    for (unsigned file = 0; file < kFiles; ++file) {
        const unsigned size = file % 25 == 0 ? 1500000 : random() % 10000;
        const std::string name = "ü " + std::to_string(1000 + file) + endings[file % 3];
        wanted[folders[file % 3] + name] = std::string(size, static_cast<char>(random()));
        box.folder.write("tree/" + std::to_string(file % 7) + "/" + name, wanted[folders[file % 3] + name]);
    }
    for (const char* other : {"Sounds/other.mp3", "notes.txt"}) {
        wanted[other] = "was there";
        box.folder.write(std::string("device/Phone/") + other, wanted[other]);
    }
    const auto mine = filesOf("tree");
    const Texts command = {"put", "--no-metadata", "--overwrite", "never", box.path("tree")};
    for (int round = 0; round < 8; ++round) {
        Texts arguments = command;
        arguments.insert(arguments.end(), {"--virtual", box.path("device")});
        ToolProcess process = box.start(arguments);
        const std::string last = oneOf(missing(wanted, "device/Phone"), random);
        static_cast<void>(process.waitFor(Stream::out, last.substr(last.rfind('/') + 1)));
        process.signal(round % 3 == 2 ? SIGINT : SIGKILL);
        static_cast<void>(process.wait());
        ASSERT_EQ(box.runOnDevice({"ls", "Phone"}).status, 0); // opens the device, which puts its folders in order
        for (const auto& [name, content] : filesOf("device/Phone")) {
            ASSERT_EQ(wanted.count(name), 1U) << name;
            ASSERT_TRUE(wanted.at(name) == content) << name << " is not whole";
        }
    }
    const ToolResult last = box.runOnDevice(command);
    EXPECT_EQ(last.status, 0) << last.out << last.err;
    EXPECT_TRUE(filesOf("device/Phone") == wanted) << testing::PrintToString(box.filesBelow("device/Phone"));
    EXPECT_TRUE(filesOf("tree") == mine);
    EXPECT_EQ(box.runOnDevice({"get", "-r", "Phone", "-o", box.path("back")}).status, 0);
    EXPECT_TRUE(filesOf("back/Phone") == wanted);
}

TEST_F(GetCommandTest, PlayPrintsWhereTheCopyIsAndUsesItAgain) {
    box.createDevice({"Phone:64M"});
    box.folder.write("device/Phone/Sounds/song.mp3", "la la la");
    const ToolResult first = box.runOnDevice({"play", "Sounds/song.mp3"});
    EXPECT_EQ(first.status, 0) << first.err;
    ASSERT_EQ(first.lines().size(), 1U) << first.out;
    const std::string copy = first.lines().front();
    EXPECT_EQ(copy, box.path("home/Tesvora/Lumo/Temp/Player/Phone/Sounds/song.mp3"));
    EXPECT_EQ(tests::readFile(copy), "la la la");
    tests::writeFile(copy, "LA LA LA"); // of the same size, so it shows that nothing is fetched
    const ToolResult again = box.runOnDevice({"--json", "play", "Sounds/SONG.mp3"});
    EXPECT_EQ(again.out, "{\"FilePath\":\"" + copy + "\"}\n");
    EXPECT_EQ(tests::readFile(copy), "LA LA LA");
    box.folder.write("device/Phone/Sounds/song.mp3", "another");
    EXPECT_EQ(box.runOnDevice({"play", "Sounds/song.mp3"}).out, copy + "\n");
    EXPECT_EQ(tests::readFile(copy), "another");

    const ToolResult none = box.runOnDevice({"play", "Sounds/none.mp3"});
    EXPECT_EQ(none.status, 1);
    EXPECT_TRUE(none.out.empty()) << none.out;
}

} // namespace
