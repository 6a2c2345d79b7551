// SPDX-License-Identifier: MIT
// Commands within this process, stopped before they begin, and on a device that has gone: nothing half known counts.
#include "tests/host/TestFolder.h"
#include "tests/tools/FakeTerminal.h"
#include "tests/tools/Texts.h"
#include "tools/Command.h"
#include "tools/DeviceTree.h"

#include <algorithm>
#include <gtest/gtest.h>

namespace {

using namespace tool;

class StoppedCommandTest : public testing::Test {
protected:
    StoppedCommandTest() {
        vemomtpsdk::VirtualDeviceDescription description;
        description.friendlyName = "Player";
        description.storages = {{"Phone", 64 << 20, "Internal storage", 0x00010001, false}};
        std::string error;
        EXPECT_TRUE(vemomtpsdk::createVirtualDevice(device(), description, error)) << error;
        options.virtualDevices = {device()};
        folder.write("device/Phone/Sounds/a.mp3", "song");
        folder.write("mine/b.mp3", "another");
    }
    ~StoppedCommandTest() override { vemomtpsdk::removeVirtualDevice(device()); }

    [[nodiscard]] std::string device() const { return folder.path("device"); }

    ExitStatus run(Texts arguments, bool isStopped) {
        CLI::App app;
        Commands commands(app);
        addCommands(commands);
        std::reverse(arguments.begin(), arguments.end()); // as the parser takes them
        app.parse(arguments);
        Interrupt interrupt;
        if (isStopped) {
            interrupt.request();
        }
        Environment environment{options, console, interrupt};
        try {
            return commands.parsed()(environment);
        } catch (const Failure& failure) {
            console.say(failure.what());
            return failure.status();
        }
    }

    TestFolder folder;
    tests::ScopedEnvironment home{"HOME", folder.path().c_str()};
    tests::ScopedEnvironment configuration{"XDG_CONFIG_HOME", folder.path().c_str()};
    GlobalOptions options;
    FakeOutput out{false};
    FakeOutput err{false};
    Console console{out, err};
};

TEST_F(StoppedCommandTest, AStoppedRunIsNoSuccess) {
    ASSERT_EQ(run({"playlist", "create", "Mix", "Phone/Sounds/a.mp3"}, false), ExitStatus::done) << err.written;
    const Texts commands[] = {{"put", folder.path("mine")},
                              {"put", folder.path("mine/b.mp3"), "--playlist", "Mix"},
                              {"get", "Phone/Sounds/a.mp3", "-o", folder.path("here")},
                              {"get", "-r", "Phone", "-o", folder.path("here")},
                              {"sync", "--dry-run", folder.path("mine")},
                              {"sync", folder.path("mine")},
                              {"playlist", "export", "Mix", folder.path("here.m3u8")},
                              {"playlist", "export", "Mix", folder.path("here.pla")}};
    for (const Texts& command : commands) {
        EXPECT_EQ(run(command, true), ExitStatus::someFailed) << testing::PrintToString(command) << err.written;
    }
    EXPECT_FALSE(std::filesystem::exists(folder.path("device/Phone/Sounds/b.mp3")));
    EXPECT_FALSE(std::filesystem::exists(folder.path("here/a.mp3")));
    for (const std::string& name : folder.names()) {
        EXPECT_FALSE(name.starts_with("here.") || name.starts_with(".mtpservice")) << name << " was left";
    }
    EXPECT_EQ(run({"playlist", "export", "Mix", folder.path("here.pla")}, false), ExitStatus::done) << err.written;
    EXPECT_EQ(tests::readFile(folder.path("here.pla")), "/Phone/Sounds/a.mp3\n");
}

TEST_F(StoppedCommandTest, AFolderThatCannotBeListedIsNotEmpty) {
    const auto session = openDevice(options, nullptr);
    DeviceTree tree(*session);
    const DeviceEntry phone = tree.storages().front();
    const std::size_t count = tree.list(phone).size();
    const auto sounds = tree.findWhole("/Player/Phone/Sounds");
    ASSERT_TRUE(sounds);
    vemomtpsdk::removeVirtualDevice(device());
    try {
        static_cast<void>(tree.list(*sounds));
        FAIL() << "taken for empty";
    } catch (const Failure& failure) {
        EXPECT_EQ(failure.status(), ExitStatus::someFailed);
        EXPECT_NE(std::string(failure.what()).find("/Player/Phone/Sounds cannot be listed"), std::string::npos)
            << failure.what();
    }
    EXPECT_EQ(tree.list(phone).size(), count) << "what was listed before is known";
}

} // namespace
