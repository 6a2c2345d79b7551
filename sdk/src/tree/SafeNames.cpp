// SPDX-License-Identifier: MIT
#include "tree/SafeNames.h"

#include "mtp/Bytes.h"
#include "platform/Strings.h"

#include <algorithm>

namespace mtpsdk {
namespace {

constexpr bool isControl(char16_t unit) {
    return unit < 0x20 || (unit >= 0x7F && unit < 0xA0);
}
constexpr bool isLeading(char16_t unit) {
    return unit >= 0xD800 && unit < 0xDC00;
}
constexpr bool isTrailing(char16_t unit) {
    return unit >= 0xDC00 && unit < 0xE000;
}

bool pairsSurrogates(std::u16string_view text) {
    for (std::size_t i = 0; i < text.size(); ++i) {
        if (isLeading(text[i]) && i + 1 < text.size() && isTrailing(text[i + 1])) {
            ++i;
        } else if (isLeading(text[i]) || isTrailing(text[i])) {
            return false;
        }
    }
    return true;
}

std::u16string cut(std::u16string_view text, std::size_t units) {
    if (text.size() > units) {
        text = text.substr(0, isLeading(text[units - 1]) ? units - 1 : units);
    }
    return std::u16string(text);
}

} // namespace

bool isSafeName(std::u16string_view name) {
    const auto unsafe = [](char16_t unit) { return isControl(unit) || unit == u'/'; };
    return !name.empty() && name.size() <= maximumTextUnits && name != u"." && name != u".." && pairsSurrogates(name) &&
           std::none_of(name.begin(), name.end(), unsafe);
}

std::u16string safeName(std::u16string_view name) {
    if (isSafeName(name)) {
        return std::u16string(name);
    }
    std::u16string safe = cut(name, maximumTextUnits);
    std::replace_if(
        safe.begin(), safe.end(), [](char16_t unit) { return isControl(unit) || unit == u'/'; }, u'_');
    if (!pairsSurrogates(safe)) {
        safe = platform::toUtf16(platform::toUtf8(safe));
    }
    if (safe.empty() || safe == u"." || safe == u"..") {
        safe.assign(std::max(safe.size(), std::size_t{1}), u'_');
    }
    return safe;
}

std::u16string distinctName(const std::u16string& name, std::uint32_t handle,
                            const std::function<bool(const std::u16string&)>& taken) {
    constexpr std::size_t longestExtension = 16;
    constexpr unsigned friendlyNumbers = 9;
    if (!taken(name)) {
        return name;
    }
    const std::size_t dot = name.rfind(u'.');
    const bool hasExtension = dot != 0 && dot != std::u16string::npos && name.size() - dot <= longestExtension;
    const std::u16string_view extension = std::u16string_view(name).substr(hasExtension ? dot : name.size());
    const std::u16string_view stem = std::u16string_view(name).substr(0, name.size() - extension.size());
    for (std::uint64_t number = 2;; ++number) {
        const std::uint64_t shown = number <= friendlyNumbers ? number : handle + number;
        const std::u16string mark = platform::toUtf16(" (" + std::to_string(shown) + ")");
        std::u16string candidate = cut(stem, maximumTextUnits - mark.size() - extension.size()) + mark;
        candidate += extension;
        if (!taken(candidate)) {
            return candidate;
        }
    }
}

bool isAcceptableName(std::u16string_view name) {
    return isSafeName(name) && name.find_first_of(u":*?\"\\<>|") == std::u16string_view::npos;
}

} // namespace mtpsdk
