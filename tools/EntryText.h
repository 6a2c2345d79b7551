// SPDX-License-Identifier: MIT
#pragma once

#include "platform/Value.h"

#include <cstdint>
#include <string>
#include <vector>

/// What the service tells of files, in the words in which commands print it.
namespace tool {

/// "2026-03-01 17:05" in the local time zone; empty when the key holds no date.
[[nodiscard]] std::string dateText(const platform::Dictionary& information, const char* key);
/// A "PlayLength" as a duration; empty when it is not known.
[[nodiscard]] std::string lengthText(const platform::Dictionary& information);
/// A value as people read it: sizes with their unit, lengths as durations, flags as yes and no.
[[nodiscard]] std::string valueText(const std::string& key, const platform::Value& value);

/// One row of comma-separated values; fields with a comma, a quotation mark or a line break in them are quoted.
[[nodiscard]] std::string csvLine(const std::vector<std::string>& fields);

} // namespace tool
