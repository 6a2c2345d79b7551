// SPDX-License-Identifier: MIT
// Listings: what lies in a folder, and every file of a storage.
#include "tests/device/service/FileService.h"

#include <algorithm>

using platform::Array;
using platform::Dictionary;
using tests::Names;
using tests::Text;
using tests::values;

namespace {

class FileServiceListTest : public tests::FileService {};

} // namespace

TEST_F(FileServiceListTest, FilesAndFoldersOfAFolder) {
    put("Phone/Sounds/a.mp3", "song");
    put("Phone/Sounds/Ünïcode .txt", "");
    put("Phone/Sounds/.hidden", "x");
    put("Phone/Sounds/Album/inner.mp3", "x");
    put("Phone/Sounds/.thumbs/t.jpg", "x");
    put("Phone/top.txt", "top");
    reopen();

    const auto listed = service->fileLists("/Player/Phone/Sounds");
    EXPECT_EQ(values(listed, "FileName"), (Names{"a.mp3", "Ünïcode .txt", ".hidden"}));
    EXPECT_EQ(values(listed, "NodeID"), Names{"(none)"});
    EXPECT_EQ(values(service->folderLists("/Player/Phone/Sounds"), "FilePath"),
              (Names{"/Player/Phone/Sounds/Album", "/Player/Phone/Sounds/.thumbs"}));
    EXPECT_EQ(values(service->fileLists("/player/PHONE"), "FilePath"), Names{"/player/PHONE/top.txt"});
    EXPECT_EQ(values(service->fileLists("/Player/Phone/Sounds/Album"), "FileName"), Names{"inner.mp3"});
    EXPECT_EQ(service->folderLists("/Player/Phone/Sounds/Album"), Array());
    EXPECT_TRUE(indexed("/PLAYER/phone/sounds/A.mp3"));
    EXPECT_TRUE(indexed("/Player/Phone/Sounds/Album"));
}

TEST_F(FileServiceListTest, WhatIsNoFolderHasNoListing) {
    put("Phone/Sounds/a.mp3", "song");
    reopen();
    for (const Text& path :
         {Text(), Text(""), Text("/"), Text("/Player"), Text("/Player/Nowhere"), Text("/Player/Phone/Gone"),
          Text("/Player/Phone/Gone/Sounds"), Text("/Player/Phone/Sounds/a.mp3"), Text("Other:"), Text(":x")}) {
        EXPECT_EQ(service->fileLists(path), std::nullopt) << path.value_or("(none)");
        EXPECT_EQ(service->folderLists(path), std::nullopt) << path.value_or("(none)");
    }
}

TEST_F(FileServiceListTest, AColonInADevicePathIsPartOfAName) {
    put("Phone/Part 1: Begin/a: b.mp3", "song");
    reopen();
    EXPECT_EQ(values(service->fileLists("/Player/Phone/Part 1: Begin"), "FileName"), Names{"a: b.mp3"});
    EXPECT_EQ(service->folderLists("/Player/Phone/Part 1: Begin"), Array());
    EXPECT_TRUE(service->readFileData("/Player/Phone/Part 1: Begin/a: b.mp3"));
}

TEST_F(FileServiceListTest, AHiddenVolumeIsListedUnderTheNameThatItWasGiven) {
    put("Vault/Music/x.mp3", "hidden");
    put("Vault/top.txt", "top");
    reopen();
    EXPECT_EQ(values(service->fileLists("Vault:Music"), "FilePath"), Names{"Vault:Music/x.mp3"});
    EXPECT_EQ(values(service->fileLists("~vault:Music"), "FilePath"), Names{"~vault:Music/x.mp3"});
    EXPECT_EQ(values(service->folderLists("Vault:"), "FilePath"), Names{"Vault:/Music"});
    EXPECT_EQ(values(service->fileLists("Vault:"), "FileName"), Names{"top.txt"});
    EXPECT_EQ(service->fileLists("Vault:Gone"), std::nullopt);
    EXPECT_TRUE(indexed("Vault:Music/x.mp3"));

    EXPECT_EQ(service->fileSizeAtDevice("Vault:Music/x.mp3"), 6U);
    EXPECT_TRUE(service->deletefileAtDevice("Vault:Music/x.mp3", &error));
    EXPECT_FALSE(isOnDevice("Vault/Music/x.mp3"));
    EXPECT_EQ(values(service->fileLists("Vault:/Music"), "FileName"), Names{});
}

TEST_F(FileServiceListTest, EveryFileOfAStorage) {
    put("Phone/Sounds/a.mp3", "song");
    put("Phone/.hidden/b", "bb");
    put("Phone/Videos/.nomedia", "");
    put("Card/c", "c");
    reopen();
    const auto listed = service->subpathsAtDisk(std::nullopt, 0);
    EXPECT_EQ(values(listed, "FilePath"),
              (Names{"/Player/Phone/.hidden/b", "/Player/Phone/Sounds/a.mp3", "/Player/Phone/Videos/.nomedia"}));
    for (const auto& entry : listed.value_or(Array())) {
        const Dictionary& file = *entry.dictionary();
        EXPECT_EQ(indexed(*file.string("FilePath")), file.string("NodeID"));
        EXPECT_EQ(service->fileSizeAtDevice(file.string("FilePath")), file.uint64("FileSize"));
    }
    EXPECT_EQ(values(service->subpathsAtDisk("", 1), "FileName"), Names{"c"});
    EXPECT_EQ(service->subpathsAtDisk(std::nullopt, 2), std::nullopt);
    service->addDiskInformation(Dictionary{{"diskIndex", 7U}});
    EXPECT_EQ(service->subpathsAtDisk(std::nullopt, 7), std::nullopt) << "no volume path";
    reopen(); // what was listed before would be answered from memory
    device->pullOut();
    EXPECT_EQ(service->subpathsAtDisk(std::nullopt, 0), std::nullopt) << "the device is gone";
    EXPECT_EQ(service->fileLists("/Player/Phone/Sounds"), std::nullopt);
    service->disconnectDevice(device->locationID());
    EXPECT_EQ(service->subpathsAtDisk(std::nullopt, 0), std::nullopt);
}

TEST_F(FileServiceListTest, AListingCountsAsATransferAndTakesOneRequestMetadataIncluded) {
    for (const char* name : {"a.mp3", "b.mp3", "c.jpg"}) {
        put(std::string("Phone/Sounds/") + name, "content");
    }
    reopen();
    std::vector<std::int32_t> meanwhile;
    device->faults().alterData({mtpsdk::OperationCode::GetObjectPropList, 1, 0},
                               [&](auto&) { meanwhile.push_back(inside()->_FileTransferStatus); });
    const auto listed = service->fileLists("/Player/Phone/Sounds");
    device->faults().clear(); // the device may have news still, for which the library asks outside of the listing
    ASSERT_EQ(listed.value_or(Array()).size(), 3U);
    EXPECT_EQ(std::ranges::count(meanwhile, std::int32_t{TransferStatusRunning}), 1);
    EXPECT_EQ(inside()->_FileTransferStatus, TransferStatusDone);
}

TEST_F(FileServiceListTest, AHostileDeviceDecidesNoPaths) {
    put("Phone/Sounds/up", "1");
    put("Phone/Sounds/slash", "2");
    put("Phone/Sounds/huge", "3");
    put("Phone/Sounds/twin", "4");
    reopen();
    device->faults().tellName("up", u"..");
    device->faults().tellName("slash", u"../../a/b");
    device->faults().tellName("twin", u"a\tb");
    device->faults().tellSize("huge", 1ULL << 63U);
    const auto listed = service->fileLists("/Player/Phone/Sounds");
    EXPECT_EQ(values(listed, "FileName"), (Names{"__", ".._.._a_b", "huge", "a_b"}));
    EXPECT_EQ(service->fileSizeAtDevice("/Player/Phone/Sounds/huge"), 1ULL << 63U);
    EXPECT_EQ(service->readFileData("/Player/Phone/Sounds/huge"), std::nullopt);
}

TEST_F(FileServiceListTest, AFolderOfTenThousandAndFoldersInFolders) {
    constexpr std::size_t many = 10'000;
    close(); // an open device would look at each file as it comes
    for (std::size_t i = 0; i < many; ++i) {
        put("Phone/Sounds/" + std::to_string(i) + ".txt", "");
    }
    std::string deep = "Phone";
    for (int i = 0; i < 1000; ++i) {
        deep += "/d";
    }
    put(deep + "/file", "down here");
    put(deep + "/deeper/still", "out of sight");
    open();
    const auto listed = service->fileLists("/Player/Phone/Sounds");
    EXPECT_EQ(values(listed, "FileName").size(), many);
    EXPECT_TRUE(indexed("/Player/Phone/Sounds/9999.txt"));
    const auto all = service->subpathsAtDisk(std::nullopt, 0);
    ASSERT_TRUE(all);
    EXPECT_EQ(all->size(), many + 1);
    EXPECT_EQ(service->fileSizeAtDevice("/Player/" + deep + "/file"), 9U);
}
