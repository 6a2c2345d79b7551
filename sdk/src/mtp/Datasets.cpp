// SPDX-License-Identifier: MIT
#include "mtp/Datasets.h"

#include "mtp/Bytes.h"

namespace mtpsdk {
namespace {

/// One of the texts that end a dataset. Devices leave out those at the end that they have nothing to say in.
std::u16string lastText(ByteReader& reader) {
    return reader.remaining() > 0 ? reader.string() : std::u16string();
}

/// Whether a dataset that ends in texts is sound. What some devices add behind it is passed over.
bool isSound(const ByteReader& reader) {
    return !reader.failed();
}

} // namespace

std::vector<std::byte> encode(const DeviceInfo& info) {
    ByteWriter writer;
    writer.u16(info.standardVersion);
    writer.u32(info.vendorExtensionId);
    writer.u16(info.vendorExtensionVersion);
    writer.string(info.vendorExtensionDescription);
    writer.u16(info.functionalMode);
    writer.array(info.operations);
    writer.array(info.events);
    writer.array(info.deviceProperties);
    writer.array(info.captureFormats);
    writer.array(info.playbackFormats);
    writer.string(info.manufacturer);
    writer.string(info.model);
    writer.string(info.deviceVersion);
    writer.string(info.serialNumber);
    return writer.take();
}

bool decode(std::span<const std::byte> bytes, DeviceInfo& info) {
    ByteReader reader(bytes);
    info.standardVersion = reader.u16();
    info.vendorExtensionId = reader.u32();
    info.vendorExtensionVersion = reader.u16();
    info.vendorExtensionDescription = reader.string();
    info.functionalMode = reader.u16();
    info.operations = reader.array<std::uint16_t>();
    info.events = reader.array<std::uint16_t>();
    info.deviceProperties = reader.array<std::uint16_t>();
    info.captureFormats = reader.array<std::uint16_t>();
    info.playbackFormats = reader.array<std::uint16_t>();
    info.manufacturer = lastText(reader);
    info.model = lastText(reader);
    info.deviceVersion = lastText(reader);
    info.serialNumber = lastText(reader);
    return isSound(reader);
}

std::vector<std::byte> encode(const StorageInfo& info) {
    ByteWriter writer;
    writer.u16(info.storageType);
    writer.u16(info.filesystemType);
    writer.u16(info.accessCapability);
    writer.u64(info.maxCapacity);
    writer.u64(info.freeSpace);
    writer.u32(info.freeObjects);
    writer.string(info.description);
    writer.string(info.volumeIdentifier);
    return writer.take();
}

bool decode(std::span<const std::byte> bytes, StorageInfo& info) {
    ByteReader reader(bytes);
    info.storageType = reader.u16();
    info.filesystemType = reader.u16();
    info.accessCapability = reader.u16();
    info.maxCapacity = reader.u64();
    info.freeSpace = reader.u64();
    info.freeObjects = reader.u32();
    info.description = lastText(reader);
    info.volumeIdentifier = lastText(reader);
    return isSound(reader);
}

std::vector<std::byte> encode(const ObjectInfo& info) {
    ByteWriter writer;
    writer.u32(info.storageId);
    writer.u16(info.format);
    writer.u16(info.protection);
    writer.u32(info.compressedSize);
    writer.u16(info.thumbFormat);
    writer.u32(info.thumbSize);
    writer.u32(info.thumbWidth);
    writer.u32(info.thumbHeight);
    writer.u32(info.imageWidth);
    writer.u32(info.imageHeight);
    writer.u32(info.imageBitDepth);
    writer.u32(info.parent);
    writer.u16(info.associationType);
    writer.u32(info.associationDescription);
    writer.u32(info.sequenceNumber);
    writer.string(info.filename);
    writer.string(info.captureDate);
    writer.string(info.modificationDate);
    writer.string(info.keywords);
    return writer.take();
}

bool decode(std::span<const std::byte> bytes, ObjectInfo& info) {
    ByteReader reader(bytes);
    info.storageId = reader.u32();
    info.format = reader.u16();
    info.protection = reader.u16();
    info.compressedSize = reader.u32();
    info.thumbFormat = reader.u16();
    info.thumbSize = reader.u32();
    info.thumbWidth = reader.u32();
    info.thumbHeight = reader.u32();
    info.imageWidth = reader.u32();
    info.imageHeight = reader.u32();
    info.imageBitDepth = reader.u32();
    info.parent = reader.u32();
    info.associationType = reader.u16();
    info.associationDescription = reader.u32();
    info.sequenceNumber = reader.u32();
    info.filename = lastText(reader);
    info.captureDate = lastText(reader);
    info.modificationDate = lastText(reader);
    info.keywords = lastText(reader);
    return isSound(reader);
}

std::vector<std::byte> encode(const PropertyValue& value) {
    ByteWriter writer;
    value.write(writer);
    return writer.take();
}

bool decode(std::span<const std::byte> bytes, DataType type, PropertyValue& value) {
    ByteReader reader(bytes);
    value = PropertyValue::read(reader, type);
    return reader.finished();
}

std::vector<std::byte> encode(const std::vector<std::uint32_t>& values) {
    ByteWriter writer;
    writer.array(values);
    return writer.take();
}

bool decode(std::span<const std::byte> bytes, std::vector<std::uint32_t>& values) {
    ByteReader reader(bytes);
    values = reader.array<std::uint32_t>();
    return reader.finished();
}

std::vector<std::byte> encode(const std::vector<std::uint16_t>& values) {
    ByteWriter writer;
    writer.array(values);
    return writer.take();
}

bool decode(std::span<const std::byte> bytes, std::vector<std::uint16_t>& values) {
    ByteReader reader(bytes);
    values = reader.array<std::uint16_t>();
    return reader.finished();
}

} // namespace mtpsdk
