// SPDX-License-Identifier: MIT
#include "tools/ScreenText.h"

#include <algorithm>
#include <cstdint>
#include <fmt/format.h>
#include <unicode/uchar.h>
#include <unicode/utf8.h>

namespace tool {
namespace {

/// Calls `each(code point, bytes)` for every character; a byte that is no UTF-8 comes with a negative code point.
template <typename Each>
void forEachCharacter(std::string_view text, const Each& each) {
    const auto length = static_cast<std::int32_t>(std::min<std::size_t>(text.size(), INT32_MAX));
    for (std::int32_t position = 0; position < length;) {
        const std::int32_t start = position;
        UChar32 code = 0;
        U8_NEXT(text.data(), position, length, code);
        const auto bytes = text.substr(static_cast<std::size_t>(start), static_cast<std::size_t>(position - start));
        if (!each(code, bytes)) {
            return;
        }
    }
}

bool isUnsafe(UChar32 code) {
    switch (u_charType(code)) {
    case U_CONTROL_CHAR:
    case U_LINE_SEPARATOR:
    case U_PARAGRAPH_SEPARATOR:
    case U_SURROGATE:
        return true;
    default:
        // Marks that turn the writing direction; the joiners that emoji are made of are of the same type and stay.
        return (code >= 0x202A && code <= 0x202E) || (code >= 0x2066 && code <= 0x2069) || code == 0x200E ||
               code == 0x200F || code == 0x061C || code == 0xFEFF;
    }
}

int characterWidth(UChar32 code) {
    const int type = u_charType(code);
    if (type == U_NON_SPACING_MARK || type == U_ENCLOSING_MARK || type == U_FORMAT_CHAR) {
        return 0;
    }
    const int width = u_getIntPropertyValue(code, UCHAR_EAST_ASIAN_WIDTH);
    return width == U_EA_WIDE || width == U_EA_FULLWIDTH ? 2 : 1;
}

} // namespace

std::string safeText(std::string_view text) {
    std::string result;
    forEachCharacter(text, [&](UChar32 code, std::string_view bytes) {
        if (code < 0) {
            for (const unsigned char byte : bytes) {
                result += fmt::format("\\x{:02X}", byte);
            }
        } else if (!isUnsafe(code)) {
            result += bytes;
        } else {
            result += code < 0x80 ? fmt::format("\\x{:02X}", code) : fmt::format("\\u{{{:X}}}", code);
        }
        return true;
    });
    return result;
}

int displayWidth(std::string_view text) {
    int width = 0;
    forEachCharacter(text, [&](UChar32 code, std::string_view) {
        width += characterWidth(std::max(code, 0));
        return true;
    });
    return width;
}

std::string fittedText(std::string_view text, int columns) {
    if (displayWidth(text) <= columns) {
        return std::string(text);
    }
    std::string result;
    int width = 1; // the ellipsis
    forEachCharacter(text, [&](UChar32 code, std::string_view bytes) {
        width += characterWidth(std::max(code, 0));
        if (width <= columns) {
            result += bytes;
        }
        return width <= columns;
    });
    return columns > 0 ? result + "…" : std::string();
}

std::string paddedText(std::string_view text, int columns, Align align) {
    const std::string blanks(static_cast<std::size_t>(std::max(columns - displayWidth(text), 0)), ' ');
    return align == Align::left ? std::string(text) + blanks : blanks + std::string(text);
}

bool isValidUtf8(std::string_view text) {
    bool isValid = true;
    forEachCharacter(text, [&](UChar32 code, std::string_view) {
        isValid = code >= 0;
        return isValid;
    });
    return isValid;
}

} // namespace tool
