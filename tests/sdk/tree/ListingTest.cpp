// SPDX-License-Identifier: MIT
#include "VirtualDeviceTest.h"
#include "mtp/Datasets.h"

#include <algorithm>

namespace {

class ListingTest : public VirtualDeviceTest {};

TEST_F(ListingTest, walksDevicesAndStorages) {
    EXPECT_EQ(device()->header.Signature, MTP_SIGNATURE_DEVICE);
    EXPECT_EQ(text(storage()->Label), "Internal");
    EXPECT_EQ(+storage()->LabelLength, 9U);
    EXPECT_EQ(text(storage()->Description), "Internal storage");
    EXPECT_EQ(+storage()->header.Id, 0x00010001U);
    EXPECT_EQ(+storage()->header.LocationId, location);
    EXPECT_EQ(+storage()->MaxCapacity, capacity);
    EXPECT_EQ(text(card()->Label), "Card");
    _MTP_STORAGE_NODE* next = card();
    EXPECT_EQ(mtpGetNextStorageNode(card(), &next), DGSTATUS_SUCCESS);
    EXPECT_EQ(next, nullptr) << "hidden storages are not listed";
}

TEST_F(ListingTest, listsFoldersAndFilesOnceInOneRequest) {
    std::filesystem::create_directories(onDevice("Internal/Music/Rock"));
    _folder.write("device/Internal/readme.txt", "12345");
    _folder.write("device/Internal/Music/song.mp3", "abc");
    storage();
    const std::uint64_t before = transactions();
    EXPECT_EQ(folderNames(), (Names{"Music"}));
    EXPECT_EQ(fileNames(), (Names{"readme.txt"}));
    EXPECT_EQ(transactions(), before + 1);
    _MTP_FOLDER_NODE* music = nullptr;
    ASSERT_EQ(mtpGetFolderListHead(storage(), nullptr, &music, nullptr, nullptr), DGSTATUS_SUCCESS);
    EXPECT_EQ(folderNames(music), (Names{"Rock"}));
    EXPECT_EQ(fileNames(&music->header), (Names{"song.mp3"}));
    EXPECT_EQ(transactions(), before + 2);

    _MTP_FILE_NODE* file = nullptr;
    ASSERT_EQ(mtpGetFileListHead(root(), &file, nullptr, nullptr), DGSTATUS_SUCCESS);
    EXPECT_EQ(+file->size, 5U);
    EXPECT_EQ(+file->header.Signature, MTP_SIGNATURE_FILE);
    EXPECT_EQ(text(file->modificationDate).substr(8, 1), "T");

    // Releasing a list forgets it; the next listing asks again.
    EXPECT_EQ(mtpReleaseFileList(file), DGSTATUS_SUCCESS);
    EXPECT_EQ(libIsExist(&file->header, MTP_SIGNATURE_FILE), 0);
    EXPECT_EQ(libIsExist(&music->header, MTP_SIGNATURE_FOLDER), 1);
    EXPECT_EQ(fileNames(), (Names{"readme.txt"}));
    EXPECT_EQ(libIsExist(&music->header, MTP_SIGNATURE_FOLDER), 1);
    EXPECT_EQ(transactions(), before + 3);
}

TEST_F(ListingTest, namesAloneAreCompletedWhenMoreIsAskedFor) {
    for (const char* folder : {"first", "second", "third"}) {
        std::filesystem::create_directories(onDevice("Internal/" + std::string(folder)));
        for (int i = 0; i < 3; ++i) {
            _folder.write("device/Internal/" + std::string(folder) + "/" + std::to_string(i) + ".mp3", "song");
        }
    }
    ASSERT_EQ(folderNames(), (Names{"first", "second", "third"}));
    ASSERT_EQ(mtpSetNameListing(device(), true), DGSTATUS_SUCCESS);
    const auto list = [&](_MTP_FOLDER_NODE* folder) {
        _MTP_FILE_NODE* file = nullptr;
        EXPECT_EQ(mtpGetFileListHead(&folder->header, &file, nullptr, nullptr), DGSTATUS_SUCCESS);
        EXPECT_EQ(fileNames(&folder->header), (Names{"0.mp3", "1.mp3", "2.mp3"}));
        EXPECT_EQ(+file->size, 0U);
        EXPECT_EQ(file->modificationDate.get(), nullptr);
        return file;
    };
    _MTP_FOLDER_NODE* first = nullptr;
    _MTP_FOLDER_NODE* second = nullptr;
    _MTP_FOLDER_NODE* third = nullptr;
    ASSERT_EQ(mtpGetFolderListHead(storage(), nullptr, &first, nullptr, nullptr), DGSTATUS_SUCCESS);
    ASSERT_EQ(mtpGetNextSiblingFolderNode(first, &second), DGSTATUS_SUCCESS);
    ASSERT_EQ(mtpGetNextSiblingFolderNode(second, &third), DGSTATUS_SUCCESS);
    _MTP_FILE_NODE* listed = list(first);
    const std::uint64_t before = transactions();
    _MTP_FILE_NODE* lookedUp = list(second);
    _MTP_FILE_NODE* received = list(third);
    EXPECT_EQ(transactions(), before + 2) << "one a folder, as ever";
    ASSERT_EQ(mtpSetNameListing(device(), false), DGSTATUS_SUCCESS);

    _MTP_FILE_NODE* again = nullptr;
    ASSERT_EQ(mtpGetFileListHead(&first->header, &again, nullptr, nullptr), DGSTATUS_SUCCESS);
    EXPECT_EQ(again, listed);
    EXPECT_EQ(mtpNodeFromHandle(mtpNodeHandle(&lookedUp->header)), &lookedUp->header);
    EXPECT_EQ(receive(received, _folder.path("received")), DGSTATUS_SUCCESS);
    EXPECT_EQ(_folder.read("received"), "song");
    // Fetching leaves the records to those who read them; this brings them up to date.
    EXPECT_EQ(mtpNodeFromHandle(mtpNodeHandle(&received->header)), &received->header);
    for (const _MTP_FILE_NODE* file : {listed, lookedUp, received}) {
        EXPECT_EQ(+file->size, 4U);
        EXPECT_NE(file->modificationDate.get(), nullptr);
    }
    EXPECT_EQ(transactions(), before + 2 + 3 + 1) << "a list of each folder, and the file";
    _MTP_MEDIA_FILE_INFO* media = nullptr;
    ASSERT_EQ(mtpGetMediaFileInfo(listed, &media), DGSTATUS_SUCCESS);
    mtpReleaseMediaFileInfo(&media);
    EXPECT_EQ(transactions(), before + 2 + 3 + 1) << "the list brought it";
}

TEST_F(ListingTest, aListOfNamesThatTellsOfNoFilesIsNotTheWholeFolder) {
    std::filesystem::create_directories(onDevice("Internal/folder/inner"));
    _folder.write("device/Internal/folder/song.mp3", "song");
    _MTP_FOLDER_NODE* folder = nullptr;
    ASSERT_EQ(mtpGetFolderListHead(storage(), nullptr, &folder, nullptr, nullptr), DGSTATUS_SUCCESS);
    ASSERT_EQ(mtpSetNameListing(device(), true), DGSTATUS_SUCCESS);
    bool leavesOut = true;
    faults().alterData({mtpsdk::OperationCode::GetObjectPropList, 1, 0}, [&](std::vector<std::byte>& bytes) {
        std::vector<mtpsdk::ObjectPropElement> rows;
        ASSERT_TRUE(mtpsdk::decode(bytes, rows));
        const std::uint32_t inner = rows.front().handle;
        std::erase_if(rows, [&](const auto& row) { return leavesOut && row.handle != inner; });
        bytes = mtpsdk::encode(std::span<const mtpsdk::ObjectPropElement>(rows));
    });
    EXPECT_EQ(folderNames(folder), (Names{"inner"}));
    EXPECT_EQ(fileNames(&folder->header), Names());
    ASSERT_EQ(mtpSetNameListing(device(), false), DGSTATUS_SUCCESS);
    leavesOut = false;
    EXPECT_EQ(fileNames(&folder->header), (Names{"song.mp3"}));
}

TEST_F(ListingTest, answersEveryOddArgument) {
    EXPECT_EQ(mtpSetNameListing(nullptr, true), DGSTATUS_INVALID_PARAMETER);
    _MTP_FOLDER_NODE* folder = nullptr;
    _MTP_FILE_NODE* file = nullptr;
    _MTP_STORAGE_NODE* next = nullptr;
    EXPECT_EQ(mtpGetConnectedDeviceListHead(nullptr), DGSTATUS_INVALID_PARAMETER);
    EXPECT_EQ(mtpGetStorageListHead(nullptr, &next), DGSTATUS_INVALID_PARAMETER);
    EXPECT_EQ(mtpGetFolderListHead(nullptr, nullptr, &folder, nullptr, nullptr), DGSTATUS_INVALID_PARAMETER);
    EXPECT_EQ(mtpGetFileListHead(&device()->header, &file, nullptr, nullptr), DGSTATUS_INVALID_SIGNATURE);
    EXPECT_EQ(mtpDeleteNode(root()), DGSTATUS_INVALID_SIGNATURE);
    _MTP_COMMON_NODE foreign{};
    EXPECT_EQ(mtpGetFileListHead(&foreign, &file, nullptr, nullptr), DGSTATUS_NODE_IS_NOT_EXISTED);
    auto* unknown = reinterpret_cast<_MTP_COMMON_NODE*>(mtpRecordMemoryBase() + 0x70000000);
    EXPECT_EQ(mtpDeleteNode(unknown), DGSTATUS_NODE_IS_NOT_EXISTED);
    // A folder of one storage is not found in another.
    ASSERT_EQ(createFolder(root(), "Music", &folder), DGSTATUS_SUCCESS);
    EXPECT_EQ(mtpGetFolderListHead(card(), folder, &folder, nullptr, nullptr), DGSTATUS_NODE_IS_NOT_EXISTED);
    EXPECT_EQ(folder, nullptr);
    EXPECT_EQ(libIsExist(nullptr, 4), 0);
    EXPECT_EQ(libIsExist(&foreign, 4), 0);
    EXPECT_EQ(libIsExist(root(), MTP_SIGNATURE_FILE), 0);
    EXPECT_EQ(libIsExist(root(), MTP_SIGNATURE_STORAGE), 1);
    EXPECT_EQ(mtpNodeFromHandle(mtpNodeHandle(root())), root());
    for (const std::uint32_t handle : {0U, 1U, 0x1234U, 0x7FFFFFFFU, 0xFFFFFFFFU, mtpNodeHandle(root()) + 1}) {
        EXPECT_EQ(mtpNodeFromHandle(handle), nullptr) << handle;
    }
}

TEST_F(ListingTest, countsReferencesToListsOfDevicesAndStorages) {
    _MTP_DEVICE_NODE* second = nullptr;
    EXPECT_EQ(mtpGetConnectedDeviceListHead(&second), DGSTATUS_SUCCESS);
    device();
    _MTP_STORAGE_NODE* again = nullptr;
    ASSERT_EQ(mtpGetStorageListHead(device(), &again), DGSTATUS_SUCCESS);
    EXPECT_EQ(again, storage()) << "asking again keeps the nodes";
    EXPECT_EQ(mtpReleaseStorageList(again), DGSTATUS_SUCCESS);
    EXPECT_EQ(libIsExist(root(), MTP_SIGNATURE_STORAGE), 1);
    _MTP_STORAGE_NODE* stale = storage();
    EXPECT_EQ(mtpReleaseStorageList(stale), DGSTATUS_SUCCESS);
    EXPECT_EQ(libIsExist(&stale->header, MTP_SIGNATURE_STORAGE), 0);
    EXPECT_EQ(mtpReleaseStorageList(stale), DGSTATUS_NODE_IS_NOT_EXISTED);
    ASSERT_EQ(mtpGetStorageListHead(device(), &again), DGSTATUS_SUCCESS);
    EXPECT_NE(again, stale) << "a dead node's memory is not used for another";

    EXPECT_EQ(mtpReleaseDeviceList(second), DGSTATUS_SUCCESS);
    EXPECT_EQ(libIsExist(&device()->header, MTP_SIGNATURE_DEVICE), 1);
    _MTP_DEVICE_NODE* last = device();
    EXPECT_EQ(mtpReleaseDeviceList(last), DGSTATUS_SUCCESS);
    EXPECT_EQ(libIsExist(&last->header, MTP_SIGNATURE_DEVICE), 0);
    EXPECT_EQ(mtpGetNextDevice(last, &second), DGSTATUS_NODE_IS_NOT_EXISTED);
    EXPECT_EQ(mtpReleaseDeviceList(last), DGSTATUS_NODE_IS_NOT_EXISTED);
}

TEST_F(ListingTest, asksForTheStoragesAnewOnceAnythingHappened) {
    storage();
    const auto costOfListing = [&] {
        const std::uint64_t before = transactions();
        _MTP_STORAGE_NODE* again = nullptr;
        EXPECT_EQ(mtpGetStorageListHead(device(), &again), DGSTATUS_SUCCESS);
        EXPECT_EQ(again, storage());
        EXPECT_EQ(mtpReleaseStorageList(again), DGSTATUS_SUCCESS);
        return transactions() - before;
    };
    EXPECT_TRUE(eventually([&] { return costOfListing() == 0; }))
        << "what was told a moment ago is not asked for again";
    _MTP_FOLDER_NODE* folder = nullptr;
    ASSERT_EQ(createFolder(root(), "New", &folder), DGSTATUS_SUCCESS);
    EXPECT_GE(costOfListing(), 3U) << "their number and each of the two";
}

TEST_F(ListingTest, reachesHiddenStoragesByTheirIdOnly) {
    _folder.write("device/Secret/plan.txt", "x");
    _MTP_STORAGE_NODE* hidden = nullptr;
    _MTP_STORAGE_NODE* again = nullptr;
    EXPECT_EQ(mtpGetHiddenStorage(device(), 0, &hidden), DGSTATUS_INVALID_PARAMETER);
    ASSERT_EQ(mtpGetHiddenStorage(device(), hiddenId, &hidden), DGSTATUS_SUCCESS);
    EXPECT_EQ(text(hidden->Label), "Secret");
    EXPECT_EQ(fileNames(&hidden->header), (Names{"plan.txt"}));
    ASSERT_EQ(mtpGetHiddenStorage(device(), hiddenId, &again), DGSTATUS_SUCCESS);
    EXPECT_EQ(again, hidden);
    EXPECT_EQ(text(storage()->Label), "Internal");
    EXPECT_EQ(text(card()->Label), "Card");
    EXPECT_EQ(mtpGetNextStorageNode(card(), &again), DGSTATUS_SUCCESS);
    EXPECT_EQ(again, nullptr);
    sent("in secret.txt", "abc", &hidden->header);
    EXPECT_EQ(contentOnDevice("Secret/in secret.txt"), "abc");
    // It belongs to no list, so it is not released with one.
    EXPECT_EQ(mtpReleaseStorageList(hidden), DGSTATUS_SUCCESS);
    EXPECT_EQ(mtpReleaseStorageList(storage()), DGSTATUS_SUCCESS);
    EXPECT_EQ(libIsExist(&hidden->header, MTP_SIGNATURE_STORAGE), 1);
    EXPECT_EQ(mtpGetHiddenStorage(device(), 0x00090001, &again), DGSTATUS_INTERNAL_INVALIDSTORAGEID);
    EXPECT_EQ(again, nullptr);
}

TEST_F(ListingTest, labelsAreWhatAPersonKnowsAndNoTwoAreEqual) {
    // Volume identifier and description of the two storages, and the labels that come of them.
    const struct {
        std::u16string first[2];
        std::u16string second[2];
        Names labels;
    } rows[] = {
        {{u"Phone", u"Internal shared storage"}, {u"Card", u"SD card"}, {"Phone", "Card"}},
        {{u"0012-ABCD", u"Internal storage"}, {u"MTP_00020001", u"SD card"}, {"Internal storage", "SD card"}},
        {{u"", u"Storage"}, {u"", u"storage"}, {"Storage", "storage (2)"}},
        {{u"", u""}, {u"", u""}, {"Storage", "Storage (2)"}},
        {{u"a/b", u""}, {u"..", u""}, {"a_b", "__"}},
    };
    for (const auto& row : rows) {
        faults().clear();
        unsigned asked = 0;
        faults().alterData({mtpsdk::OperationCode::GetStorageInfo, 1, 0}, [&](std::vector<std::byte>& bytes) {
            mtpsdk::StorageInfo info;
            ASSERT_TRUE(mtpsdk::decode(bytes, info));
            const auto& texts = asked++ % 2 == 0 ? row.first : row.second;
            info.volumeIdentifier = texts[0];
            info.description = texts[1];
            bytes = mtpsdk::encode(info);
        });
        EXPECT_EQ((Names{text(storage()->Label), text(card()->Label)}), row.labels);
        close();
    }
    faults().clear();
}

TEST_F(ListingTest, keepsHostileNamesInTheirFolder) {
    const Names real = {"a.txt", "b.txt", "c.txt", "d.txt", "e.txt", "up__"};
    for (const std::string& name : real) {
        _folder.write("device/Internal/" + name, name);
    }
    faults().tellName("a.txt", u"..");
    faults().tellName("b.txt", u"x/y");
    faults().tellName("c.txt", u"x\\u0000");
    faults().tellName("d.txt", u"x/y");
    faults().tellName("e.txt", u"up//");
    const Names names = fileNames();
    ASSERT_EQ(names.size(), real.size());
    Names sorted = names;
    std::ranges::sort(sorted);
    EXPECT_EQ(std::ranges::adjacent_find(sorted), sorted.end()) << "two siblings of one name";
    for (const std::string& name : names) {
        EXPECT_EQ(name.find('/'), std::string::npos);
        EXPECT_NE(name, "..");
    }
    EXPECT_TRUE(std::ranges::count(names, "up__") == 1 && std::ranges::count(names, "x_y") == 1 &&
                std::ranges::count(names, "x_y (2)") == 1)
        << testing::PrintToString(names);
}

TEST_F(ListingTest, readsPropertiesInTwoCalls) {
    std::uint32_t size = 0;
    ASSERT_EQ(mtpGetFriendlyName(device(), nullptr, &size), DGSTATUS_MORE_DATA);
    EXPECT_EQ(size, 24U);
    std::vector<std::uint16_t> buffer(size / 2);
    ASSERT_EQ(mtpGetFriendlyName(device(), buffer.data(), &size), DGSTATUS_SUCCESS);
    EXPECT_EQ(buffer, units("Test Player"));
    size = 4;
    EXPECT_EQ(mtpGetFriendlyName(device(), buffer.data(), &size), DGSTATUS_MORE_DATA);
    EXPECT_EQ(size, 24U);
    EXPECT_EQ(mtpGetFriendlyName(device(), buffer.data(), nullptr), DGSTATUS_INVALID_PARAMETER);
    ASSERT_EQ(mtpGetSerialNumber(device(), nullptr, &size), DGSTATUS_MORE_DATA);
    EXPECT_EQ(mtpGetModelName(device(), nullptr, &size), DGSTATUS_MORE_DATA);
    EXPECT_EQ(mtpGetManufacturerName(device(), nullptr, &size), DGSTATUS_MORE_DATA);
    EXPECT_EQ(mtpGetSyncpartner(device(), nullptr, &size), DGSTATUS_NO_DATA);

    const auto name = units("Büro");
    const std::uint64_t before = transactions();
    ASSERT_EQ(mtpSetFriendlyName(device(), name.data(), bytes(name) - 2), DGSTATUS_SUCCESS);
    ASSERT_EQ(mtpGetFriendlyName(device(), buffer.data(), &size), DGSTATUS_SUCCESS);
    const std::uint64_t after = transactions();
    EXPECT_EQ(after, before + 2);
    EXPECT_EQ(std::u16string(buffer.begin(), buffer.begin() + 4), u"Büro");
    mtpGetFriendlyName(device(), buffer.data(), &size);
    EXPECT_EQ(transactions(), after) << "every path needs the friendly name: it is asked for once";
    EXPECT_EQ(mtpSetFriendlyName(device(), name.data(), 0), DGSTATUS_INVALID_PARAMETER);
    ASSERT_EQ(mtpSetSyncpartner(device(), name.data(), bytes(name) - 2), DGSTATUS_SUCCESS);
    EXPECT_EQ(mtpGetSyncpartner(device(), nullptr, &size), DGSTATUS_MORE_DATA);
}

/// A path begins with the device's name, so every device has one that can be part of a path.
TEST_F(ListingTest, givesEveryDeviceAUsableName) {
    using namespace mtpsdk;
    const FaultPlan::When always{OperationCode::GetDevicePropValue, 1, 0};
    const auto named = [&](const std::u16string& name) {
        faults().alterData(always, [name](auto& bytes) { bytes = encode(PropertyValue::string(name)); });
    };
    const auto modelled = [&](const std::u16string& model, bool tellsName) {
        faults().alterData({OperationCode::GetDeviceInfo, 1, 0}, [model, tellsName](auto& bytes) {
            DeviceInfo info;
            ASSERT_TRUE(decode(bytes, info));
            info.model = model;
            if (!tellsName) {
                info.deviceProperties.clear();
            }
            bytes = encode(info);
        });
    };
    const struct {
        std::function<void()> prepare;
        std::string name;
    } cases[] = {
        {[&] { named(u"A/B"); }, "A_B"},
        {[&] { named(u".."); }, "__"},
        {[&] { named(u""); }, "Virtual Player"},
        {[&] { faults().refuse(always, ResponseCode::GeneralError); }, "Virtual Player"},
        {[&] { modelled(u"Player/2", false); }, "Player_2"},
        {[&] { modelled(u"", false); }, "MTP device"},
    };
    for (const auto& each : cases) {
        SCOPED_TRACE(each.name);
        each.prepare();
        std::vector<std::uint16_t> buffer(256);
        auto size = static_cast<std::uint32_t>(buffer.size() * 2);
        ASSERT_EQ(mtpGetFriendlyName(device(), buffer.data(), &size), DGSTATUS_SUCCESS);
        buffer.resize(size / 2);
        EXPECT_EQ(buffer, units(each.name));
        const std::uint64_t before = transactions();
        EXPECT_EQ(mtpGetFriendlyName(device(), nullptr, &size), DGSTATUS_MORE_DATA);
        EXPECT_EQ(transactions(), before) << "a name that stands in is kept, too";
        close();
        faults().clear();
    }
    faults().delay(always, std::chrono::seconds(60));
    faults().setPatience(std::chrono::milliseconds(10));
    std::uint32_t size = 0;
    EXPECT_EQ(mtpGetFriendlyName(device(), nullptr, &size), DGSTATUS_INTERNAL_DEVICE_NOT_RESPONSE)
        << "whether it has a name is not known";
}

TEST_F(ListingTest, asksForAStorageOnceAndForNoEndlessNumber) {
    std::vector<std::uint32_t> ids(500, storage()->header.Id);
    for (std::uint32_t id = 1; id <= 5000; ++id) {
        ids.push_back(id << 16 | 1);
    }
    faults().alterData({mtpsdk::OperationCode::GetStorageIDs, 1, 0},
                       [&](std::vector<std::byte>& bytes) { bytes = mtpsdk::encode(ids); });
    _MTP_FOLDER_NODE* folder = nullptr;
    ASSERT_EQ(createFolder(root(), "New", &folder), DGSTATUS_SUCCESS); // what was told before is no longer fresh
    const std::uint64_t before = transactions();
    _MTP_STORAGE_NODE* again = nullptr;
    ASSERT_EQ(mtpGetStorageListHead(device(), &again), DGSTATUS_SUCCESS);
    EXPECT_EQ(again, storage());
    EXPECT_EQ(text(card()->Label), "Card");
    EXPECT_LE(transactions(), before + 257);
    EXPECT_GE(transactions(), before + 3);
}

} // namespace
