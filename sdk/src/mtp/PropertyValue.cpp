// SPDX-License-Identifier: MIT
#include "mtp/PropertyValue.h"

namespace mtpsdk {
namespace {

constexpr std::uint16_t arrayBit = 0x4000;

void writeInteger(ByteWriter& writer, std::size_t size, std::uint64_t value) {
    switch (size) {
    case 1:
        return writer.u8(static_cast<std::uint8_t>(value));
    case 2:
        return writer.u16(static_cast<std::uint16_t>(value));
    case 4:
        return writer.u32(static_cast<std::uint32_t>(value));
    case 8:
        return writer.u64(value);
    default:
        return;
    }
}

std::uint64_t readInteger(ByteReader& reader, std::size_t size) {
    switch (size) {
    case 1:
        return reader.u8();
    case 2:
        return reader.u16();
    case 4:
        return reader.u32();
    default:
        return reader.u64();
    }
}

} // namespace

std::size_t elementSize(DataType type) {
    switch (static_cast<DataType>(raw(type) & ~arrayBit)) {
    case DataType::Int8:
    case DataType::UInt8:
        return 1;
    case DataType::Int16:
    case DataType::UInt16:
        return 2;
    case DataType::Int32:
    case DataType::UInt32:
        return 4;
    case DataType::Int64:
    case DataType::UInt64:
        return 8;
    case DataType::Int128:
    case DataType::UInt128:
        return 16;
    default:
        return 0;
    }
}

bool isArray(DataType type) {
    return type != DataType::String && (raw(type) & arrayBit) != 0 && elementSize(type) != 0;
}

PropertyValue PropertyValue::integer(DataType type, std::uint64_t value) {
    return {type, value};
}

PropertyValue PropertyValue::integer128(DataType type, Integer128 value) {
    return {type, value};
}

PropertyValue PropertyValue::string(std::u16string text) {
    return {DataType::String, std::move(text)};
}

PropertyValue PropertyValue::longText(std::u16string_view text) {
    ByteWriter writer;
    for (const char16_t unit : text) {
        writer.u16(unit);
    }
    return {DataType::ArrayUInt16, writer.take()};
}

PropertyValue PropertyValue::array(DataType type, std::vector<std::byte> elements) {
    return {type, std::move(elements)};
}

std::optional<PropertyValue> PropertyValue::zero(DataType type) {
    if (type == DataType::String) {
        return string({});
    }
    if (isArray(type)) {
        return array(type, {});
    }
    const std::size_t size = elementSize(type);
    if (size == 0) {
        return std::nullopt;
    }
    return size == sizeof(Integer128) ? integer128(type, {}) : integer(type, 0);
}

std::optional<std::uint64_t> PropertyValue::asInteger() const {
    if (const auto* value = std::get_if<std::uint64_t>(&_value)) {
        return *value;
    }
    const auto* wide = std::get_if<Integer128>(&_value);
    return wide != nullptr && wide->high == 0 ? std::optional(wide->low) : std::nullopt;
}

std::optional<std::u16string> PropertyValue::asText() const {
    if (const auto* text = std::get_if<std::u16string>(&_value)) {
        return *text;
    }
    const auto* elements = asArray();
    if (elements == nullptr || elementSize(_type) != sizeof(char16_t)) {
        return std::nullopt;
    }
    ByteReader reader(*elements);
    std::u16string text;
    while (reader.remaining() >= sizeof(char16_t)) {
        const std::uint16_t unit = reader.u16();
        if (unit == 0) {
            break;
        }
        text.push_back(static_cast<char16_t>(unit));
    }
    return text;
}

PropertyValue PropertyValue::read(ByteReader& reader, DataType type) {
    if (type == DataType::String) {
        return string(reader.string());
    }
    const std::size_t size = elementSize(type);
    if (size == 0) {
        reader.fail();
        return {};
    }
    if (isArray(type)) {
        const std::uint64_t length = std::uint64_t{reader.u32()} * size;
        const auto elements = reader.bytes(length);
        return array(type, {elements.begin(), elements.end()});
    }
    return size == sizeof(Integer128) ? integer128(type, reader.u128()) : integer(type, readInteger(reader, size));
}

void PropertyValue::write(ByteWriter& writer) const {
    if (const auto* text = std::get_if<std::u16string>(&_value)) {
        writer.string(*text);
    } else if (const auto* elements = asArray()) {
        const std::size_t size = elementSize(_type);
        writer.u32(size == 0 ? 0 : static_cast<std::uint32_t>(elements->size() / size));
        writer.bytes(*elements);
    } else if (const auto* wide = std::get_if<Integer128>(&_value)) {
        writer.u128(*wide);
    } else {
        writeInteger(writer, elementSize(_type), std::get<std::uint64_t>(_value));
    }
}

} // namespace mtpsdk
