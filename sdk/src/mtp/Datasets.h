// SPDX-License-Identifier: MIT
#pragma once

#include "mtp/Codes.h"
#include "mtp/PropertyValue.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <span>
#include <string>
#include <vector>

/// The datasets that data phases carry. `encode` makes the bytes of one, without a container's header. `decode` takes
/// bytes that nobody vouches for: false for bytes that are too short, go on behind the end, or lie about a count; the
/// target is then not to be used. The three descriptions that end in texts (of a device, a storage, an object) may lack
/// the last of them, or go on behind them, since those of real devices do.
namespace mtpsdk {

/// The size of an object whose 32-bit field says sizeUnknown has to be asked for as a property.
struct ObjectInfo {
    std::uint32_t storageId = 0;
    std::uint16_t format = 0;
    std::uint16_t protection = 0;
    std::uint32_t compressedSize = 0;
    std::uint16_t thumbFormat = 0;
    std::uint32_t thumbSize = 0;
    std::uint32_t thumbWidth = 0;
    std::uint32_t thumbHeight = 0;
    std::uint32_t imageWidth = 0;
    std::uint32_t imageHeight = 0;
    std::uint32_t imageBitDepth = 0;
    std::uint32_t parent = 0; ///< 0: the storage's root
    std::uint16_t associationType = 0;
    std::uint32_t associationDescription = 0;
    std::uint32_t sequenceNumber = 0;
    std::u16string filename;
    std::u16string captureDate;      ///< MTP date text, may be empty
    std::u16string modificationDate; ///< MTP date text, may be empty
    std::u16string keywords;

    void setSize(std::uint64_t size) {
        compressedSize = size < sizeUnknown ? static_cast<std::uint32_t>(size) : sizeUnknown;
    }
    bool operator==(const ObjectInfo&) const = default;
};

struct DeviceInfo {
    std::uint16_t standardVersion = 100;
    std::uint32_t vendorExtensionId = 6;
    std::uint16_t vendorExtensionVersion = 100;
    std::u16string vendorExtensionDescription;
    std::uint16_t functionalMode = 0;
    std::vector<std::uint16_t> operations;
    std::vector<std::uint16_t> events;
    std::vector<std::uint16_t> deviceProperties;
    std::vector<std::uint16_t> captureFormats;
    std::vector<std::uint16_t> playbackFormats;
    std::u16string manufacturer;
    std::u16string model;
    std::u16string deviceVersion;
    std::u16string serialNumber;

    [[nodiscard]] bool supports(OperationCode code) const { return std::ranges::count(operations, raw(code)) != 0; }
    [[nodiscard]] bool supports(DevicePropertyCode code) const {
        return std::ranges::count(deviceProperties, raw(code)) != 0;
    }
    bool operator==(const DeviceInfo&) const = default;
};

struct StorageInfo {
    std::uint16_t storageType = 0;    ///< 3 fixed, 4 removable memory
    std::uint16_t filesystemType = 0; ///< 2 hierarchical
    std::uint16_t accessCapability = 0;
    std::uint64_t maxCapacity = 0; ///< bytes
    std::uint64_t freeSpace = 0;   ///< bytes
    std::uint32_t freeObjects = 0xFFFFFFFF;
    std::u16string description;
    std::u16string volumeIdentifier; ///< label or serial number
    bool operator==(const StorageInfo&) const = default;
};

/// One row of a property list: an object, a property of it, its value.
struct ObjectPropElement {
    std::uint32_t handle = 0;
    std::uint16_t property = 0; ///< ObjectPropertyCode, or any number from outside
    PropertyValue value;
    bool operator==(const ObjectPropElement&) const = default;
};

enum class FormFlag : std::uint8_t {
    none = 0,
    range = 1,
    enumeration = 2,
    dateTime = 3,
    fixedLengthArray = 4,
    regularExpression = 5,
    byteArray = 6,
    longString = 0xFF,
};

/// What values a property takes.
struct PropertyForm {
    FormFlag flag = FormFlag::none;
    std::vector<PropertyValue> values; ///< range: minimum, maximum, step; enumeration: its values
    std::uint32_t length = 0;          ///< fixed length, or the longest length of byte arrays and long strings
    std::u16string expression;         ///< regular expression
    bool operator==(const PropertyForm&) const = default;
};

struct ObjectPropDesc {
    std::uint16_t property = 0;
    DataType type = DataType::Undefined;
    bool writable = false;
    PropertyValue defaultValue;
    std::uint32_t group = 0;
    PropertyForm form;
    bool operator==(const ObjectPropDesc&) const = default;
};

struct DevicePropDesc {
    std::uint16_t property = 0;
    DataType type = DataType::Undefined;
    bool writable = false;
    PropertyValue defaultValue;
    PropertyValue currentValue;
    PropertyForm form;
    bool operator==(const DevicePropDesc&) const = default;
};

[[nodiscard]] std::vector<std::byte> encode(const DeviceInfo& info);
[[nodiscard]] bool decode(std::span<const std::byte> bytes, DeviceInfo& info);

[[nodiscard]] std::vector<std::byte> encode(const StorageInfo& info);
[[nodiscard]] bool decode(std::span<const std::byte> bytes, StorageInfo& info);

[[nodiscard]] std::vector<std::byte> encode(const ObjectInfo& info);
[[nodiscard]] bool decode(std::span<const std::byte> bytes, ObjectInfo& info);

[[nodiscard]] std::vector<std::byte> encode(std::span<const ObjectPropElement> list);
/// Hands each row to `visit` as it is read, so that a long listing is never held twice; rows handed on before a
/// damaged one stay handed on.
[[nodiscard]] bool decodePropertyList(std::span<const std::byte> bytes,
                                      const std::function<void(ObjectPropElement&& element)>& visit);
[[nodiscard]] bool decode(std::span<const std::byte> bytes, std::vector<ObjectPropElement>& list);

[[nodiscard]] std::vector<std::byte> encode(const ObjectPropDesc& description);
[[nodiscard]] bool decode(std::span<const std::byte> bytes, ObjectPropDesc& description);

[[nodiscard]] std::vector<std::byte> encode(const DevicePropDesc& description);
[[nodiscard]] bool decode(std::span<const std::byte> bytes, DevicePropDesc& description);

/// A value alone, as the property value operations carry it.
[[nodiscard]] std::vector<std::byte> encode(const PropertyValue& value);
[[nodiscard]] bool decode(std::span<const std::byte> bytes, DataType type, PropertyValue& value);

/// Handles, storage IDs and references (32-bit), codes (16-bit).
[[nodiscard]] std::vector<std::byte> encode(const std::vector<std::uint32_t>& values);
[[nodiscard]] bool decode(std::span<const std::byte> bytes, std::vector<std::uint32_t>& values);
[[nodiscard]] std::vector<std::byte> encode(const std::vector<std::uint16_t>& values);
[[nodiscard]] bool decode(std::span<const std::byte> bytes, std::vector<std::uint16_t>& values);

} // namespace mtpsdk
