// SPDX-License-Identifier: MIT
// The built program on virtual devices: what a person or a script sees, and what is on the device afterwards.

#include "tests/tools/ToolRun.h"

#include <csignal>
#include <gtest/gtest.h>
#include <regex>

namespace {

using Stream = ToolProcess::Stream;

class EndToEndTest : public testing::Test {
protected:
    ToolSandbox box;
};

TEST_F(EndToEndTest, AMixedTreeGoesToTheFoldersOfItsKinds) {
    box.createDevice({"Phone:64M", "Card:64M"});
    const std::pair<const char*, const char*> files[] = {
        {"song.mp3", "Card/Sounds/song.mp3"},
        {"deep/er/café.MP3", "Card/Sounds/café.MP3"},
        {"cafe\u0301 noir.mp3", "Card/Sounds/caf\u00E9 noir.mp3"}, // composed on the device
        {"🎵 ♪.jpg", "Card/DCIM/Camera/🎵 ♪.jpg"},
        {"deep/clip.3gp", "Card/Videos/clip.3gp"},
        {"empty.png", "Card/DCIM/Camera/empty.png"},
    };
    std::string content;
    for (const auto& [name, target] : files) {
        box.folder.write(std::string("tree/") + name, content);
        content += std::string(70001, static_cast<char>('a' + content.size() % 26));
    }
    box.folder.write("tree/notes.txt", "no media");
    std::filesystem::create_directories(box.path("tree/nothing"));

    const ToolResult result = box.runOnDevice({"put", "--storage", "card", box.path("tree")});
    EXPECT_EQ(result.status, 0) << result.out << result.err;
    EXPECT_TRUE(contains(result.out, "6 copied, 1 skipped, 0 failed;")) << result.out;
    EXPECT_TRUE(contains(result.out, "notes.txt: skipped")) << result.out;
    for (const auto& [name, target] : files) {
        EXPECT_EQ(box.content(std::string("device/") + target), box.content(std::string("tree/") + name)) << target;
    }
    EXPECT_TRUE(box.filesBelow("device/Phone").empty());
    EXPECT_EQ(box.filesBelow("device/Card").size(), 6U);
}

TEST_F(EndToEndTest, ExistingFilesAreKeptOrReplacedAsTold) {
    box.createDevice({"Phone:64M"});
    const std::string song = box.folder.write("one.mp3", "first");
    ASSERT_EQ(box.runOnDevice({"put", song}).status, 0);
    box.folder.write("one.mp3", "second");
    for (const char* mode : {"never", "ask"}) { // and nobody is there to be asked
        const ToolResult kept = box.runOnDevice({"put", "--overwrite", mode, song});
        EXPECT_EQ(kept.status, 0);
        EXPECT_TRUE(contains(kept.out, "0 copied, 1 skipped, 0 failed;")) << kept.out;
        EXPECT_EQ(contains(kept.err, "no terminal"), std::string(mode) == "ask") << kept.err;
        EXPECT_EQ(box.content("device/Phone/Sounds/one.mp3"), "first");
    }
    EXPECT_EQ(box.runOnDevice({"put", "--overwrite", "always", song}).status, 0);
    EXPECT_EQ(box.content("device/Phone/Sounds/one.mp3"), "second");
    EXPECT_EQ(box.filesBelow("device/Phone"), (Texts{"Sounds/one.mp3"}));
}

TEST_F(EndToEndTest, ADecisionThatAnotherApplicationRememberedDoesNotCount) {
    box.createDevice({"Phone:64M"});
    const std::string settings = R"({"LumoFileServicePreferencesIsOverwrite": true,)"
                                 R"( "LumoFileServicePreferencesNotAskOverwrite": true})";
    box.folder.write("home/.config/mtpservice/defaults.json", settings);
    const std::string song = box.folder.write("one.mp3", "first");
    ASSERT_EQ(box.runOnDevice({"put", song}).status, 0);
    box.folder.write("one.mp3", "second");
    ASSERT_EQ(box.runOnDevice({"put", "--overwrite", "never", song}).status, 0);
    EXPECT_EQ(box.content("device/Phone/Sounds/one.mp3"), "first");
    EXPECT_EQ(box.content("home/.config/mtpservice/defaults.json"), settings);
}

TEST_F(EndToEndTest, QuestionsAreAskedOnTheTerminal) {
    box.createDevice({"Phone:64M"});
    Texts names;
    for (const char* name : {"a.mp3", "b.mp3", "c.mp3", "d.mp3"}) {
        names.push_back(box.folder.write(std::string("music/") + name, "first"));
    }
    ASSERT_EQ(box.runOnDevice({"put", box.path("music")}).status, 0);
    for (const std::string& name : names) {
        tests::writeFile(name, "second");
    }
    ToolProcess process =
        box.start({"put", box.path("music"), "--virtual", box.path("device")}, ToolProcess::Terminal::yes);
    ASSERT_TRUE(process.waitFor(Stream::out, "a.mp3 exists on the device. Overwrite it?"));
    process.type("y\n");
    ASSERT_TRUE(process.waitFor(Stream::out, "b.mp3 exists on the device. Overwrite it?"));
    process.type("n\n");
    ASSERT_TRUE(process.waitFor(Stream::out, "c.mp3 exists on the device. Overwrite it?"));
    process.type("all\n");
    const ToolResult result = process.wait();
    EXPECT_EQ(result.status, 0);
    EXPECT_FALSE(contains(result.out, "d.mp3 exists on")) << result.out;
    const char* expected[] = {"second", "first", "second", "second"};
    for (int file = 0; file < 4; ++file) {
        EXPECT_EQ(box.content(std::string("device/Phone/Sounds/") + static_cast<char>('a' + file) + ".mp3"),
                  expected[file]);
    }
    EXPECT_FALSE(std::filesystem::exists(box.path("home/.config/mtpservice/defaults.json")));
}

TEST_F(EndToEndTest, CtrlCAtAQuestionStopsTheRun) {
    box.createDevice({"Phone:64M"});
    const std::string song = box.folder.write("a.mp3", "first");
    ASSERT_EQ(box.runOnDevice({"put", song}).status, 0);
    tests::writeFile(song, "second");
    ToolProcess process = box.start({"put", song, "--virtual", box.path("device")}, ToolProcess::Terminal::yes);
    ASSERT_TRUE(process.waitFor(Stream::out, "Overwrite it?"));
    process.signal(SIGINT);
    static_cast<void>(process.wait());
    EXPECT_EQ(box.content("device/Phone/Sounds/a.mp3"), "first");
}

TEST_F(EndToEndTest, FilesThatCannotBeSentAreSaidAndTheOthersGo) {
    box.createDevice({"Phone:64M"});
    Texts arguments = {"put", box.path("gone.mp3"), box.folder.write("what?.mp3", "x"),
                       box.folder.write("col:on.mp3", "x"), box.folder.write("tab\t.mp3", "x")};
    // Longer than the protocol's texts: 255 characters with the terminator.
    arguments.push_back(box.folder.write(std::string(251, 'x') + ".mp3", "x"));
    // 255 bytes, but few enough characters.
    std::string wide = "x";
    for (int character = 0; character < 125; ++character) {
        wide += "é";
    }
    arguments.push_back(box.folder.write(wide + ".mp3", "x"));
    arguments.push_back(box.folder.write("good.mp3", "x"));
    const ToolResult result = box.runOnDevice(arguments);
    EXPECT_EQ(result.status, 1);
    EXPECT_TRUE(contains(result.out, "2 copied, 0 skipped, 5 failed;")) << result.out;
    EXPECT_TRUE(contains(result.out, "gone.mp3: no such file")) << result.out;
    EXPECT_TRUE(contains(result.out, "what?.mp3: the device does not allow this name")) << result.out;
    EXPECT_TRUE(contains(result.out, "tab\\x09.mp3: the device does not allow this name")) << result.out;
    EXPECT_EQ(box.filesBelow("device/Phone").size(), 2U);
}

TEST_F(EndToEndTest, AFullStorageEndsTheRunWithWholeFilesOnly) {
    box.createDevice({"Phone:1M"});
    for (int file = 0; file < 6; ++file) {
        box.folder.write("music/" + std::to_string(file) + ".mp3", std::string(300000, 'm'));
    }
    const ToolResult result = box.runOnDevice({"put", box.path("music")});
    EXPECT_EQ(result.status, 1);
    EXPECT_TRUE(contains(result.out, "3 copied, 0 skipped, 3 failed;")) << result.out;
    EXPECT_TRUE(contains(result.out, "3.mp3: the storage is full")) << result.out;
    EXPECT_TRUE(contains(result.out, "5.mp3: the storage is full")) << result.out;
    EXPECT_EQ(box.filesBelow("device/Phone"), (Texts{"Sounds/0.mp3", "Sounds/1.mp3", "Sounds/2.mp3"}));
    for (const std::string& file : box.filesBelow("device/Phone")) {
        EXPECT_EQ(box.content("device/Phone/" + file).size(), 300000U) << file;
    }
}

TEST_F(EndToEndTest, CtrlCLeavesWholeFilesOnly) {
    box.createDevice({"Phone:2G"});
    constexpr std::size_t kFiles = 1500;
    for (std::size_t file = 0; file < kFiles; ++file) {
        box.folder.write("music/" + std::to_string(10000 + file) + ".mp3", std::string(20000, 'm'));
    }
    ToolProcess process = box.start({"put", "--no-metadata", box.path("music"), "--virtual", box.path("device")});
    ASSERT_TRUE(process.waitFor(Stream::out, "✓"));
    process.signal(SIGINT);
    const ToolResult result = process.wait();
    EXPECT_EQ(result.status, 1) << result.out;
    EXPECT_TRUE(contains(result.err, "Stopping")) << result.err;
    EXPECT_TRUE(contains(result.out, ": cancelled")) << result.out;
    const Texts files = box.filesBelow("device/Phone");
    EXPECT_LT(files.size(), kFiles);
    for (const std::string& file : files) {
        EXPECT_EQ(box.content("device/Phone/" + file).size(), 20000U) << file;
    }
    // The device is as good as ever.
    EXPECT_EQ(box.runOnDevice({"put", "--overwrite", "never", "--no-metadata", box.path("music")}).status, 0);
    EXPECT_EQ(box.filesBelow("device/Phone").size(), kFiles);
}

TEST_F(EndToEndTest, OtherFormatsAreSentWhenTheirKindIsNamed) {
    box.createDevice({"Phone:64M"});
    const std::string song = box.folder.write("album/one.flac", "not really");
    box.folder.write("album/cover.jpg", "neither");
    const ToolResult unknown = box.runOnDevice({"put", song});
    EXPECT_EQ(unknown.status, 1);
    EXPECT_TRUE(contains(unknown.err, "--type")) << unknown.err;
    EXPECT_EQ(box.runOnDevice({"put", "--type", "music", box.path("album")}).status, 0);
    EXPECT_EQ(box.filesBelow("device/Phone"), (Texts{"Sounds/one.flac"}));
}

TEST_F(EndToEndTest, ProfilesChooseTheFolders) {
    const ToolResult made = box.run(
        {"virtual", "create", box.path("device"), "--name", "P", "--model", "Model X", "--storage", "Phone:9M"});
    ASSERT_EQ(made.status, 0) << made.err;
    box.folder.write(
        "profiles/Model X/Contents.xml",
        "<ZEP><Contents><Music><DefaultFolder><Internal>My/Music</Internal></DefaultFolder></Music></Contents>"
        "</ZEP>");
    const std::string song = box.folder.write("one.mp3", "x");
    EXPECT_EQ(box.runOnDevice({"--profiles", box.path("profiles"), "put", song}).status, 0);
    EXPECT_EQ(box.filesBelow("device/Phone"), (Texts{"My/Music/one.mp3"}));
}

TEST_F(EndToEndTest, DevicesAreMadeListedAndChosen) {
    const ToolResult none = box.run({"devices"});
    EXPECT_EQ(none.status, 3);
    EXPECT_TRUE(contains(none.err, "virtual create")) << none.err;
    box.createDevice({});
    const ToolResult second = box.run({"virtual", "create", box.path("two"), "--name", "Second \x1B[2J", "--storage",
                                       "Phone:1.5G", "--storage", "Card:2M", "--hidden", "System:131073:1M"});
    ASSERT_EQ(second.status, 0) << second.err;
    EXPECT_EQ(box.run({"virtual", "create", box.path("two"), "--name", "Again"}).status, 1);

    const Texts both = {"--virtual", box.path("device"), "--virtual", box.path("two")};
    const auto with = [&](Texts arguments) {
        arguments.insert(arguments.end(), both.begin(), both.end());
        return box.run(arguments);
    };
    const ToolResult listed = with({"devices"});
    EXPECT_EQ(listed.status, 0);
    EXPECT_EQ(listed.lines().size(), 3U) << listed.out;
    EXPECT_FALSE(contains(listed.out, "\x1B")) << listed.out;
    const ToolResult unclear = with({"storages"});
    EXPECT_EQ(unclear.status, 2);
    EXPECT_TRUE(contains(unclear.err, "Player")) << unclear.err;
    const ToolResult chosen = with({"storages", "--device", "second \x1B[2J"});
    EXPECT_EQ(chosen.status, 0) << chosen.err;
    EXPECT_EQ(chosen.lines().size(), 3U) << chosen.out; // the hidden one is not listed
    EXPECT_TRUE(std::regex_search(chosen.out, std::regex("1 +Card +card +2.0 MiB"))) << chosen.out;
    EXPECT_EQ(with({"storages", "--device", "Third"}).status, 3);
}

TEST_F(EndToEndTest, WrongUsageIsStatusTwoAndHelpIsNone) {
    box.createDevice({"Phone:9M"});
    const std::string song = box.folder.write("one.mp3", "x");
    const Texts wrong[] = {{},
                           {"frobnicate"},
                           {"put"},
                           {"put", "--type", "text", song},
                           {"put", "--overwrite", "maybe", song},
                           {"put", "--storage", "5", song, "--virtual", box.path("device")},
                           {"--debug", "9", "devices"},
                           {"virtual"},
                           {"virtual", "create", box.path("x")},
                           {"virtual", "create", box.path("x"), "--name", "X", "--storage", "Phone"},
                           {"virtual", "create", box.path("x"), "--name", "X", "--storage", "Phone:0"},
                           {"virtual", "create", box.path("x"), "--name", "X", "--hidden", "A:B:1M"}};
    for (const Texts& arguments : wrong) {
        const ToolResult result = box.run(arguments);
        EXPECT_EQ(result.status, 2) << testing::PrintToString(arguments) << result.out << result.err;
        EXPECT_FALSE(result.err.empty());
        EXPECT_TRUE(result.out.empty()) << result.out;
    }
    for (const Texts& arguments : {Texts{"--help"}, Texts{"put", "--help"}, Texts{"virtual", "create", "--help"}}) {
        const ToolResult result = box.run(arguments);
        EXPECT_EQ(result.status, 0);
        EXPECT_TRUE(contains(result.out, "Examples:")) << result.out;
    }
    EXPECT_EQ(box.run({"--virtual", box.path("nowhere"), "devices"}).status, 3);
}

} // namespace
