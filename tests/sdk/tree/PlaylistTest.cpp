// SPDX-License-Identifier: MIT
#include "VirtualDeviceTest.h"
#include "responder/FaultPlan.h"

#include <algorithm>
#include <cstring>
#include <filesystem>
#include <functional>
#include <iterator>

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
    /// "name (number of files)" of the storage's playlists; "failed" behind where the list broke off.
    Names playlists(_MTP_STORAGE_NODE* of = nullptr) {
        _MTP_PLAYLIST_NODE* node = nullptr;
        Names names;
        DGSTATUS status = mtpGetPlaylistHead(of == nullptr ? storage() : of, &node);
        while (status == DGSTATUS_SUCCESS) {
            names.push_back(text(node->name) + " (" + std::to_string(node->fileCount) + ")");
            status = mtpGetNextPlaylistNode(node, &node);
        }
        if (status != DGSTATUS_NO_MORE_DATA) {
            names.push_back("failed"); // an event may have changed the list on the way
        }
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

TEST_F(PlaylistTest, deletingAndRenamingWorkOnEitherNode) {
    _MTP_PLAYLIST_NODE* const mix = created("Mix", {_songs[0]});
    _MTP_PLAYLIST_NODE* const party = created("Party", {_songs[1]});
    EXPECT_EQ(rename(mix, "party"), DGSTATUS_NODE_FILE_DUPNAME_EXISTED);
    EXPECT_EQ(rename(mix, "a/b"), DGSTATUS_FILE_INVALID_CHAR);
    EXPECT_EQ(rename(mix, ""), DGSTATUS_FILE_INVALID_CHAR);
    ASSERT_EQ(rename(mix, "Quiet evening"), DGSTATUS_SUCCESS);
    EXPECT_EQ(fileNames(&_lists->header), (Names{"Quiet evening.pla", "Party.pla"}));
    EXPECT_TRUE(existsOnDevice("Internal/Playlists/Quiet evening.pla"));
    _MTP_FILE_NODE* file = nullptr;
    ASSERT_EQ(mtpGetFileListHead(&_lists->header, &file, nullptr, nullptr), DGSTATUS_SUCCESS);
    ASSERT_EQ(rename(file, "Loud.PLA"), DGSTATUS_SUCCESS);
    EXPECT_EQ(playlists(), (Names{"Loud (1)", "Party (1)"}));
    ASSERT_EQ(rename(mix, "Louder"), DGSTATUS_SUCCESS);
    EXPECT_EQ(text(file->name), "Louder.PLA");
    // The folder's list may be given back meanwhile.
    mtpReleaseFolderList(_lists);
    ASSERT_TRUE(isExisting(mix));
    EXPECT_EQ(mtpNodeFromHandle(mtpNodeHandle(mix)), &mix->header);
    EXPECT_EQ(rename(mix, "Loudest"), DGSTATUS_SUCCESS);
    EXPECT_EQ(listed(mix), (Names{"a.mp3"}));
    EXPECT_EQ(mtpDeleteNode(&mix->header), DGSTATUS_SUCCESS);
    EXPECT_FALSE(isExisting(mix));
    EXPECT_EQ(update(mix, {}), DGSTATUS_NODE_IS_NOT_EXISTED);
    EXPECT_EQ(playlists(), (Names{"Party (1)"}));
    EXPECT_FALSE(existsOnDevice("Internal/Playlists/Loudest.PLA"));
    ASSERT_EQ(mtpReleasePlaylists(party), DGSTATUS_SUCCESS);
    EXPECT_FALSE(isExisting(party));
    EXPECT_EQ(playlists(), (Names{"Party (1)"}));
    ASSERT_NE(found("Party"), party);
}

TEST_F(PlaylistTest, referencesFollowWhatBecomesOfTheFiles) {
    _MTP_PLAYLIST_NODE* mix = created("Mix", {_songs[0], _songs[1], _songs[0], _songs[2]});
    ASSERT_EQ(rename(_songs[0], "renamed.mp3"), DGSTATUS_SUCCESS);
    ASSERT_EQ(mtpDeleteNode(&_songs[1]->header), DGSTATUS_SUCCESS);
    EXPECT_EQ(+mix->fileCount, 3U);
    EXPECT_EQ(listed(mix), (Names{"renamed.mp3", "renamed.mp3", "c.mp3"}));
    close();
    mix = found("Mix");
    EXPECT_EQ(listed(mix), (Names{"renamed.mp3", "renamed.mp3", "c.mp3"}));
    std::uint32_t size = 0;
    ASSERT_EQ(mtpGetPlaylistMediaFilePath(mix, 2, nullptr, &size), DGSTATUS_MORE_DATA);
    std::vector<std::uint16_t> path(size / 2);
    ASSERT_EQ(mtpGetPlaylistMediaFilePath(mix, 2, path.data(), &size), DGSTATUS_SUCCESS);
    EXPECT_EQ(path, units("/Internal/Music/c.mp3"));
    EXPECT_EQ(mtpGetPlaylistMediaFilePath(mix, 3, path.data(), &size), DGSTATUS_NO_MORE_DATA);
    // All that went with a folder.
    _MTP_FOLDER_NODE* folder = nullptr;
    ASSERT_EQ(mtpGetFolderListHead(storage(), nullptr, &folder, nullptr, nullptr), DGSTATUS_SUCCESS);
    while (text(folder->name) != "Music") {
        ASSERT_EQ(mtpGetNextSiblingFolderNode(folder, &folder), DGSTATUS_SUCCESS);
    }
    ASSERT_EQ(mtpDeleteNode(&folder->header), DGSTATUS_SUCCESS);
    EXPECT_EQ(playlists(), (Names{"Mix (0)"}));
    EXPECT_EQ(listed(mix), Names());
}

TEST_F(PlaylistTest, theFileSaysWhatTheListSays) {
    _MTP_PLAYLIST_NODE* const mix = created("Mix", {_songs[1], _songs[0]});
    _MTP_FILE_NODE* file = nullptr;
    ASSERT_EQ(mtpGetFileListHead(&_lists->header, &file, nullptr, nullptr), DGSTATUS_SUCCESS);
    ASSERT_EQ(receive(file, _folder.path("copy.pla")), DGSTATUS_SUCCESS);
    EXPECT_EQ(_folder.read("copy.pla"), "/Internal/Music/b.mp3\n/Internal/Music/a.mp3\n");
    ASSERT_EQ(rename(_songs[0], "new name.mp3"), DGSTATUS_SUCCESS);
    ASSERT_EQ(mtpDeleteNode(&_songs[1]->header), DGSTATUS_SUCCESS);
    ASSERT_EQ(receive(file, _folder.path("copy.pla")), DGSTATUS_SUCCESS);
    EXPECT_EQ(_folder.read("copy.pla"), "/Internal/Music/new name.mp3\n");
    ASSERT_EQ(update(mix, {}), DGSTATUS_SUCCESS);
    EXPECT_TRUE(eventually([&] { return contentOnDevice("Internal/Playlists/Mix.pla").empty(); }));
    ASSERT_EQ(receive(file, _folder.path("copy.pla")), DGSTATUS_SUCCESS);
    EXPECT_EQ(_folder.read("copy.pla"), "");
    EXPECT_EQ(fileNames(&_lists->header), Names{"Mix.pla"});
    EXPECT_EQ(+file->size, 0U);
    // What a person writes into a playlist is not read back, and no list of the device overwrites it.
    _folder.write("device/Internal/Playlists/Mine.pla", "my own");
    EXPECT_TRUE(eventually([&] { return playlists() == Names{"Mix (0)", "Mine (0)"}; }));
    EXPECT_EQ(contentOnDevice("Internal/Playlists/Mine.pla"), "my own");
    _MTP_PLAYLIST_NODE* const mine = found("Mine");
    std::filesystem::remove(onDevice("Internal/Playlists/Mine.pla"));
    EXPECT_TRUE(eventually([&] { return !isExisting(mine); }));
    EXPECT_EQ(playlists(), (Names{"Mix (0)"}));
}

TEST_F(PlaylistTest, findsFilesWithoutListingOtherFolders) {
    _MTP_FOLDER_NODE* deep = nullptr;
    ASSERT_EQ(createFolder(&_music->header, "Album", &deep), DGSTATUS_SUCCESS);
    Files songs;
    for (int i = 0; i < 50; ++i) {
        songs.push_back(sent(std::to_string(i) + ".mp3", "x", &deep->header));
    }
    songs.push_back(_songs[0]);
    created("Mix", songs);
    close();
    _MTP_PLAYLIST_NODE* const mix = found("Mix");
    const std::uint64_t before = transactions();
    Names expected;
    for (int i = 0; i < 50; ++i) {
        expected.push_back(std::to_string(i) + ".mp3");
    }
    expected.emplace_back("a.mp3");
    EXPECT_EQ(listed(mix), expected);
    // Two ways up, the first one's album folder and its second song, the rest of the album at once.
    EXPECT_LE(transactions() - before, 8U);
    const std::uint64_t again = transactions();
    EXPECT_EQ(listed(mix), expected);
    EXPECT_EQ(playlists(), (Names{"Mix (51)"}));
    EXPECT_EQ(transactions(), again) << "answered from memory";
}

TEST_F(PlaylistTest, anObjectThatVanishedWithoutAWordIsLeftOut) {
    _MTP_PLAYLIST_NODE* const mix = created("Mix", {_songs[0], _songs[1]});
    // The device has lost it, yet nobody was told.
    std::uint32_t lost = _songs[0]->header.Id;
    faults().refuse({OperationCode::SetObjectReferences, 1, 1}, ResponseCode::InvalidObjectReference);
    faults().alterData({OperationCode::GetObjectReferences, 1, 1}, [lost](std::vector<std::byte>& data) {
        const auto* bytes = reinterpret_cast<const std::byte*>(&lost);
        const auto place = std::search(data.begin() + 4, data.end(), bytes, bytes + 4);
        ASSERT_NE(place, data.end());
        data.erase(place, place + 4);
        data[0] = std::byte{1};
    });
    EXPECT_EQ(update(mix, {_songs[0], _songs[1], _songs[2]}), DGSTATUS_SUCCESS);
    EXPECT_EQ(listed(mix), (Names{"b.mp3", "c.mp3"}));
    // An object that the device never took has to be heard of.
    faults().refuse({OperationCode::SetObjectReferences, 1, 0}, ResponseCode::InvalidObjectReference);
    EXPECT_EQ(update(mix, {_songs[0]}), DGSTATUS_INTERNAL_INVALIDOBJECTREFERENCE);
    _MTP_PLAYLIST_NODE* other = nullptr;
    EXPECT_EQ(create("Other", {_songs[0]}, &other), DGSTATUS_INTERNAL_INVALIDOBJECTREFERENCE);
    EXPECT_EQ(other, nullptr);
    EXPECT_EQ(fileNames(&_lists->header), (Names{"Mix.pla"})) << "a playlist without its list was left behind";
    EXPECT_EQ(playlists(), (Names{"Mix (2)"}));
}

TEST_F(PlaylistTest, eventsKeepTheListsTrue) {
    _MTP_PLAYLIST_NODE* const mix = created("Mix", {_songs[0], _songs[1]});
    faults().raise(EventCode::ObjectRemoved, {_songs[0]->header.Id});
    EXPECT_TRUE(eventually([&] { return listed(mix) == Names{"b.mp3"}; }));
    faults().raise(EventCode::ObjectReferencesChanged, {mix->header.Id});
    faults().raise(EventCode::ObjectAdded, {_songs[0]->header.Id});
    EXPECT_TRUE(eventually([&] { return listed(mix) == Names{"a.mp3", "b.mp3"}; }));
    faults().raise(EventCode::ObjectRemoved, {mix->header.Id});
    EXPECT_TRUE(eventually([&] { return !isExisting(mix); }));
    faults().raise(EventCode::DeviceReset, {});
    EXPECT_TRUE(eventually([&] { return playlists() == Names{"Mix (2)"}; }));
    // A playlist in a folder that was never listed.
    std::filesystem::create_directory(onDevice("Internal/Elsewhere"));
    _folder.write("device/Internal/Elsewhere/Found.pla", "");
    EXPECT_TRUE(eventually([&] { return playlists() == Names{"Mix (2)", "Found (0)"}; }));
}

TEST_F(PlaylistTest, aDeviceWithoutPlaylistsSaysSo) {
    created("Mix", {_songs[0]});
    close();
    faults().withhold(OperationCode::SetObjectReferences);
    _MTP_FOLDER_NODE* folder = nullptr;
    ASSERT_EQ(mtpGetFolderListHead(storage(), nullptr, &folder, nullptr, nullptr), DGSTATUS_SUCCESS);
    _lists = folder;
    _MTP_PLAYLIST_NODE* playlist = nullptr;
    EXPECT_EQ(create("Other", {}, &playlist), DGSTATUS_NOT_SUPPORT_OP);
    EXPECT_EQ(update(found("Mix"), {}), DGSTATUS_NOT_SUPPORT_OP);
    close();
    faults().withhold(OperationCode::GetObjectReferences);
    EXPECT_EQ(mtpGetPlaylistHead(storage(), &playlist), DGSTATUS_NOT_SUPPORT_OP);
    EXPECT_EQ(playlist, nullptr);
    close();
    faults().clear();
    faults().refuse({OperationCode::GetObjectHandles, 1, 0}, ResponseCode::SpecificationByFormatUnsupported);
    EXPECT_EQ(mtpGetPlaylistHead(storage(), &playlist), DGSTATUS_NOT_SUPPORT_OP);
}

/// Overwrites the parent that a property list gives each object.
void tellParent(std::vector<std::byte>& data, const std::function<std::uint32_t(std::uint32_t)>& parentOf) {
    constexpr std::byte mark[] = {std::byte{0x0B}, std::byte{0xDC}, std::byte{0x06}, std::byte{0x00}};
    auto place = data.begin();
    while ((place = std::search(place, data.end(), std::begin(mark), std::end(mark))) != data.end()) {
        std::uint32_t handle = 0;
        std::memcpy(&handle, &*place - 4, 4);
        const std::uint32_t parent = parentOf(handle);
        std::memcpy(&*place + 4, &parent, 4);
        place += 8;
    }
}

TEST_F(PlaylistTest, hostileWordsEndInAStatus) {
    created("Mix", {_songs[0], _songs[1]});
    const std::uint32_t folder = _music->header.Id;
    const std::uint32_t song = _songs[0]->header.Id;
    const std::function<std::uint32_t(std::uint32_t)> parents[] = {
        [](std::uint32_t handle) { return handle; },     // its own parent
        [](std::uint32_t handle) { return handle ^ 1; }, // in circles
        [](std::uint32_t handle) { return handle + 1; }, // ever on
        [&](std::uint32_t) { return song; },             // below a file
        [](std::uint32_t) { return 0x7FFFFFFF; },        // below nothing
    };
    for (const auto& parent : parents) {
        close();
        _MTP_PLAYLIST_NODE* const mix = found("Mix");
        ASSERT_NE(mix, nullptr);
        faults().alterData({OperationCode::GetObjectPropList, 1, 0}, [&](auto& data) { tellParent(data, parent); });
        for (const std::string& name : listed(mix)) {
            EXPECT_EQ(name, "!");
        }
        faults().clear();
    }
    close();
    const std::vector<std::uint32_t> named = {0, 0xFFFFFFFF, folder, 0x7FFFFFFF, song, 0x00010001};
    faults().alterData({OperationCode::GetObjectReferences, 1, 1}, [&](std::vector<std::byte>& data) {
        data.assign(4 + 4 * named.size(), std::byte{static_cast<unsigned char>(named.size())});
        std::fill(data.begin() + 1, data.begin() + 4, std::byte{0});
        std::memcpy(data.data() + 4, named.data(), 4 * named.size());
    });
    EXPECT_EQ(listed(found("Mix")), (Names{"!", "!", "!", "!", "a.mp3", "!"}));
    // Lengths that lie, and a device that names everything it has as a playlist.
    for (const std::uint32_t length : {0xFFFFFFFFU, 0x40000000U, 3U}) {
        close();
        faults().alterData({OperationCode::GetObjectReferences, 1, 0},
                           [&](std::vector<std::byte>& data) { std::memcpy(data.data(), &length, 4); });
        EXPECT_EQ(playlists(), (Names{"Mix (0)"})) << length;
        faults().clear();
    }
    for (int i = 0; i < 20; ++i) {
        sent("song" + std::to_string(i) + ".mp3", "x");
    }
    close();
    faults().alterData({OperationCode::GetObjectHandles, 1, 0}, [](std::vector<std::byte>& data) {
        const std::uint32_t count = 1000;
        data.resize(4 + 4 * count);
        for (std::uint32_t i = 0; i <= count; ++i) {
            const std::uint32_t value = i == 0 ? count : i;
            std::memcpy(data.data() + 4 * i, &value, 4);
        }
    });
    _MTP_PLAYLIST_NODE* playlist = nullptr;
    (void) storage();
    const std::uint64_t before = transactions();
    EXPECT_EQ(mtpGetPlaylistHead(storage(), &playlist), DGSTATUS_NOT_SUPPORT_OP);
    EXPECT_LT(transactions() - before, 60U);
}

} // namespace
