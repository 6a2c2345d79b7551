// SPDX-License-Identifier: MIT
#include "tests/device/service/World.h"

#include "platform/Paths.h"
#include "platform/UserDefaults.h"

#include <algorithm>
#include <thread>

namespace tests {

namespace {

const char* const progressName = "VXLUMO_NOTI_TRANSFER_PROGRESS";
const char* const resultName = "VXLUMO_NOTI_MEDIA_TRASFER_RESULT";

class Home : public ::testing::Environment {
public:
    void SetUp() override {
        folder = std::make_unique<TemporaryFolder>();
        ::setenv("HOME", folder->path().c_str(), 1);
        ::setenv("XDG_CONFIG_HOME", folder->path("config").c_str(), 1);
        ::setenv("XDG_DATA_HOME", folder->path("data").c_str(), 1);
        ::unsetenv("MTPSERVICE_VIRTUAL_DEVICES");
    }
    void TearDown() override { folder.reset(); }
    std::unique_ptr<TemporaryFolder> folder;
};

Home* const home = [] {
    auto* environment = new Home();
    ::testing::AddGlobalTestEnvironment(environment); // takes ownership
    return environment;
}();

} // namespace

std::string homeFolder() {
    return home->folder->path();
}

void forgetPreferences() {
    auto& defaults = platform::UserDefaults::standardUserDefaults();
    defaults.removeKey("LumoFileServicePreferencesNotAskOverwrite");
    defaults.removeKey("LumoFileServicePreferencesIsOverwrite");
    std::filesystem::remove_all(homeFolder() + "/Tesvora");
}

bool waitUntil(const std::function<bool()>& condition) {
    const auto deadline = std::chrono::steady_clock::now() + longTime;
    while (!condition()) {
        if (std::chrono::steady_clock::now() > deadline) {
            return false;
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(2));
    }
    return true;
}

Recorder::Recorder()
    : _observation("", [this](const platform::Notification& notification) { record(notification); }) {}

void Recorder::onEach(Handler handler) {
    const std::scoped_lock lock(_mutex);
    _handler = std::move(handler);
}

void Recorder::record(const platform::Notification& notification) {
    Handler handler;
    {
        const std::scoped_lock lock(_mutex);
        _notifications.push_back(notification);
        handler = _handler;
        _arrived.notify_all();
    }
    if (handler) {
        handler(notification);
    }
}

std::vector<platform::Notification> Recorder::all() const {
    const std::scoped_lock lock(_mutex);
    return _notifications;
}

namespace {

std::vector<platform::Dictionary> select(const std::vector<platform::Notification>& notifications, const char* name,
                                         std::uint32_t serviceID) {
    std::vector<platform::Dictionary> selected;
    for (const auto& notification : notifications) {
        if (notification.name == name && notification.userInfo.uint32("ServiceID") == serviceID) {
            selected.push_back(notification.userInfo);
        }
    }
    return selected;
}

} // namespace

std::vector<platform::Dictionary> Recorder::progress(std::uint32_t serviceID) const {
    return select(all(), progressName, serviceID);
}

std::vector<platform::Dictionary> Recorder::results(std::uint32_t serviceID) const {
    return select(all(), resultName, serviceID);
}

bool Recorder::waitForStatus(std::uint32_t serviceID, std::uint32_t status) const {
    return waitFor([&](const platform::Notification& notification) {
        return notification.name == progressName && notification.userInfo.uint32("ServiceID") == serviceID &&
               notification.userInfo.uint32("TransferStatus") == status;
    });
}

bool Recorder::waitFor(const std::function<bool(const platform::Notification&)>& match) const {
    std::unique_lock lock(_mutex);
    return _arrived.wait_until(lock, std::chrono::system_clock::now() + longTime,
                               [&] { return std::ranges::any_of(_notifications, match); });
}

void Recorder::clear() {
    const std::scoped_lock lock(_mutex);
    _notifications.clear();
}

std::vector<std::int64_t> numbers(const std::vector<platform::Dictionary>& infos, std::string_view key) {
    std::vector<std::int64_t> found;
    for (const auto& info : infos) {
        const platform::Value* value = info.find(key);
        found.push_back(value == nullptr ? -1 : value->int64().value_or(-1));
    }
    return found;
}

std::vector<std::string> keys(const platform::Dictionary& info) {
    std::vector<std::string> found;
    for (const auto& entry : info) {
        found.push_back(*entry.first);
    }
    std::ranges::sort(found);
    return found;
}

platform::Dictionary content(const std::string& path) {
    return {{"FilePath", path}, {"FileName", platform::lastPathComponent(path)}};
}

std::string makeFile(const std::string& path, std::size_t size, unsigned seed) {
    std::string bytes(size, '\0');
    std::uint32_t state = seed * 2654435761U + 1;
    for (char& byte : bytes) {
        state = state * 1664525U + 1013904223U;
        byte = static_cast<char>(state >> 24U);
    }
    writeFile(path, bytes);
    return path;
}

} // namespace tests
