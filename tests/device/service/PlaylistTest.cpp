// SPDX-License-Identifier: MIT
// Playlists listed, made, renamed, deleted, read out, and filled by the copy to the device.
#include "tests/device/service/PlaylistService.h"

#include <gtest/gtest.h>

using platform::Array;
using platform::Dictionary;
using tests::Names;
using Text = std::optional<std::string>;

namespace {

class PlaylistTest : public tests::PlaylistService {
protected:
    PlaylistTest() { putSongs({"a.mp3", "b.mp3", "c.mp3"}); }

    Names names() {
        Names found;
        for (const auto& entry : service->playlistNameInformation(0, playlistType).value_or(Array())) {
            found.push_back(entry.dictionary()->string("PlaylistName").value_or("(none)"));
        }
        return found;
    }
};

} // namespace

TEST_F(PlaylistTest, MadeInOrderAndListedWithEverything) {
    const std::string name = "Für Elise 🎵";
    EXPECT_TRUE(service->createPlaylist(name, playlistType, songs({"c.mp3", "a.mp3", "c.mp3"})));
    EXPECT_TRUE(isOnDisk(name, {"c.mp3", "a.mp3", "c.mp3"}));
    EXPECT_TRUE(service->createPlaylist("Empty", playlistType, std::nullopt));

    const auto infos = service->playlistNameInformation(7, playlistType);
    ASSERT_TRUE(infos && infos->size() == 2);
    const Dictionary& info = *infos->front().dictionary();
    EXPECT_EQ(info.string("PlaylistName"), name);
    EXPECT_EQ(info.string("FilePath"), "/Player/Phone/Playlists/" + name + ".pla");
    EXPECT_EQ(info.uint32("FileCount"), 3U);
    EXPECT_EQ(inside()->_FileTransferStatus, 4);

    const auto lists = service->playlistInformationList(7, playlistType, "FÜR ELISE 🎵");
    ASSERT_TRUE(lists && lists->size() == 1);
    const Array* children = lists->front().dictionary()->array("children");
    ASSERT_TRUE(children != nullptr && children->size() == 3);
    EXPECT_EQ(children->at(1).dictionary()->string("FilePath"), song("a.mp3"));
    EXPECT_EQ(listed("empty"), Names());
}

TEST_F(PlaylistTest, UnknownFilesLeaveNullEntries) {
    Array contents{nullptr, Dictionary{{"FileName", "a.mp3"}}};
    for (const auto& entry : songs({"none.mp3", "B.mp3", "a.mp3"})) {
        contents.push_back(entry);
    }
    EXPECT_TRUE(service->createPlaylist("Best", playlistType, contents));
    EXPECT_EQ(writes.take(), (Names{"- - - b.mp3 a.mp3"}));
    EXPECT_EQ(listed("Best"), (Names{"b.mp3", "a.mp3"}));
}

TEST_F(PlaylistTest, NothingIsMadeWithoutANameOrInPlaceOfAnother) {
    create("Best", {"a.mp3"});
    EXPECT_FALSE(service->createPlaylist(std::nullopt, playlistType, songs({"b.mp3"})));
    EXPECT_FALSE(service->createPlaylist("", playlistType, songs({"b.mp3"})));
    EXPECT_FALSE(service->createPlaylist("BEST", playlistType, songs({"b.mp3"})));
    EXPECT_FALSE(service->createPlaylist("Odd", 7, songs({"b.mp3"}))) << "no default folder";
    EXPECT_EQ(names(), (Names{"Best"}));
    EXPECT_EQ(listed("Best"), (Names{"a.mp3"}));
    // The media type only says whose default folder it is made in.
    EXPECT_TRUE(service->createPlaylist("Songs", MediaTypeMusic, songs({"b.mp3"})));
    EXPECT_TRUE(std::filesystem::exists(device->path("Phone/Sounds/Songs.pla")));
}

TEST_F(PlaylistTest, RenamedAndDeletedByNameOnly) {
    create("Best", {"a.mp3", "b.mp3"});
    create("Other", {"c.mp3"});
    EXPECT_TRUE(service->renamePlaylist("best", "Better", playlistType));
    EXPECT_TRUE(hasFile("Better"));
    EXPECT_FALSE(hasFile("Best"));
    EXPECT_EQ(listed("Better"), (Names{"a.mp3", "b.mp3"}));

    EXPECT_FALSE(service->renamePlaylist("Best", "X", playlistType));
    EXPECT_FALSE(service->renamePlaylist("Better", "other", playlistType));
    EXPECT_FALSE(service->renamePlaylist("Better", "X", MediaTypeMusic));
    EXPECT_FALSE(service->renamePlaylist(std::nullopt, "X", playlistType));
    EXPECT_FALSE(service->renamePlaylist("Better", std::nullopt, playlistType));
    EXPECT_FALSE(service->deletePlaylist("Best", playlistType));
    EXPECT_FALSE(service->deletePlaylist("Better", MediaTypeMusic));
    EXPECT_FALSE(service->deletePlaylist(std::nullopt, playlistType));
    EXPECT_EQ(names(), (Names{"Better", "Other"}));

    EXPECT_TRUE(service->deletePlaylist("BETTER", playlistType));
    EXPECT_FALSE(hasFile("Better"));
    EXPECT_EQ(names(), (Names{"Other"}));
    EXPECT_TRUE(std::filesystem::exists(device->path("Phone/Sounds/a.mp3"))) << "the songs stay";
}

TEST_F(PlaylistTest, OnlyPlaylistsOnInternalMemoryAreAskedFor) {
    create("Best", {"a.mp3"});
    EXPECT_FALSE(service->playlistNameInformation(0, MediaTypeMusic));
    EXPECT_FALSE(service->playlistInformationList(0, MediaTypeMusic, "Best"));
    EXPECT_FALSE(service->playlistInformationList(0, playlistType, std::nullopt));
    EXPECT_FALSE(service->playlistInformationList(0, playlistType, "None"));
    forgetInternalMemory();
    EXPECT_FALSE(service->playlistNameInformation(0, playlistType));
    EXPECT_FALSE(service->playlistInformationList(0, playlistType, "Best"));
    EXPECT_FALSE(service->createPlaylist("X", playlistType, songs({"a.mp3"})));
    EXPECT_FALSE(service->deletePlaylist("Best", playlistType));
    EXPECT_FALSE(service->readPlaylistFromDevice("Best", files.path(), playlistType));
    EXPECT_TRUE(hasFile("Best"));
}

TEST_F(PlaylistTest, ItsFileIsCopiedIntoALocalFolder) {
    create("Best", {"a.mp3", "b.mp3"});
    ASSERT_TRUE(isOnDisk("Best", {"a.mp3", "b.mp3"}));
    const std::string expected = "/Phone/Sounds/a.mp3\n/Phone/Sounds/b.mp3\n";
    const std::string folder = files.path("new/deep");
    EXPECT_TRUE(service->readPlaylistFromDevice("Best", folder, playlistType));
    EXPECT_EQ(tests::readFile(folder + "/Best.pla"), expected);
    tests::writeFile(folder + "/Best.pla", "an older one, longer than the new one by far, to be sure of it");
    EXPECT_TRUE(service->readPlaylistFromDevice("Best", folder, playlistType));
    EXPECT_EQ(tests::readFile(folder + "/Best.pla"), expected);

    EXPECT_FALSE(service->readPlaylistFromDevice("None", folder, playlistType));
    EXPECT_FALSE(service->readPlaylistFromDevice("Best", folder + "/Best.pla", playlistType)) << "no folder";
    EXPECT_FALSE(service->readPlaylistFromDevice("Best", folder, MediaTypeMusic));
    EXPECT_FALSE(service->readPlaylistFromDevice(std::nullopt, folder, playlistType));
    EXPECT_FALSE(service->readPlaylistFromDevice("Best", std::nullopt, playlistType));
    tests::writeFile(files.path("new/Best.pla"), "not to be touched");
    EXPECT_FALSE(service->readPlaylistFromDevice("../Best", folder, playlistType));
    EXPECT_EQ(tests::readFile(files.path("new/Best.pla")), "not to be touched");
}

TEST_F(PlaylistTest, CopiedFilesJoinThePlaylistThatIsNamed) {
    create("Best", {"a.mp3"});
    const Array contents{tests::content(local("d.mp3", 10)), tests::content(files.path("gone")),
                         tests::content(local("e.mp3", 10))};
    service->copyContentsMacToDevice(1, contents, MediaTypeMusic, 0, "Best");
    waitUntilIdle();
    EXPECT_EQ(listed("Best"), (Names{"a.mp3", "d.mp3", "e.mp3"}));
    service->copyContentsMacToDevice(2, Array{tests::content(local("f.mp3", 10))}, MediaTypeMusic, 0, "None");
    waitUntilIdle();
    EXPECT_EQ(resultStatuses(2), (std::vector<std::int64_t>{0})) << "the file itself arrived";
    EXPECT_EQ(names(), (Names{"Best"}));
}

TEST_F(PlaylistTest, FilesAreSentToThePlaylistsEndWithoutALookAtWhatIsThere) {
    create("Best", {"a.mp3"});
    const auto inner = inside();
    const Text a = inner->indexedNode(song("a.mp3"));
    std::uint32_t error = 1;
    EXPECT_TRUE(inner->sendMediaFileToPlaylist("Best", a, song("a.mp3"), &error));
    EXPECT_EQ(error, 0U);
    {
        const platform::Synchronized library(MtpControl::classMonitor());
        const std::vector<_MTP_FILE_NODE*> two{inner->mediaFileNode(song("c.mp3")),
                                               inner->mediaFileNode(song("b.mp3"))};
        EXPECT_TRUE(inner->sendMediaFileToPlaylist("Best", two, nullptr));
        EXPECT_TRUE(inner->checkMediaFileAtPlaylist(two, two[1]->header.Id));
        EXPECT_FALSE(inner->checkMediaFileAtPlaylist(MtpControl::NodeList(two).first(1), two[1]->header.Id));
        EXPECT_FALSE(inner->checkMediaFileAtPlaylist(std::vector<_MTP_FILE_NODE*>{nullptr}, 0));
        EXPECT_FALSE(inner->checkMediaFileAtPlaylist({}, two[1]->header.Id));
    }
    EXPECT_EQ(listed("Best"), (Names{"a.mp3", "a.mp3", "c.mp3", "b.mp3"}));

    EXPECT_FALSE(inner->sendMediaFileToPlaylist("None", a, song("a.mp3"), &error));
    EXPECT_EQ(error, static_cast<std::uint32_t>(DGSTATUS_NODE_IS_NOT_EXISTED));
    for (const Text& node : {Text(), Text("0"), Text("FFFFFFF"), Text("not one")}) {
        EXPECT_FALSE(inner->sendMediaFileToPlaylist("Best", node, song("a.mp3"), &error));
        EXPECT_EQ(error, 0x26000006U);
    }
    error = 0;
    EXPECT_FALSE(inner->sendMediaFileToPlaylist(std::nullopt, a, song("a.mp3"), &error));
    EXPECT_EQ(error, 0x26000006U);
    forgetInternalMemory();
    EXPECT_FALSE(inner->sendMediaFileToPlaylist("Best", a, song("a.mp3"), nullptr));
}

TEST_F(PlaylistTest, PathsAreCompletedFromTheContentIndex) {
    const auto inner = inside();
    inner->indexNode("/Player/Phone/x.mp3", "ABC");
    std::optional<Array> playlists{
        {nullptr, Dictionary{{"PlaylistName", "no children"}},
         Dictionary{{"PlaylistName", "Best"},
                    {"children",
                     Array{nullptr, Dictionary{{"FileName", "x.mp3"}, {"NodeID", "ABC"}},
                           Dictionary{{"FileName", "x.mp3"}, {"NodeID", "DEF"}}, Dictionary{{"NodeID", "ABC"}}}}}}};
    Array expected = *playlists;
    expected[2] = Dictionary{
        {"PlaylistName", "Best"},
        {"children",
         Array{nullptr, Dictionary{{"FileName", "x.mp3"}, {"NodeID", "ABC"}, {"FilePath", "/PLAYER/PHONE/X.MP3"}},
               Dictionary{{"FileName", "x.mp3"}, {"NodeID", "DEF"}}, Dictionary{{"NodeID", "ABC"}}}}};
    inner->addMediaFullPathToPlaylistInfo(playlists);
    EXPECT_EQ(playlists, expected);
    std::optional<Array> none;
    inner->addMediaFullPathToPlaylistInfo(none);
    EXPECT_FALSE(none);
}
