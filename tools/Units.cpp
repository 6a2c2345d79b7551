// SPDX-License-Identifier: MIT
#include "tools/Units.h"

#include <algorithm>
#include <array>
#include <cctype>
#include <charconv>
#include <cmath>
#include <fmt/format.h>

namespace tool {
namespace {

constexpr std::string_view kUnits = "BKMGTPE";

/// The power of 1024 that a unit's text names: "", "B", "K", "kb", "KiB" …; nullopt for none.
std::optional<int> unitPower(std::string_view unit) {
    std::string text;
    std::transform(unit.begin(), unit.end(), std::back_inserter(text),
                   [](unsigned char character) { return static_cast<char>(std::toupper(character)); });
    if (text.empty()) {
        return 0;
    }
    const std::size_t power = kUnits.find(text[0]);
    const std::string_view rest = std::string_view(text).substr(1);
    const bool isWhole = rest.empty() || (power > 0 && (rest == "B" || rest == "IB"));
    return power != std::string_view::npos && isWhole ? std::optional(static_cast<int>(power)) : std::nullopt;
}

} // namespace

std::optional<std::uint64_t> parseSize(std::string_view text) {
    double number = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number, std::chars_format::fixed);
    if (error != std::errc() || number < 0) {
        return std::nullopt;
    }
    std::string_view unit = text.substr(static_cast<std::size_t>(end - text.data()));
    unit.remove_prefix(std::min(unit.find_first_not_of(' '), unit.size()));
    const auto power = unitPower(unit);
    const double bytes = power ? std::ldexp(number, *power * 10) : -1;
    if (!(bytes >= 0) || bytes >= 0x1p64 || (*power == 0 && bytes != std::floor(bytes))) {
        return std::nullopt;
    }
    return static_cast<std::uint64_t>(bytes);
}

std::string sizeText(std::uint64_t bytes) {
    if (bytes < 1024) {
        return fmt::format("{} B", bytes);
    }
    std::size_t unit = 0;
    auto number = static_cast<double>(bytes);
    while (number >= 999.5 && unit + 1 < kUnits.size()) {
        number /= 1024;
        ++unit;
    }
    return number < 9.95 ? fmt::format("{:.1f} {}iB", number, kUnits[unit])
                         : fmt::format("{:.0f} {}iB", number, kUnits[unit]);
}

std::string durationText(std::chrono::seconds duration) {
    const auto total = std::max<std::int64_t>(duration.count(), 0);
    return total < 3600 ? fmt::format("{}:{:02}", total / 60, total % 60)
                        : fmt::format("{}:{:02}:{:02}", total / 3600, total / 60 % 60, total % 60);
}

std::string rateText(std::uint64_t bytes, std::chrono::milliseconds duration) {
    if (duration.count() <= 0) {
        return {};
    }
    const double rate = static_cast<double>(bytes) * 1000 / static_cast<double>(duration.count());
    return sizeText(static_cast<std::uint64_t>(std::min(rate, 1e18))) + "/s";
}

} // namespace tool
