// SPDX-License-Identifier: MIT
#include "VirtualDevice.h"

#include "devices/DeviceWatcher.h"
#include "vemomtpsdk/Devices.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <future>
#include <stdlib.h>

namespace mtpsdk::test {
namespace {

using vemomtpsdk::AttachedDevice;
using vemomtpsdk::DeviceChange;

/// A bus on which a test plugs devices in and out.
class Bus : public DeviceSource {
public:
    explicit Bus(bool notices)
        : _notices(notices) {}

    void set(std::vector<AttachedDevice> devices) {
        std::function<void()> changed;
        {
            const std::lock_guard lock(_mutex);
            _devices = std::move(devices);
            changed = _changed;
        }
        if (changed) {
            changed();
        }
    }
    std::vector<AttachedDevice> devices() override {
        const std::lock_guard lock(_mutex);
        return _devices;
    }
    DGSTATUS openTransport(std::uint32_t, std::unique_ptr<Transport>&) override { return DGSTATUS_NO_DEVICE_ATTACHED; }
    std::shared_ptr<void> watch(std::function<void()> changed) override {
        if (!_notices) {
            return nullptr;
        }
        const std::lock_guard lock(_mutex);
        _changed = std::move(changed);
        return {this, [](Bus* bus) {
                    const std::lock_guard quiet(bus->_mutex);
                    bus->_changed = nullptr;
                }};
    }

private:
    const bool _notices;
    std::mutex _mutex;
    std::vector<AttachedDevice> _devices;
    std::function<void()> _changed;
};

AttachedDevice device(std::uint32_t location, std::uint32_t plugging) {
    AttachedDevice made;
    made.locationId = location;
    made.plugging = plugging;
    made.kind = "usb";
    return made;
}

/// What a watch told, as "+location" and "-location".
class Told {
public:
    [[nodiscard]] vemomtpsdk::DeviceWatch::Callback callback() {
        return [this](DeviceChange change, const AttachedDevice& which) {
            const std::lock_guard lock(_mutex);
            _lines.push_back((change == DeviceChange::attached ? "+" : "-") + std::to_string(which.locationId));
        };
    }
    [[nodiscard]] bool comeTo(const std::vector<std::string>& lines) {
        return eventually([&] {
            const std::lock_guard lock(_mutex);
            return _lines == lines;
        });
    }
    [[nodiscard]] bool contains(const std::string& line) {
        return eventually([&] {
            const std::lock_guard lock(_mutex);
            return std::ranges::count(_lines, line) != 0;
        });
    }

private:
    std::mutex _mutex;
    std::vector<std::string> _lines;
};

TEST(DeviceWatcher, WhatIsThereComesFirstThenWhatChanges) {
    for (const bool notices : {true, false}) {
        SCOPED_TRACE(notices);
        DeviceRegistry registry;
        const auto bus = std::make_shared<Bus>(notices);
        registry.addSource(bus);
        bus->set({device(1, 5), device(2, 6)});
        Told told;
        DeviceWatcher watcher(registry, told.callback());
        EXPECT_TRUE(told.comeTo({"+1", "+2"}));
        bus->set({device(2, 6), device(3, 7)});
        EXPECT_TRUE(told.comeTo({"+1", "+2", "-1", "+3"}));
        // Out and in again, too fast to be seen away.
        bus->set({device(2, 8), device(3, 7)});
        EXPECT_TRUE(told.comeTo({"+1", "+2", "-1", "+3", "-2", "+2"}));
    }
}

TEST(DeviceWatcher, MayEndInsideItsOwnCall) {
    DeviceRegistry registry;
    const auto bus = std::make_shared<Bus>(true);
    registry.addSource(bus);
    bus->set({device(1, 1), device(2, 2)});
    std::promise<void> made;
    std::promise<void> ended;
    std::unique_ptr<DeviceWatcher> watcher;
    std::atomic<int> calls = 0;
    watcher = std::make_unique<DeviceWatcher>(registry, [&](DeviceChange, const AttachedDevice&) {
        made.get_future().wait();
        ++calls;
        watcher.reset();
        ended.set_value();
    });
    made.set_value();
    ended.get_future().wait();
    EXPECT_EQ(calls, 1);
}

TEST(DeviceWatch, VirtualDevicesComeAndGoByHandAndWithTheirFolder) {
    const VirtualDevice one;
    const VirtualDevice two;
    ::setenv("MTPSERVICE_VIRTUAL_DEVICES", two.folder("moved").c_str(), 1);
    Told told;
    {
        const vemomtpsdk::DeviceWatch watch(told.callback());
        ASSERT_EQ(vemomtpsdk::addVirtualDevice(one.folder()), DGSTATUS_SUCCESS);
        const auto attached = vemomtpsdk::attachedDevices();
        ASSERT_EQ(attached.size(), 1U);
        const std::string location = std::to_string(attached[0].locationId);
        EXPECT_TRUE(told.comeTo({"+" + location}));
        vemomtpsdk::removeVirtualDevice(one.folder());
        EXPECT_TRUE(told.comeTo({"+" + location, "-" + location}));
        // A folder that the variable names becomes a device, and stops being one.
        std::filesystem::create_directory(two.folder("moved"));
        std::filesystem::copy(two.folder("device.json"), two.folder("moved/device.json"));
        std::string made;
        EXPECT_TRUE(eventually([&] {
            const auto now = vemomtpsdk::attachedDevices();
            made = now.empty() ? "" : std::to_string(now[0].locationId);
            return !made.empty();
        }));
        EXPECT_TRUE(told.contains("+" + made));
        std::filesystem::remove(two.folder("moved/device.json"));
        EXPECT_TRUE(told.contains("-" + made));
    }
    ::unsetenv("MTPSERVICE_VIRTUAL_DEVICES");
    vemomtpsdk::removeVirtualDevice(two.folder("moved"));
}

} // namespace
} // namespace mtpsdk::test
