// SPDX-License-Identifier: MIT
#pragma once

#include "TemporaryFolder.h"
#include "devices/VirtualDevices.h"
#include "platform/Strings.h"
#include "tree/DeviceList.h"
#include "tree/RecordTexts.h"
#include "vemomtpsdk/Devices.h"
#include "vemomtpsdk/Functions.h"

#include <chrono>
#include <functional>
#include <gtest/gtest.h>
#include <string>
#include <thread>
#include <vector>

/// A virtual device of the test's own with two storages and a hidden one, reached through the library's functions.
class VirtualDeviceTest : public testing::Test {
protected:
    static constexpr std::uint32_t location = 0x15550001;
    static constexpr std::uint32_t hiddenId = 0x00030001;
    static constexpr std::uint64_t capacity = 64 << 20;

    VirtualDeviceTest() {
        std::string error;
        vemomtpsdk::VirtualDeviceDescription description;
        description.friendlyName = "Test Player";
        description.serialNumber = "SN-1";
        description.locationId = location;
        description.storages = {{"Internal", capacity, "Internal storage", 0x00010001, false},
                                {"Card", 1 << 20, "Memory card", 0x00020001, false},
                                {"Secret", capacity, "Secret store", hiddenId, true}};
        EXPECT_TRUE(vemomtpsdk::createVirtualDevice(directory(), description, error)) << error;
        EXPECT_EQ(vemomtpsdk::addVirtualDevice(directory()), DGSTATUS_SUCCESS);
    }
    ~VirtualDeviceTest() override {
        if (_device != nullptr) {
            mtpReleaseDeviceList(_device);
        }
        vemomtpsdk::removeVirtualDevice(directory());
        // An event that is just being handled keeps its device until it is done.
        EXPECT_TRUE(eventually([this] { return mtpRecordBytesInUse() == _recordBytes; })) << "records were left behind";
    }

    /// Asks until the answer is the one waited for.
    template <typename Predicate>
    static bool eventually(const Predicate& predicate) {
        const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(20);
        while (!predicate()) {
            if (std::chrono::steady_clock::now() > deadline) {
                return false;
            }
            std::this_thread::yield();
        }
        return true;
    }

    [[nodiscard]] std::string directory() const { return _folder.path("device"); }
    [[nodiscard]] std::string onDevice(const std::string& path) const { return directory() + "/" + path; }
    [[nodiscard]] std::string contentOnDevice(const std::string& path) const { return _folder.read("device/" + path); }
    [[nodiscard]] bool existsOnDevice(const std::string& path) const { return std::filesystem::exists(onDevice(path)); }
    static mtpsdk::FaultPlan& faults() { return *mtpsdk::VirtualDevices::shared()->faults(location); }

    _MTP_DEVICE_NODE* device() {
        if (_device == nullptr) {
            _MTP_DEVICE_NODE* node = nullptr;
            EXPECT_EQ(mtpGetConnectedDeviceListHead(&node), DGSTATUS_SUCCESS);
            _device = node;
            while (node != nullptr && node->header.LocationId != location) {
                mtpGetNextDevice(node, &node);
            }
            EXPECT_NE(node, nullptr);
            _device = node;
        }
        return _device;
    }
    _MTP_STORAGE_NODE* storage() {
        if (_storage == nullptr) {
            EXPECT_EQ(mtpGetStorageListHead(device(), &_storage), DGSTATUS_SUCCESS);
        }
        return _storage;
    }
    /// Gives the device back with all its nodes; what is asked for next opens it anew.
    void close() {
        EXPECT_EQ(mtpReleaseDeviceList(device()), DGSTATUS_SUCCESS);
        _device = nullptr;
        _storage = nullptr;
    }
    _MTP_COMMON_NODE* root() { return &storage()->header; }
    _MTP_STORAGE_NODE* card() {
        _MTP_STORAGE_NODE* next = nullptr;
        EXPECT_EQ(mtpGetNextStorageNode(storage(), &next), DGSTATUS_SUCCESS);
        return next;
    }
    /// Transactions run on the device so far.
    static std::uint64_t transactions() {
        const auto found = mtpsdk::DeviceList::shared().at(location);
        const platform::Synchronized locked(found->lock());
        return found->session().transactionCount();
    }

    static std::vector<std::uint16_t> units(const std::string& text) {
        const std::u16string wide = platform::toUtf16(text);
        std::vector<std::uint16_t> copy(wide.begin(), wide.end());
        copy.push_back(0);
        return copy;
    }
    static std::uint32_t length(const std::vector<std::uint16_t>& text) {
        return static_cast<std::uint32_t>(text.size());
    }
    static std::uint32_t bytes(const std::vector<std::uint16_t>& text) { return length(text) * 2; }

    DGSTATUS send(const std::string& path, _MTP_COMMON_NODE* parent, _MTP_FILE_NODE** file = nullptr,
                  MtpProgressCallback callback = nullptr, void* context = nullptr) {
        const auto text = units(path);
        return mtpSendFileEx(text.data(), length(text), parent, file, callback, context);
    }
    DGSTATUS receive(_MTP_FILE_NODE* file, const std::string& path, MtpProgressCallback callback = nullptr,
                     void* context = nullptr) {
        const auto text = units(path);
        return mtpGetFileEx(file, text.data(), length(text), callback, context);
    }
    static DGSTATUS createFolder(_MTP_COMMON_NODE* parent, const std::string& name, _MTP_FOLDER_NODE** folder) {
        const auto text = units(name);
        return mtpCreateFolderNode(parent, text.data(), bytes(text), folder);
    }
    static DGSTATUS rename(void* node, const std::string& name) {
        const auto text = units(name);
        return mtpRenameNode(static_cast<_MTP_COMMON_NODE*>(node), text.data(), bytes(text));
    }
    /// A local file, sent into the storage's root or a folder.
    _MTP_FILE_NODE* sent(const std::string& name, const std::string& content, _MTP_COMMON_NODE* parent = nullptr) {
        _MTP_FILE_NODE* file = nullptr;
        EXPECT_EQ(send(_folder.write(name, content), parent == nullptr ? root() : parent, &file), DGSTATUS_SUCCESS);
        return file;
    }

    static std::string text(RecordText text) { return platform::toUtf8(mtpsdk::readRecordText(text)); }
    std::vector<std::string> folderNames(_MTP_FOLDER_NODE* parent = nullptr, _MTP_STORAGE_NODE* of = nullptr) {
        _MTP_FOLDER_NODE* node = nullptr;
        std::vector<std::string> names;
        DGSTATUS status = mtpGetFolderListHead(of == nullptr ? storage() : of, parent, &node, nullptr, nullptr);
        while (status == DGSTATUS_SUCCESS && node != nullptr) {
            names.push_back(text(node->name));
            status = mtpGetNextSiblingFolderNode(node, &node);
        }
        EXPECT_EQ(status, DGSTATUS_NO_MORE_DATA);
        return names;
    }
    std::vector<std::string> fileNames(_MTP_COMMON_NODE* parent = nullptr) {
        _MTP_FILE_NODE* node = nullptr;
        std::vector<std::string> names;
        DGSTATUS status = mtpGetFileListHead(parent == nullptr ? root() : parent, &node, nullptr, nullptr);
        while (status == DGSTATUS_SUCCESS && node != nullptr) {
            names.push_back(text(node->name));
            status = mtpGetNextFileNode(node, &node);
        }
        EXPECT_EQ(status, DGSTATUS_NO_MORE_DATA);
        return names;
    }

    TemporaryFolder _folder;

private:
    std::size_t _recordBytes = mtpRecordBytesInUse();
    _MTP_DEVICE_NODE* _device = nullptr;
    _MTP_STORAGE_NODE* _storage = nullptr;
};

using Names = std::vector<std::string>;
