// SPDX-License-Identifier: MIT
#include "ScriptedDevice.h"

#include "mtp/Bytes.h"

#include <gtest/gtest.h>

#include <set>

namespace mtpsdk::test {
namespace {

/// Every dataset comes back as it was, and no part of it, nor more than it, is taken for a whole one.
template <typename Dataset>
void expectExact(const Dataset& dataset) {
    const Bytes whole = encode(dataset);
    Dataset decoded;
    ASSERT_TRUE(decode(whole, decoded));
    EXPECT_EQ(decoded, dataset);
    for (std::size_t length = 0; length < whole.size(); ++length) {
        Dataset part;
        EXPECT_FALSE(decode(std::span(whole).first(length), part)) << length << " of " << whole.size();
    }
    Bytes longer = whole;
    longer.push_back(std::byte{0});
    Dataset more;
    EXPECT_FALSE(decode(longer, more));
}

/// The descriptions that end in texts come back too when the last of these are missing, or followed by more.
template <typename Dataset>
void expectForgiving(const Dataset& dataset, std::initializer_list<std::u16string> lastTexts) {
    const Bytes whole = encode(dataset);
    std::set<std::size_t> ends;
    std::size_t end = whole.size();
    for (auto text = std::rbegin(lastTexts); text != std::rend(lastTexts); ++text) {
        ByteWriter writer;
        writer.string(*text);
        end -= writer.take().size();
        ends.insert(end);
    }
    for (std::size_t length = 0; length < whole.size(); ++length) {
        Dataset part;
        EXPECT_EQ(decode(std::span(whole).first(length), part), ends.contains(length)) << length;
    }
    Bytes longer = whole;
    longer.resize(whole.size() + 3);
    for (const Bytes& bytes : {whole, longer}) {
        Dataset decoded;
        ASSERT_TRUE(decode(bytes, decoded));
        EXPECT_EQ(decoded, dataset);
    }
}

PropertyValue number(DataType type, std::uint64_t value) {
    return PropertyValue::integer(type, value);
}

TEST(Datasets, DescriptionsComeBackExactly) {
    DeviceInfo device;
    device.vendorExtensionDescription = u"microsoft.com: 1.0;";
    device.operations = {0x1001, 0x1002, 0x9805};
    device.events = {0x4002};
    device.deviceProperties = {0xD402};
    device.playbackFormats = {0x3009};
    device.manufacturer = u"M\u00FCller \U0001F3B5";
    device.model = u"Player";
    device.serialNumber = u"0001";
    expectForgiving(device, {device.manufacturer, device.model, device.deviceVersion, device.serialNumber});
    expectForgiving(StorageInfo{3, 2, 0, std::uint64_t{1} << 40, 12345678901, 7, u"Card", u"Label"},
                    {u"Card", u"Label"});
}

TEST(Datasets, ObjectInfoKeepsAllFieldsAndMarksSizesBeyondIt) {
    ObjectInfo info;
    info.storageId = 0x10001;
    info.format = raw(FormatCode::EXIFJPEG);
    info.imageWidth = 640;
    info.parent = 42;
    info.filename = u"a.jpg";
    info.captureDate = u"20090115T134501.0";
    info.keywords = u"k";
    info.setSize(0xFFFFFFFE);
    expectForgiving(info, {info.filename, info.captureDate, info.modificationDate, info.keywords});
    EXPECT_EQ(info.compressedSize, 0xFFFFFFFEU);
    info.setSize(0xFFFFFFFF);
    EXPECT_EQ(info.compressedSize, sizeUnknown);
    info.setSize(std::uint64_t{9} << 32);
    EXPECT_EQ(info.compressedSize, sizeUnknown);
}

TEST(Datasets, PropertyListsCarryEveryType) {
    std::vector<ObjectPropElement> list = {
        {1, 0xDC01, number(DataType::UInt32, 0x10001)},
        {1, 0xDC02, number(DataType::UInt16, 0x3009)},
        {1, 0xDC0D, number(DataType::Int8, 0xFF)},
        {2, 0xDC04, number(DataType::UInt64, ~std::uint64_t{0})},
        {2, 0xDC41, PropertyValue::integer128(DataType::UInt128, {1, 2})},
        {2, 0xDC07, PropertyValue::string(u"")},
        {2, 0xDC44, PropertyValue::string(u"name")},
        {2, 0xDC48, PropertyValue::longText(std::u16string(1000, u'l'))},
        {2, 0xDC86, PropertyValue::array(DataType::ArrayUInt8, bytesOf({1, 2, 3}))},
    };
    const Bytes whole = encode(std::span<const ObjectPropElement>(list));
    std::vector<ObjectPropElement> decoded;
    ASSERT_TRUE(decode(whole, decoded));
    EXPECT_EQ(decoded, list);
    EXPECT_EQ(decoded[7].value.asText(), std::u16string(1000, u'l'));
    for (std::size_t length = 0; length < whole.size(); ++length) {
        EXPECT_FALSE(decode(std::span(whole).first(length), decoded)) << length;
    }
}

TEST(Datasets, LyingCountsAndUnknownTypesAreRefused) {
    const Bytes rows[] = {
        bytesOf({0xFF, 0xFF, 0xFF, 0xFF}),                                                 // rows that are not there
        bytesOf({0, 0, 0, 0, 1}),                                                          // something behind no rows
        bytesOf({1, 0, 0, 0, 1, 0, 0, 0, 0x07, 0xDC, 0x0B, 0x00}),                         // a type that does not exist
        bytesOf({1, 0, 0, 0, 1, 0, 0, 0, 0x07, 0xDC, 0x0B, 0x40, 0, 0, 0, 0}),             // an array of it
        bytesOf({1, 0, 0, 0, 1, 0, 0, 0, 0x86, 0xDC, 0x02, 0x40, 0xFF, 0xFF, 0xFF, 0xFF}), // a boundless array
        bytesOf({1, 0, 0, 0, 1, 0, 0, 0, 0x07, 0xDC, 0xFF, 0xFF, 0xFF, 'a', 0}),           // a boundless text
    };
    for (const Bytes& row : rows) {
        std::vector<ObjectPropElement> list;
        EXPECT_FALSE(decode(row, list));
    }
    std::vector<std::uint32_t> handles;
    EXPECT_FALSE(decode(bytesOf({2, 0, 0, 0, 1, 0, 0, 0}), handles));
    EXPECT_FALSE(decode(bytesOf({0, 0, 0, 0x40}), handles));
    EXPECT_TRUE(decode(bytesOf({0, 0, 0, 0}), handles));
}

TEST(Datasets, PropertyDescriptionsKeepTheirForms) {
    const PropertyForm forms[] = {
        {FormFlag::none, {}, 0, {}},
        {FormFlag::range,
         {number(DataType::UInt16, 0), number(DataType::UInt16, 100), number(DataType::UInt16, 1)},
         0,
         {}},
        {FormFlag::enumeration, {number(DataType::UInt16, 0x3009), number(DataType::UInt16, 0x3801)}, 0, {}},
        {FormFlag::fixedLengthArray, {}, 16, {}},
        {FormFlag::regularExpression, {}, 0, u"[0-9]+"},
        {FormFlag::byteArray, {}, 0x10000, {}},
        {FormFlag::longString, {}, 0xFFFF, {}},
        {FormFlag::dateTime, {}, 0, {}},
    };
    for (const PropertyForm& form : forms) {
        expectExact(ObjectPropDesc{0xDC8A, DataType::UInt16, true, number(DataType::UInt16, 5), 2, form});
        expectExact(DevicePropDesc{0xD402, DataType::UInt16, false, number(DataType::UInt16, 5),
                                   number(DataType::UInt16, 6), form});
    }
    Bytes unknownForm = encode(ObjectPropDesc{0xDC8A, DataType::UInt16, true, number(DataType::UInt16, 5), 2, {}});
    unknownForm.back() = std::byte{9};
    ObjectPropDesc description;
    EXPECT_FALSE(decode(unknownForm, description));
}

TEST(PropertyValue, ZeroValuesExistForEveryTypeAndForNoOther) {
#define CHECK_TYPE(code, name)                                                                                         \
    EXPECT_EQ(PropertyValue::zero(DataType::name).has_value(), DataType::name != DataType::Undefined) << #name;
    MTP_DATA_TYPES(CHECK_TYPE)
#undef CHECK_TYPE
    EXPECT_FALSE(PropertyValue::zero(static_cast<DataType>(0x400B)));
    EXPECT_EQ(PropertyValue::string(u"1").asInteger(), std::nullopt);
    EXPECT_EQ(PropertyValue::integer128(DataType::UInt128, {0, 1}).asInteger(), std::nullopt);
}

} // namespace
} // namespace mtpsdk::test
