// SPDX-License-Identifier: MIT
#include "ScriptedDevice.h"

#include "mtp/SessionImplementation.h"

#include <gtest/gtest.h>

#include <algorithm>

namespace mtpsdk::test {
namespace {

constexpr std::uint32_t storage = 0x10001;
constexpr std::uint32_t folder = 7;
constexpr std::uint32_t newHandle = 50;

using Report = std::pair<std::uint64_t, std::uint64_t>;

/// A device that keeps one file, in the newer or in the older way.
class SessionTransfer : public ::testing::Test {
protected:
    void newerWay() {
        script.announce({OperationCode::GetObjectPropList, OperationCode::SendObjectPropList,
                         OperationCode::GetObjectPropsSupported, OperationCode::SetObjectPropValue});
        script.on[OperationCode::GetObjectPropsSupported] = [](const ParameterContainer&, const Bytes&) {
            return Answer{ResponseCode::OK, {}, encode(std::vector<std::uint16_t>{0xDC07, 0xDC09, 0xDC44, 0xDC46})};
        };
        script.on[OperationCode::SendObjectPropList] = [this](const ParameterContainer& command, const Bytes& data) {
            announced = command;
            EXPECT_TRUE(decode(data, properties));
            name = properties.at(0).value.asText().value_or(u"");
            return Answer{ResponseCode::OK, {storage, folder, newHandle}, {}};
        };
        script.on[OperationCode::GetObjectPropList] = [this](const ParameterContainer& command, const Bytes&) {
            if (command.parameters[0] != keptHandle && command.parameters[4] == 0) {
                return Answer{ResponseCode::InvalidObjectHandle, {}, {}};
            }
            const auto size = sizeSaid.value_or(stored.size());
            return Answer{ResponseCode::OK,
                          {},
                          Rows()
                              .object(keptHandle, storage, folder, FormatCode::MP3, size, name)
                              .add(keptHandle, ObjectPropertyCode::Artist, PropertyValue::string(u"as kept"))
                              .encoded()};
        };
        takeObject();
    }
    void olderWay() {
        script.on[OperationCode::SendObjectInfo] = [this](const ParameterContainer& command, const Bytes& data) {
            announced = command;
            EXPECT_TRUE(decode(data, info));
            name = info.filename;
            return Answer{ResponseCode::OK, {storage, folder, newHandle}, {}};
        };
        script.on[OperationCode::GetObjectInfo] = [this](const ParameterContainer&, const Bytes&) {
            ObjectInfo answer = info;
            answer.setSize(sizeSaid.value_or(stored.size()));
            answer.parent = folder;
            return Answer{ResponseCode::OK, {}, encode(answer)};
        };
        takeObject();
    }
    using Refusal =
        std::function<std::optional<Answer>(const ParameterContainer&, const std::vector<ObjectPropElement>&)>;
    /// The lists that announce objects are taken as before, but for those that `refusal` has an answer to.
    void refuseLists(Refusal refusal) {
        script.on[OperationCode::SendObjectPropList] = [accept = script.on[OperationCode::SendObjectPropList],
                                                        refusal = std::move(refusal)](const ParameterContainer& command,
                                                                                      const Bytes& data) {
            std::vector<ObjectPropElement> list;
            EXPECT_TRUE(decode(data, list));
            const std::optional<Answer> refused = refusal(command, list);
            return refused ? *refused : accept(command, data);
        };
    }
    void takeObject() {
        script.on[OperationCode::SendObject] = [this](const ParameterContainer&, const Bytes& data) {
            stored = data;
            return Answer{};
        };
    }
    void giveObject(const Bytes& content) {
        script.on[OperationCode::GetObject] = [content](const ParameterContainer&, const Bytes&) {
            return Answer{ResponseCode::OK, {}, content};
        };
    }

    static NewObject object(std::uint64_t size) {
        NewObject result;
        result.storageId = storage;
        result.parent = folder;
        result.format = raw(FormatCode::MP3);
        result.size = size;
        result.name = u"song.mp3";
        return result;
    }
    DGSTATUS send(Session& session, const NewObject& what, const Bytes& content) {
        std::size_t offset = 0;
        const BlockSource source = [&content, offset](std::span<std::byte> block) mutable {
            const std::size_t size = std::min(block.size(), content.size() - offset);
            std::copy_n(content.begin() + static_cast<std::ptrdiff_t>(offset), size, block.begin());
            offset += size;
            return static_cast<std::ptrdiff_t>(size);
        };
        return session.sendObject(what, source, progress, sent, media);
    }

    Script script;
    Bytes stored;
    std::u16string name;
    std::optional<std::uint64_t> sizeSaid;
    std::uint32_t keptHandle = newHandle;
    ParameterContainer announced;
    std::vector<ObjectPropElement> properties;
    ObjectInfo info;

    std::vector<Report> reports;
    std::optional<std::uint64_t> stopAt;
    TransferProgress progress = [this](std::uint64_t current, std::uint64_t total) {
        reports.emplace_back(current, total);
        return stopAt && current >= *stopAt;
    };
    ObjectEntry sent;
    MediaProperties media;
};

TEST_F(SessionTransfer, AFileTakesThreeTransactionsAndComesBackAsKept) {
    newerWay();
    const auto session = script.open();
    const Bytes content = patternedBytes(2 * progressBlock + 1000);
    NewObject what = object(content.size());
    what.media.artist = u"someone";
    what.media.genre = u"not kept by this device";
    what.modified = u"20090115T134501.0";
    for (int i = 0; i < 2; ++i) {
        reports.clear();
        ASSERT_EQ(send(*session, what, content), DGSTATUS_SUCCESS);
        EXPECT_TRUE(stored == content);
        EXPECT_EQ(sent.handle, newHandle);
        EXPECT_EQ(sent.size, content.size());
        EXPECT_EQ(media.artist, u"as kept");
        const std::uint64_t total = content.size();
        EXPECT_EQ(reports, (std::vector<Report>{{progressBlock, total}, {2 * progressBlock, total}, {total, total}}));
    }
    ASSERT_EQ(properties.size(), 3U);
    EXPECT_EQ(properties[1].property, raw(ObjectPropertyCode::Artist));
    EXPECT_EQ(properties[2].property, raw(ObjectPropertyCode::DateModified));
    EXPECT_EQ(announced.parameters,
              (std::array<std::uint32_t, 5>{storage, folder, 0x3009, 0, static_cast<std::uint32_t>(content.size())}));
    // What a format's objects keep is asked once.
    EXPECT_EQ(script.commands.size(), 7U);
}

TEST_F(SessionTransfer, TheEndIsReportedOnceAlsoWhenThereIsNothingOrAnEvenNumberOfBlocks) {
    newerWay();
    const auto session = script.open();
    ASSERT_EQ(send(*session, object(0), {}), DGSTATUS_SUCCESS);
    EXPECT_EQ(reports, (std::vector<Report>{{0, 0}}));
    EXPECT_EQ(script.count(OperationCode::SendObject), 1U);
    reports.clear();
    ASSERT_EQ(send(*session, object(progressBlock), patternedBytes(progressBlock)), DGSTATUS_SUCCESS);
    EXPECT_EQ(reports, (std::vector<Report>{{progressBlock, progressBlock}}));
}

TEST_F(SessionTransfer, APropertyThatIsNotTakenDoesNotKeepTheFileAway) {
    newerWay();
    refuseLists([](const auto&, const auto& list) {
        return list.size() > 1 ? std::optional(Answer{ResponseCode::InvalidObjectPropValue, {}, {}}) : std::nullopt;
    });
    Bytes set;
    script.on[OperationCode::SetObjectPropValue] = [&set](const ParameterContainer&, const Bytes& data) {
        set = data;
        return Answer{};
    };
    const auto session = script.open();
    NewObject what = object(10);
    what.media.artist = u"someone";
    ASSERT_EQ(send(*session, what, patternedBytes(10)), DGSTATUS_SUCCESS);
    EXPECT_EQ(set, encode(PropertyValue::string(u"someone")));
}

TEST_F(SessionTransfer, ListsThatAreRefusedAreRememberedAndASmallFileTakesThreeOperations) {
    using Operations = std::vector<OperationCode>;
    const Operations byInfo = {OperationCode::SendObjectInfo, OperationCode::SendObject,
                               OperationCode::GetObjectPropList};
    const Operations byList = {OperationCode::SendObjectPropList, OperationCode::SendObject,
                               OperationCode::GetObjectPropList};
    struct Case {
        const char* what;
        std::function<bool(const std::vector<ObjectPropElement>&)> takes;
        std::vector<std::uint32_t> place; ///< of what is to blame, as the response tells
        Operations second;                ///< the operations of the second file
    };
    const auto isArtist = [](const ObjectPropElement& each) { return each.property == 0xDC46; };
    const Case cases[] = {
        {"no list at all", [](const auto&) { return false; }, {}, byInfo},
        {"a property, told",
         [&](const auto& list) { return std::ranges::none_of(list, isArtist); },
         {0, 0, 0, 2},
         byList},
        {"more than the name, untold", [](const auto& list) { return list.size() == 1; }, {}, byList},
    };
    for (const Case& each : cases) {
        SCOPED_TRACE(each.what);
        olderWay();
        newerWay();
        refuseLists([&](const auto&, const auto& list) {
            return each.takes(list) ? std::nullopt
                                    : std::optional(Answer{ResponseCode::InvalidDataset, each.place, {}});
        });
        script.on[OperationCode::SetObjectPropValue] = [](const ParameterContainer&, const Bytes&) {
            return Answer{ResponseCode::InvalidObjectPropCode, {}, {}};
        };
        const auto session = script.open();
        NewObject what = object(10);
        what.media.title = u"song";
        what.media.artist = u"someone";
        what.modified = u"20090115T134501.0";
        ASSERT_EQ(send(*session, what, patternedBytes(10)), DGSTATUS_SUCCESS);
        script.commands.clear();
        ASSERT_EQ(send(*session, what, patternedBytes(10)), DGSTATUS_SUCCESS);
        EXPECT_EQ(script.operations(), each.second);
    }
}

TEST_F(SessionTransfer, WhatIsRefusedOfOneFileIsNotKeptFromTheNext) {
    olderWay();
    newerWay();
    refuseLists([](const ParameterContainer& command, const auto& list) -> std::optional<Answer> {
        if (command.parameters[2] != raw(FormatCode::MP3)) {
            return Answer{ResponseCode::SpecificationByFormatUnsupported, {}, {}};
        }
        const bool isLong =
            std::ranges::any_of(list, [](const auto& each) { return each.value.asText() == u"too long"; });
        return isLong ? std::optional(Answer{ResponseCode::InvalidObjectPropValue, {0, 0, 0, 1}, {}}) : std::nullopt;
    });
    script.on[OperationCode::SetObjectPropValue] = [](const ParameterContainer&, const Bytes&) {
        return Answer{ResponseCode::InvalidObjectPropValue, {}, {}};
    };
    const auto session = script.open();
    NewObject odd = object(10);
    odd.media.artist = u"too long";
    NewObject other = object(10);
    other.format = raw(FormatCode::Text);
    for (const NewObject& first : {odd, other}) {
        ASSERT_EQ(send(*session, first, patternedBytes(10)), DGSTATUS_SUCCESS);
        NewObject next = object(10);
        next.media.artist = u"someone";
        ASSERT_EQ(send(*session, next, patternedBytes(10)), DGSTATUS_SUCCESS);
        EXPECT_EQ(properties.size(), 2U) << "the artist went out with the name";
        EXPECT_EQ(script.operations().back(), OperationCode::GetObjectPropList);
    }
    script.commands.clear();
    ASSERT_EQ(send(*session, other, patternedBytes(10)), DGSTATUS_SUCCESS);
    EXPECT_EQ(script.count(OperationCode::SendObjectPropList), 0U) << "of that format no list is tried again";
}

TEST_F(SessionTransfer, MetadataIsWrittenToTheObjectThatItBecame) {
    newerWay();
    keptHandle = 60;
    refuseLists([](const auto&, const auto& list) {
        return list.size() > 1 ? std::optional(Answer{ResponseCode::InvalidObjectPropValue, {}, {}}) : std::nullopt;
    });
    std::vector<std::uint32_t> written;
    script.on[OperationCode::SetObjectPropValue] = [&](const ParameterContainer& command, const Bytes&) {
        written.push_back(command.parameters[0]);
        return Answer{};
    };
    const auto session = script.open();
    NewObject what = object(10);
    what.media.artist = u"someone";
    ASSERT_EQ(send(*session, what, patternedBytes(10)), DGSTATUS_SUCCESS);
    EXPECT_EQ(written, (std::vector<std::uint32_t>{60}));
    EXPECT_EQ(sent.handle, 60U);
    EXPECT_EQ(media.artist, u"as kept") << "read back once it was written";
    EXPECT_EQ(script.operations().back(), OperationCode::GetObjectPropList);
}

TEST_F(SessionTransfer, AnOlderDeviceIsSentAnObjectInfo) {
    olderWay();
    const auto session = script.open();
    ASSERT_EQ(send(*session, object(1000), patternedBytes(1000)), DGSTATUS_SUCCESS);
    EXPECT_EQ(script.operations(),
              (std::vector{OperationCode::SendObjectInfo, OperationCode::SendObject, OperationCode::GetObjectInfo}));
    EXPECT_EQ(info.compressedSize, 1000U);
    EXPECT_EQ(info.format, raw(FormatCode::MP3));
    EXPECT_EQ(announced.parameters[1], folder);
    EXPECT_EQ(sent.name, u"song.mp3");
}

TEST_F(SessionTransfer, AFormatThatTheDeviceDoesNotKnowIsSentAsUndefined) {
    newerWay();
    script.info.playbackFormats = {raw(FormatCode::EXIFJPEG), raw(FormatCode::Undefined)};
    const auto session = script.open();
    ASSERT_EQ(send(*session, object(1), patternedBytes(1)), DGSTATUS_SUCCESS);
    EXPECT_EQ(announced.parameters[2], raw(FormatCode::Undefined));
    NewObject playlist = object(0);
    playlist.format = raw(FormatCode::AbstractAudioVideoPlaylist);
    ASSERT_EQ(send(*session, playlist, {}), DGSTATUS_SUCCESS);
    EXPECT_EQ(announced.parameters[2], raw(FormatCode::AbstractAudioVideoPlaylist));
}

TEST_F(SessionTransfer, TheObjectIsFoundByNameWhenItsHandleChanged) {
    newerWay();
    keptHandle = 60;
    const auto session = script.open();
    ASSERT_EQ(send(*session, object(10), patternedBytes(10)), DGSTATUS_SUCCESS);
    EXPECT_EQ(sent.handle, 60U);
}

TEST_F(SessionTransfer, ASizeThatDiffersTakesTheObjectAwayAgain) {
    newerWay();
    sizeSaid = 9;
    const auto session = script.open();
    EXPECT_EQ(send(*session, object(10), patternedBytes(10)), DGSTATUS_INTERNAL_SIZE_MISMATCH);
    ASSERT_EQ(script.operations().back(), OperationCode::DeleteObject);
    EXPECT_EQ(script.commands.back().parameters[0], newHandle);
}

TEST_F(SessionTransfer, WhatWasCutShortOnAFullStorageSaysThatItIsFull) {
    newerWay();
    sizeSaid = 9;
    std::uint64_t freeSpace = 0;
    script.on[OperationCode::GetStorageInfo] = [&](const ParameterContainer&, const Bytes&) {
        return Answer{ResponseCode::OK, {}, encode(StorageInfo{3, 2, 0, 100, freeSpace, 7, u"Card", u""})};
    };
    const auto session = script.open();
    EXPECT_EQ(send(*session, object(10), patternedBytes(10)), DGSTATUS_INTERNAL_STOREFULL);
    EXPECT_EQ(script.operations().back(), OperationCode::DeleteObject);
    freeSpace = 1; // there was room
    EXPECT_EQ(send(*session, object(10), patternedBytes(10)), DGSTATUS_INTERNAL_SIZE_MISMATCH);
}

TEST_F(SessionTransfer, APlaylistMayHaveWhateverSizeTheDeviceSays) {
    newerWay();
    sizeSaid = 118;
    const auto session = script.open();
    NewObject playlist = object(0);
    playlist.format = raw(FormatCode::AbstractAudioVideoPlaylist);
    EXPECT_EQ(send(*session, playlist, {}), DGSTATUS_SUCCESS);
    EXPECT_EQ(script.count(OperationCode::DeleteObject), 0U);
}

TEST_F(SessionTransfer, NothingButTheNewObjectIsEverDeleted) {
    newerWay();
    sizeSaid = 9;
    script.on[OperationCode::SendObject] = [this](const ParameterContainer&, const Bytes&) {
        name = u"somebody else's.mp3";
        return Answer{ResponseCode::StoreFull, {}, {}};
    };
    const auto session = script.open();
    EXPECT_EQ(send(*session, object(10), patternedBytes(10)), DGSTATUS_INTERNAL_STOREFULL);
    EXPECT_EQ(script.count(OperationCode::DeleteObject), 0U);
}

TEST_F(SessionTransfer, RefusalsCarryTheDevicesStatus) {
    newerWay();
    const auto accept = script.on[OperationCode::SendObjectPropList];
    script.on[OperationCode::SendObjectPropList] = [](const ParameterContainer&, const Bytes&) {
        return Answer{ResponseCode::StoreFull, {}, {}};
    };
    const auto session = script.open();
    EXPECT_EQ(send(*session, object(10), patternedBytes(10)), DGSTATUS_INTERNAL_STOREFULL);
    EXPECT_EQ(script.operations(), (std::vector{OperationCode::SendObjectPropList}));

    script.on[OperationCode::SendObjectPropList] = accept;
    script.on[OperationCode::SendObject] = [](const ParameterContainer&, const Bytes&) {
        return Answer{ResponseCode::StoreFull, {}, {}};
    };
    EXPECT_EQ(send(*session, object(10), patternedBytes(10)), DGSTATUS_INTERNAL_STOREFULL);
    EXPECT_EQ(script.operations().back(), OperationCode::DeleteObject);
}

TEST_F(SessionTransfer, ACancelTakesEffectAtTheNextReportAndTheSessionGoesOn) {
    newerWay();
    const auto session = script.open();
    const Bytes content = patternedBytes(8 * progressBlock);
    stopAt = 2 * progressBlock;
    EXPECT_EQ(send(*session, object(content.size()), content), DGSTATUS_IO_CANCEL_SUCCESS);
    EXPECT_EQ(reports.size(), 2U);
    EXPECT_EQ(script.cancels, (std::vector{script.commands[1].transactionId}));
    EXPECT_EQ(script.operations().back(), OperationCode::DeleteObject);
    stopAt.reset();
    EXPECT_EQ(send(*session, object(content.size()), content), DGSTATUS_SUCCESS);
}

TEST_F(SessionTransfer, ACancelThatIsRefusedEndsInAResetAndTheSessionGoesOn) {
    newerWay();
    const auto session = script.open();
    const Bytes content = patternedBytes(4 * progressBlock);
    script.cancelAnswers = {DGSTATUS_INTERNAL_DEVICE_NOT_RESPONSE};
    stopAt = progressBlock;
    EXPECT_EQ(send(*session, object(content.size()), content), DGSTATUS_IO_CANCEL_FAILED);
    EXPECT_EQ(script.resets, 1U);
    EXPECT_EQ(script.count(OperationCode::OpenSession), 1U);
    stopAt.reset();
    EXPECT_EQ(send(*session, object(content.size()), content), DGSTATUS_SUCCESS);
}

TEST_F(SessionTransfer, StoppingAtTheVeryEndTakesTheObjectAwayAgain) {
    newerWay();
    const auto session = script.open();
    stopAt = 10;
    EXPECT_EQ(send(*session, object(10), patternedBytes(10)), DGSTATUS_IO_CANCEL_SUCCESS);
    EXPECT_EQ(script.operations().back(), OperationCode::DeleteObject);
    EXPECT_TRUE(script.cancels.empty());
}

TEST_F(SessionTransfer, ASourceThatEndsEarlyOrFailsCancels) {
    newerWay();
    const auto session = script.open();
    EXPECT_EQ(send(*session, object(1000), patternedBytes(999)), DGSTATUS_IO_CANCEL_SUCCESS);
    const BlockSource failing = [](std::span<std::byte>) { return std::ptrdiff_t{-1}; };
    EXPECT_EQ(session->sendObject(object(1000), failing, progress, sent, media), DGSTATUS_IO_CANCEL_SUCCESS);
    EXPECT_EQ(script.cancels.size(), 2U);
    EXPECT_TRUE(reports.empty());
}

TEST_F(SessionTransfer, ReceivedBytesComeInReportedBlocks) {
    const auto session = script.open();
    for (const std::size_t size : {std::size_t{0}, std::size_t{1}, progressBlock, 3 * progressBlock + 5}) {
        const Bytes content = patternedBytes(size);
        giveObject(content);
        Bytes received;
        reports.clear();
        const BlockSink sink = [&](std::span<const std::byte> block) {
            received.insert(received.end(), block.begin(), block.end());
            return true;
        };
        ASSERT_EQ(session->getObject(1, size, sink, progress), DGSTATUS_SUCCESS) << size;
        EXPECT_TRUE(received == content) << size;
        EXPECT_EQ(reports.size(), size / progressBlock + (size == 0 || size % progressBlock != 0 ? 1 : 0)) << size;
        EXPECT_EQ(reports.back(), Report(size, size));
    }
}

TEST_F(SessionTransfer, AnObjectOfAnotherSizeIsRefused) {
    giveObject(patternedBytes(progressBlock));
    const auto session = script.open();
    std::uint64_t received = 0;
    const BlockSink sink = [&](std::span<const std::byte> block) {
        received += block.size();
        return true;
    };
    EXPECT_EQ(session->getObject(1, progressBlock + 1, sink, progress), DGSTATUS_INTERNAL_SIZE_MISMATCH);
    received = 0;
    EXPECT_EQ(session->getObject(1, 1000, sink, progress), DGSTATUS_INTERNAL_SIZE_MISMATCH);
    EXPECT_EQ(received, 1000U);
    EXPECT_EQ(session->getObject(1, progressBlock, sink, progress), DGSTATUS_SUCCESS);
}

TEST_F(SessionTransfer, AFileWhoseSizeItsFieldCannotHoldIsReceivedToItsEnd) {
    giveObject(patternedBytes(5));
    const auto session = script.open();
    std::uint64_t received = 0;
    const BlockSink sink = [&](std::span<const std::byte> block) {
        received += block.size();
        return true;
    };
    script.zerosBehind = std::uint64_t{5} << 30;
    EXPECT_EQ(session->getObject(1, sizeUnknown, sink, progress), DGSTATUS_SUCCESS);
    EXPECT_EQ(received, script.zerosBehind + 5);
    EXPECT_EQ(reports.back(), Report(sizeUnknown, sizeUnknown));
    EXPECT_EQ(std::ranges::count(reports, reports.back()), 1) << "nothing looks like the end before it";
    script.zerosBehind = 1000;
    EXPECT_EQ(session->getObject(1, sizeUnknown, sink, progress), DGSTATUS_INTERNAL_SIZE_MISMATCH);
}

TEST_F(SessionTransfer, ReceivingStopsForTheSinkAndForTheProgress) {
    giveObject(patternedBytes(4 * progressBlock));
    const auto session = script.open();
    std::uint64_t received = 0;
    const BlockSink sink = [&](std::span<const std::byte> block) {
        received += block.size();
        return true;
    };
    const BlockSink full = [](std::span<const std::byte>) { return false; };
    EXPECT_EQ(session->getObject(1, 4 * progressBlock, full, progress), DGSTATUS_IO_CANCEL_SUCCESS);
    stopAt = progressBlock;
    EXPECT_EQ(session->getObject(1, 4 * progressBlock, sink, progress), DGSTATUS_IO_CANCEL_SUCCESS);
    EXPECT_EQ(received, progressBlock);
    stopAt = 4 * progressBlock; // all is there: nothing is left to cancel on the line
    EXPECT_EQ(session->getObject(1, 4 * progressBlock, sink, progress), DGSTATUS_IO_CANCEL_SUCCESS);
    EXPECT_EQ(script.cancels.size(), 2U);
}

TEST_F(SessionTransfer, AFolderIsAnAssociationInItsParent) {
    olderWay();
    const auto session = script.open();
    ASSERT_EQ(session->createFolder(storage, 0, u"New", sent), DGSTATUS_SUCCESS);
    EXPECT_EQ(info.format, raw(FormatCode::Association));
    EXPECT_EQ(info.associationType, genericFolder);
    EXPECT_EQ(announced.parameters[0], storage);
    EXPECT_EQ(announced.parameters[1], rootParent);
    EXPECT_EQ(sent.handle, newHandle);
    EXPECT_EQ(sent.parent, 0U);
}

TEST_F(SessionTransfer, AFolderIsFoundByNameWhenItsHandleChanged) {
    olderWay();
    script.on[OperationCode::GetObjectInfo] = [this](const ParameterContainer& command, const Bytes&) {
        return command.parameters[0] == newHandle ? Answer{ResponseCode::InvalidObjectHandle, {}, {}}
                                                  : Answer{ResponseCode::OK, {}, encode(info)};
    };
    script.on[OperationCode::GetObjectHandles] = [](const ParameterContainer&, const Bytes&) {
        return Answer{ResponseCode::OK, {}, encode(std::vector<std::uint32_t>{91})};
    };
    const auto session = script.open();
    ASSERT_EQ(session->createFolder(storage, folder, u"New", sent), DGSTATUS_SUCCESS);
    EXPECT_EQ(sent.handle, 91U);
}

TEST_F(SessionTransfer, ADeviceThatStallsAtAPropertyListIsSentAnObjectInfoFromThenOn) {
    // Either the response after the stall says why, or nothing more comes.
    for (const bool answers : {true, false}) {
        SCOPED_TRACE(answers);
        newerWay();
        olderWay();
        script.announce({OperationCode::SendObjectPropList});
        script.stalls = {OperationCode::SendObjectPropList};
        script.on[OperationCode::SendObjectPropList] = [](const ParameterContainer&, const Bytes&) {
            return Answer{ResponseCode::OperationNotSupported, {}, {}};
        };
        script.mangle[OperationCode::SendObjectPropList] = [answers](std::vector<Bytes>& phases) {
            phases.resize(answers ? phases.size() : 0);
        };
        const auto session = script.open();
        for (int i = 0; i < 2; ++i) {
            EXPECT_EQ(send(*session, object(10), patternedBytes(10)), DGSTATUS_SUCCESS);
        }
        EXPECT_EQ(script.count(OperationCode::SendObjectPropList), 1U);
        EXPECT_EQ(script.count(OperationCode::SendObjectInfo), 2U);
        EXPECT_EQ(script.cancels.size(), answers ? 0U : 1U);
    }
}

TEST_F(SessionTransfer, MetadataIsWrittenWhereTheDeviceLetsIt) {
    newerWay();
    std::vector<std::uint32_t> written;
    script.on[OperationCode::SetObjectPropValue] = [&](const ParameterContainer& command, const Bytes&) {
        written.push_back(command.parameters[1]);
        return Answer{command.parameters[1] == 0xDC44 ? ResponseCode::AccessDenied : ResponseCode::OK, {}, {}};
    };
    const auto session = script.open();
    media.title = u"read-only here";
    media.artist = u"someone";
    media.track = 3;
    EXPECT_EQ(session->setMediaProperties(newHandle, raw(FormatCode::MP3), media), DGSTATUS_SUCCESS);
    EXPECT_EQ(written, (std::vector<std::uint32_t>{0xDC44, 0xDC46}));
}

TEST_F(SessionTransfer, APropertyThatIsListedManyTimesIsReadOnce) {
    olderWay();
    script.announce({OperationCode::GetObjectPropsSupported, OperationCode::GetObjectPropValue});
    script.on[OperationCode::GetObjectPropsSupported] = [](const ParameterContainer&, const Bytes&) {
        return Answer{ResponseCode::OK, {}, encode(std::vector<std::uint16_t>(1000, 0xDC46))};
    };
    script.on[OperationCode::GetObjectPropValue] = [](const ParameterContainer&, const Bytes&) {
        return Answer{ResponseCode::OK, {}, encode(PropertyValue::string(u"someone"))};
    };
    info.filename = u"song.mp3";
    const auto session = script.open();
    EXPECT_EQ(session->mediaProperties(newHandle, raw(FormatCode::MP3), media), DGSTATUS_SUCCESS);
    EXPECT_EQ(media.artist, u"someone");
    EXPECT_EQ(script.count(OperationCode::GetObjectPropValue), 1U);
}

TEST_F(SessionTransfer, APropertyThatTheDeviceOnlyListsIsWrittenOnce) {
    newerWay();
    std::vector<std::uint32_t> written;
    script.on[OperationCode::SetObjectPropValue] = [&](const ParameterContainer& command, const Bytes&) {
        written.push_back(command.parameters[1]);
        return Answer{command.parameters[1] == 0xDC44 ? ResponseCode::InvalidObjectPropCode : ResponseCode::OK, {}, {}};
    };
    const auto session = script.open();
    media.title = u"listed, but not known";
    media.artist = u"someone";
    for (int file = 0; file < 2; ++file) {
        EXPECT_EQ(session->setMediaProperties(newHandle, raw(FormatCode::MP3), media), DGSTATUS_SUCCESS);
    }
    EXPECT_EQ(written, (std::vector<std::uint32_t>{0xDC44, 0xDC46, 0xDC46}));
}

} // namespace
} // namespace mtpsdk::test
