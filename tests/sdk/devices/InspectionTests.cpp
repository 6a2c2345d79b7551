// SPDX-License-Identifier: MIT
// What keeps a USB device from being used, on systems made of folders.
#include "../responder/VirtualDevice.h"

#include "devices/UsbInspection.h"
#include "transport/usb/UsbHolders.h"

#include <gtest/gtest.h>

#include <fstream>
#include <map>

namespace mtpsdk::test {
namespace {

namespace fs = std::filesystem;
using vemomtpsdk::Finding;
using Kind = Finding::Kind;
using Access = UsbSystem::Access;

class Inspection : public ::testing::Test {
protected:
    Inspection() {
        system.devices = folder.path() / "devices";
        system.processes = folder.path() / "proc";
        system.ruleFolders = {folder.path() / "none", folder.path() / "rules"};
        system.access = [this](const fs::path&) { return access; };
        fs::create_directories(system.devices);
        fs::create_directories(system.processes / "sys");
        fs::create_directories(folder.path() / "rules");
    }
    void write(const fs::path& path, const std::string& text) const {
        fs::create_directories(path.parent_path());
        std::ofstream(path) << text << "\n";
    }
    void addDevice(const std::string& port, const std::string& product, const std::string& deviceClass = "00") const {
        write(system.devices / port / "devnum", "7");
        write(system.devices / port / "busnum", "1");
        write(system.devices / port / "bDeviceClass", deviceClass);
        write(system.devices / port / "idVendor", "04e8");
        write(system.devices / port / "idProduct", "00a1");
        if (!product.empty()) {
            write(system.devices / port / "product", product);
        }
    }
    void addInterface(const std::string& name, const std::string& kind, const std::string& text = {},
                      const std::string& driver = {}) const {
        const fs::path interface = system.devices / name;
        write(interface / "bInterfaceClass", kind.substr(0, 2));
        write(interface / "bInterfaceSubClass", kind.substr(2, 2));
        write(interface / "bInterfaceProtocol", kind.substr(4, 2));
        write(interface / "bNumEndpoints", kind.substr(6, 2));
        write(interface / "interface", text);
        if (!driver.empty()) {
            fs::create_symlink("../drivers/" + driver, interface / "driver");
        }
    }
    void addProgram(const std::string& id, const std::string& name, const fs::path& opened) const {
        write(system.processes / id / "comm", name);
        fs::create_directories(system.processes / id / "fd");
        fs::create_symlink("/dev/null", system.processes / id / "fd" / "0");
        fs::create_symlink(opened, system.processes / id / "fd" / "12");
    }
    [[nodiscard]] std::vector<Finding> findings() const {
        std::size_t count = 0;
        const auto suspects = usbSuspects(system, count);
        return suspects.empty() ? std::vector<Finding>() : examine(suspects.front(), system);
    }

    const TemporaryFolder folder;
    UsbSystem system;
    Access access = Access::granted;
};

bool says(const Finding& finding, Kind kind, const std::string& text, const std::string& advice) {
    return finding.kind == kind && finding.text.find(text) != std::string::npos &&
           finding.advice.find(advice) != std::string::npos;
}

TEST_F(Inspection, WhatCouldSpeakMtpIsFoundAmongTheRest) {
    addDevice("usb1", "Host Controller", "09");
    addDevice("1-1", "Hub", "09");
    addInterface("1-1:1.0", "09000001");
    addDevice("1-1.2", "Player");
    addInterface("1-1.2:1.0", "08065002");
    addInterface("1-1.2:1.1", "06010103", "", "usbfs");
    addDevice("1-2", "");
    addInterface("1-2:1.0", "ffff0003", "MTP");
    addDevice("1-3", "Dongle");
    addInterface("1-3:1.0", "ff000003");
    addDevice("1-4", "Mouse");
    addInterface("1-4:1.0", "03010201");
    addDevice("1-5", "Odd");
    addInterface("1-5:1.0", "ff000004");
    std::size_t count = 0;
    const auto suspects = usbSuspects(system, count);
    EXPECT_EQ(count, 5U);
    ASSERT_EQ(suspects.size(), 3U);
    EXPECT_EQ(suspects[0].port, "1-1.2");
    EXPECT_EQ(suspects[0].name, "\"Player\"");
    EXPECT_EQ(suspects[0].driver, "usbfs");
    EXPECT_EQ(suspects[0].bus, 1);
    EXPECT_EQ(suspects[0].address, 7);
    EXPECT_EQ(suspects[1].name, "the device at USB port 1-2");
    EXPECT_TRUE(suspects[1].isCertain);
    EXPECT_FALSE(suspects[2].isCertain);
}

TEST_F(Inspection, ADeviceThatNothingKeepsHasNoFindings) {
    addDevice("1-1", "Player");
    addInterface("1-1:1.0", "06010103");
    EXPECT_TRUE(findings().empty());
}

TEST_F(Inspection, PermissionIsAskedForTheWayThatHelps) {
    addDevice("1-1", "Player");
    addInterface("1-1:1.0", "06010103");
    access = Access::refused;
    ASSERT_EQ(findings().size(), 1U);
    EXPECT_TRUE(says(findings()[0], Kind::problem, "\"Player\" (/dev/bus/usb/001/007)", "70-mtpservice.rules"));
    write(folder.path() / "rules" / "70-mtpservice.rules", "");
    EXPECT_TRUE(says(findings()[0], Kind::problem, "No permission", "The udev rule is there"));
    EXPECT_TRUE(
        says(findings()[0], Kind::problem, "No permission", R"(ATTR{idVendor}=="04e8", ATTR{idProduct}=="00a1",)"))
        << "for a device that the rule cannot know";
    access = Access::noFile;
    EXPECT_TRUE(says(findings()[0], Kind::problem, "There is no /dev/bus/usb/001/007", "container"));
}

TEST_F(Inspection, ADeviceThatMayBeAnythingIsNoProblem) {
    addDevice("1-1", "Dongle");
    addInterface("1-1:1.0", "ff000003");
    access = Access::refused;
    ASSERT_EQ(findings().size(), 1U);
    EXPECT_TRUE(says(findings()[0], Kind::note, "cannot be asked", ""));
}

TEST_F(Inspection, WhoHoldsADeviceIsNamedWithTheWayToMakeItLetGo) {
    addDevice("1-1", "Player");
    addInterface("1-1:1.0", "06010103", "", "usbfs");
    ASSERT_EQ(findings().size(), 1U);
    EXPECT_TRUE(says(findings()[0], Kind::problem, "does not tell which", "Close it"));
    addProgram("123", "someplayer", usbNode(1, 7));
    addProgram("99", "other", usbNode(1, 8));
    EXPECT_TRUE(says(findings()[0], Kind::problem, "using \"Player\": someplayer (process 123).", "Close it"));
    addProgram("200", "gvfsd-mtp", usbNode(1, 7));
    EXPECT_TRUE(says(findings()[0], Kind::problem, "gvfsd-mtp (process 200)", "gio mount"));
}

TEST_F(Inspection, AnOpenFileOrADriverAloneIsANote) {
    addDevice("1-1", "Player");
    addInterface("1-1:1.0", "06010103", "", "somedriver");
    addProgram("123", "adb", usbNode(1, 7));
    const auto found = findings();
    ASSERT_EQ(found.size(), 2U);
    EXPECT_TRUE(says(found[0], Kind::note, "adb (process 123)", ""));
    EXPECT_TRUE(says(found[1], Kind::note, "driver somedriver", ""));
}

} // namespace
} // namespace mtpsdk::test
