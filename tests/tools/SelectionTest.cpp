// SPDX-License-Identifier: MIT
#include "tools/DeviceSelection.h"

#include <gtest/gtest.h>

namespace {

using namespace tool;
using vemomtpsdk::AttachedDevice;

AttachedDevice device(std::uint32_t locationId, const char* name) {
    AttachedDevice result;
    result.locationId = locationId;
    result.friendlyName = name;
    return result;
}

ExitStatus failure(const std::vector<AttachedDevice>& devices, const std::string& wanted, const std::string& said) {
    try {
        static_cast<void>(selectDevice(devices, wanted));
    } catch (const Failure& error) {
        EXPECT_NE(std::string(error.what()).find(said), std::string::npos) << error.what();
        return error.status();
    }
    return ExitStatus::done;
}

TEST(DeviceSelection, TakesTheDeviceThatIsMeant) {
    const std::vector<AttachedDevice> two = {device(0x1A2B0000, "Phone"), device(0x2B, "Straße")};
    EXPECT_EQ(selectDevice({two[0]}, "").locationId, two[0].locationId);
    for (const char* wanted : {"1A2B0000", "1a2b0000", "0x1A2B0000", "phone"}) {
        EXPECT_EQ(selectDevice(two, wanted).locationId, two[0].locationId) << wanted;
    }
    EXPECT_EQ(selectDevice(two, "STRASSE").locationId, 0x2BU);
}

TEST(DeviceSelection, SaysWhatToDoOtherwise) {
    const std::vector<AttachedDevice> twins = {device(1, "Phone"), device(2, "Phone")};
    EXPECT_EQ(failure({}, "", "virtual create"), ExitStatus::noDevice);
    EXPECT_EQ(failure({}, "Phone", "virtual create"), ExitStatus::noDevice);
    EXPECT_EQ(failure(twins, "", "--device 2"), ExitStatus::usage);
    EXPECT_EQ(failure(twins, "phone", "--device 1"), ExitStatus::usage);
    EXPECT_EQ(failure(twins, "Tablet", "--device 1"), ExitStatus::noDevice);
    EXPECT_EQ(failure({device(7, "\x1B[2J")}, "no\x1B", "\\x1B[2J"), ExitStatus::noDevice);
}

} // namespace
