// SPDX-License-Identifier: MIT
#pragma once

#include "platform/Export.h"
#include "platform/Value.h"

#include <concepts>
#include <cstdint>
#include <initializer_list>
#include <optional>
#include <string>
#include <string_view>
#include <variant>

namespace platform {

/// One argument of formatText: made implicitly from text, numbers, pointers and values.
class MTPSERVICE_EXPORT FormatArgument {
public:
    FormatArgument(std::string_view text)
        : _value(std::string(text)) {}
    FormatArgument(const std::string& text)
        : _value(text) {}
    FormatArgument(const char* text);
    FormatArgument(const std::optional<std::string>& text);
    FormatArgument(std::u16string_view text);
    FormatArgument(const char16_t* text);
    FormatArgument(const Value& value)
        : _value(value.description()) {}
    FormatArgument(const Dictionary& value)
        : _value(value.description()) {}
    FormatArgument(const Array& value)
        : _value(Value(value).description()) {}
    template <std::signed_integral T>
    FormatArgument(T number)
        : _value(static_cast<std::int64_t>(number)) {}
    template <std::unsigned_integral T>
    FormatArgument(T number)
        : _value(static_cast<std::uint64_t>(number)) {}
    FormatArgument(const void* pointer)
        : _value(pointer) {}
    FormatArgument(double number)
        : _value(number) {}

    using Storage = std::variant<std::string, std::int64_t, std::uint64_t, const void*, double>;
    [[nodiscard]] const Storage& value() const { return _value; }

private:
    Storage _value;
};

/// Expands a printf-like text whose arguments are typed: %@ and %s text, %S UTF-16 text, %d %ld %u numbers, %x %X (with
/// width and zero padding, "%08x") hexadecimal, %p pointers, %% a percent sign. A missing text prints "(null)". An
/// argument of another kind than its conversion expects is printed in its own natural form; a conversion without
/// argument stays as it stands. 32-bit conversions of negative numbers print their 32-bit two's complement. Flags,
/// width and precision are those of printf, without "*".
[[nodiscard]] MTPSERVICE_EXPORT std::string formatText(std::string_view format,
                                                       std::initializer_list<FormatArgument> arguments);

template <typename... Arguments>
[[nodiscard]] std::string formatText(std::string_view format, const Arguments&... arguments) {
    return formatText(format, std::initializer_list<FormatArgument>{FormatArgument(arguments)...});
}

} // namespace platform
