// SPDX-License-Identifier: MIT
#include "../responder/VirtualDevice.h"

#include "devices/VirtualDevices.h"
#include "vemomtpsdk/DeviceReport.h"
#include "vemomtpsdk/Diagnosis.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <stdlib.h>

namespace mtpsdk::test {
namespace {

using vemomtpsdk::Finding;
using Kind = Finding::Kind;

/// The first finding that says this; missing when none does.
std::optional<Finding> finding(const std::string& text) {
    const auto findings = vemomtpsdk::diagnose();
    const auto found =
        std::ranges::find_if(findings, [&](const Finding& each) { return each.text.find(text) != std::string::npos; });
    return found == findings.end() ? std::nullopt : std::optional(*found);
}

class Diagnosis : public ::testing::Test {
protected:
    ~Diagnosis() override {
        vemomtpsdk::removeVirtualDevice(device.folder());
        ::unsetenv("MTPSERVICE_VIRTUAL_DEVICES");
    }
    std::uint32_t attach() {
        EXPECT_EQ(vemomtpsdk::addVirtualDevice(device.folder()), DGSTATUS_SUCCESS);
        const auto attached = vemomtpsdk::attachedDevices();
        return attached.empty() ? 0 : attached.front().locationId;
    }

    VirtualDevice device;
};

TEST_F(Diagnosis, WithoutADeviceItSaysHowToGetOne) {
    const auto found = finding("there is no virtual one");
    const auto none = finding("No USB device is attached");
    ASSERT_TRUE(found || none);
    EXPECT_EQ((found ? found : none)->kind, Kind::problem);
    EXPECT_FALSE((found ? found : none)->advice.empty());
    ASSERT_TRUE(finding("MTPSERVICE_NO_USB") || finding("no support for USB")); // the tests run with it
    ::setenv("MTPSERVICE_VIRTUAL_DEVICES", "/nowhere", 1);
    const auto listed = finding("/nowhere");
    ASSERT_TRUE(listed);
    EXPECT_EQ(listed->kind, Kind::problem);
}

TEST_F(Diagnosis, ADeviceWorksIsLockedIsSilentOrHeld) {
    const std::uint32_t location = attach();
    EXPECT_EQ(finding("works").value_or(Finding()).kind, Kind::fine);
    const auto faults = VirtualDevices::shared()->faults(location);
    faults->alterData({OperationCode::GetStorageIDs, 1, 0},
                      [](std::vector<std::byte>& bytes) { bytes = encode(std::vector<std::uint32_t>()); });
    const auto locked = finding("shows no storage");
    ASSERT_TRUE(locked);
    EXPECT_EQ(locked->kind, Kind::problem);
    EXPECT_NE(locked->advice.find("File transfer"), std::string::npos);
    faults->clear();
    faults->refuse({OperationCode::GetDeviceInfo, 1, 0}, ResponseCode::GeneralError);
    EXPECT_EQ(finding("cannot be opened").value_or(Finding()).kind, Kind::problem);
    faults->clear();
    device.open(); // as another program would
    EXPECT_EQ(finding("cannot be opened").value_or(Finding()).kind, Kind::problem);
}

TEST_F(Diagnosis, AReportHoldsAllThatTheDeviceTells) {
    const std::uint32_t location = attach();
    vemomtpsdk::DeviceReport report;
    ASSERT_EQ(vemomtpsdk::describeDevice(location, report), DGSTATUS_SUCCESS);
    EXPECT_EQ(report.device.locationId, location);
    const auto has = [](const std::vector<vemomtpsdk::NamedCode>& codes, const std::string& name) {
        return std::ranges::count(codes, name, &vemomtpsdk::NamedCode::name) == 1;
    };
    EXPECT_TRUE(has(report.operations, "SendObjectPropList"));
    EXPECT_TRUE(has(report.events, "ObjectAdded"));
    EXPECT_TRUE(has(report.deviceProperties, "DeviceFriendlyName"));
    const auto music = std::ranges::find_if(
        report.playbackFormats, [](const auto& format) { return format.format.code == raw(FormatCode::MP3); });
    ASSERT_NE(music, report.playbackFormats.end());
    EXPECT_TRUE(has(music->properties, "Artist"));
    ASSERT_EQ(report.storages.size(), 2U); // the hidden one is not told
    EXPECT_EQ(report.storages[0].capacity, 1'000'000U);
    EXPECT_EQ(report.storages[0].filesystem, "hierarchical");
    EXPECT_EQ(report.storages[0].access, "read and write");
    EXPECT_EQ(std::ranges::count(report.identity, "friendly name", &vemomtpsdk::NamedText::name), 1);

    EXPECT_EQ(vemomtpsdk::describeDevice(location + 1, report), DGSTATUS_NO_DEVICE_ATTACHED);
    const auto faults = VirtualDevices::shared()->faults(location);
    faults->refuse({OperationCode::GetStorageInfo, 1, 1}, ResponseCode::StoreNotAvailable);
    EXPECT_EQ(vemomtpsdk::describeDevice(location, report), DGSTATUS_INTERNAL_STORENOTAVAILABLE);
    EXPECT_EQ(report.storages.size(), 1U);
}

} // namespace
} // namespace mtpsdk::test
