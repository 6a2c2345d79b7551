// SPDX-License-Identifier: MIT
#pragma once

#include "platform/Value.h"

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

/// The service's notifications, posted on the process's default centre. docs/notifications.md describes them.
namespace notifications {

inline constexpr std::string_view transferProgress = "VXLUMO_NOTI_TRANSFER_PROGRESS";
/// Spelt so: applications observe it under this name.
inline constexpr std::string_view mediaTransferResult = "VXLUMO_NOTI_MEDIA_TRASFER_RESULT";
inline constexpr std::string_view mtpNotifyEvent = "VXLUMO_NOTI_MTP_NOTIFY_EVENT";

/// What a progress notification tells. Missing parts have no key.
struct Progress {
    using Text = std::optional<std::string>;

    std::uint32_t serviceID = 0;
    std::uint32_t mediaType = 0;
    std::uint32_t current = 0;
    std::uint32_t max = 0;
    std::optional<std::uint32_t> fail;
    std::optional<std::uint32_t> currentProgress;
    std::optional<std::uint32_t> maxProgress;
    std::uint32_t transferStatus = 0;
    Text locationId;
    Text fileName;
    Text deviceName;

    [[nodiscard]] platform::Dictionary userInfo() const;
};

/// Sets the key when there is a text.
void setText(platform::Dictionary& dictionary, std::string_view key, const std::optional<std::string>& text);

/// Posts on the calling thread. What an observer throws stays in the centre: an observer cannot fail a transfer.
void post(std::string_view name, const platform::Dictionary& userInfo);
/// Whether the calling thread is inside post, that is, runs an observer of the service.
[[nodiscard]] bool isPosting();

} // namespace notifications
