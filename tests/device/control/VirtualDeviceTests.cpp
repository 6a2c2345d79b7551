// SPDX-License-Identifier: MIT
// MtpControl over the real library and a virtual device: what the walks find on it, and what changes land on the disk.
#include "device/MTPService/MTPControl.h"
#include "platform/Strings.h"
#include "vemomtpsdk/Devices.h"

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>
#include <iterator>
#include <utility>

namespace {

namespace fs = std::filesystem;
using NodeID = MtpControl::NodeID;

/// Card: Music/{Rock/{deep.mp3}, song.mp3}, Rock/, top.mp3
class VirtualDeviceTest : public testing::Test {
protected:
    static constexpr std::uint32_t location = 0xF2000001;

    VirtualDeviceTest() {
        std::string name = (fs::temp_directory_path() / "mtpcontrolXXXXXX").string();
        folder = mkdtemp(name.data());
        vemomtpsdk::VirtualDeviceDescription description;
        description.friendlyName = "My Phone";
        description.locationId = location;
        for (const char* label : {"Phone", "Card"}) {
            vemomtpsdk::VirtualStorage& storage = description.storages.emplace_back();
            storage.label = label;
            storage.capacity = 1 << 20;
        }
        std::string reason;
        EXPECT_TRUE(vemomtpsdk::createVirtualDevice(onDisk().string(), description, reason)) << reason;
        write(onCard("Music/Rock/deep.mp3"), "deep");
        write(onCard("Music/song.mp3"), "song");
        write(onCard("top.mp3"), "top");
        fs::create_directory(onCard("Rock"));
        EXPECT_EQ(vemomtpsdk::addVirtualDevice(onDisk().string()), DGSTATUS_SUCCESS);
        EXPECT_EQ(control.getMTPDeviceHead(&deviceHead), DGSTATUS_SUCCESS);
        device = control.deviceWithLocationId(deviceHead, location);
        EXPECT_EQ(control.getMTPStorageListHead(device, &head), DGSTATUS_SUCCESS);
        card = control.getStorageNode(device, &head, "Card");
    }
    ~VirtualDeviceTest() override {
        control.releaseMTPStorageList(head);
        control.releaseMTPDeviceList(deviceHead);
        vemomtpsdk::removeVirtualDevice(onDisk().string());
        fs::remove_all(folder);
    }

    [[nodiscard]] fs::path onDisk() const { return folder / "device"; }
    [[nodiscard]] fs::path onCard(const char* inside) const { return onDisk() / "Card" / inside; }
    static void write(const fs::path& path, const std::string& content) {
        fs::create_directories(path.parent_path());
        std::ofstream(path) << content;
    }
    static std::string read(const fs::path& path) {
        std::ifstream file(path);
        return {std::istreambuf_iterator<char>(file), {}};
    }
    static std::string nameOf(const _MTP_FOLDER_NODE* node) {
        return node == nullptr
                   ? ""
                   : platform::toUtf8(std::u16string(node->name.get(), node->name.get() + node->nameSize - 1));
    }

    fs::path folder;
    MtpControl control;
    _MTP_DEVICE_NODE* deviceHead = nullptr;
    _MTP_DEVICE_NODE* device = nullptr;
    _MTP_STORAGE_NODE* head = nullptr;
    _MTP_STORAGE_NODE* card = nullptr;
    std::uint32_t error = 0xEE;
};

TEST_F(VirtualDeviceTest, walksFindWhatIsThere) {
    ASSERT_NE(card, nullptr);
    EXPECT_EQ(control.getStorageNode(device, &head, "/My Phone/CARD"), card);
    EXPECT_EQ(control.maxCapacity(device, head, "/My Phone/Card"), 1U << 20);
    _MTP_STORAGE_NODE* storage = nullptr;
    EXPECT_EQ(nameOf(control.searchFolder(device, &head, &storage, "/my phone/card/music/ROCK/deep.mp3")), "Rock");
    EXPECT_EQ(storage, card);
    const _MTP_FOLDER_NODE* rootRock = control.getFolderNode("rock", card, nullptr);
    EXPECT_EQ(control.lastFolderNode(device, card, "Music/Missing/Rock"), rootRock);
    bool directory = false;
    EXPECT_NE(control.fileNodeAtPath(device, head, "/My Phone/Card/Music/Rock", &directory), nullptr);
    EXPECT_TRUE(directory);
    EXPECT_TRUE(control.fileExistsAtPath("/My Phone/Card/Music/SONG.mp3", std::nullopt, device, head, &directory));
    EXPECT_FALSE(directory);
    EXPECT_EQ(control.fileSize(device, head, "/My Phone/Card/Music/Rock/deep.mp3", std::nullopt, nullptr), 4U);
}

TEST_F(VirtualDeviceTest, sendsIntoNewFoldersAndReceivesBack) {
    const fs::path local = folder / "new.mp3";
    write(local, "new song");
    const platform::Dictionary data{{"FilePath", local.string()}, {"MediaType", 0x1000001U}, {"Title", "A title"},
                                    {"Artist", "An artist"},      {"PlayLength", 61U},       {"Description", "Long."}};
    NodeID file;
    ASSERT_TRUE(control.sendMediaFileToMTPEx(device, head, std::nullopt, &data, "/My Phone/Card/a/b/new.mp3", nullptr,
                                             nullptr, &file, &error));
    EXPECT_EQ(read(onCard("a/b/new.mp3")), "new song");
    EXPECT_TRUE(control.fileIsExists(file, nullptr));

    NodeID existing;
    EXPECT_FALSE(control.sendMediaFileToMTPEx(device, head, std::nullopt, &data, "/My Phone/Card/a/b/new.mp3", nullptr,
                                              nullptr, &existing, &error));
    EXPECT_EQ(error, 0x10000005U);
    EXPECT_EQ(existing, file);

    EXPECT_TRUE(control.uploadFileFromMTPEx(device, head, file, "/ignored", (folder / "back").string(), nullptr,
                                            nullptr, &error));
    EXPECT_EQ(read(folder / "back"), "new song");
    NodeID found;
    _MTP_MEDIA_FILE_INFO* media =
        control.getMediaFileInfo(device, head, std::nullopt, "/My Phone/Card/a/b/new.mp3", &found);
    const auto info = control.mediaInfoContents(media, std::nullopt, std::nullopt, found);
    control.releaseMTPMediaFileInfo(media);
    ASSERT_TRUE(info);
    EXPECT_EQ(info->string("NodeID"), file);
    EXPECT_EQ(info->string("FileName"), "new.mp3");
    EXPECT_EQ(info->string("Title"), "A title");
    EXPECT_EQ(info->string("Artist"), "An artist");
    EXPECT_EQ(info->uint32("PlayLength"), 61U);
    EXPECT_EQ(info->uint64("FileSize"), 8U);
    EXPECT_EQ(info->uint32("MediaType"), 0x1000001U);
}

TEST_F(VirtualDeviceTest, receivesWithAListThatIsFetchedForTheCallAlone) {
    control.releaseMTPStorageList(std::exchange(head, nullptr));
    EXPECT_TRUE(control.uploadFileFromMTP(device, nullptr, std::nullopt, "/My Phone/Card/Music/song.mp3",
                                          (folder / "back").string(), nullptr, nullptr, &error));
    EXPECT_EQ(read(folder / "back"), "song");
}

TEST_F(VirtualDeviceTest, changesLandOnTheDisk) {
    EXPECT_TRUE(
        control.renameItemAtPath(device, head, std::nullopt, "/My Phone/Card/Music/song.mp3", "other.mp3", &error));
    EXPECT_EQ(read(onCard("Music/other.mp3")), "song");
    NodeID made;
    EXPECT_TRUE(control.createFolder(device, head, "/My Phone/Card/Music/New", &made, &error));
    EXPECT_TRUE(fs::is_directory(onCard("Music/New")));
    EXPECT_TRUE(control.deleteItemAtPath(device, head, std::nullopt, "/My Phone/Card/Music/Rock", &error));
    EXPECT_FALSE(fs::exists(onCard("Music/Rock")));
    EXPECT_TRUE(fs::exists(onCard("Rock")));
}

TEST_F(VirtualDeviceTest, staleIDsDeleteNothingElse) {
    const NodeID stale = MtpControl::nodeIDText(control.getFileNode(&card->header, "top.mp3"));
    EXPECT_TRUE(control.deleteItemAtPath(device, head, stale, std::nullopt, &error));
    EXPECT_FALSE(fs::exists(onCard("top.mp3")));
    EXPECT_FALSE(control.fileIsExists(stale, nullptr));
    EXPECT_FALSE(control.deleteItemAtPath(device, head, stale, "/My Phone/Card/Missing/Rock", &error));
    EXPECT_TRUE(fs::exists(onCard("Rock")));
    EXPECT_TRUE(control.deleteItemAtPath(device, head, stale, "/My Phone/Card/Music/song.mp3", &error));
    EXPECT_FALSE(fs::exists(onCard("Music/song.mp3")));
}

/// The playlists of the card, and its two songs.
class PlaylistOperations : public VirtualDeviceTest {
protected:
    PlaylistOperations() {
        for (const char* path : {"/My Phone/Card/Music/song.mp3", "/My Phone/Card/Music/Rock/deep.mp3"}) {
            songs.push_back(reinterpret_cast<_MTP_FILE_NODE*>(control.fileNodeAtPath(device, head, path, nullptr)));
        }
        lists = &control.createFolder(&card->header, "Playlists", &error)->header;
    }
    std::vector<_MTP_FILE_NODE*> files() { return control.enumeratorFileNodeAtPlaylist(device, card, "mix", &error); }

    std::vector<_MTP_FILE_NODE*> songs;
    _MTP_COMMON_NODE* lists = nullptr;
};

TEST_F(PlaylistOperations, listsTellWhatIsThere) {
    EXPECT_EQ(control.enumeratorPlaylistNames(device, card), platform::Array());
    EXPECT_EQ(control.enumeratorPlaylistNames(device, nullptr), std::nullopt);
    const std::vector<_MTP_FILE_NODE*> written = {songs[1], nullptr, songs[0], songs[1]};
    _MTP_PLAYLIST_NODE* mix = nullptr;
    ASSERT_EQ(control.setPlayListInfo(lists, "Mix", written, &mix), DGSTATUS_SUCCESS);
    _MTP_PLAYLIST_NODE* again = nullptr;
    EXPECT_EQ(control.setPlayListInfo(lists, "MIX", {}, &again), DGSTATUS_NODE_FILE_DUPNAME_EXISTED);
    EXPECT_EQ(again, mix);
    EXPECT_EQ(control.setPlayListInfo(nullptr, "Mix", {}, nullptr), DGSTATUS_UNSUCCESSFUL);
    EXPECT_EQ(control.searchPlaylistName(device, card, "mIx"), mix);
    EXPECT_EQ(control.searchPlaylistName(device, card, "Mix.pla"), nullptr);
    EXPECT_EQ(files(), (std::vector{songs[1], songs[0], songs[1]}));

    const auto names = control.enumeratorPlaylistNameInfo(device, card, "/My Phone/Card/Playlists");
    ASSERT_TRUE(names && names->size() == 1);
    const platform::Dictionary& info = *names->front().dictionary();
    EXPECT_EQ(info.string("PlaylistName"), "Mix");
    EXPECT_EQ(info.string("FilePath"), "/My Phone/Card/Playlists/Mix.pla");
    EXPECT_EQ(info.string("NodeID"), MtpControl::nodeIDText(mix));
    EXPECT_EQ(info.uint32("ObjectID"), std::uint32_t{mix->header.Id});
    EXPECT_EQ(info.uint32("FileCount"), 3U);

    const auto content = control.enumeratorPlaylistInfo(device, card, "MIX", "/My Phone/Card");
    ASSERT_TRUE(content && content->size() == 1);
    const platform::Array* children = content->front().dictionary()->array("children");
    ASSERT_TRUE(children != nullptr && children->size() == 3);
    const platform::Dictionary& child = *children->front().dictionary();
    EXPECT_EQ(child.string("FileName"), "deep.mp3");
    EXPECT_EQ(child.string("FilePath"), "/My Phone/Card/Music/Rock/deep.mp3");
    EXPECT_EQ(child.string("NodeID"), MtpControl::nodeIDText(songs[1]));
    EXPECT_EQ(child.uint64("FileSize"), 4U);
    EXPECT_EQ(control.enumeratorPlaylistInfo(device, card, "Other", "/My Phone/Card"), std::nullopt);
}

TEST_F(PlaylistOperations, singleFilesComeAndGo) {
    _MTP_PLAYLIST_NODE* mix = nullptr;
    ASSERT_EQ(control.setPlayListInfo(lists, "Mix", {}, &mix), DGSTATUS_SUCCESS);
    const NodeID none;
    const NodeID mixID = MtpControl::nodeIDText(mix);
    const NodeID song = MtpControl::nodeIDText(songs[0]);
    const char* const deep = "/My Phone/Card/Music/Rock/deep.mp3";
    EXPECT_TRUE(control.updateMediaFileToPlaylist(device, card, "MIX", song, std::nullopt, &error));
    EXPECT_EQ(error, 0U);
    EXPECT_TRUE(control.updateMediaFileToPlaylist(device, card, mixID, "", none, deep, nullptr));
    EXPECT_TRUE(control.updateMediaFileToPlaylist(device, card, "mix", song, std::nullopt, &error));
    EXPECT_EQ(files(), (std::vector{songs[0], songs[1], songs[0]}));
    EXPECT_FALSE(control.updateMediaFileToPlaylist(device, card, "mix", none, "/My Phone/Card/Music/no.mp3", &error));
    EXPECT_EQ(error, static_cast<std::uint32_t>(DGSTATUS_NODE_IS_NOT_EXISTED));
    EXPECT_FALSE(control.updateMediaFileToPlaylist(device, card, "other", songs, &error));
    EXPECT_EQ(error, static_cast<std::uint32_t>(DGSTATUS_NODE_IS_NOT_EXISTED));
    EXPECT_TRUE(control.deleteMediaFileAtPlaylist(device, card, "mix", song, std::nullopt, &error));
    EXPECT_EQ(files(), (std::vector{songs[1], songs[0]}));
    EXPECT_TRUE(control.deleteMediaFileAtPlaylist(device, card, mixID, "mix", none, deep, &error));
    EXPECT_FALSE(control.deleteMediaFileAtPlaylist(device, card, "mix", none, deep, &error));
    EXPECT_EQ(error, static_cast<std::uint32_t>(DGSTATUS_NOT_MATCHED_FILENODE));
    EXPECT_EQ(files(), (std::vector{songs[0]}));
    // The service renames and deletes them by node ID.
    EXPECT_TRUE(control.renameItemAtPath(device, head, mixID, "Mix", "Evening", &error));
    EXPECT_TRUE(fs::exists(onCard("Playlists/Evening.pla")));
    EXPECT_TRUE(control.deleteItemAtPath(device, head, mixID, std::nullopt, &error));
    EXPECT_FALSE(fs::exists(onCard("Playlists/Evening.pla")));
    EXPECT_EQ(control.searchPlaylistName(device, card, "Evening"), nullptr);
    control.releaseMTPPlaylist(nullptr);
}

} // namespace
