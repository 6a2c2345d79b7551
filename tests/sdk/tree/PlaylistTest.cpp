// SPDX-License-Identifier: MIT
#include "VirtualDeviceTest.h"
#include "responder/FaultPlan.h"

#include <algorithm>
#include <optional>

using namespace mtpsdk;

namespace {

using Files = std::vector<_MTP_FILE_NODE*>;

class PlaylistTest : public VirtualDeviceTest {
protected:
    PlaylistTest() {
        EXPECT_EQ(createFolder(root(), "Playlists", &_lists), DGSTATUS_SUCCESS);
        EXPECT_EQ(createFolder(root(), "Music", &_music), DGSTATUS_SUCCESS);
        for (const char* name : {"a.mp3", "b.mp3", "c.mp3"}) {
            _songs.push_back(sent(name, name, &_music->header));
        }
    }

    DGSTATUS create(const std::string& name, Files files, _MTP_PLAYLIST_NODE** playlist) {
        const auto text = units(name);
        return mtpSetNewPlaylist(&_lists->header, text.data(), bytes(text), files.data(),
                                 static_cast<std::uint32_t>(files.size()), playlist);
    }
    _MTP_PLAYLIST_NODE* created(const std::string& name, const Files& files) {
        _MTP_PLAYLIST_NODE* playlist = nullptr;
        EXPECT_EQ(create(name, files, &playlist), DGSTATUS_SUCCESS);
        return playlist;
    }
    static DGSTATUS update(_MTP_PLAYLIST_NODE* playlist, Files files) {
        return mtpUpdatePlaylistEx(playlist, files.data(), static_cast<std::uint32_t>(files.size()));
    }
    /// Names of the files in order; "!" for a place that answers another status than the list's end.
    static Names listed(_MTP_PLAYLIST_NODE* playlist) {
        Names names;
        for (std::uint32_t index = 0;; ++index) {
            _MTP_FILE_NODE* file = nullptr;
            const DGSTATUS status = mtpGetPlaylistMediaFileInfo(playlist, index, &file);
            if (status == DGSTATUS_NO_MORE_DATA || !isExisting(playlist)) {
                return names;
            }
            names.push_back(status == DGSTATUS_SUCCESS ? text(file->name) : "!");
        }
    }
    static bool isExisting(const void* node) {
        return libIsExist(static_cast<const _MTP_COMMON_NODE*>(node), MTP_SIGNATURE_PLAYLIST) != 0;
    }
    /// "name (number of files)" of the storage's playlists.
    Names playlists(_MTP_STORAGE_NODE* of = nullptr) {
        _MTP_PLAYLIST_NODE* node = nullptr;
        Names names;
        DGSTATUS status = mtpGetPlaylistHead(of == nullptr ? storage() : of, &node);
        while (status == DGSTATUS_SUCCESS) {
            EXPECT_TRUE(isExisting(node));
            names.push_back(text(node->name) + " (" + std::to_string(node->fileCount) + ")");
            status = mtpGetNextPlaylistNode(node, &node);
        }
        EXPECT_EQ(status, DGSTATUS_NO_MORE_DATA);
        return names;
    }
    _MTP_PLAYLIST_NODE* found(const std::string& name) {
        _MTP_PLAYLIST_NODE* node = nullptr;
        EXPECT_EQ(mtpGetPlaylistHead(storage(), &node), DGSTATUS_SUCCESS);
        while (node != nullptr && text(node->name) != name) {
            mtpGetNextPlaylistNode(node, &node);
        }
        return node;
    }

    _MTP_FOLDER_NODE* _lists = nullptr;
    _MTP_FOLDER_NODE* _music = nullptr;
    Files _songs;
};

TEST_F(PlaylistTest, keepsOrderAndRepeatsAndIgnoresNothingAndTheDead) {
    _MTP_FILE_NODE* const dead = sent("dead.mp3", "x", &_music->header);
    ASSERT_EQ(mtpDeleteNode(&dead->header), DGSTATUS_SUCCESS);
    EXPECT_EQ(playlists(), Names());
    _MTP_PLAYLIST_NODE* const mix = created("Mix", {_songs[2], nullptr, _songs[0], dead, _songs[2]});
    EXPECT_EQ(listed(mix), (Names{"c.mp3", "a.mp3", "c.mp3"}));
    EXPECT_EQ(playlists(), (Names{"Mix (3)"}));
    EXPECT_EQ(fileNames(&_lists->header), (Names{"Mix.pla"}));
    EXPECT_EQ(update(mix, {_songs[1], _songs[0]}), DGSTATUS_SUCCESS);
    EXPECT_EQ(listed(mix), (Names{"b.mp3", "a.mp3"}));
    EXPECT_EQ(update(mix, {}), DGSTATUS_SUCCESS);
    EXPECT_EQ(playlists(), (Names{"Mix (0)"}));
    EXPECT_EQ(mtpUpdatePlaylist(mix, nullptr, 1), DGSTATUS_INVALID_PARAMETER);
    EXPECT_EQ(update(mix, {reinterpret_cast<_MTP_FILE_NODE*>(_music)}), DGSTATUS_INVALID_SIGNATURE);
    EXPECT_EQ(playlists(card()), Names());
}

TEST_F(PlaylistTest, namesAreUniqueInTheirFolderWithoutRegardToCase) {
    _MTP_PLAYLIST_NODE* const first = created("Été", {_songs[0]});
    _MTP_PLAYLIST_NODE* second = nullptr;
    EXPECT_EQ(create("ÉTÉ", {_songs[1]}, &second), DGSTATUS_NODE_FILE_DUPNAME_EXISTED);
    EXPECT_EQ(second, first);
    EXPECT_EQ(listed(first), (Names{"a.mp3"}));
    ASSERT_NE(sent("Taken.pla", "", &_lists->header), nullptr);
    for (const char* name : {"", "a/b", "..\n"}) {
        EXPECT_EQ(create(name, {}, &second), DGSTATUS_FILE_INVALID_CHAR) << name;
        EXPECT_EQ(second, nullptr);
    }
    _MTP_PLAYLIST_NODE* const smiling = created("😀 mix.pla", {_songs[0]});
    EXPECT_EQ(text(smiling->name), "😀 mix.pla");
    EXPECT_EQ(playlists(), (Names{"Été (1)", "😀 mix.pla (1)", "Taken (0)"}));
}

} // namespace
