// SPDX-License-Identifier: MIT
#pragma once

#include "mtp/Bytes.h"
#include "mtp/Codes.h"

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <variant>
#include <vector>

namespace mtpsdk {

/// A value of any data type of the protocol: an integer, a 128-bit integer, a text, or an array, which is kept as the
/// little-endian bytes of its elements.
class PropertyValue {
public:
    PropertyValue() = default;
    [[nodiscard]] static PropertyValue integer(DataType type, std::uint64_t value);
    [[nodiscard]] static PropertyValue integer128(DataType type, Integer128 value);
    [[nodiscard]] static PropertyValue string(std::u16string text);
    /// A text as an array of 16-bit units without a terminator: how texts beyond the counted strings' limit travel.
    [[nodiscard]] static PropertyValue longText(std::u16string_view text);
    [[nodiscard]] static PropertyValue array(DataType type, std::vector<std::byte> elements);
    /// Zero or empty: what a property holds that was never set. nullopt for a type that does not exist.
    [[nodiscard]] static std::optional<PropertyValue> zero(DataType type);

    [[nodiscard]] DataType type() const { return _type; }
    /// The integer's bits (signed ones not extended beyond their width); nothing for other types and for 128-bit values
    /// that do not fit.
    [[nodiscard]] std::optional<std::uint64_t> asInteger() const;
    /// The text of a string or of a long text (cut at its first zero).
    [[nodiscard]] std::optional<std::u16string> asText() const;
    /// The bytes of an array; null for other types.
    [[nodiscard]] const std::vector<std::byte>* asArray() const { return std::get_if<std::vector<std::byte>>(&_value); }

    /// Reads a value of a type; fails the reader for a type that does not exist.
    [[nodiscard]] static PropertyValue read(ByteReader& reader, DataType type);
    void write(ByteWriter& writer) const;

    bool operator==(const PropertyValue&) const = default;

private:
    using Storage = std::variant<std::uint64_t, Integer128, std::u16string, std::vector<std::byte>>;
    PropertyValue(DataType type, Storage value)
        : _type(type)
        , _value(std::move(value)) {}

    DataType _type = DataType::Undefined;
    Storage _value = std::uint64_t{0};
};

/// Bytes of one integer or array element of a type; 0 for strings and for types that do not exist.
[[nodiscard]] std::size_t elementSize(DataType type);
[[nodiscard]] bool isArray(DataType type);

} // namespace mtpsdk
