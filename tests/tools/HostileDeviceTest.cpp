// SPDX-License-Identifier: MIT
// The commands that look at a device, and backup, run in this process on a device that makes up names and sizes, sends
// datasets that are cut short and lets folders fail: whatever it does, they end, and nothing is written elsewhere.

#include "devices/VirtualDevices.h"
#include "responder/FaultPlan.h"
#include "tests/host/TestFolder.h"
#include "tests/tools/FakeTerminal.h"
#include "tests/tools/Texts.h"
#include "tools/Command.h"
#include "tools/ScreenText.h"
#include "vemomtpsdk/Devices.h"

#include <chrono>
#include <cstdlib>
#include <gtest/gtest.h>
#include <memory>

namespace {

using mtpsdk::OperationCode;
using mtpsdk::ResponseCode;
using tool::ExitStatus;

class HostileDeviceTest : public testing::Test {
protected:
    struct Result {
        ExitStatus status;
        std::string out;
        std::string err;
    };

    void SetUp() override {
        setenv("HOME", box.path("home").c_str(), 1);
        vemomtpsdk::VirtualDeviceDescription description;
        description.friendlyName = "Player";
        description.locationId = location;
        description.storages = {{.label = "Phone", .capacity = 1ULL << 26, .description = "Phone"}};
        std::string error;
        ASSERT_TRUE(vemomtpsdk::createVirtualDevice(box.path("device"), description, error)) << error;
    }
    void TearDown() override { vemomtpsdk::removeVirtualDevice(box.path("device")); }

    void put(const std::string& name) {
        const std::string path = box.write("device/Phone/" + name, name);
        // The device waits with what may still be written.
        std::filesystem::last_write_time(path, std::filesystem::file_time_type::clock::now() - std::chrono::hours(1));
    }
    mtpsdk::FaultPlan& attach() {
        EXPECT_EQ(vemomtpsdk::addVirtualDevice(box.path("device")), DGSTATUS_SUCCESS);
        return *mtpsdk::VirtualDevices::shared()->faults(location);
    }
    static Result run(const Texts& arguments) {
        CLI::App app;
        tool::GlobalOptions options;
        app.add_flag("--json", options.json);
        app.fallthrough();
        tool::Commands commands(app);
        tool::addCommands(commands);
        Texts reversed(arguments.rbegin(), arguments.rend());
        app.parse(reversed);
        FakeOutput out(false);
        FakeOutput err(false);
        tool::Console console(out, err);
        tool::Interrupt interrupt;
        tool::Environment environment{options, console, interrupt};
        ExitStatus status = ExitStatus::someFailed;
        try {
            status = commands.parsed()(environment);
        } catch (const tool::Failure& failure) {
            console.say(failure.what());
            status = failure.status();
        }
        return {status, out.written, err.written};
    }
    Result backup() { return run({"backup", box.path("backup/here")}); }
    /// Everything that lies in the sandbox beside the device and the home.
    [[nodiscard]] Texts written() const {
        Texts names;
        for (const auto& entry : std::filesystem::directory_iterator(box.path("."))) {
            const std::string name = entry.path().filename();
            if (name != "device" && name != "home") {
                names.push_back(name);
            }
        }
        return names;
    }

    static constexpr std::uint32_t location = 0xF1000077;
    const Texts looks[6] = {{"ls", "-R"}, {"ls", "-lR"}, {"tree"}, {"--json", "tree"}, {"find"}, {"list"}};
    TestFolder box;
};

TEST_F(HostileDeviceTest, NamesAndSizesThatItMakesUp) {
    for (const char* name : {"up.mp3", "slash.mp3", "huge.mp3", "empty.mp3", "twin.mp3", "same.mp3", "escape.mp3",
                             "deep/inner.mp3", "long.mp3"}) {
        put(name);
    }
    mtpsdk::FaultPlan& faults = attach();
    faults.tellName("up.mp3", u"..");
    faults.tellName("slash.mp3", u"../../a/b.mp3");
    faults.tellName("deep", u"..");
    faults.tellName("empty.mp3", u"");
    faults.tellName("twin.mp3", u"same.mp3");
    faults.tellName("escape.mp3", u"\x1b[2J\n.mp3");
    faults.tellName("long.mp3", std::u16string(254, u'x'));
    faults.tellSize("huge.mp3", 1ULL << 63U);
    for (const Texts& command : looks) {
        const Result result = run(command);
        EXPECT_FALSE(contains(result.out + result.err, "\x1b")) << command.front();
        EXPECT_TRUE(contains(result.out, "same.mp3")) << command.front() << result.err;
    }
    const Result result = backup();
    EXPECT_EQ(result.status, ExitStatus::someFailed) << "the huge one is not what it says";
    EXPECT_TRUE(contains(result.err, "huge.mp3")) << result.err;
    EXPECT_EQ(written(), Texts{"backup"});
    std::size_t files = 0;
    for (const auto& entry : std::filesystem::recursive_directory_iterator(box.path("backup"))) {
        EXPECT_TRUE(entry.path().string().starts_with(box.path("backup/here"))) << entry.path();
        files += entry.is_regular_file() ? 1 : 0;
    }
    EXPECT_EQ(files, 8U);
}

TEST_F(HostileDeviceTest, TenThousandEntriesAndAThousandFolders) {
    constexpr int many = 10'000;
    for (int i = 0; i < many; ++i) {
        put("many/" + std::to_string(i) + ".mp3");
    }
    std::string deep;
    for (int i = 0; i < 1'005; ++i) {
        deep += "d/";
        if (i == 500) { // the standard library makes no more than a thousand at once
            std::filesystem::create_directories(box.path("device/Phone/" + deep));
        }
    }
    put(deep + "bottom.mp3");
    attach();
    for (const Texts& command : {looks[0], looks[5]}) {
        const Result result = run(command);
        EXPECT_TRUE(contains(result.out, "9999.mp3")) << command.front() << result.err;
        EXPECT_FALSE(contains(result.out, "bottom.mp3")) << command.front();
        EXPECT_EQ(contains(result.err, "left out"), command.front() != "list") << command.front();
    }
}

TEST_F(HostileDeviceTest, DatasetsThatAreCutShortOrNeverEnd) {
    put("Sounds/a.mp3");
    put("b.mp3");
    // The names' terminators and whatever else was at the end are missing, from the nth list on for some lists.
    for (const unsigned nth : {1U, 2U, 3U, 5U}) {
        for (const std::size_t kept : {0U, 3U, 11U, 37U, 90U}) {
            mtpsdk::FaultPlan& faults = attach();
            const auto cut = [kept](std::vector<std::byte>& bytes) { bytes.resize(std::min(bytes.size(), kept)); };
            const auto fill = [](std::vector<std::byte>& bytes) {
                std::fill(bytes.begin() + static_cast<std::ptrdiff_t>(std::min<std::size_t>(bytes.size(), 40)),
                          bytes.end(), std::byte{0xFF});
            };
            faults.alterData({OperationCode::GetObjectPropList, nth, 2}, cut);
            faults.alterData({OperationCode::GetObjectPropList, nth + 2, 2}, fill);
            faults.alterData({OperationCode::GetObjectInfo, nth, 3}, cut);
            faults.alterData({OperationCode::GetObjectHandles, nth, 1}, fill);
            for (const Texts& command : looks) {
                EXPECT_FALSE(contains(run(command).out, "\x1b"));
            }
            static_cast<void>(backup());
            EXPECT_EQ(written(), Texts{"backup"});
            vemomtpsdk::removeVirtualDevice(box.path("device"));
        }
    }
}

TEST_F(HostileDeviceTest, AFolderThatFailsIsToldAndTheRestIsBackedUp) {
    put("one/a.mp3");
    put("other/b.mp3");
    mtpsdk::FaultPlan& faults = attach();
    ASSERT_EQ(run({"ls"}).status, ExitStatus::done);
    unsigned lists = 0;
    faults.alterData({OperationCode::GetObjectPropList, 1, 0}, [&](auto&) { ++lists; });
    ASSERT_EQ(backup().status, ExitStatus::done);
    faults.clear();
    std::filesystem::remove_all(box.path("backup"));
    // The folder that is listed last fails, whichever way it is asked for.
    faults.refuse({OperationCode::GetObjectPropList, lists, 0}, ResponseCode::AccessDenied);
    faults.refuse({OperationCode::GetObjectHandles, 1, 0}, ResponseCode::AccessDenied);
    const Result result = backup();
    EXPECT_EQ(result.status, ExitStatus::someFailed) << result.out << result.err;
    EXPECT_TRUE(contains(result.err, "cannot be listed")) << result.err;
    EXPECT_TRUE(std::filesystem::exists(box.path("backup/here/one/a.mp3")) ||
                std::filesystem::exists(box.path("backup/here/other/b.mp3")));
}

} // namespace
