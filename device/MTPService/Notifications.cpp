// SPDX-License-Identifier: MIT
#include "device/MTPService/Notifications.h"

#include "platform/NotificationCenter.h"

namespace notifications {

namespace {

thread_local int postingDepth = 0;

void setNumber(platform::Dictionary& dictionary, std::string_view key, const std::optional<std::uint32_t>& number) {
    if (number) {
        dictionary.set(key, *number);
    }
}

} // namespace

void setText(platform::Dictionary& dictionary, std::string_view key, const std::optional<std::string>& text) {
    if (text) {
        dictionary.set(key, *text);
    }
}

platform::Dictionary Progress::userInfo() const {
    platform::Dictionary info;
    info.set("ServiceID", serviceID);
    info.set("MediaNotiType", mediaType);
    info.set("Current", current);
    info.set("Max", max);
    setNumber(info, "Fail", fail);
    setNumber(info, "CurrentProgress", currentProgress);
    setNumber(info, "MaxProgress", maxProgress);
    info.set("TransferStatus", transferStatus);
    setText(info, "LocationId", locationId);
    setText(info, "FileName", fileName);
    setText(info, "MN", deviceName);
    return info;
}

void post(std::string_view name, const platform::Dictionary& userInfo) {
    ++postingDepth;
    platform::NotificationCenter::defaultCenter().post({.name = std::string(name), .userInfo = userInfo});
    --postingDepth;
}

bool isPosting() {
    return postingDepth != 0;
}

} // namespace notifications
