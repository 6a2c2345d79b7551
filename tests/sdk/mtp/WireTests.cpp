// SPDX-License-Identifier: MIT
#include "ScriptedDevice.h"

#include "mtp/Bytes.h"

#include <gtest/gtest.h>

#include <set>

namespace mtpsdk::test {
namespace {

TEST(Codes, EveryRowHasANumberOfItsOwnAndItsName) {
    std::set<unsigned> seen;
    std::size_t rows = 0;
#define CHECK_ROW(code, name)                                                                                          \
    seen.insert(code);                                                                                                 \
    ++rows;                                                                                                            \
    EXPECT_EQ(codeName(static_cast<Code>(code)), #name);
    {
        using Code = OperationCode;
        MTP_OPERATION_CODES(CHECK_ROW)
    }
    {
        using Code = ResponseCode;
        MTP_RESPONSE_CODES(CHECK_ROW)
    }
    {
        using Code = EventCode;
        MTP_EVENT_CODES(CHECK_ROW)
    }
    {
        using Code = FormatCode;
        MTP_FORMAT_CODES(CHECK_ROW)
    }
    {
        using Code = ObjectPropertyCode;
        MTP_OBJECT_PROPERTY_CODES(CHECK_ROW)
    }
#undef CHECK_ROW
    EXPECT_EQ(seen.size(), rows);
    EXPECT_EQ(codeName(static_cast<OperationCode>(0x9999)), "Unknown");
}

TEST(Codes, ResponsesMapToTheStatusesOfTheirNames) {
    const struct {
        unsigned response;
        DGSTATUS status;
    } rows[] = {
        {0x2001, DGSTATUS_SUCCESS},
        {0x2002, DGSTATUS_INTERNAL_GENERALERROR},
        {0x2003, DGSTATUS_INTERNAL_SESSIONNOTOPEN},
        {0x2005, DGSTATUS_INTERNAL_OPERATIONNOTSUPPORTED},
        {0x2009, DGSTATUS_INTERNAL_INVALIDOBJECTHANDLE},
        {0x200A, DGSTATUS_INTERNAL_INVALIDPROPERTYCODE},
        {0x200C, DGSTATUS_INTERNAL_STOREFULL},
        {0x200E, DGSTATUS_INTERNAL_STOREWRITEPROTECTED},
        {0x2014, DGSTATUS_INTERNAL_NOSPECIFICATIONBYFORMAT},
        {0x2019, DGSTATUS_INTERNAL_DEVICEBUSY},
        {0x201D, DGSTATUS_INTERNAL_INVALIDPARAMETER},
        {0x201F, DGSTATUS_INTERNAL_TRANSACTIONCANCELLED},
        {0x2020, DGSTATUS_INTERNAL_DESTINATIONUNSUPPORTED},
        {0xA801, DGSTATUS_INTERNAL_INVALIDOBJECTPROPCODE},
        {0xA804, DGSTATUS_INTERNAL_INVALIDOBJECTREFERENCE},
        {0xA806, DGSTATUS_INTERNAL_INVALIDDATASET},
        {0xA807, DGSTATUS_NOT_SUPPORT_PARAM},
        {0xA809, DGSTATUS_INTERNAL_OBJECTTOOLARGE},
        {0x2000, DGSTATUS_INTERNAL_GENERALERROR},
        {0x2021, DGSTATUS_INTERNAL_GENERALERROR},
        {0x0000, DGSTATUS_INTERNAL_GENERALERROR},
    };
    for (const auto& row : rows) {
        EXPECT_EQ(statusFromResponse(static_cast<ResponseCode>(row.response)), row.status) << std::hex << row.response;
    }
}

TEST(ByteReader, AReadPastTheEndFailsForGood) {
    const Bytes bytes = bytesOf({1, 2, 3});
    ByteReader reader(bytes);
    EXPECT_EQ(reader.u16(), 0x0201);
    EXPECT_EQ(reader.u32(), 0U);
    EXPECT_TRUE(reader.failed());
    EXPECT_EQ(reader.u8(), 0U);
    EXPECT_FALSE(reader.finished());
}

TEST(ByteReader, ArraysThatClaimMoreThanThereIsAllocateNothing) {
    const Bytes bytes = bytesOf({0xFF, 0xFF, 0xFF, 0xFF, 1, 2, 3, 4});
    ByteReader reader(bytes);
    EXPECT_TRUE(reader.array<std::uint64_t>().empty());
    EXPECT_TRUE(reader.failed());
}

TEST(ByteReader, StringsAreBoundByTheirCount) {
    Bytes unended(1 + 2 * 255, std::byte{'x'}); // the longest, where it should end too
    unended[0] = std::byte{255};
    const struct {
        Bytes bytes;
        std::u16string text;
        bool good;
    } rows[] = {
        {unended, std::u16string(maximumTextUnits, u'\x7878'), true},
        {bytesOf({0}), u"", true},
        {bytesOf({1, 0, 0}), u"", true},
        {bytesOf({3, 'a', 0, 0xE4, 0, 0, 0}), u"a\u00E4", true},
        {bytesOf({2, 'a', 0, 'b', 0}), u"ab", true},            // no terminator
        {bytesOf({4, 'a', 0, 0, 0, 'b', 0, 0, 0}), u"a", true}, // an early one
        {bytesOf({2, 0x00, 0xD8, 0, 0}), u"\xD800", true},      // half a pair is kept as it came
        {bytesOf({3, 'a', 0, 'b', 0}), u"", false},
        {bytesOf({255, 'a'}), u"", false},
        {Bytes{}, u"", false},
    };
    for (const auto& row : rows) {
        ByteReader reader(row.bytes);
        EXPECT_EQ(reader.string(), row.text);
        EXPECT_EQ(reader.finished(), row.good);
    }
}

TEST(ByteWriter, LongTextsAreCutBetweenCharacters) {
    const auto roundTrip = [](const std::u16string& text) {
        ByteWriter writer;
        writer.string(text);
        const Bytes bytes = writer.take();
        ByteReader reader(bytes);
        return reader.string();
    };
    EXPECT_EQ(roundTrip(std::u16string(254, u'x')), std::u16string(254, u'x'));
    EXPECT_EQ(roundTrip(std::u16string(300, u'x')), std::u16string(254, u'x'));
    EXPECT_EQ(roundTrip(std::u16string(253, u'x') + u"\U0001F600"), std::u16string(253, u'x'));
    EXPECT_EQ(roundTrip(std::u16string(252, u'x') + u"\U0001F600y"), std::u16string(252, u'x') + u"\U0001F600");
}

TEST(Container, DataHeadersSayTheirLengthUnlessItDoesNotFit) {
    const auto lengthOf = [](std::uint64_t payload) {
        return decodeHeader(encodeDataHeader(0x1009, 7, payload))->length;
    };
    EXPECT_EQ(lengthOf(0), 12U);
    EXPECT_EQ(lengthOf(0xFFFFFFFE - 12), 0xFFFFFFFEU);
    EXPECT_EQ(lengthOf(0xFFFFFFFF - 12), containerLengthUnknown);
    EXPECT_EQ(lengthOf(std::uint64_t{5} << 30), containerLengthUnknown);
}

TEST(Container, OnlyWholeContainersDecode) {
    const Bytes whole = encodeContainer(ContainerType::Command, 0x1007, 9, {1, 0, 0xFFFFFFFF});
    const auto decoded = decodeContainer(whole);
    ASSERT_TRUE(decoded);
    EXPECT_EQ(decoded->count, 3U);
    EXPECT_EQ(decoded->transactionId, 9U);
    EXPECT_EQ(decoded->parameters[2], 0xFFFFFFFFU);
    for (std::size_t length = 0; length < whole.size(); ++length) {
        EXPECT_FALSE(decodeContainer(std::span(whole).first(length))) << length;
    }
    Bytes sixParameters = whole;
    sixParameters.resize(containerHeaderSize + 24);
    sixParameters[0] = static_cast<std::byte>(sixParameters.size());
    EXPECT_FALSE(decodeContainer(sixParameters));
    Bytes halfParameter = whole;
    halfParameter.resize(containerHeaderSize + 2);
    halfParameter[0] = static_cast<std::byte>(halfParameter.size());
    EXPECT_FALSE(decodeContainer(halfParameter));
}

} // namespace
} // namespace mtpsdk::test
