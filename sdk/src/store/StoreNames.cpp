// SPDX-License-Identifier: MIT
#include "store/StoreNames.h"

#include "mtp/Bytes.h"
#include "platform/Strings.h"

#include <algorithm>

namespace mtpsdk {

namespace {

constexpr std::size_t maximumFileNameBytes = 255;

bool isAscii(std::string_view text) {
    return std::all_of(text.begin(), text.end(), [](char unit) { return static_cast<unsigned char>(unit) < 0x80; });
}

bool isHighSurrogate(char16_t unit) {
    return unit >= 0xD800 && unit < 0xDC00;
}

bool isLowSurrogate(char16_t unit) {
    return unit >= 0xDC00 && unit < 0xE000;
}

bool hasUnpairedSurrogate(std::u16string_view text) {
    for (std::size_t i = 0; i < text.size(); ++i) {
        if (isHighSurrogate(text[i]) && i + 1 < text.size() && isLowSurrogate(text[i + 1])) {
            ++i;
        } else if (isHighSurrogate(text[i]) || isLowSurrogate(text[i])) {
            return true;
        }
    }
    return false;
}

} // namespace

bool isTellableName(std::string_view name) {
    if (isAscii(name)) {
        return !name.empty() && name.size() <= maximumTextUnits;
    }
    const std::u16string wide = platform::toUtf16(name);
    return wide.size() <= maximumTextUnits && platform::toUtf8(wide) == name;
}

std::string fileNameFrom(std::u16string_view name) {
    if (name.empty() || name == u"." || name == u".." || name.find(u'/') != std::u16string_view::npos ||
        name.find(u'\0') != std::u16string_view::npos || hasUnpairedSurrogate(name)) {
        return {};
    }
    std::string text = platform::toUtf8(name);
    return text.size() <= maximumFileNameBytes ? text : std::string();
}

} // namespace mtpsdk
