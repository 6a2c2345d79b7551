// SPDX-License-Identifier: MIT
#include "mtp/Quirks.h"

#include "platform/Log.h"
#include "platform/Strings.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cstdlib>
#include <fmt/format.h>
#include <fstream>
#include <utility>

namespace mtpsdk {
namespace {

constexpr std::array<std::pair<std::string_view, Quirk>, 6> quirkNames = {{
    {"no-property-lists", Quirk::noPropertyLists},
    {"no-folder-lists", Quirk::noFolderLists},
    {"no-send-property-list", Quirk::noSendPropertyList},
    {"no-property-writes", Quirk::noPropertyWrites},
    {"no-references", Quirk::noReferences},
    {"reset-at-opening", Quirk::resetAtOpening},
}};

/// The next word of a line, or text in double quotes; empty at the end of the line or where a comment begins.
std::string_view takeWord(std::string_view& line) {
    constexpr std::string_view blanks = " \t\r";
    line.remove_prefix(std::min(line.find_first_not_of(blanks), line.size()));
    if (line.empty() || line.front() == '#') {
        line = {};
        return {};
    }
    const bool quoted = line.front() == '"';
    line.remove_prefix(quoted ? 1 : 0);
    const std::size_t end = std::min(quoted ? line.find('"') : line.find_first_of(blanks), line.size());
    const std::string_view word = line.substr(0, end);
    line.remove_prefix(std::min(end + (quoted ? 1 : 0), line.size()));
    return word;
}

std::optional<std::uint16_t> hexNumber(std::string_view text) {
    constexpr std::size_t digits = 4;
    constexpr int base = 16;
    std::uint16_t number = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number, base);
    const bool whole = error == std::errc() && end == text.data() + text.size() && text.size() == digits;
    return whole ? std::optional(number) : std::nullopt;
}

bool fits(std::string_view pattern, std::string_view text) {
    if (pattern.ends_with('*')) {
        return text.starts_with(pattern.substr(0, pattern.size() - 1));
    }
    return pattern == text;
}

std::vector<std::string> quirkFiles() {
    if (const char* const given = std::getenv("MTPSERVICE_QUIRKS")) {
        return {given};
    }
    std::vector<std::string> files = {MTPSERVICE_DATA_FOLDER "/quirks.conf"};
    const char* const config = std::getenv("XDG_CONFIG_HOME");
    const char* const home = std::getenv("HOME");
    if (config != nullptr && *config == '/') {
        files.push_back(std::string(config) + "/mtpservice/quirks.conf");
    } else if (home != nullptr && *home != '\0') {
        files.push_back(std::string(home) + "/.config/mtpservice/quirks.conf");
    }
    return files;
}

} // namespace

std::vector<std::string> Quirks::names() const {
    std::vector<std::string> all;
    for (const auto& [name, quirk] : quirkNames) {
        if (has(quirk)) {
            all.emplace_back(name);
        }
    }
    return all;
}

const QuirkTable& QuirkTable::shared() {
    static const QuirkTable table = [] {
        QuirkTable made;
        for (const std::string& name : quirkFiles()) {
            std::ifstream file(name);
            made.read(file, name);
        }
        for (const std::string& problem : made.problems()) {
            QD_LOG(0, "%@", problem);
        }
        return made;
    }();
    return table;
}

void QuirkTable::read(std::istream& file, std::string_view name) {
    std::string line;
    for (int number = 1; std::getline(file, line); ++number) {
        std::string problem;
        std::string_view rest = line;
        if (takeWord(rest).empty()) {
            continue;
        }
        if (auto row = parse(line, problem)) {
            _rows.push_back(std::move(*row));
        } else {
            _problems.push_back(fmt::format("{}, line {}: {} The line is left out.", name, number, problem));
        }
    }
}

std::optional<QuirkTable::Row> QuirkTable::parse(std::string_view line, std::string& problem) {
    Row row;
    const std::string_view kind = takeWord(line);
    const std::string_view first = takeWord(line);
    if (kind == "usb") {
        const std::size_t colon = std::min(first.find(':'), first.size());
        const std::string_view product = first.substr(std::min(colon + 1, first.size()));
        const auto vendorId = hexNumber(first.substr(0, colon));
        row.anyProduct = product == "*";
        const auto productId = row.anyProduct ? std::uint16_t{0} : hexNumber(product);
        if (!vendorId || !productId) {
            problem = fmt::format("\"{}\" is no USB ID like 04e8:6860 or 04e8:*.", first);
            return std::nullopt;
        }
        row.id = UsbId{*vendorId, *productId};
    } else if (kind == "device") {
        row.manufacturer = first;
        row.model = takeWord(line);
        if (row.model.empty()) {
            problem = "A device takes its maker and its model, each in double quotes.";
            return std::nullopt;
        }
    } else {
        problem = fmt::format("A line begins with usb or device, not with \"{}\".", kind);
        return std::nullopt;
    }
    for (std::string_view word = takeWord(line); !word.empty(); word = takeWord(line)) {
        const auto known = std::ranges::find(quirkNames, word, &std::pair<std::string_view, Quirk>::first);
        if (known == quirkNames.end()) {
            problem = fmt::format("There is no quirk \"{}\".", word);
            return std::nullopt;
        }
        row.quirks.add(known->second);
    }
    if (row.quirks == Quirks()) {
        problem = "It names no quirk.";
        return std::nullopt;
    }
    return row;
}

Quirks QuirkTable::of(const std::optional<UsbId>& id) const {
    Quirks quirks;
    for (const Row& row : _rows) {
        const bool isMeant =
            id && row.id && row.id->vendor == id->vendor && (row.anyProduct || row.id->product == id->product);
        quirks.add(isMeant ? row.quirks : Quirks());
    }
    return quirks;
}

Quirks QuirkTable::of(std::u16string_view manufacturer, std::u16string_view model) const {
    const std::string maker = platform::toUtf8(manufacturer);
    const std::string name = platform::toUtf8(model);
    Quirks quirks;
    for (const Row& row : _rows) {
        const bool isMeant = !row.id && fits(row.manufacturer, maker) && fits(row.model, name);
        quirks.add(isMeant ? row.quirks : Quirks());
    }
    return quirks;
}

} // namespace mtpsdk
