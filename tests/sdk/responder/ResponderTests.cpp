// SPDX-License-Identifier: MIT
#include "VirtualDevice.h"

#include "responder/DateText.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <stdlib.h>
#include <time.h>

namespace mtpsdk::test {
namespace {

class ResponderTest : public ::testing::Test {
protected:
    void SetUp() override {
        device.drop("Phone/Music/a.mp3", "0123456789");
        device.drop("Phone/Music/b.txt", "");
        device.drop("Phone/top.jpg", "jpg");
        device.drop("Secret/hidden.bin", "h");
        device.open();
        responder = std::make_unique<Responder>(device.shared(), faults);
        initiator = std::make_unique<Initiator>(*responder);
        initiator->open();
        music = device.handle(phone, "Music");
        song = device.handle(phone, "a.mp3", music);
    }
    Outcome run(OperationCode code, std::initializer_list<std::uint32_t> parameters = {},
                std::span<const std::byte> data = {}) {
        return initiator->run(code, parameters, data);
    }
    std::vector<std::uint32_t> handles(std::initializer_list<std::uint32_t> parameters) {
        const Outcome outcome = run(OperationCode::GetObjectHandles, parameters);
        EXPECT_EQ(outcome.code, ResponseCode::OK);
        std::vector<std::uint32_t> values;
        EXPECT_TRUE(decode(outcome.data, values));
        EXPECT_EQ(run(OperationCode::GetNumObjects, parameters).parameters[0], values.size());
        return values;
    }
    std::vector<ObjectPropElement> list(std::initializer_list<std::uint32_t> parameters) {
        const Outcome outcome = run(OperationCode::GetObjectPropList, parameters);
        EXPECT_EQ(outcome.code, ResponseCode::OK);
        std::vector<ObjectPropElement> elements;
        EXPECT_TRUE(decode(outcome.data, elements));
        return elements;
    }
    DeviceInfo info() {
        DeviceInfo answered;
        EXPECT_TRUE(decode(run(OperationCode::GetDeviceInfo).data, answered));
        return answered;
    }
    ObjectInfo objectInfo(Handle handle) {
        ObjectInfo answered;
        EXPECT_TRUE(decode(run(OperationCode::GetObjectInfo, {handle}).data, answered));
        return answered;
    }

    VirtualDevice device;
    std::shared_ptr<FaultPlan> faults = std::make_shared<FaultPlan>();
    std::unique_ptr<Responder> responder;
    std::unique_ptr<Initiator> initiator;
    Handle music = 0;
    Handle song = 0;
};

TEST_F(ResponderTest, SessionsAndTransactions) {
    EXPECT_EQ(run(OperationCode::OpenSession, {2}).code, ResponseCode::SessionAlreadyOpen);
    EXPECT_EQ(run(OperationCode::GetStorageIDs).code, ResponseCode::OK);
    --initiator->transactionId;
    EXPECT_EQ(run(OperationCode::GetStorageIDs).code, ResponseCode::InvalidTransactionID);
    EXPECT_EQ(run(OperationCode::CloseSession).code, ResponseCode::OK);
    EXPECT_EQ(run(OperationCode::GetStorageIDs).code, ResponseCode::SessionNotOpen);
    EXPECT_EQ(run(OperationCode::GetDeviceInfo).code, ResponseCode::OK);
    EXPECT_EQ(run(OperationCode::OpenSession, {0}).code, ResponseCode::InvalidParameter);
    EXPECT_EQ(run(OperationCode::OpenSession, {2}).code, ResponseCode::OK);
    responder->reset();
    EXPECT_EQ(run(OperationCode::GetStorageIDs).code, ResponseCode::SessionNotOpen);
}

TEST_F(ResponderTest, WrongHandlesStoragesAndCodesGetTheirResponses) {
    constexpr std::uint32_t name = raw(ObjectPropertyCode::ObjectFileName);
    const auto text = encode(PropertyValue::string(u"x"));
    struct Row {
        OperationCode code;
        std::vector<std::uint32_t> parameters;
        ResponseCode expected;
    };
    const std::vector<Row> rows = {
        {static_cast<OperationCode>(0x9999), {}, ResponseCode::OperationNotSupported},
        {OperationCode::GetThumb, {song}, ResponseCode::OperationNotSupported},
        {OperationCode::GetStorageInfo, {77}, ResponseCode::InvalidStorageID},
        {OperationCode::GetStorageInfo, {secret}, ResponseCode::OK},
        {OperationCode::GetObjectHandles, {77, 0, 0}, ResponseCode::InvalidStorageID},
        {OperationCode::GetObjectHandles, {phone, 0, 4711}, ResponseCode::InvalidParentObject},
        {OperationCode::GetObjectHandles, {phone, 0, song}, ResponseCode::InvalidParentObject},
        {OperationCode::GetObjectHandles, {card, 0, music}, ResponseCode::InvalidParentObject},
        {OperationCode::GetObjectInfo, {4711}, ResponseCode::InvalidObjectHandle},
        {OperationCode::GetObject, {4711}, ResponseCode::InvalidObjectHandle},
        {OperationCode::GetObject, {music}, ResponseCode::InvalidObjectHandle},
        {OperationCode::DeleteObject, {4711}, ResponseCode::InvalidObjectHandle},
        {OperationCode::DeleteObject, {0xFFFFFFFF}, ResponseCode::ParameterNotSupported},
        {OperationCode::GetObjectPropDesc, {0x1234, 0x3009}, ResponseCode::ObjectPropNotSupported},
        {OperationCode::GetObjectPropDesc, {0xDC46, 0x3001}, ResponseCode::ObjectPropNotSupported},
        {OperationCode::GetObjectPropDesc, {0xDC46, 0x3009}, ResponseCode::OK},
        {OperationCode::GetObjectPropValue, {song, 0x1234}, ResponseCode::ObjectPropNotSupported},
        {OperationCode::GetObjectPropValue, {4711, name}, ResponseCode::InvalidObjectHandle},
        {OperationCode::SetObjectPropValue,
         {song, raw(ObjectPropertyCode::ObjectSize)},
         ResponseCode::InvalidObjectPropFormat},
        {OperationCode::SetObjectPropValue, {song, raw(ObjectPropertyCode::DateModified)}, ResponseCode::AccessDenied},
        {OperationCode::SetObjectPropValue,
         {music, raw(ObjectPropertyCode::Artist)},
         ResponseCode::ObjectPropNotSupported},
        {OperationCode::GetObjectPropList, {4711, 0, 0xFFFFFFFF, 0, 0}, ResponseCode::InvalidObjectHandle},
        {OperationCode::GetObjectPropList, {song, 0, 0x1234, 0, 0}, ResponseCode::ObjectPropNotSupported},
        {OperationCode::GetObjectPropList, {song, 0, 0, 1, 0}, ResponseCode::OK},
        {OperationCode::GetObjectPropList, {song, 0, 0, 2, 0}, ResponseCode::SpecificationByGroupUnsupported},
        {OperationCode::GetObjectPropList, {song, 0, 0, 0, 0}, ResponseCode::ParameterNotSupported},
        {OperationCode::GetObjectReferences, {4711}, ResponseCode::InvalidObjectHandle},
        {OperationCode::SetObjectReferences, {song}, ResponseCode::InvalidDataset},
        {OperationCode::SendObject, {}, ResponseCode::NoValidObjectInfo},
        {OperationCode::SendObjectInfo, {phone, 0}, ResponseCode::InvalidDataset},
        {OperationCode::SendObjectPropList, {phone, 0, 0x3009, 0, 1}, ResponseCode::InvalidDataset},
        {OperationCode::GetDevicePropValue, {0x5001}, ResponseCode::DevicePropNotSupported},
        {OperationCode::MoveObject, {song, phone, song}, ResponseCode::InvalidParentObject},
    };
    for (const Row& row : rows) {
        initiator->transactionId++;
        const auto command =
            encodeContainer(ContainerType::Command, raw(row.code), initiator->transactionId, row.parameters);
        if (responder->command(command) == Responder::Phase::dataOut) {
            responder->dataOut(encodeDataHeader(raw(row.code), initiator->transactionId, text.size()));
            responder->dataOut(text);
            responder->dataOutEnd();
        }
        const auto response = decodeContainer(responder->response());
        ASSERT_TRUE(response);
        EXPECT_EQ(codeName(static_cast<ResponseCode>(response->code)), codeName(row.expected))
            << codeName(row.code) << " " << (row.parameters.empty() ? 0 : row.parameters[0]);
    }
    EXPECT_TRUE(device.has("Phone/Music/a.mp3"));
}

TEST_F(ResponderTest, DamagedCommandsAreAnswered) {
    const auto whole = encodeContainer(ContainerType::Command, 0x1004, 9, {1});
    for (std::size_t size = 0; size < whole.size(); ++size) {
        EXPECT_EQ(responder->command(std::span(whole).first(size)), Responder::Phase::response);
        const auto response = decodeContainer(responder->response());
        ASSERT_TRUE(response);
        EXPECT_EQ(response->code, raw(ResponseCode::GeneralError));
    }
}

TEST_F(ResponderTest, HiddenStoragesAreReachedByIdOnly) {
    std::vector<std::uint32_t> ids;
    ASSERT_TRUE(decode(run(OperationCode::GetStorageIDs).data, ids));
    EXPECT_EQ(ids, (std::vector<std::uint32_t>{phone, card}));
    const Handle hidden = device.handle(secret, "hidden.bin");
    EXPECT_EQ(handles({secret, 0, rootParent}), std::vector<Handle>{hidden});
    EXPECT_EQ(std::ranges::count(handles({allStorages, 0, 0}), hidden), 0);
    StorageInfo storage;
    ASSERT_TRUE(decode(run(OperationCode::GetStorageInfo, {secret}).data, storage));
    EXPECT_EQ(storage.maxCapacity, 5'000U);
    EXPECT_EQ(storage.freeSpace, 4'999U);
    EXPECT_EQ(storage.volumeIdentifier, u"Secret");
    for (const ObjectPropElement& element : list({0, 0, raw(ObjectPropertyCode::StorageID), 0, 1})) {
        EXPECT_EQ(element.value.asInteger(), phone);
    }
}

TEST_F(ResponderTest, HandlesByStorageParentAndFormat) {
    const Handle top = device.handle(phone, "top.jpg");
    const Handle text = device.handle(phone, "b.txt", music);
    EXPECT_EQ(handles({phone, 0, rootParent}), (std::vector<Handle>{music, top}));
    EXPECT_EQ(handles({phone, 0, 0}), (std::vector<Handle>{music, song, text, top}));
    EXPECT_EQ(handles({allStorages, 0, music}), (std::vector<Handle>{song, text}));
    EXPECT_EQ(handles({allStorages, raw(FormatCode::MP3), 0}), std::vector<Handle>{song});
    EXPECT_EQ(handles({card, 0, 0}), std::vector<Handle>{});
}

TEST_F(ResponderTest, PropertyListsOfObjectsChildrenAndAll) {
    constexpr std::uint32_t name = raw(ObjectPropertyCode::ObjectFileName);
    const auto names = [this](std::initializer_list<std::uint32_t> parameters) {
        std::vector<std::u16string> texts;
        for (const ObjectPropElement& element : list(parameters)) {
            texts.push_back(element.value.asText().value_or(u"?"));
        }
        return texts;
    };
    using Names = std::vector<std::u16string>;
    EXPECT_EQ(names({song, 0, name, 0, 0}), Names{u"a.mp3"});
    EXPECT_EQ(names({music, 0, name, 0, 1}), (Names{u"a.mp3", u"b.txt"}));
    EXPECT_EQ(names({0, 0, name, 0, 1}), (Names{u"Music", u"top.jpg"}));
    EXPECT_EQ(names({0, 0, name, 0, 0xFFFFFFFF}), (Names{u"Music", u"a.mp3", u"b.txt", u"top.jpg"}));
    EXPECT_EQ(names({0xFFFFFFFF, 0, name, 0, 0}), (Names{u"Music", u"a.mp3", u"b.txt", u"top.jpg"}));
    EXPECT_EQ(names({0xFFFFFFFF, raw(FormatCode::Text), name, 0, 0}), Names{u"b.txt"});

    ASSERT_EQ(run(OperationCode::SetObjectPropValue, {song, raw(ObjectPropertyCode::Track)},
                  encode(PropertyValue::integer(DataType::UInt16, 7)))
                  .code,
              ResponseCode::OK);
    std::vector<std::uint16_t> present;
    for (const ObjectPropElement& element : list({song, 0, allProperties, 0, 0})) {
        EXPECT_EQ(element.handle, song);
        present.push_back(element.property);
        const Outcome alone = run(OperationCode::GetObjectPropValue, {song, element.property});
        EXPECT_EQ(alone.data, encode(element.value)) << element.property;
    }
    EXPECT_EQ(present, (std::vector<std::uint16_t>{0xDC01, 0xDC02, 0xDC03, 0xDC04, 0xDC07, 0xDC08, 0xDC09, 0xDC0B,
                                                   0xDC41, 0xDC8B}));
    // A text set to nothing is gone; one never set reads as empty.
    for (const char16_t* text : {u"someone", u""}) {
        ASSERT_EQ(run(OperationCode::SetObjectPropValue, {song, raw(ObjectPropertyCode::Artist)},
                      encode(PropertyValue::string(text)))
                      .code,
                  ResponseCode::OK);
        EXPECT_EQ(run(OperationCode::GetObjectPropValue, {song, raw(ObjectPropertyCode::Artist)}).data,
                  encode(PropertyValue::string(text)));
    }
    EXPECT_EQ(list({song, 0, allProperties, 0, 0}).size(), present.size());
}

TEST_F(ResponderTest, ObjectsAreSentInBothWays) {
    ObjectInfo wanted;
    wanted.format = raw(FormatCode::Association);
    wanted.filename = u"Folder";
    Outcome outcome = run(OperationCode::SendObjectInfo, {phone, rootParent}, encode(wanted));
    ASSERT_EQ(outcome.code, ResponseCode::OK);
    const Handle folder = outcome.parameters[2];
    EXPECT_EQ(outcome.parameters[0], phone);
    EXPECT_EQ(objectInfo(folder).associationType, genericFolder);
    EXPECT_EQ(run(OperationCode::SendObjectInfo, {phone, rootParent}, encode(wanted)).code, ResponseCode::AccessDenied);

    wanted.format = raw(FormatCode::Text);
    wanted.filename = u"text";
    wanted.setSize(5);
    wanted.modificationDate = u"20200102T030405";
    outcome = run(OperationCode::SendObjectInfo, {phone, folder}, encode(wanted));
    ASSERT_EQ(outcome.code, ResponseCode::OK);
    ASSERT_EQ(run(OperationCode::SendObject, {}, bytesOf("hello")).code, ResponseCode::OK);
    const ObjectInfo sent = objectInfo(outcome.parameters[2]);
    EXPECT_EQ(sent.filename, u"text");
    EXPECT_EQ(sent.parent, folder);
    EXPECT_EQ(sent.compressedSize, 5U);
    EXPECT_EQ(sent.modificationDate, u"20200102T030405");
    EXPECT_EQ(run(OperationCode::SendObject, {}, bytesOf("again")).code, ResponseCode::NoValidObjectInfo);

    outcome = initiator->send(phone, folder, u"empty", "");
    EXPECT_EQ(outcome.code, ResponseCode::OK);
    EXPECT_TRUE(device.has("Phone/Folder/empty"));
    // An abstract object without data is there at once, and stays one when its data phase follows.
    outcome = initiator->send(phone, folder, u"list.pla", "", FormatCode::AbstractAudioVideoPlaylist);
    EXPECT_EQ(outcome.code, ResponseCode::OK);
    EXPECT_EQ(run(OperationCode::SetObjectReferences, {outcome.parameters[2]},
                  encode(std::vector<std::uint32_t>{song, folder}))
                  .code,
              ResponseCode::OK);
    std::vector<std::uint32_t> references;
    ASSERT_TRUE(decode(run(OperationCode::GetObjectReferences, {outcome.parameters[2]}).data, references));
    EXPECT_EQ(references, (std::vector<std::uint32_t>{song, folder}));

    EXPECT_EQ(initiator->send(card, rootParent, u"big", std::string(2'001, 'x')).code, ResponseCode::StoreFull);
    EXPECT_EQ(initiator->send(phone, rootParent, u"../evil", "x").code, ResponseCode::InvalidObjectPropValue);
    EXPECT_EQ(initiator->send(phone, rootParent, std::u16string(1, char16_t{0xD800}), "x").code,
              ResponseCode::InvalidObjectPropValue);
    // No name at all.
    EXPECT_EQ(run(OperationCode::SendObjectPropList, {phone, rootParent, 0x3000, 0, 1},
                  encode(std::span<const ObjectPropElement>()))
                  .code,
              ResponseCode::InvalidObjectPropValue);
}

TEST_F(ResponderTest, WrongSizesAndCancelledSendsLeaveNothing) {
    ObjectInfo wanted;
    wanted.filename = u"file";
    wanted.setSize(5);
    for (const std::string_view bytes : {"1234", "123456", ""}) {
        ASSERT_EQ(run(OperationCode::SendObjectInfo, {card, rootParent}, encode(wanted)).code, ResponseCode::OK);
        EXPECT_EQ(run(OperationCode::SendObject, {}, bytesOf(bytes)).code, ResponseCode::IncompleteTransfer);
    }
    ASSERT_EQ(run(OperationCode::SendObjectInfo, {card, rootParent}, encode(wanted)).code, ResponseCode::OK);
    ++initiator->transactionId;
    const auto command = encodeContainer(ContainerType::Command, raw(OperationCode::SendObject),
                                         initiator->transactionId, std::initializer_list<std::uint32_t>{});
    ASSERT_EQ(responder->command(command), Responder::Phase::dataOut);
    responder->dataOut(encodeDataHeader(raw(OperationCode::SendObject), initiator->transactionId, 5));
    responder->dataOut(bytesOf("12"));
    EXPECT_FALSE(responder->cancel(initiator->transactionId + 1));
    EXPECT_TRUE(responder->cancel(initiator->transactionId));
    EXPECT_EQ(handles({card, 0, 0}), std::vector<Handle>{});
    EXPECT_TRUE(std::filesystem::is_empty(device.folder("Card")));
    EXPECT_TRUE(std::filesystem::is_empty(device.folder(".mtp/arriving")));
    EXPECT_EQ(initiator->send(card, rootParent, u"file", "12345").code, ResponseCode::OK);
}

TEST_F(ResponderTest, ObjectsAreReadWholeAndInParts) {
    EXPECT_EQ(textOf(run(OperationCode::GetObject, {song}).data), "0123456789");
    struct Row {
        std::uint32_t offset;
        std::uint32_t length;
        std::string_view expected;
    };
    for (const Row& row : {Row{0, 4, "0123"}, Row{8, 4, "89"}, Row{10, 4, ""}, Row{11, 4, ""},
                           Row{2, 0xFFFFFFFF, "23456789"}, Row{2, 0, ""}}) {
        const Outcome part = run(OperationCode::GetPartialObject, {song, row.offset, row.length});
        EXPECT_EQ(textOf(part.data), row.expected);
        EXPECT_EQ(part.parameters[0], row.expected.size());
        EXPECT_EQ(textOf(run(OperationCode::GetPartialObject64, {song, row.offset, 0, row.length}).data), row.expected);
    }
    EXPECT_EQ(textOf(run(OperationCode::GetPartialObject64, {song, 0, 1, 10}).data), "");
    // Exactly as many bytes as fill the blocks they are asked in.
    device.drop("Phone/even", std::string(1'000 - containerHeaderSize, 'e'));
    EXPECT_EQ(run(OperationCode::GetObject, {device.handle(phone, "even")}).data.size(), 1'000 - containerHeaderSize);
}

TEST_F(ResponderTest, DevicePropertiesAreKept) {
    for (const auto code : {DevicePropertyCode::DeviceFriendlyName, DevicePropertyCode::SynchronizationPartner}) {
        const auto value = encode(PropertyValue::string(u"Nëw"));
        EXPECT_EQ(run(OperationCode::SetDevicePropValue, {raw(code)}, value).code, ResponseCode::OK);
        EXPECT_EQ(run(OperationCode::GetDevicePropValue, {raw(code)}).data, value);
        DevicePropDesc description;
        ASSERT_TRUE(decode(run(OperationCode::GetDevicePropDesc, {raw(code)}).data, description));
        EXPECT_EQ(description.currentValue.asText(), u"Nëw");
        EXPECT_TRUE(description.writable);
    }
    EXPECT_EQ(run(OperationCode::SetDevicePropValue, {raw(DevicePropertyCode::DeviceFriendlyName)},
                  encode(PropertyValue::string(u"")))
                  .code,
              ResponseCode::InvalidDevicePropValue);
    responder.reset();
    device.reopen();
    EXPECT_EQ(device->description().friendlyName, "Nëw");
    EXPECT_EQ(device->description().syncPartner, "Nëw");
}

TEST_F(ResponderTest, PlannedRefusalsHitTheNthOperation) {
    faults->refuse({OperationCode::GetObjectInfo, 2, 2}, ResponseCode::DeviceBusy);
    faults->refuse({std::nullopt, 6, 1}, ResponseCode::AccessDenied);
    std::vector<ResponseCode> codes;
    for (int i = 0; i < 6; ++i) {
        codes.push_back(run(OperationCode::GetObjectInfo, {song}).code);
    }
    EXPECT_EQ(codes, (std::vector<ResponseCode>{ResponseCode::OK, ResponseCode::DeviceBusy, ResponseCode::DeviceBusy,
                                                ResponseCode::OK, ResponseCode::OK, ResponseCode::AccessDenied}));
    faults->withhold(OperationCode::GetObjectPropList);
    faults->withhold(ObjectPropertyCode::Artist);
    EXPECT_FALSE(info().supports(OperationCode::GetObjectPropList));
    EXPECT_EQ(run(OperationCode::GetObjectPropList, {song, 0, allProperties, 0, 0}).code,
              ResponseCode::OperationNotSupported);
    EXPECT_EQ(run(OperationCode::GetObjectPropDesc, {raw(ObjectPropertyCode::Artist), 0x3009}).code,
              ResponseCode::ObjectPropNotSupported);
    faults->clear();
    EXPECT_TRUE(info().supports(OperationCode::GetObjectPropList));
}

TEST_F(ResponderTest, PlannedLiesAreTold) {
    faults->tellName("a.mp3", u"../../etc/passwd");
    faults->tellSize("a.mp3", std::uint64_t{1} << 63);
    EXPECT_EQ(objectInfo(song).filename, u"../../etc/passwd");
    EXPECT_EQ(objectInfo(song).compressedSize, sizeUnknown);
    EXPECT_EQ(list({song, 0, raw(ObjectPropertyCode::ObjectSize), 0, 0})[0].value.asInteger(), std::uint64_t{1} << 63);
    faults->deliverSize("a.mp3", 4);
    EXPECT_EQ(textOf(run(OperationCode::GetObject, {song}).data), "0123");
    faults->deliverSize("a.mp3", 12);
    EXPECT_EQ(textOf(run(OperationCode::GetObject, {song}).data), std::string("0123456789\0\0", 12));
    faults->alterData({OperationCode::GetObjectInfo}, [](std::vector<std::byte>& bytes) { bytes.resize(3); });
    EXPECT_EQ(run(OperationCode::GetObjectInfo, {song}).data.size(), 3U);
    faults->alterResponse({OperationCode::GetStorageIDs},
                          [](std::vector<std::byte>& bytes) { bytes[6] ^= std::byte{1}; });
    EXPECT_EQ(run(OperationCode::GetStorageIDs).code, ResponseCode::Undefined);
}

TEST_F(ResponderTest, RunningFullMidTransferKeepsNothing) {
    faults->fullAfter(4);
    EXPECT_EQ(initiator->send(phone, rootParent, u"one", "1234").code, ResponseCode::OK);
    EXPECT_EQ(initiator->send(phone, rootParent, u"two", "1").code, ResponseCode::StoreFull);
    EXPECT_FALSE(device.has("Phone/two"));
}

TEST(DateText, LocalTimeBothWays) {
    const char* const before = ::getenv("TZ");
    const std::string saved = before != nullptr ? before : "";
    ::setenv("TZ", "Europe/Berlin", 1);
    ::tzset();
    DateTexts texts;
    struct Row {
        std::int64_t seconds;
        std::u16string_view text;
    };
    for (const Row& row : {Row{0, u"19700101T010000"}, Row{1'585'443'599, u"20200329T015959"},
                           Row{1'585'443'600, u"20200329T030000"}, Row{-1, u"19700101T005959"}}) {
        EXPECT_EQ(texts(row.seconds), row.text);
        EXPECT_EQ(secondsOfDateText(row.text), row.seconds);
    }
    EXPECT_EQ(secondsOfDateText(u"20200329T030000.0+0100"), 1'585'447'200);
    EXPECT_EQ(secondsOfDateText(u"20200329T030000Z"), 1'585'450'800);
    for (const auto* text : {u"", u"2020", u"20200229", u"20201301T000000", u"20200229X000000", u"x0200229T000000",
                             u"20210229T000000", u"20200101T250000"}) {
        EXPECT_EQ(secondsOfDateText(text), 0);
    }
    before != nullptr ? ::setenv("TZ", saved.c_str(), 1) : ::unsetenv("TZ");
    ::tzset();
}

} // namespace
} // namespace mtpsdk::test
