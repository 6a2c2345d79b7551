// SPDX-License-Identifier: MIT
// What a person sees of devices that come, go, tell of themselves, or do not work.

#include "tests/tools/ToolRun.h"

#include <csignal>
#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

namespace {

using Stream = ToolProcess::Stream;

class DevicesCommandTest : public testing::Test {
protected:
    void SetUp() override { box.createDevice({"Phone:64M", "Card:16M"}); }

    ToolSandbox box;
};

TEST_F(DevicesCommandTest, DevicesAreSeenToComeAndGo) {
    const std::string description = box.path("device/device.json");
    auto watch = box.start({"--virtual", box.path("device"), "devices", "--watch"});
    ASSERT_TRUE(watch.waitFor(Stream::out, "attached  "));
    std::filesystem::rename(description, description + ".away");
    ASSERT_TRUE(watch.waitFor(Stream::out, "detached  "));
    watch.signal(SIGINT);
    const ToolResult result = watch.wait();
    EXPECT_EQ(result.status, 0) << result.err;
    ASSERT_EQ(result.lines().size(), 2U) << result.out;
    EXPECT_NE(result.lines()[0].find("Player, virtual " + box.path("device")), std::string::npos) << result.out;
}

TEST_F(DevicesCommandTest, EventsOfADeviceShowWhileItIsWatched) {
    auto watch = box.start({"--virtual", box.path("device"), "devices", "--events", "--json"});
    ASSERT_TRUE(watch.waitFor(Stream::out, "\"change\":\"attached\""));
    box.folder.write("device/Phone/dropped.mp3", "song");
    EXPECT_TRUE(watch.waitFor(Stream::out, "VXLUMO_NOTI_MTP_NOTIFY_EVENT"));
    watch.signal(SIGINT);
    const ToolResult result = watch.wait();
    EXPECT_EQ(result.status, 0) << result.err;
    const auto attached = nlohmann::json::parse(result.lines().at(0));
    const auto event = nlohmann::json::parse(result.lines().at(1));
    EXPECT_EQ(event["notification"], "VXLUMO_NOTI_MTP_NOTIFY_EVENT");
    EXPECT_EQ(event["userInfo"]["EventCode"], 0x4002);
    EXPECT_EQ(event["userInfo"]["LocationId"], attached["locationId"]);
}

TEST_F(DevicesCommandTest, AReportIsForPeopleAndForPrograms) {
    const ToolResult text = box.runOnDevice({"devices", "--verbose"});
    EXPECT_EQ(text.status, 0) << text.err;
    for (const char* part : {"Player at ", "0x9805 GetObjectPropList", "0x4002 ObjectAdded",
                             "0x3009 MP3: ", "hierarchical", "quirks              none"}) {
        EXPECT_NE(text.out.find(part), std::string::npos) << part << "\n" << text.out;
    }
    const ToolResult json = box.runOnDevice({"devices", "--verbose", "--json"});
    ASSERT_EQ(json.lines().size(), 1U);
    const auto report = nlohmann::json::parse(json.lines()[0]);
    EXPECT_EQ(report["name"], "Player");
    EXPECT_EQ(report["storages"].size(), 2U);
    EXPECT_EQ(report["storages"][1]["capacity"], 16 << 20);
    EXPECT_EQ(report["quirks"].size(), 0U);
}

TEST_F(DevicesCommandTest, AQuirkFileIsHonouredAndItsFaultsAreTold) {
    box.folder.write("home/.config/mtpservice/quirks.conf",
                     "device \"MTP device file service\" \"Virtual*\" no-folder-lists\n"
                     "usb nonsense no-references\n");
    const ToolResult result = box.runOnDevice({"devices", "--verbose"});
    EXPECT_EQ(result.status, 0);
    EXPECT_NE(result.out.find("quirks              no-folder-lists"), std::string::npos) << result.out;
    EXPECT_NE(result.err.find("line 2: \"nonsense\" is no USB ID"), std::string::npos) << result.err;
}

TEST_F(DevicesCommandTest, TheDoctorSaysWhatWorksAndWhatDoesNot) {
    const ToolResult well = box.runOnDevice({"doctor"});
    EXPECT_NE(well.out.find("✓ \"Player\" works"), std::string::npos) << well.out;
    const ToolResult none = box.run({"doctor", "--json"});
    EXPECT_EQ(none.status, 3) << none.out;
    EXPECT_NE(none.out.find("\"kind\":\"problem\""), std::string::npos) << none.out;
}

} // namespace
