// SPDX-License-Identifier: MIT
// What programs read: one notification a line with its own keys and numbers, and nothing else on standard output.

#include "tests/tools/ToolRun.h"

#include <csignal>
#include <gtest/gtest.h>
#include <nlohmann/json.hpp>
#include <set>

namespace {

using Json = nlohmann::json;

constexpr const char* kProgress = "VXLUMO_NOTI_TRANSFER_PROGRESS";
constexpr const char* kResult = "VXLUMO_NOTI_MEDIA_TRASFER_RESULT";

std::set<std::string> keysOf(const Json& object) {
    std::set<std::string> keys;
    for (const auto& [key, value] : object.items()) {
        keys.insert(key);
    }
    return keys;
}

/// The user infos of all notifications of a name; every line must be one.
std::vector<Json> events(const ToolResult& result, const std::string& name) {
    std::vector<Json> infos;
    for (const std::string& line : result.lines()) {
        const Json object = Json::parse(line, nullptr, false);
        EXPECT_TRUE(object.is_object() && object.size() == 2 && object.contains("notification") &&
                    object.contains("userInfo"))
            << line;
        if (object.is_object() && object.value("notification", "") == name) {
            infos.push_back(object["userInfo"]);
        }
    }
    return infos;
}

std::vector<unsigned> numbers(const std::vector<Json>& infos, const char* key) {
    std::vector<unsigned> values;
    for (const Json& info : infos) {
        values.push_back(info.value(key, 0xFFFFU));
    }
    return values;
}

using Numbers = std::vector<unsigned>;

class JsonEventsTest : public testing::Test {
protected:
    void SetUp() override { box.createDevice({"Phone:8M"}); }
    ToolSandbox box;
};

TEST_F(JsonEventsTest, OneFileOfThreeMillionBytes) {
    const std::string song = box.folder.write("three.mp3", std::string(3000000, 's'));
    const ToolResult result = box.runOnDevice({"--json", "put", song});
    EXPECT_EQ(result.status, 0) << result.err;
    const auto progress = events(result, kProgress);
    ASSERT_GE(progress.size(), 3U);
    const std::set<std::string> always = {"ServiceID",       "MediaNotiType", "Current",        "Max",        "Fail",
                                          "CurrentProgress", "MaxProgress",   "TransferStatus", "LocationId", "MN"};
    std::set<std::string> later = always;
    later.insert("FileName");
    EXPECT_EQ(keysOf(progress.front()), always); // no file yet
    for (std::size_t event = 1; event < progress.size(); ++event) {
        EXPECT_EQ(keysOf(progress[event]), later);
        EXPECT_EQ(progress[event]["FileName"], "three.mp3");
        EXPECT_EQ(progress[event]["MaxProgress"], 100);
        EXPECT_GE(progress[event]["CurrentProgress"], progress[event - 1]["CurrentProgress"]);
    }
    EXPECT_EQ(progress.front()["CurrentProgress"], 0);
    EXPECT_EQ(progress.back()["CurrentProgress"], 100);
    EXPECT_EQ(progress.back()["TransferStatus"], 4);
    // After more than each 1,000,000 bytes, at the file's end, and the job's two of its own.
    EXPECT_LE(progress.size(), 5U);
    EXPECT_EQ(numbers(progress, "TransferStatus"), [&] {
        Numbers expected(progress.size(), 2);
        expected.back() = 4;
        return expected;
    }());

    const auto results = events(result, kResult);
    ASSERT_EQ(results.size(), 1U);
    EXPECT_EQ(results[0]["FilePath"], "/Player/Phone/Sounds/three.mp3");
    EXPECT_EQ(results[0]["ResultStatus"], 0);
    EXPECT_EQ(results[0]["VolumeIndex"], 0);
    EXPECT_EQ(results[0]["MediaNotiType"], 1);
    EXPECT_EQ(results[0]["FileSize"], 3000000);
    EXPECT_EQ(results[0]["MN"], "Virtual Player");
}

TEST_F(JsonEventsTest, KeptAndFailingFiles) {
    const std::string kept = box.folder.write("kept.mp3", "x");
    ASSERT_EQ(box.runOnDevice({"put", kept}).status, 0);
    const std::string refused = box.folder.write("re:fused.mp3", "x");
    const std::string last = box.folder.write("sent.mp3", "x");
    const ToolResult result = box.runOnDevice({"put", "--json", "--overwrite", "never", kept, refused, last});
    EXPECT_EQ(result.status, 1);
    EXPECT_EQ(numbers(events(result, kResult), "ResultStatus"), (Numbers{0x10000005, 0x11000005, 0}));
    const auto progress = events(result, kProgress);
    // The failing next-to-last file reports the end before the last one is sent.
    Numbers ends;
    for (const Json& info : progress) {
        if (info["TransferStatus"] == 4) {
            ends.push_back(info["Fail"]);
        }
    }
    EXPECT_GE(ends.size(), 2U);
    EXPECT_EQ(progress.back()["Fail"], 2);
    EXPECT_EQ(progress.back()["Current"], 3);
    EXPECT_EQ(progress.back()["Max"], 3);
}

TEST_F(JsonEventsTest, AFullStorage) {
    for (int file = 0; file < 5; ++file) {
        box.folder.write("music/" + std::to_string(file) + ".mp3", std::string(3000000, 'm'));
    }
    const ToolResult result = box.runOnDevice({"put", "--json", box.path("music")});
    EXPECT_EQ(result.status, 1);
    const Numbers statuses = numbers(events(result, kResult), "ResultStatus");
    ASSERT_EQ(statuses.size(), 3U);
    EXPECT_TRUE(statuses[2] == 0x1000000A || statuses[2] == 0x1310000A) << std::hex << statuses[2];
    EXPECT_EQ(events(result, kProgress).back()["Fail"], 3);
}

TEST_F(JsonEventsTest, ACancelledJob) {
    for (int file = 0; file < 1500; ++file) {
        box.folder.write("music/" + std::to_string(10000 + file) + ".mp3", std::string(2000, 'm'));
    }
    ToolProcess process =
        box.start({"put", "--json", "--no-metadata", "--virtual", box.path("device"), box.path("music")});
    ASSERT_TRUE(process.waitFor(ToolProcess::Stream::out, kResult));
    process.signal(SIGINT);
    const ToolResult result = process.wait();
    EXPECT_EQ(result.status, 1);
    const auto progress = events(result, kProgress);
    EXPECT_EQ(progress.back()["TransferStatus"], 3);
    EXPECT_EQ(progress.back()["CurrentProgress"], 100);
    EXPECT_LT(events(result, kResult).size(), 1500U);
}

TEST_F(JsonEventsTest, DevicesAndStorages) {
    const ToolResult devices = box.runOnDevice({"devices", "--json"});
    const Json device = Json::parse(devices.out, nullptr, false);
    ASSERT_TRUE(device.is_object()) << devices.out;
    EXPECT_EQ(device["name"], "Player");
    EXPECT_EQ(device["kind"], "virtual");
    const Json storage = Json::parse(box.runOnDevice({"storages", "--json"}).out, nullptr, false);
    ASSERT_TRUE(storage.is_object());
    EXPECT_EQ(storage["volumePath"], "/Player/Phone");
    EXPECT_EQ(storage["diskIndex"], 0);
    EXPECT_EQ(storage["diskType"], 1);
    EXPECT_EQ(storage["TotalSpace"], 8 << 20);
    EXPECT_EQ(storage["DefaultImagePath"], "/Player/Phone/DCIM/Camera");
    EXPECT_EQ(storage["locationId"], device["locationId"]);
}

TEST_F(JsonEventsTest, AReaderThatGoesAwayStopsTheRunInGoodOrder) {
    for (int file = 0; file < 1500; ++file) {
        box.folder.write("music/" + std::to_string(10000 + file) + ".mp3", std::string(2000, 'm'));
    }
    ToolProcess process =
        box.start({"put", "--json", "--no-metadata", "--virtual", box.path("device"), box.path("music")});
    ASSERT_TRUE(process.waitFor(ToolProcess::Stream::out, kResult));
    process.closeOutput();
    EXPECT_EQ(process.wait().status, 1);
    const Texts files = box.filesBelow("device/Phone");
    EXPECT_LT(files.size(), 1500U);
    for (const std::string& file : files) {
        EXPECT_EQ(box.content("device/Phone/" + file).size(), 2000U) << file;
    }
}

} // namespace
