// SPDX-License-Identifier: MIT
#include "VirtualDevice.h"

#include "devices/DeviceRegistry.h"
#include "devices/VirtualDevices.h"
#include "vemomtpsdk/Devices.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <stdlib.h>

namespace mtpsdk::test {
namespace {

namespace fs = std::filesystem;
using vemomtpsdk::VirtualDeviceDescription;

VirtualDeviceDescription description() {
    VirtualDeviceDescription made;
    made.friendlyName = "Player";
    made.storages = {{"Phone", 1'000, "", 0, false}, {"System", 500, "", 0x00AA0001, true}};
    return made;
}

std::vector<std::string> attachedLocations() {
    std::vector<std::string> locations;
    for (const auto& device : vemomtpsdk::attachedDevices()) {
        locations.push_back(device.location);
    }
    return locations;
}

TEST(Devices, CreationChecksWhatItIsGiven) {
    const TemporaryFolder folder;
    const std::string directory = folder.path() / "made" / "here";
    const auto refused = [&](const VirtualDeviceDescription& wrong) {
        std::string error;
        const bool made = vemomtpsdk::createVirtualDevice(directory, wrong, error);
        return !made && !error.empty() && !fs::exists(directory);
    };
    for (const std::string label : {"", "a/b", "..", ".mtp", "device.json", "DEVICE.JSON/", "PHONE", "\xff"}) {
        VirtualDeviceDescription wrong = description();
        wrong.storages[1].label = label;
        EXPECT_TRUE(refused(wrong)) << label;
    }
    VirtualDeviceDescription wrong = description();
    wrong.storages[0].capacity = 0;
    EXPECT_TRUE(refused(wrong));
    wrong = description();
    wrong.storages[0].storageId = 0x00AA0001;
    EXPECT_TRUE(refused(wrong));
    wrong = description();
    wrong.storages.clear();
    EXPECT_TRUE(refused(wrong));
    wrong = description();
    wrong.friendlyName.clear();
    EXPECT_TRUE(refused(wrong));

    std::string error;
    ASSERT_TRUE(vemomtpsdk::createVirtualDevice(directory, description(), error)) << error;
    EXPECT_TRUE(fs::is_directory(directory + "/Phone"));
    EXPECT_TRUE(fs::is_directory(directory + "/System"));
    EXPECT_FALSE(vemomtpsdk::createVirtualDevice(directory, description(), error));
    EXPECT_NE(error, "");
}

TEST(Devices, EachDirectoryIsAttachedOnceUnderALocationOfItsOwn) {
    const TemporaryFolder folder;
    const std::string one = fs::canonical(folder.path()) / "one";
    const std::string two = fs::canonical(folder.path()) / "two";
    std::string error;
    ASSERT_TRUE(vemomtpsdk::createVirtualDevice(one, description(), error)) << error;
    fs::copy(one, two, fs::copy_options::recursive);
    ::setenv("MTPSERVICE_VIRTUAL_DEVICES", (":" + one + "/:" + one + "/../two:/nowhere::").c_str(), 1);
    EXPECT_EQ(attachedLocations(), (std::vector<std::string>{one, two}));
    const auto devices = vemomtpsdk::attachedDevices();
    EXPECT_NE(devices[0].locationId, devices[1].locationId);
    EXPECT_EQ(devices[0].locationId >> 28, 0xFU);
    EXPECT_EQ(devices[0].kind, "virtual");
    EXPECT_EQ(devices[0].friendlyName, "Player");
    ASSERT_EQ(devices[0].hiddenStorages.size(), 1U);
    EXPECT_EQ(devices[0].hiddenStorages[0].storageId, 0x00AA0001U);

    vemomtpsdk::removeVirtualDevice(one);
    EXPECT_EQ(attachedLocations(), std::vector<std::string>{two});
    EXPECT_EQ(vemomtpsdk::addVirtualDevice(one), DGSTATUS_SUCCESS);
    EXPECT_EQ(attachedLocations(), (std::vector<std::string>{one, two}));
    ::unsetenv("MTPSERVICE_VIRTUAL_DEVICES");
    vemomtpsdk::removeVirtualDevice(one);
    vemomtpsdk::removeVirtualDevice(two);
    EXPECT_EQ(vemomtpsdk::addVirtualDevice(folder.path()), DGSTATUS_NO_DEVICE_ATTACHED);
}

TEST(Devices, RemovalPullsTheLineAndIsTold) {
    const VirtualDevice device;
    const std::string directory = device.folder();
    auto& registry = DeviceRegistry::shared();
    std::vector<std::pair<std::uint32_t, DeviceRegistry::Change>> changes;
    const std::uint64_t listener = registry.addListener(
        [&](std::uint32_t locationId, DeviceRegistry::Change change) { changes.emplace_back(locationId, change); });
    ASSERT_EQ(vemomtpsdk::addVirtualDevice(directory), DGSTATUS_SUCCESS);
    ASSERT_EQ(vemomtpsdk::addVirtualDevice(directory), DGSTATUS_SUCCESS);
    ASSERT_EQ(changes.size(), 1U);
    const std::uint32_t location = changes[0].first;

    std::unique_ptr<Transport> transport;
    EXPECT_EQ(registry.openTransport(location + 1, transport), DGSTATUS_NO_DEVICE_ATTACHED);
    ASSERT_EQ(registry.openTransport(location, transport), DGSTATUS_SUCCESS);
    EXPECT_NE(VirtualDevices::shared()->store(location), nullptr);
    EXPECT_EQ(VirtualDevices::shared()->faults(location), VirtualDevices::shared()->faults(location));
    vemomtpsdk::removeVirtualDevice(directory);
    EXPECT_EQ(changes.back(), std::pair(location, DeviceRegistry::Change::removed));
    std::vector<std::byte> event;
    EXPECT_EQ(transport->readEvent(event, std::chrono::seconds(5)), DGSTATUS_NO_DEVICE_ATTACHED);
    EXPECT_EQ(transport->reset(), DGSTATUS_NO_DEVICE_ATTACHED);
    EXPECT_EQ(VirtualDevices::shared()->faults(location), nullptr);
    registry.removeListener(listener);
}

TEST(Devices, DeviceThatIsInUseElsewhereCannotBeOpened) {
    VirtualDevice device;
    device.open(); // as another process would hold it
    ASSERT_EQ(vemomtpsdk::addVirtualDevice(device.folder()), DGSTATUS_SUCCESS);
    const auto attached = vemomtpsdk::attachedDevices();
    std::unique_ptr<Transport> transport;
    EXPECT_EQ(DeviceRegistry::shared().openTransport(attached.back().locationId, transport),
              DGSTATUS_DEVICE_OPEN_FAILED);
    EXPECT_EQ(transport, nullptr);
    vemomtpsdk::removeVirtualDevice(device.folder());
}

} // namespace
} // namespace mtpsdk::test
