// SPDX-License-Identifier: MIT
#include "platform/Strings.h"

#include <fmt/format.h>
#include <unicode/unorm2.h>
#include <unicode/ustring.h>
#include <unicode/utf16.h>
#include <unicode/utf8.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <limits>

namespace platform {

namespace {

bool isAscii(std::string_view text) {
    std::uint64_t all = 0;
    std::size_t i = 0;
    for (; i + sizeof(all) <= text.size(); i += sizeof(all)) {
        std::uint64_t block = 0;
        std::memcpy(&block, text.data() + i, sizeof(block));
        all |= block;
    }
    for (; i < text.size(); ++i) {
        all |= static_cast<unsigned char>(text[i]);
    }
    return (all & 0x8080808080808080U) == 0;
}

bool isAscii(std::u16string_view text) {
    char16_t all = 0;
    for (const char16_t unit : text) {
        all |= unit;
    }
    return all < 0x80;
}

char asciiUpper(char c) {
    return c >= 'a' && c <= 'z' ? static_cast<char>(c - 'a' + 'A') : c;
}

char asciiLower(char c) {
    return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
}

/// An object, so that searches have it inline; lists ask it of every letter of their paths.
constexpr auto equalAsciiLetters = [](char left, char right) { return asciiLower(left) == asciiLower(right); };

template <char (*map)(char)>
std::string mapped(std::string_view text) {
    std::string result(text);
    for (char& letter : result) {
        letter = map(letter);
    }
    return result;
}

/// Runs an ICU operation of the usual form (buffer, capacity, status) -> length needed. A text that ICU cannot take
/// (too long for its 32-bit lengths) comes back as it is.
template <typename Operation>
std::u16string transformed(std::u16string_view text, Operation operation) {
    if (text.size() > static_cast<std::size_t>(std::numeric_limits<std::int32_t>::max()) / 4) {
        return std::u16string(text);
    }
    std::u16string result(text.size() + 16, u'\0');
    for (;;) {
        UErrorCode status = U_ZERO_ERROR;
        const std::int32_t length = operation(result.data(), static_cast<std::int32_t>(result.size()), &status);
        if (status == U_BUFFER_OVERFLOW_ERROR && static_cast<std::size_t>(length) > result.size()) {
            result.resize(static_cast<std::size_t>(length));
            continue;
        }
        if (U_FAILURE(status)) {
            return std::u16string(text);
        }
        result.resize(static_cast<std::size_t>(length));
        return result;
    }
}

std::int32_t icuLength(std::u16string_view text) {
    return static_cast<std::int32_t>(text.size());
}

std::u16string normalized(std::u16string_view text, const UNormalizer2* (*form)(UErrorCode*) ) {
    UErrorCode found = U_ZERO_ERROR;
    const UNormalizer2* normalizer = form(&found);
    if (U_FAILURE(found)) {
        return std::u16string(text);
    }
    return transformed(text, [&](char16_t* buffer, std::int32_t capacity, UErrorCode* status) {
        return unorm2_normalize(normalizer, text.data(), icuLength(text), buffer, capacity, status);
    });
}

} // namespace

std::u16string toUtf16(std::string_view text) {
    std::u16string result;
    result.reserve(text.size());
    std::size_t i = 0;
    while (i < text.size()) {
        UChar32 c = 0;
        U8_NEXT_OR_FFFD(text.data(), i, text.size(), c);
        if (U_IS_BMP(c)) {
            result.push_back(static_cast<char16_t>(c));
        } else {
            result.push_back(U16_LEAD(c));
            result.push_back(U16_TRAIL(c));
        }
    }
    return result;
}

std::string toUtf8(std::u16string_view text) {
    if (isAscii(text)) {
        std::string result(text.size(), '\0');
        std::transform(text.begin(), text.end(), result.begin(), [](char16_t unit) { return static_cast<char>(unit); });
        return result;
    }
    std::string result;
    result.reserve(text.size());
    std::size_t i = 0;
    while (i < text.size()) {
        UChar32 c = 0;
        U16_NEXT_OR_FFFD(text.data(), i, text.size(), c);
        if (c < 0x80) {
            result.push_back(static_cast<char>(c));
            continue;
        }
        char bytes[U8_MAX_LENGTH];
        std::size_t length = 0;
        U8_APPEND_UNSAFE(bytes, length, c);
        result.append(bytes, length);
    }
    return result;
}

std::string precomposed(std::string_view text) {
    return isAscii(text) ? std::string(text) : toUtf8(precomposed(toUtf16(text)));
}

std::u16string precomposed(std::u16string_view text) {
    return isAscii(text) ? std::u16string(text) : normalized(text, unorm2_getNFCInstance);
}

std::string upperCased(std::string_view text) {
    if (isAscii(text)) {
        return mapped<asciiUpper>(text);
    }
    const std::u16string wide = toUtf16(text);
    return toUtf8(transformed(wide, [&](char16_t* buffer, std::int32_t capacity, UErrorCode* status) {
        return u_strToUpper(buffer, capacity, wide.data(), icuLength(wide), "", status);
    }));
}

std::string lowerCased(std::string_view text) {
    if (isAscii(text)) {
        return mapped<asciiLower>(text);
    }
    const std::u16string wide = toUtf16(text);
    return toUtf8(transformed(wide, [&](char16_t* buffer, std::int32_t capacity, UErrorCode* status) {
        return u_strToLower(buffer, capacity, wide.data(), icuLength(wide), "", status);
    }));
}

std::string caseFolded(std::string_view text) {
    return isAscii(text) ? mapped<asciiLower>(text) : toUtf8(caseFolded(toUtf16(text)));
}

std::u16string caseFolded(std::u16string_view text) {
    if (isAscii(text)) {
        std::u16string result(text);
        std::transform(text.begin(), text.end(), result.begin(),
                       [](char16_t unit) { return static_cast<char16_t>(asciiLower(static_cast<char>(unit))); });
        return result;
    }
    // Folding sees combining marks in the right order only in a decomposed text, and may itself leave a text that is no
    // longer normalised: hence a normal form before and after.
    const std::u16string decomposed = normalized(text, unorm2_getNFDInstance);
    const std::u16string folded = transformed(decomposed, [&](char16_t* buffer, std::int32_t capacity,
                                                              UErrorCode* status) {
        return u_strFoldCase(buffer, capacity, decomposed.data(), icuLength(decomposed), U_FOLD_CASE_DEFAULT, status);
    });
    return precomposed(folded);
}

bool equalIgnoringCase(std::string_view left, std::string_view right) {
    if (isAscii(left) && isAscii(right)) {
        return std::equal(left.begin(), left.end(), right.begin(), right.end(), equalAsciiLetters);
    }
    return caseFolded(left) == caseFolded(right);
}

bool containsIgnoringCase(std::string_view text, std::string_view part) {
    if (isAscii(text) && isAscii(part)) {
        return std::search(text.begin(), text.end(), part.begin(), part.end(), equalAsciiLetters) != text.end() ||
               part.empty();
    }
    return caseFolded(text).find(caseFolded(part)) != std::string::npos;
}

std::string replacingAll(std::string_view text, std::string_view from, std::string_view to) {
    if (from.empty()) {
        return std::string(text);
    }
    std::string result;
    std::size_t start = 0;
    for (std::size_t found = text.find(from); found != std::string_view::npos; found = text.find(from, start)) {
        result.append(text, start, found - start).append(to);
        start = found + from.size();
    }
    return result.append(text, start);
}

std::string upperHex(std::uint32_t value) {
    return fmt::format("{:X}", value);
}

std::uint32_t hexValue(std::string_view text) {
    return static_cast<std::uint32_t>(std::strtoull(std::string(text).c_str(), nullptr, 16));
}

std::uint64_t decimalValue(std::string_view text) {
    return std::strtoull(std::string(text).c_str(), nullptr, 10);
}

} // namespace platform
