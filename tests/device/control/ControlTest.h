// SPDX-License-Identifier: MIT
#pragma once

#include "FakeLibrary.h"
#include "device/MTPService/MTPControl.h"
#include "platform/Log.h"

#include <algorithm>
#include <functional>
#include <gtest/gtest.h>
#include <string>
#include <string_view>
#include <vector>

/// Catches the log. Messages come without their "[file:method-(line)] " head.
class LogCapture {
public:
    LogCapture() {
        level() = 7;
        platform::setLogLevelSource([] { return level(); });
        platform::setLogSink(
            [this](const std::string& line) { _messages.push_back(line.substr(line.find("] ") + 2)); });
    }
    ~LogCapture() { platform::setLogSink({}); }
    LogCapture(const LogCapture&) = delete;
    LogCapture& operator=(const LogCapture&) = delete;

    static int& level() {
        static int value = 7;
        return value;
    }
    [[nodiscard]] bool contains(std::string_view message) const {
        return std::find(_messages.begin(), _messages.end(), message) != _messages.end();
    }
    void clear() { _messages.clear(); }
    [[nodiscard]] const std::vector<std::string>& messages() const { return _messages; }

private:
    std::vector<std::string> _messages;
};

/// MtpControl over a fake device "My Phone" with the storages Phone and Card. At the end no record memory may be left.
class ControlTest : public testing::Test {
protected:
    ControlTest() { library.properties["mtpGetFriendlyName"] = "My Phone"; }

    /// Whether `action` logs the message at `level` and keeps it to itself one level below.
    void expectLogged(int level, const std::string& message, const std::function<void()>& action) {
        for (const int current : {level - 1, level}) {
            log.clear();
            LogCapture::level() = current;
            action();
            EXPECT_EQ(log.contains(message), current == level)
                << message << " at level " << current << "; logged: " << testing::PrintToString(log.messages());
        }
        LogCapture::level() = 7;
    }

    static std::string address(const void* node) { return platform::formatText("%p", node); }
    static std::string id(const void* node) { return MtpControl::nodeIDText(node); }

    /// First member: looks when all others are gone.
    struct LeakCheck {
        ~LeakCheck() { EXPECT_EQ(mtpRecordBytesInUse(), 0U); }
    } leaks;
    LogCapture log;
    FakeLibrary library;
    MtpControl control;
    _MTP_DEVICE_NODE* device = library.addDevice(0x14100000);
    _MTP_STORAGE_NODE* phone = library.addStorage("Phone");
    _MTP_STORAGE_NODE* card = library.addStorage("Card", 64000, 1000);
};

using Calls = std::vector<std::string>;
