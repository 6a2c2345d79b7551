// SPDX-License-Identifier: MIT
// `sync` and `copy` of the built program.

#include "tests/tools/ToolRun.h"

#include <csignal>
#include <gtest/gtest.h>

namespace {

using Stream = ToolProcess::Stream;

class SyncCommandTest : public testing::Test {
protected:
    ToolSandbox box;
};

TEST_F(SyncCommandTest, TheSecondTimeNothingIsSent) {
    box.createDevice({"Phone:64M", "Card:64M"});
    for (const char* name : {"a.mp3", "deep/b.mp3", "c.jpg"}) {
        box.folder.write(std::string("mine/") + name, name);
    }
    box.folder.write("device/Phone/Sounds/extra.mp3", "stays");
    box.folder.write("device/Card/Sounds/B.mp3", "deep/b.mp3");
    const Texts dry = {"sync", "--dry-run", box.path("mine")};
    const Texts before = box.filesBelow("device");
    const ToolResult plan = box.runOnDevice(dry);
    EXPECT_EQ(plan.status, 0) << plan.err;
    EXPECT_TRUE(contains(plan.out, "2 to send, 0 to replace, 1 there already;")) << plan.out;
    EXPECT_EQ(box.filesBelow("device/Phone"), (Texts{"Sounds/extra.mp3"}));

    const ToolResult first = box.runOnDevice({"sync", box.path("mine")});
    EXPECT_EQ(first.status, 0) << first.err;
    EXPECT_TRUE(contains(first.out, "2 copied, 1 skipped, 0 failed;")) << first.out;
    EXPECT_EQ(box.filesBelow("device/Phone"), (Texts{"DCIM/Camera/c.jpg", "Sounds/a.mp3", "Sounds/extra.mp3"}));
    const ToolResult second = box.runOnDevice({"sync", box.path("mine")});
    EXPECT_EQ(second.status, 0);
    EXPECT_TRUE(contains(second.out, "0 copied, 3 skipped, 0 failed;")) << second.out;

    box.folder.write("mine/a.mp3", "longer than before");
    const ToolResult changed = box.runOnDevice({"--json", "sync", "-n", box.path("mine"), "--type", "music"});
    EXPECT_TRUE(contains(changed.out, "\"FileSize\":18,\"Action\":\"replace\"")) << changed.out;
    EXPECT_EQ(box.runOnDevice({"sync", box.path("mine")}).status, 0);
    EXPECT_EQ(box.content("device/Phone/Sounds/a.mp3"), "longer than before");
    EXPECT_EQ(box.content("device/Phone/Sounds/extra.mp3"), "stays");
    EXPECT_EQ(box.runOnDevice({"sync", box.path("mine/a.mp3")}).status, 2);
}

TEST_F(SyncCommandTest, FromDeviceToDeviceOneCancelledInTheMiddle) {
    box.createDevice({"Phone:64M"});
    ASSERT_EQ(box.run({"virtual", "create", box.path("other"), "--name", "Other", "--storage", "Disk:64M", "--storage",
                       "Card:64M"})
                  .status,
              0);
    constexpr std::size_t kFiles = 100;
    for (std::size_t file = 0; file < kFiles; ++file) {
        box.folder.write("device/Phone/Any/" + std::to_string(1000 + file) + ".mp3",
                         std::string(5000 + file * 100, static_cast<char>('a' + file % 26)));
    }
    box.folder.write("device/Phone/Any/notes.txt", "no media");
    const Texts copy = {"--virtual", box.path("device"), "--virtual", box.path("other"), "copy",  "-r",       "--to",
                        "other",     "--storage",        "card",      "--overwrite",     "never", "Phone/Any"};
    ToolProcess process = box.start(copy);
    ASSERT_TRUE(process.waitFor(Stream::out, "1002.mp3"));
    process.signal(SIGINT);
    const ToolResult cancelled = process.wait();
    EXPECT_EQ(cancelled.status, 1) << cancelled.out;
    EXPECT_TRUE(contains(cancelled.out, ": cancelled")) << cancelled.out;
    const Texts some = box.filesBelow("other/Card");
    EXPECT_LT(some.size(), kFiles);
    for (const std::string& name : some) {
        EXPECT_EQ(box.content("other/Card/" + name), box.content("device/Phone/Any/" + name.substr(7))) << name;
    }
    const ToolResult whole = box.run(copy);
    EXPECT_EQ(whole.status, 0) << whole.out << whole.err;
    EXPECT_TRUE(contains(whole.out, "notes.txt: skipped")) << whole.out;
    EXPECT_EQ(box.filesBelow("other/Card").size(), kFiles);
    EXPECT_EQ(box.content("other/Card/Sounds/1099.mp3"), box.content("device/Phone/Any/1099.mp3"));
    EXPECT_EQ(box.filesBelow("device/Phone").size(), kFiles + 1);
    // No copy on the way is left over.
    EXPECT_FALSE(std::filesystem::exists(box.path("home/Tesvora/Lumo/Temp/Player/Phone/Any/1000.mp3")));

    EXPECT_EQ(box.runOnDevice({"copy", "--to", "Player", "Phone/Any/1000.mp3"}).status, 3); // no other device
}

} // namespace
