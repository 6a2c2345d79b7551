// SPDX-License-Identifier: MIT
#pragma once

#include "platform/NotificationCenter.h"
#include "platform/Value.h"

#include <nlohmann/json_fwd.hpp>
#include <string>

namespace tool {

/// A value as JSON: keys in their own order, dates as text, objects of the program as null.
[[nodiscard]] nlohmann::ordered_json jsonValue(const platform::Value& value);

/// A dictionary on one line. Bytes that are no UTF-8 are replaced.
[[nodiscard]] std::string jsonLine(const platform::Dictionary& dictionary);

/// {"notification": NAME, "userInfo": {…}} on one line. Of the episodes in "PodcastXmlInfo" only the notification's own
/// is there: a channel would be written as often as it has episodes.
[[nodiscard]] std::string jsonLine(const platform::Notification& notification);

} // namespace tool
