// SPDX-License-Identifier: MIT
// The device's playlists kept in step with the application's.
#include "tests/device/service/PlaylistService.h"

#include <gtest/gtest.h>

using platform::Array;
using platform::Dictionary;
using tests::Names;

namespace {

class PlaylistSyncTest : public tests::PlaylistService {
protected:
    PlaylistSyncTest() {
        putSongs({"a.mp3", "b.mp3"});
        putSongs({"card.mp3"}, 1);
    }

    /// A playlist of the application's, whose files lie anywhere on the computer.
    static Dictionary playlist(const std::string& name, const Names& files) {
        Array children;
        for (const std::string& file : files) {
            children.emplace_back(Dictionary{{"FilePath", "/home/someone/Music/" + file}});
        }
        return {{"PlaylistName", name}, {"children", std::move(children)}};
    }
    bool sync(const Array& playlists) { return service->syncPlaylistContents(playlists, playlistType, false); }
};

} // namespace

// Only a playlist that was there makes the answer true.
TEST_F(PlaylistSyncTest, NewPlaylistsAreMadeAndThoseThereRewritten) {
    EXPECT_FALSE(sync({playlist("New", {"b.mp3", "a.mp3"}), playlist("Empty", {})}));
    EXPECT_EQ(listed("New"), (Names{"b.mp3", "a.mp3"}));
    EXPECT_EQ(listed("Empty"), Names());
    EXPECT_TRUE(sync({playlist("NEW", {"a.mp3"}), playlist("Newer", {"b.mp3"})})) << "the new one leaves it as it was";
    EXPECT_EQ(listed("New"), (Names{"a.mp3"}));
    EXPECT_EQ(listed("Newer"), (Names{"b.mp3"}));
    EXPECT_FALSE(sync({playlist("New", {"b.mp3"}), playlist("no/name", {"a.mp3"})})) << "a failure counts";
    EXPECT_TRUE(sync({playlist("no/name", {}), playlist("New", {"b.mp3"})})) << "until the next success";
    writes.answer({DGSTATUS_INTERNAL_DEVICEBUSY});
    EXPECT_FALSE(sync({playlist("New", {"a.mp3"})}));
    EXPECT_EQ(listed("New"), (Names{"b.mp3"}));
}

TEST_F(PlaylistSyncTest, FilesAreFoundByNameOnAnyStorageAndOthersLeftOut) {
    Dictionary mixed = playlist("Mix", {"card.mp3", "none.mp3"});
    Array children = *mixed.array("children");
    children.push_back(nullptr);
    children.push_back(Dictionary{{"FileName", "a.mp3"}});
    children.push_back(Dictionary{{"FilePath", ""}});
    children.push_back(Dictionary{{"FilePath", "/x/other.mp3"}, {"FileName", "B.mp3"}});
    mixed.set("children", children);
    EXPECT_FALSE(sync({mixed}));
    EXPECT_EQ(writes.take(), (Names{"card.mp3 b.mp3"}));
    EXPECT_EQ(listed("Mix"), (Names{"card.mp3", "b.mp3"}));

    const platform::Synchronized library(MtpControl::classMonitor());
    EXPECT_EQ(inside()->mediaFileNodeForSyncPlaylist(std::nullopt, MediaTypeMusic), nullptr);
    EXPECT_EQ(inside()->mediaFileNodeForSyncPlaylist("a.mp3", MediaTypeImage), nullptr);
    EXPECT_EQ(inside()->mediaFileNodeForSyncPlaylist("a.mp3", 77), nullptr);
}

TEST_F(PlaylistSyncTest, WhatIsNoPlaylistIsPassedOver) {
    EXPECT_FALSE(service->syncPlaylistContents(std::nullopt, playlistType, false));
    EXPECT_FALSE(service->syncPlaylistContents(Array{playlist("X", {})}, MediaTypeMusic, false));
    EXPECT_FALSE(service->syncPlaylistContents(Array{playlist("X", {})}, MediaTypeMusic, true));
    EXPECT_FALSE(sync({nullptr, Dictionary{{"PlaylistName", "No children"}}, Dictionary{{"children", Array()}}}));
    forgetInternalMemory();
    EXPECT_FALSE(sync({playlist("X", {})}));
    EXPECT_EQ(writes.take(), Names());
}

TEST_F(PlaylistSyncTest, DeletingTakesTheNamedPlaylistsAway) {
    create("One", {"a.mp3"});
    create("Two", {"b.mp3"});
    create("Three", {"b.mp3"});
    const Array gone{playlist("ONE", {}), nullptr, Dictionary{{"PlaylistName", "three"}}, playlist("None", {})};
    EXPECT_TRUE(service->syncPlaylistContents(gone, playlistType, true));
    EXPECT_FALSE(hasFile("One"));
    EXPECT_TRUE(hasFile("Two"));
    EXPECT_FALSE(hasFile("Three"));
    EXPECT_TRUE(service->syncPlaylistContents(gone, playlistType, true)) << "true whatever there is to delete";
}
