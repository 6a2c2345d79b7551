// SPDX-License-Identifier: MIT
#include "tools/FeedText.h"

#include <unicode/utf8.h>

#include <algorithm>
#include <array>
#include <charconv>
#include <chrono>
#include <utility>
#include <vector>

namespace tool {
namespace {

bool isBlank(char character) {
    return character == ' ' || character == '\t' || character == '\r' || character == '\n';
}

bool isDigit(char character) {
    return character >= '0' && character <= '9';
}

std::string lowered(std::string_view text) {
    std::string result(text);
    std::ranges::transform(result, result.begin(), [](char character) {
        return character >= 'A' && character <= 'Z' ? static_cast<char>(character + ('a' - 'A')) : character;
    });
    return result;
}

std::optional<int> number(std::string_view text, int base = 10) {
    int value = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value, base);
    const bool isWhole = error == std::errc() && end == text.data() + text.size();
    return isWhole && value >= 0 ? std::optional(value) : std::nullopt;
}

// --- HTML ---

void appendCharacter(std::string& text, int code) {
    const bool isCharacter =
        (code >= 0x20 || code == '\n' || code == '\t') && code <= 0x10FFFF && (code < 0xD800 || code > 0xDFFF);
    std::array<char, 4> bytes{};
    std::int32_t length = 0;
    if (isCharacter) {
        U8_APPEND_UNSAFE(bytes.data(), length, code);
        text.append(bytes.data(), static_cast<std::size_t>(length));
    }
}

constexpr std::pair<std::string_view, std::string_view> namedCharacters[] = {
    {"amp", "&"},   {"lt", "<"},    {"gt", ">"},    {"quot", "\""}, {"apos", "'"},   {"nbsp", " "},   {"ndash", "–"},
    {"mdash", "—"}, {"lsquo", "‘"}, {"rsquo", "’"}, {"ldquo", "“"}, {"rdquo", "”"},  {"hellip", "…"}, {"bull", "•"},
    {"copy", "©"},  {"reg", "®"},   {"trade", "™"}, {"euro", "€"},  {"auml", "ä"},   {"ouml", "ö"},   {"uuml", "ü"},
    {"Auml", "Ä"},  {"Ouml", "Ö"},  {"Uuml", "Ü"},  {"szlig", "ß"}, {"eacute", "é"}, {"egrave", "è"}, {"agrave", "à"},
};

/// Appends what a reference ("amp", "#39", "#x27") stands for; false when that is unknown.
bool appendReference(std::string& text, std::string_view reference) {
    if (reference.starts_with('#')) {
        const bool isHex = reference.size() > 1 && (reference[1] == 'x' || reference[1] == 'X');
        const auto code = number(reference.substr(isHex ? 2 : 1), isHex ? 16 : 10);
        if (code) {
            appendCharacter(text, *code == 160 ? ' ' : *code);
        }
        return code.has_value();
    }
    const auto* const found =
        std::ranges::find(namedCharacters, reference, &std::pair<std::string_view, std::string_view>::first);
    if (found == std::end(namedCharacters)) {
        return false;
    }
    text += found->second;
    return true;
}

/// Whether a tag ends a line: "br", or the end of a block.
bool endsLine(std::string_view tag) {
    constexpr std::string_view blocks[] = {"/p",  "/div", "/li", "/tr", "/ul", "/ol", "br",
                                           "/h1", "/h2",  "/h3", "/h4", "/h5", "/h6", "/blockquote"};
    const std::string name = lowered(tag.substr(0, tag.find_first_of(" \t\r\n>", 1)));
    return std::ranges::any_of(blocks, [&](std::string_view block) { return name == block || name == "br/"; });
}

/// Whether "<" at this place begins a tag or a comment, rather than being a sign of its own.
bool beginsTag(std::string_view html, std::size_t at) {
    const char next = at + 1 < html.size() ? html[at + 1] : ' ';
    return next == '/' || next == '!' || next == '?' || (next >= 'a' && next <= 'z') || (next >= 'A' && next <= 'Z');
}

/// Joins blanks: one space within a line, no empty lines, none at the ends.
std::string tidied(std::string_view text) {
    std::string result;
    char pending = 0;
    for (const char character : text) {
        if (isBlank(character)) {
            pending = character == '\n' || pending == '\n' ? '\n' : ' ';
            continue;
        }
        if (pending != 0 && !result.empty()) {
            result += pending;
        }
        pending = 0;
        result += character;
    }
    return result;
}

// --- dates ---

std::vector<std::string_view> words(std::string_view text) {
    std::vector<std::string_view> found;
    std::size_t start = 0;
    while ((start = text.find_first_not_of(" \t\r\n,", start)) != std::string_view::npos) {
        const std::size_t end = std::min(text.find_first_of(" \t\r\n,", start), text.size());
        found.push_back(text.substr(start, end - start));
        start = end;
    }
    return found;
}

std::optional<std::chrono::seconds> timeOfDay(std::string_view text) {
    // Beyond any clock where there is no number, which the limits then refuse.
    constexpr int missing = 100;
    const int hours = number(text.substr(0, 2)).value_or(missing);
    const int minutes = text.size() >= 5 && text[2] == ':' ? number(text.substr(3, 2)).value_or(missing) : missing;
    const int seconds = text.size() >= 8 && text[5] == ':' ? number(text.substr(6, 2)).value_or(missing) : 0;
    if (hours > 23 || minutes > 59 || seconds > 60) {
        return std::nullopt;
    }
    return std::chrono::hours(hours) + std::chrono::minutes(minutes) + std::chrono::seconds(seconds);
}

/// "+0200", "+02:00", "Z" or a name; an unknown name counts as UTC, as mail readers take it.
std::chrono::minutes zoneOffset(std::string_view zone) {
    constexpr std::pair<std::string_view, int> names[] = {{"EST", -5}, {"EDT", -4}, {"CST", -6}, {"CDT", -5},
                                                          {"MST", -7}, {"MDT", -6}, {"PST", -8}, {"PDT", -7},
                                                          {"CET", 1},  {"CEST", 2}, {"BST", 1},  {"JST", 9}};
    for (const auto& [name, hours] : names) {
        if (zone == name) {
            return std::chrono::hours(hours);
        }
    }
    if (zone.size() < 5 || (zone[0] != '+' && zone[0] != '-')) {
        return {};
    }
    const auto hours = number(zone.substr(1, 2));
    const auto minutes = number(zone.substr(zone[3] == ':' ? 4 : 3, 2));
    const auto offset = std::chrono::hours(hours.value_or(0)) + std::chrono::minutes(minutes.value_or(0));
    return zone[0] == '-' ? -offset : offset;
}

std::optional<platform::Date> dateOf(int year, int month, int day, std::chrono::seconds time,
                                     std::chrono::minutes offset) {
    const std::chrono::year_month_day calendar{std::chrono::year(year),
                                               std::chrono::month(static_cast<unsigned>(month)),
                                               std::chrono::day(static_cast<unsigned>(day))};
    if (!calendar.ok()) {
        return std::nullopt;
    }
    return platform::Date{std::chrono::sys_days(calendar) + time - offset};
}

std::optional<int> monthOf(std::string_view text) {
    constexpr std::string_view months[] = {"jan", "feb", "mar", "apr", "may", "jun",
                                           "jul", "aug", "sep", "oct", "nov", "dec"};
    const auto* const found = std::ranges::find(months, lowered(text.substr(0, 3)));
    return found == std::end(months) ? std::nullopt : std::optional(static_cast<int>(found - months) + 1);
}

std::optional<platform::Date> mailDate(std::string_view text) {
    std::vector<std::string_view> parts = words(text);
    if (!parts.empty() && !isDigit(parts.front().front())) {
        parts.erase(parts.begin()); // the day of the week
    }
    if (parts.size() < 4) {
        return std::nullopt;
    }
    const auto day = number(parts[0]);
    const auto month = monthOf(parts[1]);
    auto year = number(parts[2]);
    const auto time =
        timeOfDay(parts[3].size() > 1 && parts[3][1] == ':' ? "0" + std::string(parts[3]) : std::string(parts[3]));
    if (!day || !month || !year || !time) {
        return std::nullopt;
    }
    if (parts[2].size() <= 2) { // the short form of older feeds
        *year += *year < 50 ? 2000 : 1900;
    }
    return dateOf(*year, *month, *day, *time, parts.size() > 4 ? zoneOffset(parts[4]) : std::chrono::minutes());
}

std::optional<platform::Date> isoDate(std::string_view text) {
    if (text.size() < 10 || text[4] != '-' || text[7] != '-') {
        return std::nullopt;
    }
    const auto year = number(text.substr(0, 4));
    const auto month = number(text.substr(5, 2));
    const auto day = number(text.substr(8, 2));
    const auto time = text.size() > 10 ? timeOfDay(text.substr(11)) : std::optional(std::chrono::seconds());
    if (!year || !month || !day || !time) {
        return std::nullopt;
    }
    const std::size_t zone = text.size() > 11 ? text.find_first_of("+-", 11) : std::string_view::npos;
    return dateOf(*year, *month, *day, *time,
                  zone == std::string_view::npos ? std::chrono::minutes() : zoneOffset(text.substr(zone)));
}

} // namespace

std::string plainText(std::string_view html) {
    std::string text;
    for (std::size_t at = 0; at < html.size();) {
        const char character = html[at];
        const bool isComment = html.substr(at).starts_with("<!--");
        if (character == '<' && beginsTag(html, at)) {
            const std::size_t end = isComment ? html.find("-->", at) : html.find('>', at);
            text += !isComment && endsLine(html.substr(at + 1, end == std::string_view::npos ? end : end - at - 1))
                        ? "\n"
                        : "";
            at = end == std::string_view::npos ? html.size() : end + (isComment ? 3 : 1);
            continue;
        }
        const std::size_t end = character == '&' ? html.substr(at, 12).find(';') : std::string_view::npos;
        if (end != std::string_view::npos && appendReference(text, html.substr(at + 1, end - 1))) {
            at += end + 1;
            continue;
        }
        text += character;
        ++at;
    }
    return tidied(text);
}

std::optional<platform::Date> feedDate(std::string_view text) {
    const std::string trimmed = tidied(text);
    const auto iso = isoDate(trimmed);
    return iso ? iso : mailDate(trimmed);
}

} // namespace tool
