// SPDX-License-Identifier: MIT
#include "tools/DevicePath.h"

#include "platform/Paths.h"
#include "platform/Strings.h"
#include "tools/ScreenText.h"

#include <algorithm>
#include <unicode/locid.h>
#include <unicode/unistr.h>

namespace tool {
namespace {

std::vector<std::string> split(std::string_view text) {
    std::vector<std::string> components;
    while (!text.empty()) {
        const std::size_t end = std::min(text.find('/'), text.size());
        if (end > 0 && text.substr(0, end) != ".") {
            components.emplace_back(text.substr(0, end));
        }
        text.remove_prefix(std::min(end + 1, text.size()));
    }
    return components;
}

/// What follows a prefix of whole components, compared without regard to case; nothing when it is none.
std::optional<std::vector<std::string>> below(const std::vector<std::string>& path,
                                              const std::vector<std::string>& prefix) {
    if (path.size() < prefix.size()) {
        return std::nullopt;
    }
    for (std::size_t i = 0; i < prefix.size(); ++i) {
        if (platform::caseFolded(path[i]) != platform::caseFolded(prefix[i])) {
            return std::nullopt;
        }
    }
    return std::vector<std::string>(path.begin() + static_cast<std::ptrdiff_t>(prefix.size()), path.end());
}

} // namespace

std::optional<DevicePath> parseDevicePath(std::string_view text, const std::vector<std::string>& volumes,
                                          std::string& problem) {
    const bool isWhole = text.starts_with('/');
    const std::vector<std::string> components = split(text);
    if (std::find(components.begin(), components.end(), "..") != components.end()) {
        problem = "\"..\" is no name on a device";
        return std::nullopt;
    }
    std::vector<DevicePath> meant;
    for (std::size_t storage = 0; storage < volumes.size(); ++storage) {
        const std::vector<std::string> prefix =
            isWhole ? split(volumes[storage]) : std::vector<std::string>{platform::lastPathComponent(volumes[storage])};
        if (const auto rest = below(components, prefix)) {
            meant.push_back({storage, *rest, !isWhole && volumes.size() == 1});
        }
    }
    if (meant.empty() && !isWhole && volumes.size() == 1 && !components.empty()) {
        meant.push_back({0, components, false});
    }
    if (meant.size() == 1) {
        return meant.front();
    }
    if (meant.size() > 1) {
        problem = "several storages are called so";
        return std::nullopt;
    }
    problem = isWhole ? "no storage of the device begins this path; there is" : "begin the path with a storage:";
    for (const std::string& volume : volumes) {
        problem += " " + safeText(isWhole ? volume : platform::lastPathComponent(volume)) + "/…";
    }
    return std::nullopt;
}

std::string indexKey(std::string_view path) {
    std::string key;
    icu::UnicodeString::fromUTF8({path.data(), static_cast<std::int32_t>(path.size())})
        .toUpper(icu::Locale::getRoot())
        .toUTF8String(key);
    return key;
}

bool isPattern(std::string_view name) {
    return name.find_first_of("*?") != std::string_view::npos;
}

bool matchesPattern(std::string_view name, std::string_view pattern) {
    if (name.starts_with('.') && !pattern.starts_with('.')) {
        return false;
    }
    const auto text = icu::UnicodeString::fromUTF8({name.data(), static_cast<std::int32_t>(name.size())});
    const auto wanted = icu::UnicodeString::fromUTF8({pattern.data(), static_cast<std::int32_t>(pattern.size())});
    std::int32_t at = 0;
    std::int32_t in = 0;
    std::int32_t star = -1; // the last * met …
    std::int32_t mark = 0;  // … and where in the name it was tried last
    while (at < text.length()) {
        const bool isOne = in < wanted.length() && wanted[in] == u'?';
        if (in < wanted.length() && wanted[in] == u'*') {
            star = in++;
            mark = at;
        } else if (isOne || (in < wanted.length() && wanted[in] == text[at])) {
            at = isOne ? text.moveIndex32(at, 1) : at + 1;
            ++in;
        } else if (star >= 0) {
            in = star + 1;
            at = mark = text.moveIndex32(mark, 1);
        } else {
            return false;
        }
    }
    while (in < wanted.length() && wanted[in] == u'*') {
        ++in;
    }
    return in == wanted.length();
}

std::string localName(std::string converted) {
    // Control characters would make a mess of listings; the rest of them are no names at all.
    for (char& character : converted) {
        if (static_cast<unsigned char>(character) < 0x20) {
            character = '_';
        }
    }
    if (converted.empty()) {
        return "_";
    }
    if (converted == "." || converted == "..") {
        return std::string(converted.size(), '_');
    }
    return converted;
}

} // namespace tool
