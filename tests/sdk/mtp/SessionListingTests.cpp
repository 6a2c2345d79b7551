// SPDX-License-Identifier: MIT
#include "ScriptedDevice.h"

#include <gtest/gtest.h>

#include <algorithm>

namespace mtpsdk::test {
namespace {

constexpr std::uint32_t internal = 0x10001;
constexpr std::uint32_t card = 0x20001;

std::vector<std::u16string> namesOf(const std::vector<ObjectEntry>& entries) {
    std::vector<std::u16string> names;
    names.reserve(entries.size());
    for (const ObjectEntry& entry : entries) {
        names.push_back(entry.name);
    }
    return names;
}

class SessionListing : public ::testing::Test {
protected:
    /// The listing answered to a request for a handle's children, from the rows that a test lays down.
    void answerLists() {
        script.announce({OperationCode::GetObjectPropList});
        script.on[OperationCode::GetObjectPropList] = [this](const ParameterContainer& command, const Bytes&) {
            const auto rows = lists.find(command.parameters[0]);
            return rows == lists.end() ? Answer{ResponseCode::InvalidObjectHandle, {}, {}}
                                       : Answer{ResponseCode::OK, {}, rows->second.encoded()};
        };
    }
    /// The older way: handles of children and one dataset each.
    void answerHandles() {
        script.on[OperationCode::GetObjectHandles] = [this](const ParameterContainer&, const Bytes&) {
            std::vector<std::uint32_t> handles;
            for (const auto& [handle, info] : infos) {
                handles.push_back(handle);
            }
            return Answer{ResponseCode::OK, {}, encode(handles)};
        };
        script.on[OperationCode::GetObjectInfo] = [this](const ParameterContainer& command, const Bytes&) {
            const ObjectInfo& info = infos[command.parameters[0]];
            return info.filename.empty() ? Answer{ResponseCode::InvalidObjectHandle, {}, {}}
                                         : Answer{ResponseCode::OK, {}, encode(info)};
        };
    }
    void addInfo(std::uint32_t handle, std::uint32_t size, const std::u16string& name) {
        ObjectInfo info;
        info.format = raw(FormatCode::MP3);
        info.compressedSize = size;
        info.filename = name;
        infos[handle] = info;
    }
    /// Which group the names of folders and of files are in.
    void answerGroups(std::uint32_t ofFolders, std::uint32_t ofFiles) {
        script.announce({OperationCode::GetObjectPropDesc});
        script.on[OperationCode::GetObjectPropDesc] = [=](const ParameterContainer& command, const Bytes&) {
            ObjectPropDesc description;
            description.property = static_cast<std::uint16_t>(command.parameters[0]);
            description.type = DataType::String;
            description.defaultValue = PropertyValue::string(u"");
            description.group = command.parameters[1] == raw(FormatCode::Association) ? ofFolders : ofFiles;
            return Answer{ResponseCode::OK, {}, encode(description)};
        };
    }
    /// Lists of a folder's children asked for by group.
    [[nodiscard]] auto groupRequests() const {
        return std::ranges::count_if(script.commands, [](const ParameterContainer& command) {
            return command.code == raw(OperationCode::GetObjectPropList) && command.parameters[2] == 0;
        });
    }
    /// Property lists asked for so far: of objects themselves (0), of a folder's children (1).
    [[nodiscard]] auto listRequests(std::uint32_t depth) const {
        return std::ranges::count_if(script.commands, [depth](const ParameterContainer& command) {
            return command.code == raw(OperationCode::GetObjectPropList) && command.parameters[4] == depth;
        });
    }

    Script script;
    std::map<std::uint32_t, Rows> lists;
    std::map<std::uint32_t, ObjectInfo> infos;
    std::vector<ObjectEntry> entries;
};

TEST_F(SessionListing, AFolderTakesOneRequestHoweverManyFiles) {
    answerLists();
    for (std::uint32_t i = 0; i < 500; ++i) {
        lists[7].object(100 + i, internal, 7, FormatCode::MP3, std::uint64_t{i} << 32, u"file");
    }
    const auto session = script.open();
    ASSERT_EQ(session->listFolder(internal, 7, entries), DGSTATUS_SUCCESS);
    EXPECT_EQ(entries.size(), 500U);
    EXPECT_EQ(entries[2].size, std::uint64_t{2} << 32);
    ASSERT_EQ(script.commands.size(), 1U);
    EXPECT_EQ(script.commands[0].parameters, (std::array<std::uint32_t, 5>{7, 0, 0xFFFFFFFF, 0, 1}));
}

TEST_F(SessionListing, OnlyChildrenOfTheFolderAndTheStorageAreTaken) {
    answerLists();
    lists[0]
        .object(1, internal, 0, FormatCode::Association, 0, u"Music")
        .object(2, card, 0, FormatCode::Association, 0, u"on the card")
        .object(3, internal, rootParent, FormatCode::MP3, 5, u"root.mp3")
        .object(4, internal, 1, FormatCode::MP3, 5, u"deeper.mp3")
        .object(0, internal, 0, FormatCode::MP3, 5, u"nothing");
    lists[1]
        .object(1, internal, 0, FormatCode::Association, 0, u"Music")
        .object(4, internal, 1, FormatCode::MP3, 5, u"deeper.mp3");
    const auto session = script.open();
    ASSERT_EQ(session->listFolder(internal, 0, entries), DGSTATUS_SUCCESS);
    EXPECT_EQ(namesOf(entries), (std::vector<std::u16string>{u"Music", u"root.mp3"}));
    EXPECT_EQ(entries[1].parent, 0U);
    ASSERT_EQ(session->listFolder(internal, 1, entries), DGSTATUS_SUCCESS);
    EXPECT_EQ(namesOf(entries), (std::vector<std::u16string>{u"deeper.mp3"}));
}

TEST_F(SessionListing, NamesAloneAreAskedForByTheirGroup) {
    answerLists();
    answerGroups(3, 3);
    const auto name = [](const char16_t* text) { return PropertyValue::string(text); };
    const auto format = [](FormatCode code) { return PropertyValue::integer(DataType::UInt16, raw(code)); };
    lists[7]
        .add(1, ObjectPropertyCode::ObjectFileName, name(u"folder"))
        .add(1, ObjectPropertyCode::ObjectFormat, format(FormatCode::Association))
        .add(1, ObjectPropertyCode::ParentObject, PropertyValue::integer(DataType::UInt32, 7))
        .add(2, ObjectPropertyCode::ParentObject, PropertyValue::integer(DataType::UInt32, 7))
        .add(2, ObjectPropertyCode::ObjectFileName, name(u"song.mp3"))
        .add(2, ObjectPropertyCode::ObjectFormat, format(FormatCode::MP3));
    lists[8];
    const auto session = script.open();
    ASSERT_EQ(session->listFolder(internal, 7, entries, Listing::names), DGSTATUS_SUCCESS);
    EXPECT_EQ(namesOf(entries), (std::vector<std::u16string>{u"folder", u"song.mp3"}));
    EXPECT_FALSE(entries[0].isBrief);
    EXPECT_TRUE(entries[1].isBrief);
    EXPECT_FALSE(entries[1].media);
    EXPECT_EQ(entries[1].parent, 7U);
    EXPECT_EQ(entries[1].storageId, internal);
    EXPECT_EQ(script.count(OperationCode::GetObjectPropDesc), 2U);

    script.commands.clear();
    ASSERT_EQ(session->listFolder(internal, 8, entries, Listing::names), DGSTATUS_SUCCESS);
    EXPECT_TRUE(entries.empty());
    ASSERT_EQ(script.commands.size(), 1U);
    EXPECT_EQ(script.commands[0].parameters, (std::array<std::uint32_t, 5>{8, 0, 0, 3, 1}));
}

TEST_F(SessionListing, WhereNamesCannotBeHadAloneTheListIsComplete) {
    struct Case {
        const char* what;
        std::uint32_t folders, files;
        std::optional<ResponseCode> refusal;
        int tries; ///< lists by group, of two that might be
    };
    const std::vector<Case> cases = {
        {"no groups", 0, 0, {}, 0},
        {"files in a group, folders in none", 0, 4, {}, 0},
        {"groups that are refused", 4, 4, ResponseCode::SpecificationByGroupUnsupported, 1},
        {"groups that fail", 4, 4, ResponseCode::GeneralError, 1},
        {"a group without names", 4, 4, {}, 1},
    };
    script.announce({OperationCode::GetObjectPropList});
    for (const Case& each : cases) {
        SCOPED_TRACE(each.what);
        answerGroups(each.folders, each.files);
        script.on[OperationCode::GetObjectPropList] = [&each](const ParameterContainer& command, const Bytes&) {
            Rows rows;
            if (command.parameters[2] != 0) {
                rows.object(5, internal, 7, FormatCode::MP3, 99, u"song.mp3");
            } else if (each.refusal) {
                return Answer{*each.refusal, {}, {}};
            } else {
                rows.add(5, ObjectPropertyCode::ObjectSize, PropertyValue::integer(DataType::UInt64, 99));
            }
            return Answer{ResponseCode::OK, {}, rows.encoded()};
        };
        const auto session = script.open();
        for (int i = 0; i < 2; ++i) {
            ASSERT_EQ(session->listFolder(internal, 7, entries, Listing::names), DGSTATUS_SUCCESS);
            ASSERT_EQ(namesOf(entries), (std::vector<std::u16string>{u"song.mp3"}));
            EXPECT_FALSE(entries[0].isBrief);
            EXPECT_EQ(entries[0].size, 99U);
        }
        EXPECT_EQ(groupRequests(), each.tries);
    }
}

TEST_F(SessionListing, AGroupThatHoldsTheNamesOfSomeFormatsOnlyListsNothing) {
    answerLists();
    answerGroups(3, 3);
    script.info.playbackFormats = {raw(FormatCode::MP3), raw(FormatCode::Association), raw(FormatCode::WAV)};
    script.info.captureFormats = {raw(FormatCode::EXIFJPEG), raw(FormatCode::MP3)};
    lists[7].object(2, internal, 7, FormatCode::MP3, 9, u"song.mp3");
    const auto sameGroup = script.on[OperationCode::GetObjectPropDesc];
    for (const bool picturesDiffer : {false, true}) {
        script.on[OperationCode::GetObjectPropDesc] = [&](const ParameterContainer& command, const Bytes& data) {
            const bool differs = picturesDiffer && command.parameters[1] == raw(FormatCode::EXIFJPEG);
            return differs ? Answer{ResponseCode::InvalidObjectFormatCode, {}, {}} : sameGroup(command, data);
        };
        const auto session = script.open();
        for (int i = 0; i < 2; ++i) {
            Listing told{};
            ASSERT_EQ(session->listFolder(internal, 7, entries, Listing::names, &told), DGSTATUS_SUCCESS);
            EXPECT_EQ(told, picturesDiffer ? Listing::complete : Listing::names);
            EXPECT_EQ(namesOf(entries), (std::vector<std::u16string>{u"song.mp3"}));
        }
        EXPECT_EQ(groupRequests(), picturesDiffer ? 0 : 2);
        EXPECT_EQ(script.count(OperationCode::GetObjectPropDesc), 5U) << "each format once, that of no kind included";
    }
}

TEST_F(SessionListing, AnEmptyListThatProvesNothingIsCheckedByHandles) {
    // It takes the root's handle, or the depth of children, for nothing at all.
    for (const std::uint32_t parent : {0U, 7U}) {
        SCOPED_TRACE(parent);
        answerLists();
        answerHandles();
        lists = {};
        infos = {};
        lists[parent];
        lists[5].object(5, internal, parent, FormatCode::MP3, 10, u"song");
        addInfo(5, 10, u"song");
        const auto session = script.open();
        for (int i = 0; i < 2; ++i) {
            ASSERT_EQ(session->listFolder(internal, parent, entries), DGSTATUS_SUCCESS);
            EXPECT_EQ(namesOf(entries), (std::vector<std::u16string>{u"song"}));
        }
        EXPECT_EQ(listRequests(1), 1) << "asked once";
    }
    // One that truly lists is believed as soon as it has told of something.
    lists = {};
    infos = {};
    lists[7].object(5, internal, 7, FormatCode::MP3, 10, u"song");
    lists[8];
    const auto session = script.open();
    for (const std::uint32_t folder : {8U, 7U, 8U}) {
        ASSERT_EQ(session->listFolder(internal, folder, entries), DGSTATUS_SUCCESS);
        EXPECT_EQ(entries.size(), folder == 7 ? 1U : 0U);
    }
    EXPECT_EQ(script.operations(), (std::vector{OperationCode::GetObjectPropList, OperationCode::GetObjectHandles,
                                                OperationCode::GetObjectPropList, OperationCode::GetObjectPropList}));
}

TEST_F(SessionListing, AnEmptyListByGroupIsBelievedOnceOneHasToldOfSomething) {
    answerLists();
    answerGroups(4, 4);
    lists[7].object(5, internal, 7, FormatCode::MP3, 99, u"song.mp3");
    lists[8];
    const auto session = script.open();
    ASSERT_EQ(session->listFolder(internal, 8, entries, Listing::names), DGSTATUS_SUCCESS);
    EXPECT_EQ(listRequests(1), 2) << "asked for everything as well";
    ASSERT_EQ(session->listFolder(internal, 7, entries, Listing::names), DGSTATUS_SUCCESS);
    ASSERT_EQ(session->listFolder(internal, 8, entries, Listing::names), DGSTATUS_SUCCESS);
    EXPECT_EQ(listRequests(1), 4);
}

TEST_F(SessionListing, RowsMayComeInAnyOrderAndGapsAreFilledFromTheObjectInfo) {
    answerLists();
    answerHandles();
    addInfo(11, 77, u"gap.mp3");
    lists[7]
        .add(10, ObjectPropertyCode::ObjectFileName, PropertyValue::string(u"a"))
        .add(11, ObjectPropertyCode::ObjectFormat, PropertyValue::integer(DataType::UInt16, 0x3009))
        .add(10, ObjectPropertyCode::ObjectFormat, PropertyValue::integer(DataType::UInt16, 0x3801))
        .add(10, ObjectPropertyCode::ObjectSize, PropertyValue::integer(DataType::UInt32, 3))
        .add(12, ObjectPropertyCode::ObjectFormat, PropertyValue::integer(DataType::UInt16, 0x3009));
    const auto session = script.open();
    ASSERT_EQ(session->listFolder(internal, 7, entries), DGSTATUS_SUCCESS);
    EXPECT_EQ(namesOf(entries), (std::vector<std::u16string>{u"a", u"gap.mp3"})); // 12 is gone meanwhile
    EXPECT_EQ(entries[0].size, 3U);
    EXPECT_EQ(entries[1].size, 77U);
    EXPECT_EQ(entries[1].parent, 7U);
}

TEST_F(SessionListing, ADeviceThatRefusesListsIsAskedOnce) {
    script.announce({OperationCode::GetObjectPropList, OperationCode::GetObjectPropValue});
    script.on[OperationCode::GetObjectPropList] = [](const ParameterContainer&, const Bytes&) {
        return Answer{ResponseCode::SpecificationByDepthUnsupported, {}, {}};
    };
    script.on[OperationCode::GetObjectPropValue] = [](const ParameterContainer&, const Bytes&) {
        return Answer{ResponseCode::OK, {}, encode(PropertyValue::integer(DataType::UInt64, std::uint64_t{6} << 30))};
    };
    answerHandles();
    addInfo(5, 10, u"small");
    addInfo(6, sizeUnknown, u"big");
    const auto session = script.open();
    for (int i = 0; i < 2; ++i) {
        ASSERT_EQ(session->listFolder(internal, 7, entries), DGSTATUS_SUCCESS);
        ASSERT_EQ(namesOf(entries), (std::vector<std::u16string>{u"small", u"big"}));
        EXPECT_EQ(entries[1].size, std::uint64_t{6} << 30);
    }
    EXPECT_EQ(script.count(OperationCode::GetObjectPropList), 2U) << "once for folders, once for objects";
}

TEST_F(SessionListing, AListThatMakesNoSenseIsReadTheOlderWay) {
    script.announce({OperationCode::GetObjectPropList});
    script.on[OperationCode::GetObjectPropList] = [](const ParameterContainer&, const Bytes&) {
        return Answer{ResponseCode::OK, {}, bytesOf({9, 0, 0, 0, 1, 2, 3})};
    };
    answerHandles();
    addInfo(5, 10, u"found");
    const auto session = script.open();
    ASSERT_EQ(session->listFolder(internal, 7, entries), DGSTATUS_SUCCESS);
    EXPECT_EQ(namesOf(entries), (std::vector<std::u16string>{u"found"}));
}

TEST_F(SessionListing, ADeviceThatTellsOfTheFolderInsteadOfItsChildrenIsReadTheOlderWay) {
    answerLists();
    answerHandles();
    lists[7].object(7, internal, 0, FormatCode::Association, 0, u"folder");
    lists[8].object(8, internal, 0, FormatCode::Association, 0, u"other");
    const auto session = script.open();
    // An empty folder may truly answer so.
    ASSERT_EQ(session->listFolder(internal, 7, entries), DGSTATUS_SUCCESS);
    EXPECT_TRUE(entries.empty());
    addInfo(100, 5, u"song.mp3");
    lists[100].object(100, internal, 7, FormatCode::MP3, 5, u"song.mp3");
    ASSERT_EQ(session->listFolder(internal, 7, entries), DGSTATUS_SUCCESS);
    EXPECT_EQ(namesOf(entries), (std::vector<std::u16string>{u"song.mp3"}));
    EXPECT_TRUE(entries[0].media) << "its list told of all that there is";
    EXPECT_EQ(listRequests(1), 2);
    ASSERT_EQ(session->listFolder(internal, 8, entries), DGSTATUS_SUCCESS);
    EXPECT_EQ(listRequests(1), 2) << "asked again";
}

TEST_F(SessionListing, AStallOrAnEmptyWordInAnswerToAListIsARefusalWhereTheOlderWayWorks) {
    for (const bool stalls : {true, false}) {
        SCOPED_TRACE(stalls);
        script.info.operations.clear();
        script.announce({OperationCode::GetObjectPropList});
        script.stalls = {};
        if (stalls) {
            script.stalls.insert(OperationCode::GetObjectPropList);
        }
        script.on[OperationCode::GetObjectPropList] = [stalls](const ParameterContainer&, const Bytes&) {
            return stalls ? Answer{ResponseCode::OK, {}, Bytes(20)} : Answer{ResponseCode::GeneralError, {}, {}};
        };
        answerHandles();
        addInfo(5, 10, u"found");
        const auto session = script.open();
        ObjectEntry entry;
        for (int i = 0; i < 2; ++i) {
            EXPECT_EQ(session->listFolder(internal, 7, entries), DGSTATUS_SUCCESS);
            EXPECT_EQ(namesOf(entries), (std::vector<std::u16string>{u"found"}));
            EXPECT_EQ(session->objectEntry(5, entry), DGSTATUS_SUCCESS);
        }
        EXPECT_EQ(script.count(OperationCode::GetObjectPropList), 2U) << "once for folders, once for objects";
    }
    // Where the older way fails as well, the device is in trouble, and that is what is told.
    script.on.erase(OperationCode::GetObjectHandles);
    script.on[OperationCode::GetObjectHandles] = script.on[OperationCode::GetObjectPropList];
    const auto session = script.open();
    for (int i = 0; i < 2; ++i) {
        EXPECT_EQ(session->listFolder(internal, 7, entries), DGSTATUS_INTERNAL_GENERALERROR);
    }
    EXPECT_EQ(script.count(OperationCode::GetObjectPropList), 2U);
}

TEST_F(SessionListing, ListsRefusedForFoldersMayWorkForObjectsAndTheReverse) {
    for (const std::uint32_t refusedDepth : {0U, 1U}) {
        SCOPED_TRACE(refusedDepth);
        answerLists();
        const auto answer = script.on[OperationCode::GetObjectPropList];
        script.on[OperationCode::GetObjectPropList] = [&](const ParameterContainer& command, const Bytes& data) {
            return command.parameters[4] == refusedDepth ? Answer{ResponseCode::ParameterNotSupported, {}, {}}
                                                         : answer(command, data);
        };
        answerHandles();
        addInfo(5, 10, u"song");
        lists[5] = Rows().object(5, internal, 7, FormatCode::MP3, 10, u"song");
        lists[7] = Rows().object(5, internal, 7, FormatCode::MP3, 10, u"song");
        const auto session = script.open();
        ObjectEntry entry;
        for (int i = 0; i < 2; ++i) {
            EXPECT_EQ(session->listFolder(internal, 7, entries), DGSTATUS_SUCCESS);
            EXPECT_EQ(namesOf(entries), (std::vector<std::u16string>{u"song"}));
            EXPECT_EQ(session->objectEntry(5, entry), DGSTATUS_SUCCESS);
            EXPECT_EQ(entry.name, u"song");
        }
        EXPECT_EQ(listRequests(refusedDepth), 1) << "what was refused is asked once";
        EXPECT_EQ(script.count(OperationCode::GetObjectInfo), refusedDepth == 0 ? 2U : 0U);
    }
}

TEST_F(SessionListing, ANameThatTheObjectInfoLeavesOutIsAskedForAlone) {
    script.announce({OperationCode::GetObjectPropValue});
    script.on[OperationCode::GetObjectPropValue] = [](const ParameterContainer& command, const Bytes&) {
        const bool isName = command.parameters[1] == raw(ObjectPropertyCode::ObjectFileName);
        return isName ? Answer{ResponseCode::OK, {}, encode(PropertyValue::string(u"late.mp3"))}
                      : Answer{ResponseCode::InvalidObjectPropCode, {}, {}};
    };
    script.on[OperationCode::GetObjectInfo] = [](const ParameterContainer&, const Bytes&) {
        return Answer{ResponseCode::OK, {}, encode(ObjectInfo())};
    };
    const auto session = script.open();
    ObjectEntry entry;
    ASSERT_EQ(session->objectEntry(5, entry), DGSTATUS_SUCCESS);
    EXPECT_EQ(entry.name, u"late.mp3");
}

TEST_F(SessionListing, AnUnlistedStorageIsReachedByItsId) {
    answerLists();
    answerHandles();
    addInfo(5, 10, u"secret");
    lists[5].object(5, 0x30001, 0, FormatCode::Text, 10, u"secret");
    const auto session = script.open();
    ASSERT_EQ(session->listFolder(0x30001, 0, entries), DGSTATUS_SUCCESS);
    EXPECT_EQ(namesOf(entries), (std::vector<std::u16string>{u"secret"}));
    const ParameterContainer& handles = script.commands[1];
    EXPECT_EQ(handles.parameters[0], 0x30001U);
    EXPECT_EQ(handles.parameters[2], rootParent);
}

TEST_F(SessionListing, FailuresOfTheFolderAreNotMistakenForRefusals) {
    answerLists();
    const auto session = script.open();
    EXPECT_EQ(session->listFolder(internal, 99, entries), DGSTATUS_INTERNAL_INVALIDOBJECTHANDLE);
    lists[99].object(1, internal, 99, FormatCode::MP3, 1, u"a");
    EXPECT_EQ(session->listFolder(internal, 99, entries), DGSTATUS_SUCCESS);
    EXPECT_EQ(script.commands.size(), 2U);
}

TEST_F(SessionListing, OneObjectTakesOneRequestAndMayBeOfTheOlderKind) {
    answerLists();
    answerHandles();
    lists[5].object(5, internal, 7, FormatCode::MP3, 9, u"new way");
    addInfo(6, 10, u"old way");
    const auto session = script.open();
    ObjectEntry entry;
    ASSERT_EQ(session->objectEntry(5, entry), DGSTATUS_SUCCESS);
    EXPECT_EQ(entry.name, u"new way");
    EXPECT_EQ(entry.parent, 7U);
    EXPECT_EQ(session->objectEntry(6, entry), DGSTATUS_INTERNAL_INVALIDOBJECTHANDLE);
    lists[6].add(6, ObjectPropertyCode::Artist, PropertyValue::string(u"no name"));
    ASSERT_EQ(session->objectEntry(6, entry), DGSTATUS_SUCCESS);
    EXPECT_EQ(entry.name, u"old way");
}

TEST_F(SessionListing, DevicePropertiesAreTextsAndOnlyWhatIsAnnounced) {
    script.info.deviceProperties = {raw(DevicePropertyCode::DeviceFriendlyName)};
    Bytes written;
    script.on[OperationCode::GetDevicePropValue] = [](const ParameterContainer&, const Bytes&) {
        return Answer{ResponseCode::OK, {}, encode(PropertyValue::string(u"My Player"))};
    };
    script.on[OperationCode::SetDevicePropValue] = [&written](const ParameterContainer&, const Bytes& data) {
        written = data;
        return Answer{};
    };
    const auto session = script.open();
    std::u16string value;
    EXPECT_EQ(session->deviceProperty(DevicePropertyCode::DeviceFriendlyName, value), DGSTATUS_SUCCESS);
    EXPECT_EQ(value, u"My Player");
    EXPECT_EQ(session->setDeviceProperty(DevicePropertyCode::DeviceFriendlyName, u"Ours"), DGSTATUS_SUCCESS);
    EXPECT_EQ(written, encode(PropertyValue::string(u"Ours")));
    EXPECT_EQ(session->deviceProperty(DevicePropertyCode::SynchronizationPartner, value),
              DGSTATUS_INTERNAL_OPERATIONNOTSUPPORTED);
    EXPECT_EQ(script.commands.size(), 2U);
}

} // namespace
} // namespace mtpsdk::test
