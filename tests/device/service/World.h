// SPDX-License-Identifier: MIT
#pragma once

#include "device/MTPService/MTPService.h"
#include "platform/NotificationCenter.h"
#include "platform/Value.h"
#include "tests/platform/TemporaryFolder.h"

#include <gtest/gtest.h>

#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

namespace tests {

/// The home of this test process: a folder of its own, made before the first test and gone after the last.
std::string homeFolder();
/// Forgets the remembered overwrite decision and the local copies of earlier tests.
void forgetPreferences();

constexpr auto longTime = std::chrono::seconds(60);

/// Waits until the condition holds; false when the deadline passes first.
bool waitUntil(const std::function<bool()>& condition);

/// Keeps every notification of the default centre, in order, and lets a test act inside one.
class Recorder {
public:
    Recorder();

    using Handler = std::function<void(const platform::Notification&)>;
    /// Called on the posting thread for every notification, after it was recorded.
    void onEach(Handler handler);

    [[nodiscard]] std::vector<platform::Notification> all() const;
    /// The user infos of one kind for one service ID.
    [[nodiscard]] std::vector<platform::Dictionary> progress(std::uint32_t serviceID) const;
    [[nodiscard]] std::vector<platform::Dictionary> results(std::uint32_t serviceID) const;
    /// Waits for a progress notification of this ID with this transfer status.
    bool waitForStatus(std::uint32_t serviceID, std::uint32_t status) const;
    bool waitFor(const std::function<bool(const platform::Notification&)>& match) const;
    void clear();

private:
    void record(const platform::Notification& notification);

    mutable std::mutex _mutex;
    mutable std::condition_variable _arrived;
    std::vector<platform::Notification> _notifications;
    Handler _handler;
    platform::Observation _observation; // last: nothing arrives before the rest is there
};

/// The numbers of one key over several dictionaries; -1 where the key is absent.
std::vector<std::int64_t> numbers(const std::vector<platform::Dictionary>& infos, std::string_view key);
/// The keys of a dictionary, sorted.
std::vector<std::string> keys(const platform::Dictionary& info);

/// A content dictionary for a local file, sent under its own name.
platform::Dictionary content(const std::string& path);
/// A local file of this size with content that depends on its seed.
std::string makeFile(const std::string& path, std::size_t size, unsigned seed = 1);

} // namespace tests
