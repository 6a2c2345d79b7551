// SPDX-License-Identifier: MIT
#include "tools/EntryText.h"

#include "platform/Dates.h"
#include "tools/Units.h"

#include <ctime>
#include <fmt/chrono.h>
#include <fmt/format.h>

namespace tool {
namespace {

std::string localTime(const platform::Date& date) {
    const std::time_t time = std::chrono::system_clock::to_time_t(date.time);
    std::tm local{};
    return localtime_r(&time, &local) == nullptr ? std::string() : fmt::format("{:%Y-%m-%d %H:%M}", local);
}

std::string duration(std::uint64_t seconds) {
    return durationText(std::chrono::seconds(seconds));
}

/// Quotation marks within are doubled.
std::string quoted(const std::string& field) {
    std::string text = "\"";
    for (const char character : field) {
        text.append(character == '"' ? 2 : 1, character);
    }
    return text + "\"";
}

} // namespace

std::string dateText(const platform::Dictionary& information, const char* key) {
    const platform::Value* value = information.find(key);
    const auto date = value ? value->date() : std::nullopt;
    return date ? localTime(*date) : std::string();
}

std::string lengthText(const platform::Dictionary& information) {
    const auto seconds = information.uint32("PlayLength");
    return seconds ? duration(*seconds) : std::string();
}

std::string valueText(const std::string& key, const platform::Value& value) {
    if (key == "FileSize" && value.uint64()) {
        return fmt::format("{} ({} bytes)", sizeText(*value.uint64()), *value.uint64());
    }
    if (key == "PlayLength" && value.uint32()) {
        return duration(*value.uint32());
    }
    if (value.kind() == platform::Value::Kind::boolean) {
        return *value.boolean() ? "yes" : "no";
    }
    return value.date() ? localTime(*value.date()) : value.description();
}

std::string csvLine(const std::vector<std::string>& fields) {
    std::string line;
    for (const std::string& field : fields) {
        line += &field == &fields.front() ? "" : ",";
        const bool isQuoted = field.find_first_of(",\"\r\n") != std::string::npos;
        line += isQuoted ? quoted(field) : field;
    }
    return line;
}

} // namespace tool
