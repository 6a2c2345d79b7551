// SPDX-License-Identifier: MIT
// Property lists and the descriptions of properties.
#include "mtp/Datasets.h"

#include "mtp/Bytes.h"

namespace mtpsdk {
namespace {

constexpr std::size_t rangeValues = 3;
/// Handle, property code and data type stand before each value of a property list.
constexpr std::size_t smallestElement = 8;

void writeForm(ByteWriter& writer, const PropertyForm& form) {
    writer.u8(static_cast<std::uint8_t>(form.flag));
    switch (form.flag) {
    case FormFlag::enumeration:
        writer.u16(static_cast<std::uint16_t>(form.values.size()));
        [[fallthrough]];
    case FormFlag::range:
        for (const PropertyValue& value : form.values) {
            value.write(writer);
        }
        break;
    case FormFlag::fixedLengthArray:
        writer.u16(static_cast<std::uint16_t>(form.length));
        break;
    case FormFlag::regularExpression:
        writer.string(form.expression);
        break;
    case FormFlag::byteArray:
    case FormFlag::longString:
        writer.u32(form.length);
        break;
    case FormFlag::none:
    case FormFlag::dateTime:
        break;
    }
}

void readValues(ByteReader& reader, DataType type, std::size_t count, std::vector<PropertyValue>& values) {
    for (std::size_t i = 0; i < count && !reader.failed(); ++i) {
        values.push_back(PropertyValue::read(reader, type));
    }
}

PropertyForm readForm(ByteReader& reader, DataType type) {
    PropertyForm form;
    form.flag = static_cast<FormFlag>(reader.u8());
    switch (form.flag) {
    case FormFlag::range:
        readValues(reader, type, rangeValues, form.values);
        break;
    case FormFlag::enumeration:
        readValues(reader, type, reader.u16(), form.values);
        break;
    case FormFlag::fixedLengthArray:
        form.length = reader.u16();
        break;
    case FormFlag::regularExpression:
        form.expression = reader.string();
        break;
    case FormFlag::byteArray:
    case FormFlag::longString:
        form.length = reader.u32();
        break;
    case FormFlag::none:
    case FormFlag::dateTime:
        break;
    default:
        reader.fail();
    }
    return form;
}

} // namespace

std::vector<std::byte> encode(std::span<const ObjectPropElement> list) {
    ByteWriter writer;
    writer.u32(static_cast<std::uint32_t>(list.size()));
    for (const ObjectPropElement& element : list) {
        writer.u32(element.handle);
        writer.u16(element.property);
        writer.u16(raw(element.value.type()));
        element.value.write(writer);
    }
    return writer.take();
}

bool decodePropertyList(std::span<const std::byte> bytes,
                        const std::function<void(ObjectPropElement&& element)>& visit) {
    ByteReader reader(bytes);
    const std::uint32_t count = reader.u32();
    if (count > reader.remaining() / smallestElement) {
        return false;
    }
    for (std::uint32_t i = 0; i < count; ++i) {
        ObjectPropElement element;
        element.handle = reader.u32();
        element.property = reader.u16();
        const auto type = static_cast<DataType>(reader.u16());
        element.value = PropertyValue::read(reader, type);
        if (reader.failed()) {
            return false;
        }
        visit(std::move(element));
    }
    return reader.finished();
}

bool decode(std::span<const std::byte> bytes, std::vector<ObjectPropElement>& list) {
    list.clear();
    return decodePropertyList(bytes, [&list](ObjectPropElement&& element) { list.push_back(std::move(element)); });
}

std::vector<std::byte> encode(const ObjectPropDesc& description) {
    ByteWriter writer;
    writer.u16(description.property);
    writer.u16(raw(description.type));
    writer.u8(description.writable ? 1 : 0);
    description.defaultValue.write(writer);
    writer.u32(description.group);
    writeForm(writer, description.form);
    return writer.take();
}

bool decode(std::span<const std::byte> bytes, ObjectPropDesc& description) {
    ByteReader reader(bytes);
    description.property = reader.u16();
    description.type = static_cast<DataType>(reader.u16());
    description.writable = reader.u8() != 0;
    description.defaultValue = PropertyValue::read(reader, description.type);
    description.group = reader.u32();
    description.form = readForm(reader, description.type);
    return reader.finished();
}

std::vector<std::byte> encode(const DevicePropDesc& description) {
    ByteWriter writer;
    writer.u16(description.property);
    writer.u16(raw(description.type));
    writer.u8(description.writable ? 1 : 0);
    description.defaultValue.write(writer);
    description.currentValue.write(writer);
    writeForm(writer, description.form);
    return writer.take();
}

bool decode(std::span<const std::byte> bytes, DevicePropDesc& description) {
    ByteReader reader(bytes);
    description.property = reader.u16();
    description.type = static_cast<DataType>(reader.u16());
    description.writable = reader.u8() != 0;
    description.defaultValue = PropertyValue::read(reader, description.type);
    description.currentValue = PropertyValue::read(reader, description.type);
    description.form = readForm(reader, description.type);
    return reader.finished();
}

} // namespace mtpsdk
