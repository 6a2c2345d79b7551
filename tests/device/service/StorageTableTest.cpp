// SPDX-License-Identifier: MIT
#include "host/ProfileHandler.h"
#include "tests/device/service/World.h"

#include <gtest/gtest.h>

using platform::Array;
using platform::Dictionary;
using Text = std::optional<std::string>;

// What the service answers from its tables and rules alone, without a device.

namespace {

Dictionary storage(std::uint32_t index, std::uint32_t type, const std::string& path) {
    return {{"diskIndex", index},         {"diskType", type},
            {"volumePath", path},         {"DefaultMusicPath", path + "/Sounds"},
            {"DefaultMusicID", "1A2B3C"}, {"DefaultPlaylistPath", path + "/Playlists"}};
}

} // namespace

TEST(StorageTable, LookupsTakeTheFirstMatch) {
    MTPService service;
    EXPECT_EQ(service.storageInformation(), Array());
    service.addDiskInformation(storage(0, 1, "/Player/Phone"));
    service.addDiskInformation(storage(1, 2, "/Player/Card"));
    service.addDiskInformation(storage(1, 2, "/Player/Second"));
    service.addDiskInformation(std::nullopt);
    ASSERT_EQ(service.diskInformation()->size(), 3U);
    EXPECT_EQ(service.storagePath(1), "/Player/Card");
    EXPECT_EQ(service.storagePath(7), std::nullopt);
    std::uint32_t index = 9;
    EXPECT_EQ(service.storagePathWithOption(false, &index), "/Player/Card");
    EXPECT_EQ(index, 1U);
    EXPECT_EQ(service.storagePathWithOption(true, nullptr), "/Player/Phone");

    EXPECT_EQ(service.storageTotalSpace("/Player/Phone"), 0U);
    service.setStorageTotalSpace("/player/PHONE", 1ULL << 40U);
    service.setStorageUsedSpace("/Player/Phone", 5);
    service.setStorageUsedSpace("/Player/Nowhere", 6);
    EXPECT_EQ(service.storageTotalSpace("/Player/phone"), 1ULL << 40U);
    EXPECT_EQ(service.storageUsedSpace("/Player/Phone"), 5U);
    EXPECT_EQ(service.storageUsedSpace(std::nullopt), 0U);

    service.removeDiskInformation(storage(1, 2, "/Player/Card"));
    EXPECT_EQ(service.storagePath(1), "/Player/Second");
    service.removeDiskInformation(storage(1, 2, "/Player/Second"));
    EXPECT_EQ(service.storagePathWithOption(false, &index), std::nullopt);
    EXPECT_EQ(index, 0U);
    EXPECT_EQ(service.totalSpace(0, 4), 0U);
    EXPECT_EQ(service.freeSpace(0, 4), 0U);
}

TEST(StorageTable, DefaultFoldersAreFoundByPathInsideAndSetByTheFolderItself) {
    MTPService service;
    service.addDiskInformation(storage(0, 1, "/Player/Phone"));
    EXPECT_EQ(service.defaultMediaPath(0, 1), "/Player/Phone/Sounds");
    EXPECT_EQ(service.defaultMediaPath(0, 10), "/Player/Phone/Playlists");
    EXPECT_EQ(service.defaultMediaPath(0, 2), std::nullopt);
    EXPECT_EQ(service.defaultMediaPath(0, 5), std::nullopt);
    EXPECT_EQ(service.defaultMediaPath(1, 1), std::nullopt);

    EXPECT_EQ(service.defaultMediaID("/player/phone/sounds/Rock/a.mp3", 1), "1A2B3C");
    EXPECT_EQ(service.defaultMediaID("/Player/Phone/Other", 1), std::nullopt);
    EXPECT_EQ(service.defaultMediaID("/Player/Phone/Sounds", 7), std::nullopt);
    service.setDefaultMediaID("/Player/Phone/Sounds/Rock", 1, "FF00");
    EXPECT_EQ(service.defaultMediaID("/Player/Phone/Sounds", 1), "1A2B3C");
    service.setDefaultMediaID("/PLAYER/Phone/Sounds", 1, "FF00");
    service.setDefaultMediaID("/Player/Phone/Sounds", 1, std::nullopt);
    EXPECT_EQ(service.mediaDefaultNode("/Player/Phone/Sounds", 1), "FF00");
    EXPECT_EQ(service.mediaDefaultNode("/Player/Phone/Sounds", 6), std::nullopt);
    EXPECT_EQ(service.mediaDefaultNode("/Player/Phone/Playlists", 10), std::nullopt) << "no device makes the folder";
}

TEST(StorageTable, DeviceInformation) {
    MTPService service;
    service.setDeviceInformation(std::nullopt);
    service.setDeviceInformation(Dictionary{{"HVID", "A:1"}});
    EXPECT_EQ(service.modelName(), std::nullopt);
    service.setDeviceInformation(Dictionary{{"MN", "Model"}});
    EXPECT_EQ(service.modelName(), "Model");
    EXPECT_FALSE(service.hiddenVolumeInfo(std::nullopt));
    for (const char* text : {"", ":", ",", "A", "A:", "A:1,B", "A:0,B:7", "A:x:7", "A:99999999999999999999,~:3"}) {
        EXPECT_TRUE(service.hiddenVolumeInfo(text)) << text;
    }
    EXPECT_EQ(service.hiddenStorageInfo(0), nullptr);
    service.releaseHiddenStorage();
}

TEST(StorageTable, LocalVolumes) {
    MTPService service;
    EXPECT_GT(service.volumeFreeSpace("/home/someone/a.mp3"), 0U);
    EXPECT_EQ(service.volumeFreeSpace("/Volumes/There is no such volume/Music/a.mp3"), 0U);
    EXPECT_EQ(service.volumeFreeSpace("/"), 0U);
    EXPECT_EQ(service.volumeFreeSpace(std::nullopt), 0U);
}

TEST(Classification, ByExtension) {
    const MTPService service;
    const std::vector<std::pair<Text, std::uint32_t>> cases{
        {"song.mp3", 1}, {"song.MP3", 1}, {"/a/b.c/photo.Jpeg", 2}, {"x.wbmp", 2}, {"clip.3GP", 3},
        {"a.rmvb", 3},   {"feed.xml", 4}, {"track.m4a", 0},         {"mp3", 0},    {"archive.mp3.zip", 0},
        {".mp3", 0},     {"x", 0},        {std::nullopt, 0}};
    for (const auto& [name, type] : cases) {
        EXPECT_EQ(service.checkMediaType(name), type) << name.value_or("nothing");
    }
}

TEST(Names, AreMadeSafe) {
    const MTPService service;
    const std::vector<std::pair<std::string, std::string>> names{{"a:b?.mp3", "a_b_.mp3"},
                                                                 {"http://x/y", "x_y"},
                                                                 {"HTTP://http://x", "http___x"},
                                                                 {"see HtTp://x", "see x"},
                                                                 {"/:*?\"\\<>|\r\n", "___________"},
                                                                 {"Für Elise 🎵.mp3", "Für Elise 🎵.mp3"},
                                                                 {"", ""}};
    for (const auto& [name, safe] : names) {
        EXPECT_EQ(service.convertAvailableFileName(name), safe);
    }
    EXPECT_EQ(service.convertAvailableString("/a:b/c?/d"), "/a_b/c_/d");
    EXPECT_EQ(service.convertAvailableString("a//b"), "/a/b");
    EXPECT_EQ(service.convertAvailableString("/"), "");
}

TEST(Sizes, OfLocalFilesAndContents) {
    const tests::TemporaryFolder folder;
    const MTPService service;
    const std::string file = tests::makeFile(folder.path("a"), 1000);
    EXPECT_EQ(service.getLocalFileSize(file), 1000U);
    EXPECT_EQ(service.getLocalFileSize(folder.path("missing")), 0U);
    EXPECT_EQ(service.getLocalFileSize(std::nullopt), 0U);
    const Array contents{tests::content(file),
                         Dictionary{{"FilePath", file}, {"FileSize", 7}},
                         Dictionary{{"FileSize", 0x1'0000'0005ULL}}, // 32 bits of it count
                         tests::content(folder.path("missing")),
                         Dictionary{{"FileName", "nothing"}},
                         nullptr};
    EXPECT_EQ(service.totalMediaFileSize(contents), 1012U);
    EXPECT_EQ(service.totalMediaFileSize(std::nullopt), 0U);
}
