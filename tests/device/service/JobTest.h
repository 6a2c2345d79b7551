// SPDX-License-Identifier: MIT
#pragma once

#include "device/MTPService/MTPServicePrivate.h"
#include "tests/device/service/VirtualService.h"

#include <algorithm>
#include <string>
#include <vector>

namespace tests {

using Numbers = std::vector<std::int64_t>;
using Names = std::set<std::string>;

/// A service on a virtual device whose jobs can be run through the queue and, for their answer, directly.
class JobTest : public VirtualService {
protected:
    using VirtualService::VirtualService;

    [[nodiscard]] std::shared_ptr<MTPServicePrivate> inside() const {
        return service->callbackObject().object<MTPServicePrivate>();
    }
    /// Sends files of these names as music, so that the content index knows them.
    void send(const std::vector<std::string>& names, std::size_t size = 1000) {
        platform::Array contents;
        for (const std::string& name : names) {
            contents.emplace_back(content(local(name, size, static_cast<unsigned>(contents.size()) + 1)));
        }
        waitUntilIdle();
        copy(9000, contents);
        ASSERT_EQ(resultStatuses(9000), Numbers(names.size(), 0));
        recorder.clear();
    }
    static std::string song(const std::string& name) { return "/Player/Phone/Sounds/" + name; }
    [[nodiscard]] bool isOnDevice(const std::string& name) const {
        return std::filesystem::exists(device->path("Phone/Sounds/" + name));
    }
    /// Cancels the request once, at its first notification that matches.
    void cancelAt(std::uint32_t id, std::function<bool(const platform::Notification&)> matches) {
        recorder.onEach([this, id, matches = std::move(matches), done = std::make_shared<bool>(false)](const auto& n) {
            if (!*done && n.userInfo.uint32("ServiceID") == id && matches(n)) {
                *done = true;
                service->cancelFileAction(id);
            }
        });
    }
    static bool isProgress(const platform::Notification& notification) {
        return notification.name == "VXLUMO_NOTI_TRANSFER_PROGRESS";
    }
    [[nodiscard]] Numbers statuses(std::uint32_t id) const { return numbers(recorder.progress(id), "TransferStatus"); }
    [[nodiscard]] Numbers percents(std::uint32_t id) const { return numbers(recorder.progress(id), "CurrentProgress"); }
    /// The names in the local temporary folder itself.
    static Names passing() {
        Names found;
        std::error_code none;
        for (const auto& entry : std::filesystem::directory_iterator(homeFolder() + "/Tesvora/Lumo/Temp", none)) {
            found.insert(entry.path().filename().string());
        }
        return found;
    }
};

} // namespace tests
