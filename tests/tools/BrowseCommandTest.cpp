// SPDX-License-Identifier: MIT
// The commands that look at a device, and those that make, rename, back up and restore: the built program on virtual
// devices.

#include "tests/tools/ToolRun.h"

#include <algorithm>
#include <csignal>
#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>
#include <map>
#include <nlohmann/json.hpp>

namespace {

class BrowseCommandTest : public testing::Test {
protected:
    void SetUp() override { box.createDevice({"Phone:64M"}); }
    void put(const std::string& name, const std::string& content) { box.folder.write("device/Phone/" + name, content); }
    ToolResult run(const Texts& arguments) {
        ToolResult result = box.runOnDevice(arguments);
        // Whatever the device holds: nothing that a terminal would act upon.
        EXPECT_FALSE(contains(result.out + result.err, "\x1b")) << result.out << result.err;
        return result;
    }
    /// The files below a folder of the sandbox with their content.
    std::map<std::string, std::string> tree(const std::string& below) {
        std::map<std::string, std::string> found;
        for (const std::string& file : box.filesBelow(below)) {
            found[file] = box.content(below + "/" + file);
        }
        return found;
    }
    ToolSandbox box;
};

TEST_F(BrowseCommandTest, FoldersAreListedByNameWithSizesAsLinesAndAsJson) {
    put("Sounds/b.mp3", std::string(2048, 'b'));
    put("Sounds/a.mp3", "a");
    put("Sounds/Album/c.mp3", "c");
    EXPECT_EQ(run({"ls", "Sounds"}).lines(), (Texts{"Album/", "a.mp3", "b.mp3"}));
    EXPECT_EQ(run({"ls", "phone/sounds/*.mp3"}).lines(), (Texts{"a.mp3", "b.mp3"}));
    const ToolResult nested = run({"ls", "-R", "Sounds"});
    EXPECT_EQ(nested.lines(),
              (Texts{"/Player/Phone/Sounds:", "Album/", "a.mp3", "b.mp3", "", "/Player/Phone/Sounds/Album:", "c.mp3"}));
    const ToolResult detailed = run({"ls", "-l", "Sounds/b.mp3"});
    EXPECT_TRUE(contains(detailed.out, "2.0 KiB") || contains(detailed.out, "2 KiB")) << detailed.out;
    for (const std::string& line : run({"--json", "ls", "Sounds/b.mp3"}).lines()) {
        const auto file = nlohmann::json::parse(line);
        EXPECT_EQ(file["FilePath"], "/Player/Phone/Sounds/b.mp3");
        EXPECT_EQ(file["FileSize"], 2048);
        EXPECT_FALSE(file.contains("NodeID"));
    }
    EXPECT_TRUE(contains(run({"ls"}).out, "Sounds/"));
    const ToolResult missing = run({"ls", "Sounds/Missing", "Sounds/a.mp3"});
    EXPECT_EQ(missing.status, 1);
    EXPECT_EQ(missing.lines(), Texts{"a.mp3"});
    EXPECT_TRUE(contains(missing.err, "there is no Missing")) << missing.err;
}

TEST_F(BrowseCommandTest, FindingTreesAndSpace) {
    put("Sounds/song.mp3", "song");
    put("DCIM/Camera/photo.JPG", "photo");
    put("DCIM/clip.mp4", "clip");
    EXPECT_EQ(run({"find", "--type", "image"}).lines(), Texts{"/Player/Phone/DCIM/Camera/photo.JPG"});
    EXPECT_EQ(run({"find", "--name", "*.mp?", "DCIM"}).lines(), Texts{"/Player/Phone/DCIM/clip.mp4"});
    const ToolResult drawn = run({"tree", "DCIM"});
    EXPECT_EQ(drawn.lines(), (Texts{"/Player/Phone/DCIM", "├── Camera/", "│   └── photo.JPG", "└── clip.mp4", "",
                                    "1 folders, 2 files"}));
    EXPECT_FALSE(contains(run({"tree", "-d", "-L", "1"}).out, "Camera"));
    Texts paths;
    for (const std::string& line : run({"tree", "--json", "DCIM"}).lines()) {
        paths.push_back(nlohmann::json::parse(line)["FilePath"]);
    }
    EXPECT_EQ(paths, (Texts{"/Player/Phone/DCIM/Camera", "/Player/Phone/DCIM/Camera/photo.JPG",
                            "/Player/Phone/DCIM/clip.mp4"}));
    EXPECT_EQ(run({"tree", "DCIM/clip.mp4"}).status, 1);
    const ToolResult space = run({"df"});
    EXPECT_TRUE(contains(space.out, "/Player/Phone") && contains(space.out, "64 MiB")) << space.out;
    EXPECT_EQ(nlohmann::json::parse(run({"--json", "df"}).out)["volumePath"], "/Player/Phone");
}

TEST_F(BrowseCommandTest, MediaByKindAsTableJsonAndCsv) {
    put("Sounds/song, \"live\".mp3", "song");
    put("DCIM/photo.jpg", "photo");
    put("text.txt", "text");
    const ToolResult all = run({"list"});
    EXPECT_TRUE(contains(all.out, "song, \"live\".mp3") && contains(all.out, "photo.jpg")) << all.out;
    EXPECT_FALSE(contains(all.out, "text.txt"));
    const Texts lines = run({"--json", "list", "--type", "music"}).lines();
    ASSERT_EQ(lines.size(), 1U);
    const auto song = nlohmann::json::parse(lines.front());
    EXPECT_EQ(song["FileName"], "song, \"live\".mp3");
    EXPECT_EQ(song["diskIndex"], 0);
    const Texts csv = run({"list", "--csv", "--type", "music"}).lines();
    ASSERT_EQ(csv.size(), 2U);
    EXPECT_TRUE(csv.front().starts_with("FileName,FilePath,")) << csv.front();
    EXPECT_TRUE(csv.back().starts_with("\"song, \"\"live\"\".mp3\",\"/Player/Phone/Sounds/song, \"\"live\"\".mp3\","))
        << csv.back();
    EXPECT_EQ(run({"list", "--type", "films"}).status, 2);
}

TEST_F(BrowseCommandTest, OneFileIsToldOfAndPrinted) {
    const std::string content = std::string("line\n\x1b[2J\0rest", 14);
    put("notes.txt", content);
    const ToolResult told = run({"info", "notes.txt"});
    EXPECT_TRUE(contains(told.out, "FileSize") && contains(told.out, "14 bytes")) << told.out;
    EXPECT_EQ(nlohmann::json::parse(run({"--json", "info", "notes.txt"}).out)["FileSize"], 14);
    put("Books/a.txt", "12345");
    put("Books/b.txt", "67890");
    put("Books/Inside/c.txt", "not counted");
    const ToolResult folder = run({"info", "Books"});
    for (const char* expected : {"/Player/Phone/Books", "Storage", "Folders in it", "Files in it", "10 bytes"}) {
        EXPECT_TRUE(contains(folder.out, expected)) << expected << "\n" << folder.out;
    }
    EXPECT_EQ(nlohmann::json::parse(run({"--json", "info", "Books"}).out)["FilePath"], "/Player/Phone/Books");
    EXPECT_EQ(box.runOnDevice({"cat", "notes.txt"}).out, content);
    EXPECT_EQ(run({"cat", "Sounds"}).status, 1);
    EXPECT_EQ(run({"cat", "missing.txt"}).status, 1);

    ToolProcess onTerminal =
        box.start({"--virtual", box.path("device"), "cat", "notes.txt"}, ToolProcess::Terminal::yes);
    EXPECT_FALSE(contains(onTerminal.wait().out, "\x1b[2J"));
}

TEST_F(BrowseCommandTest, AnArgumentThatNamesNothingIsTold) {
    const std::vector<Texts> commands = {{"rm", ""},
                                         {"rm", "-r", "--yes", ""},
                                         {"ls", ""},
                                         {"info", ""},
                                         {"mkdir", ""},
                                         {"mv", "", "name"},
                                         {"backup", ""},
                                         {"cat", "a", ""},
                                         {"get", "a", ""},
                                         {"put", "", "Phone"},
                                         {"playlist", "show", ""}};
    for (const Texts& command : commands) {
        const ToolResult refused = run(command);
        EXPECT_EQ(refused.status, 2) << command.front();
        EXPECT_TRUE(contains(refused.err, "an empty text names nothing")) << command.front() << refused.err;
    }
}

TEST_F(BrowseCommandTest, CtrlCStopsTheFileThatIsOnItsWay) {
    put("big.bin", "");
    std::filesystem::resize_file(box.path("device/Phone/big.bin"), std::uintmax_t{2} << 30U); // no bytes on the disk
    ToolProcess process = box.start({"--virtual", box.path("device"), "cat", "big.bin"}, ToolProcess::Terminal::yes);
    ASSERT_TRUE(process.waitFor(ToolProcess::Stream::out, "big.bin")); // the progress bar
    process.signal(SIGINT);
    const ToolResult stopped = process.wait();
    EXPECT_EQ(stopped.status, 1);
    EXPECT_TRUE(contains(stopped.out, "/Player/Phone/big.bin: cancelled")) << stopped.out;
}

TEST_F(BrowseCommandTest, CtrlCStopsTheFileThatIsBackedUpOrRestored) {
    constexpr std::uintmax_t size = std::uintmax_t{2} << 30U; // no bytes on the disk
    const std::string device = box.path("large");
    ASSERT_EQ(box.run({"virtual", "create", device, "--name", "Large", "--storage", "Phone:16G"}).status, 0);
    const auto stopped = [&](const char* command, const std::string& folder) {
        ToolProcess process = box.start({"--virtual", device, command, box.path(folder)}, ToolProcess::Terminal::yes);
        EXPECT_TRUE(process.waitFor(ToolProcess::Stream::out, "1/1"));
        process.signal(SIGINT);
        const ToolResult result = process.wait();
        EXPECT_EQ(result.status, 1);
        EXPECT_TRUE(contains(result.out, "big.bin: cancelled")) << result.out;
        EXPECT_TRUE(contains(result.out, "Stopped.")) << result.out;
    };
    std::ofstream(device + "/Phone/big.bin").close();
    std::filesystem::resize_file(device + "/Phone/big.bin", size);
    stopped("backup", "backup");
    EXPECT_TRUE(box.filesBelow("backup").empty());

    std::filesystem::create_directories(box.path("kept"));
    std::filesystem::rename(device + "/Phone/big.bin", box.path("kept/big.bin"));
    stopped("restore", "kept");
    EXPECT_TRUE(box.filesBelow("large/Phone").empty());
    EXPECT_TRUE(std::filesystem::is_empty(device + "/.mtp/arriving"));
    EXPECT_EQ(box.filesBelow("kept"), Texts{"big.bin"});
}

TEST_F(BrowseCommandTest, FoldersAreMadeAndThingsRenamed) {
    EXPECT_EQ(run({"mkdir", "Books"}).status, 0);
    EXPECT_EQ(run({"mkdir", "books"}).status, 1);
    EXPECT_EQ(run({"mkdir", "Travel/2026/Maps"}).status, 1);
    EXPECT_EQ(run({"mkdir", "-p", "Phone/Travel/2026/Maps"}).status, 0);
    EXPECT_EQ(run({"mkdir", "-p", "Phone/Travel/2026/Maps"}).status, 0);
    EXPECT_EQ(run({"mkdir", "-p", "Phone/../../Outside"}).status, 1);
    EXPECT_TRUE(std::filesystem::is_directory(box.path("device/Phone/Books")));
    EXPECT_TRUE(std::filesystem::is_directory(box.path("device/Phone/Travel/2026/Maps")));

    put("Books/a.txt", "a");
    put("Books/b.txt", "b");
    EXPECT_EQ(run({"mv", "Books/a.txt", "Ünïcode name.txt"}).status, 0);
    EXPECT_EQ(run({"mv", "Books/b.txt", "ÜNÏCODE NAME.txt"}).status, 1);
    EXPECT_EQ(run({"mv", "Books/b.txt", "../b.txt"}).status, 2);
    EXPECT_EQ(run({"mv", "Phone", "Handy"}).status, 2);
    EXPECT_EQ(run({"mv", "Books", "Library"}).status, 0);
    EXPECT_EQ(tree("device/Phone"),
              (std::map<std::string, std::string>{{"Library/b.txt", "b"}, {"Library/Ünïcode name.txt", "a"}}));
}

TEST_F(BrowseCommandTest, AWipedDeviceIsRestoredAsItWas) {
    put("Sounds/Ünïcode ☃ 音楽.mp3", "song");
    put("Sounds/ leading and trailing .mp3", std::string(300'000, 'x'));
    put("Sounds/two..dots...mp3", "dots");
    put(".hidden/.also hidden", "h");
    put("noextension", "");
    put("a/b/c/d/e/f/deep.bin", std::string("\0\xff\x1b\n", 4));
    put("it's (quoted) $HOME `x` %d &.txt", "q");
    ASSERT_EQ(run({"mkdir", "-p", "Empty/Inside"}).status, 0);
    const auto before = tree("device/Phone");

    const ToolResult backup = run({"backup", box.path("backup")});
    EXPECT_EQ(backup.status, 0) << backup.err;
    EXPECT_EQ(tree("backup"), before);
    EXPECT_TRUE(std::filesystem::is_directory(box.path("backup/Empty/Inside")));

    for (const auto& entry : std::filesystem::directory_iterator(box.path("device/Phone"))) {
        std::filesystem::remove_all(entry.path());
    }
    put("noextension", "something else by now");
    const ToolResult restored = run({"restore", box.path("backup")});
    EXPECT_EQ(restored.status, 0) << restored.err;
    EXPECT_EQ(tree("device/Phone"), before);
    EXPECT_TRUE(std::filesystem::is_directory(box.path("device/Phone/Empty/Inside")));
    EXPECT_EQ(run({"restore", box.path("nowhere")}).status, 2);
}

TEST_F(BrowseCommandTest, NamesThatOtherwiseAreNeverSentAreRestored) {
    put("T/song.mp3", "lower");
    put("T/Song.mp3", "upper");
    put("t/song.mp3", "in another folder");
    put("What is \"this\"?/a: <b>|*\\.txt", "reserved");
    std::filesystem::create_directories(box.path("device/Phone/empty"));
    std::filesystem::create_directories(box.path("device/Phone/Empty?"));
    const auto before = tree("device/Phone");
    EXPECT_EQ(run({"backup", box.path("backup")}).status, 0);
    EXPECT_EQ(tree("backup"), before);
    for (const auto& entry : std::filesystem::directory_iterator(box.path("device/Phone"))) {
        std::filesystem::remove_all(entry.path());
    }
    const ToolResult restored = run({"restore", box.path("backup")});
    EXPECT_EQ(restored.status, 0) << restored.err;
    EXPECT_EQ(tree("device/Phone"), before);
    EXPECT_TRUE(std::filesystem::is_directory(box.path("device/Phone/empty")));
    EXPECT_TRUE(std::filesystem::is_directory(box.path("device/Phone/Empty?")));
}

TEST_F(BrowseCommandTest, FoldersInFoldersAreFollowedToTheThousandthAndTheRestIsTold) {
    std::string deep;
    for (int i = 0; i < 1000; ++i) {
        deep += "d/";
    }
    put(deep + "seen.mp3", "seen");
    put(deep + "below/unseen.mp3", "unseen");
    for (const Texts& command : {Texts{"ls", "-R"}, Texts{"tree"}, Texts{"--json", "tree"}, Texts{"find"}}) {
        const ToolResult result = run(command);
        EXPECT_EQ(result.status, 1) << command.front();
        EXPECT_TRUE(contains(result.out, "seen.mp3") && contains(result.out, "below")) << command.front();
        EXPECT_FALSE(contains(result.out, "unseen.mp3")) << command.front();
        EXPECT_TRUE(contains(result.err, "below: what is in it is left out")) << result.err;
    }
    EXPECT_EQ(run({"list"}).status, 0);
    const ToolResult backup = run({"backup", box.path("backup")});
    EXPECT_EQ(backup.status, 1);
    EXPECT_TRUE(contains(backup.err, "below: what is in it is left out")) << backup.err;
    EXPECT_EQ(tree("backup"), (std::map<std::string, std::string>{{deep + "seen.mp3", "seen"}}));
}

TEST_F(BrowseCommandTest, OnATerminalRowsFitItsWidth) {
    put("Sounds/" + std::string(120, 'x') + ".mp3", "song");
    for (const Texts& command : {Texts{"ls", "-l", "Sounds"}, Texts{"list"}, Texts{"df"}, Texts{"info", "Sounds/*"}}) {
        Texts arguments{"--virtual", box.path("device")};
        arguments.insert(arguments.end(), command.begin(), command.end());
        ToolProcess process = box.start(arguments, ToolProcess::Terminal::yes);
        const ToolResult result = process.wait();
        EXPECT_EQ(result.status, 0) << result.out;
        for (const std::string& line : result.lines()) {
            EXPECT_LE(std::ranges::count_if(line, [](char byte) { return (byte & 0xC0) != 0x80 && byte != '\r'; }), 80)
                << line;
        }
        EXPECT_TRUE(contains(run(command).out, std::string(120, 'x')) || command.front() == "df");
    }
}

TEST_F(BrowseCommandTest, NamesOnTheDeviceDoNothingToTheTerminal) {
    put("Sounds/\x1b[31mred\x1b]0;title\x07.mp3", "x");
    put("Sounds/line\nbreak.mp3", "x");
    for (const Texts& command : {Texts{"ls", "-lR"}, Texts{"tree"}, Texts{"find"}, Texts{"list"},
                                 Texts{"list", "--csv"}, Texts{"--json", "list"}, Texts{"info", "Sounds/*"}}) {
        const ToolResult result = run(command);
        EXPECT_EQ(result.status, 0) << command.front() << result.err;
        EXPECT_FALSE(contains(result.out, "\x07")) << command.front();
    }
    EXPECT_EQ(run({"find", "--type", "music"}).lines().size(), 2U);
}

} // namespace
