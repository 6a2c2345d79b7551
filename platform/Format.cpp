// SPDX-License-Identifier: MIT
#include "platform/Format.h"

#include "platform/Strings.h"

#include <fmt/format.h>

#include <algorithm>
#include <limits>

namespace platform {

namespace {

constexpr const char* missingText = "(null)";

/// One "%..." of a format: its flags, and how many characters of the format it takes.
struct Conversion {
    std::size_t length = 0;
    bool zeros = false;
    bool left = false;
    bool sign = false;
    bool prefix = false;
    bool wide = false; // 64 bits
    int width = 0;
    int precision = -1;
    char type = 0;
};

int parseNumber(std::string_view text, std::size_t& position) {
    constexpr int limit = 4096; // no width makes a log line larger than this
    int number = 0;
    for (; position < text.size() && text[position] >= '0' && text[position] <= '9'; ++position) {
        number = std::min(limit, number * 10 + (text[position] - '0'));
    }
    return number;
}

void parseFlags(std::string_view text, std::size_t& position, Conversion& conversion) {
    for (; position < text.size(); ++position) {
        switch (text[position]) {
        case '0':
            conversion.zeros = true;
            break;
        case '-':
            conversion.left = true;
            break;
        case '+':
            conversion.sign = true;
            break;
        case '#':
            conversion.prefix = true;
            break;
        default:
            return;
        }
    }
}

/// Reads the conversion that `text` begins with (a percent sign); nullopt when it is none.
std::optional<Conversion> parseConversion(std::string_view text) {
    Conversion conversion;
    std::size_t position = 1;
    parseFlags(text, position, conversion);
    conversion.width = parseNumber(text, position);
    if (position < text.size() && text[position] == '.') {
        conversion.precision = parseNumber(text, ++position);
    }
    while (position < text.size() && std::string_view("hljztqL").find(text[position]) != std::string_view::npos) {
        conversion.wide = conversion.wide || text[position] != 'h';
        ++position;
    }
    if (position >= text.size() ||
        std::string_view("@sSdiuxXopcfFeEgG").find(text[position]) == std::string_view::npos) {
        return std::nullopt;
    }
    conversion.type = text[position];
    conversion.length = position + 1;
    return conversion;
}

/// Two's complement, in 32 bits when the conversion and the number are that short.
std::uint64_t unsignedValue(std::int64_t number, const Conversion& conversion) {
    return !conversion.wide && number < 0 && number >= std::numeric_limits<std::int32_t>::min()
               ? static_cast<std::uint32_t>(number)
               : static_cast<std::uint64_t>(number);
}

std::string inBase(std::uint64_t number, const Conversion& conversion) {
    switch (conversion.type) {
    case 'x':
        return (conversion.prefix ? "0x" : "") + fmt::format("{:x}", number);
    case 'X':
        return (conversion.prefix ? "0X" : "") + fmt::format("{:X}", number);
    case 'o':
        return fmt::format("{:o}", number);
    case 'p':
        return fmt::format("0x{:x}", number);
    case 'c':
        return toUtf8(number <= 0xFFFF ? std::u16string(1, static_cast<char16_t>(number)) : u"\uFFFD");
    default:
        return fmt::format("{}", number);
    }
}

std::string realText(double number, const Conversion& conversion) {
    const int precision = conversion.precision < 0 ? 6 : conversion.precision;
    switch (conversion.type) {
    case 'f':
    case 'F':
        return fmt::format("{:.{}f}", number, precision);
    case 'e':
    case 'E':
        return fmt::format("{:.{}e}", number, precision);
    case 'g':
    case 'G':
        return fmt::format("{:.{}g}", number, precision);
    default:
        return fmt::format("{}", number);
    }
}

bool isUnsignedConversion(char type) {
    return std::string_view("uxXopc").find(type) != std::string_view::npos;
}

std::size_t characterCount(std::string_view text) {
    return static_cast<std::size_t>(std::count_if(text.begin(), text.end(), [](char byte) {
        return (static_cast<unsigned char>(byte) & 0xC0U) != 0x80U; // all but the further bytes of a character
    }));
}

std::string truncated(std::string text, const Conversion& conversion) {
    if (conversion.precision >= 0) {
        while (characterCount(text) > static_cast<std::size_t>(conversion.precision)) {
            text.pop_back();
        }
    }
    return text;
}

struct Expansion {
    const Conversion& conversion;

    std::string operator()(const std::string& text) const { return truncated(text, conversion); }
    std::string operator()(std::int64_t number) const {
        if (isUnsignedConversion(conversion.type)) {
            return inBase(unsignedValue(number, conversion), conversion);
        }
        return (conversion.sign && number >= 0 ? "+" : "") + fmt::format("{}", number);
    }
    std::string operator()(std::uint64_t number) const { return inBase(number, conversion); }
    std::string operator()(const void* pointer) const {
        const auto number = reinterpret_cast<std::uintptr_t>(pointer);
        const bool digitsOnly = conversion.type == 'x' || conversion.type == 'X';
        return digitsOnly ? inBase(number, conversion) : fmt::format("0x{:x}", number);
    }
    std::string operator()(double number) const { return realText(number, conversion); }
};

std::string padded(std::string text, const Conversion& conversion, bool number) {
    const std::size_t count = characterCount(text);
    const auto width = static_cast<std::size_t>(conversion.width);
    if (count >= width) {
        return text;
    }
    if (conversion.left) {
        return text.append(width - count, ' ');
    }
    if (!conversion.zeros || !number) {
        return text.insert(0, width - count, ' ');
    }
    const std::size_t signs = text.starts_with('-') || text.starts_with('+') ? 1 : 0;
    return text.insert(signs, width - count, '0');
}

std::string expanded(const FormatArgument& argument, const Conversion& conversion) {
    const bool number = !std::holds_alternative<std::string>(argument.value());
    return padded(std::visit(Expansion{conversion}, argument.value()), conversion, number);
}

} // namespace

FormatArgument::FormatArgument(const char* text)
    : _value(std::string(text ? text : missingText)) {}

FormatArgument::FormatArgument(const std::optional<std::string>& text)
    : _value(text ? *text : std::string(missingText)) {}

FormatArgument::FormatArgument(std::u16string_view text)
    : _value(toUtf8(text)) {}

FormatArgument::FormatArgument(const char16_t* text)
    : _value(text ? toUtf8(text) : std::string(missingText)) {}

std::string formatText(std::string_view format, std::initializer_list<FormatArgument> arguments) {
    std::string result;
    const auto* argument = arguments.begin();
    while (!format.empty()) {
        const std::size_t percent = std::min(format.find('%'), format.size());
        result.append(format.substr(0, percent));
        format.remove_prefix(percent);
        if (format.empty()) {
            break;
        }
        const auto conversion = parseConversion(format);
        if (format.starts_with("%%")) {
            result.push_back('%');
            format.remove_prefix(2);
        } else if (conversion && argument != arguments.end()) {
            result.append(expanded(*argument++, *conversion));
            format.remove_prefix(conversion->length);
        } else {
            result.push_back('%');
            format.remove_prefix(1);
        }
    }
    return result;
}

} // namespace platform
