// SPDX-License-Identifier: MIT
#include "ControlTest.h"

namespace {

/// Card: Music/{Rock/{deep.mp3}, song.mp3, Music}, Rock/{root.mp3}, My Phone/, top.mp3
class PathTest : public ControlTest {
protected:
    _MTP_FOLDER_NODE* music = library.addFolder(card, "Music");
    _MTP_FOLDER_NODE* rock = library.addFolder(music, "Rock");
    _MTP_FOLDER_NODE* rootRock = library.addFolder(card, "Rock");
    _MTP_FOLDER_NODE* phoneFolder = library.addFolder(card, "My Phone");
    _MTP_FILE_NODE* song = library.addFile(music, "song.mp3");
    _MTP_FILE_NODE* namesake = library.addFile(music, "Music");
    _MTP_FILE_NODE* top = library.addFile(card, "top.mp3");
    _MTP_STORAGE_NODE* head = phone;
    _MTP_STORAGE_NODE* found = nullptr;

    _MTP_FOLDER_NODE* search(const char* path) {
        found = nullptr;
        return control.searchFolder(device, &head, &found, path);
    }
};

TEST_F(PathTest, storagesByLabelOrVolumePath) {
    EXPECT_EQ(control.getStorageNode(device, &head, "cARD"), card);
    EXPECT_EQ(library.takeCalls(), Calls{"mtpGetNextStorageNode(Phone)"}); // the friendly name is not asked for
    EXPECT_EQ(control.getStorageNode(device, &head, "/My Phone/Card"), card);
    EXPECT_EQ(control.getStorageNode(device, &head, "/my phone/CARD/Music"), card);
    EXPECT_EQ(control.getStorageNode(device, &head, "/Card"), card);
    for (const char* none : {"", "/", "/My Phone", "None", "/My Phone/None", "My Phone/Card"}) {
        EXPECT_EQ(control.getStorageNode(device, &head, none), nullptr) << none;
    }
}

TEST_F(PathTest, storageLabelsWithOrWithoutTerminatorInTheirSize) {
    card->LabelLength = 4; // as some devices count
    EXPECT_EQ(control.getStorageNode(device, &head, "Card"), card);
    card->LabelLength = 4000; // longer than the text
    EXPECT_EQ(control.getStorageNode(device, &head, "Card"), card);
    card->LabelLength = 3;
    EXPECT_EQ(control.getStorageNode(device, &head, "Card"), nullptr);
    card->Label = nullptr;
    EXPECT_EQ(control.getStorageNode(device, &head, "Card"), nullptr);
}

TEST_F(PathTest, storageListIsFetchedForTheCaller) {
    head = nullptr;
    EXPECT_EQ(control.getStorageNode(device, &head, "Card"), card);
    EXPECT_EQ(head, phone);
    EXPECT_EQ(library.takeCalls(), (Calls{"mtpGetStorageListHead(device0)", "mtpGetNextStorageNode(Phone)"}));
    head = nullptr;
    library.answer("mtpGetStorageListHead", {DGSTATUS_NO_STORAGE_ATTACHED});
    EXPECT_EQ(control.getStorageNode(device, &head, "Card"), nullptr);
    EXPECT_EQ(head, nullptr);
}

TEST_F(PathTest, storageWithoutInputs) {
    const std::string message = "Input parameter is invalide. current device node is NULL";
    expectLogged(3, message, [&] { EXPECT_EQ(control.getStorageNode(nullptr, &head, "Card"), nullptr); });
    expectLogged(3, message, [&] { EXPECT_EQ(control.getStorageNode(device, nullptr, "Card"), nullptr); });
    expectLogged(3, message, [&] { EXPECT_EQ(control.getStorageNode(device, &head, std::nullopt), nullptr); });
}

TEST_F(PathTest, foldersAndFilesByName) {
    EXPECT_EQ(control.getFolderNode("rock", card, nullptr), rootRock);
    EXPECT_EQ(control.getFolderNode("ROCK", card, music), rock);
    EXPECT_EQ(control.getFolderNode("Jazz", card, music), nullptr);
    EXPECT_EQ(control.getFolderNode("Rock", card, rock), nullptr);
    EXPECT_EQ(control.getFileNode(&music->header, "SONG.mp3"), song);
    EXPECT_EQ(control.getFileNode(&card->header, "top.MP3"), top);
    EXPECT_EQ(control.getFileNode(&card->header, "song.mp3"), nullptr);
    library.answer("mtpGetFileListHead", {DGSTATUS_IGNORED_SUCCESS, DGSTATUS_PARTIAL_UPDATED});
    EXPECT_EQ(control.getFileNode(&music->header, "song.mp3"), song);
    EXPECT_EQ(control.getFileNode(&music->header, "song.mp3"), nullptr);
}

TEST_F(PathTest, namesCompareAsReadersSeeThem) {
    _MTP_FOLDER_NODE* cafe = library.addFolder(card, "Cafe\u0301");
    _MTP_FOLDER_NODE* street = library.addFolder(card, "Stra\u00DFe");
    _MTP_FOLDER_NODE* broken = library.addFolder(card, "x");
    broken->name.get()[0] = 0xD800; // an unpaired surrogate
    EXPECT_EQ(control.getFolderNode("CAF\u00C9", card, nullptr), cafe);
    EXPECT_EQ(control.getFolderNode("STRASSE", card, nullptr), street);
    EXPECT_EQ(control.getFolderNode("\uFFFD", card, nullptr), broken);
    EXPECT_EQ(control.getFolderNode("Caf", card, nullptr), nullptr);
}

TEST_F(PathTest, lyingNamesAreBoundedByTheirTerminator) {
    music->nameSize = 5; // shorter than the text: "Musi"
    EXPECT_EQ(control.getFolderNode("Music", card, nullptr), nullptr);
    EXPECT_EQ(control.getFolderNode("Musi", card, nullptr), music);
    music->nameSize = 0xFFFFFFFF;
    EXPECT_EQ(control.getFolderNode("Music", card, nullptr), music);
    music->nameSize = 0;
    EXPECT_EQ(control.getFolderNode("Music", card, nullptr), nullptr);
    rootRock->name = nullptr;
    EXPECT_EQ(control.getFolderNode("Rock", card, nullptr), nullptr);
}

TEST_F(PathTest, deepestFolderOfAFullPath) {
    struct Row {
        const char* path;
        _MTP_FOLDER_NODE* folder;
        _MTP_STORAGE_NODE* storage;
    };
    const Row rows[] = {
        {"/My Phone/CARD/music", music, card},
        {"/My Phone/Card/Music/Rock/deep.mp3", rock, card},
        {"/Card/Music/song.mp3", music, card},
        {"/My Phone/Card/My Phone", phoneFolder, card},        // only the first is the device's name
        {"/My Phone/Card/Music/Missing/Rock", rootRock, card}, // the search goes on from the root
        {"/My Phone/Card/top.mp3", nullptr, card},
        {"/My Phone/Card", nullptr, card},
        {"/My Phone/None/Music", nullptr, nullptr},
        {"/My Phone", nullptr, nullptr},
        {"/", nullptr, nullptr},
        {"", nullptr, nullptr},
    };
    for (const Row& row : rows) {
        EXPECT_EQ(search(row.path), row.folder) << row.path;
        EXPECT_EQ(found, row.storage) << row.path;
    }
    EXPECT_EQ(control.searchFolder(device, &head, &found, std::nullopt), nullptr);
}

TEST_F(PathTest, callsOfAFullPathInOrder) {
    search("/My Phone/Card/Music/song.mp3");
    EXPECT_EQ(library.takeCalls(), (Calls{"mtpGetFriendlyName(null, 0)", "mtpGetFriendlyName(buffer, 18)",
                                          "mtpGetNextStorageNode(Phone)", "mtpGetFolderListHead(Card, null)",
                                          "mtpGetFolderListHead(Card, Music)", "mtpGetNextSiblingFolderNode(Rock)"}));
}

TEST_F(PathTest, failuresOfAFullPathAreLogged) {
    expectLogged(3, "getStorageNode is failed.", [&] { search("/My Phone/None/Music"); });
    expectLogged(3, "Get Friendly name is failed.", [&] {
        library.answer("mtpGetFriendlyName", {DGSTATUS_NO_FRIENDLYNAME});
        search("/My Phone/Card/Music");
    });
}

TEST_F(PathTest, deepestFolderWithinAStorage) {
    const std::pair<const char*, _MTP_FOLDER_NODE*> rows[] = {
        {"Music/Missing/Rock", rootRock},
        {"/My Phone/Card/Music/Rock", rock},
        {"Music/Rock/deep.mp3", rock},
        {"/My Phone/Card/My Phone", nullptr}, // every component of the device's name is skipped
        {"/My Phone/Card/Card/Music", music}, // and of the storage's
        {"Missing", nullptr},
        {"", nullptr},
    };
    for (const auto& [path, folder] : rows) {
        EXPECT_EQ(control.lastFolderNode(device, card, path), folder) << path;
    }
    expectLogged(3, "folder path is nil. Return storage node",
                 [&] { EXPECT_EQ(control.lastFolderNode(device, card, std::nullopt), nullptr); });
    EXPECT_EQ(control.lastFolderNode(nullptr, card, "Music"), nullptr);
    EXPECT_EQ(control.lastFolderNode(device, nullptr, "Music"), nullptr);
}

TEST_F(PathTest, firstFolderOfAStorage) {
    EXPECT_EQ(control.folderNodeHead(device, card, "/My Phone/Card/Whatever"), music);
    EXPECT_EQ(control.folderNodeHead(device, card, "/My Phone/Card"), nullptr);
    library.answer("mtpGetFolderListHead", {DGSTATUS_ABNORMAL_STATUS});
    EXPECT_EQ(control.folderNodeHead(device, card, "/My Phone/Card/a"), nullptr);
    library.answer("mtpGetFolderListHead", {DGSTATUS_ABNORMAL_STATUS}); // the next component tries again
    EXPECT_EQ(control.folderNodeHead(device, card, "/My Phone/Card/a/b"), music);
    expectLogged(3, "folder path is nil. Return storage node",
                 [&] { EXPECT_EQ(control.folderNodeHead(device, card, std::nullopt), nullptr); });
    expectLogged(3, "Get Friendly name is failed.",
                 [&] { EXPECT_EQ(control.folderNodeHead(nullptr, card, "a"), nullptr); });
}

TEST_F(PathTest, nodesAndExistenceByPath) {
    struct Row {
        const char* path;
        void* node;
        bool directory;
    };
    const Row rows[] = {
        {"/My Phone/Card/Music/song.mp3", song, false},
        {"/my phone/card/MUSIC", music, true},
        {"/My Phone/Card/Music/Music", music, true}, // the file named like its folder
        {"/My Phone/Card/Music/None", nullptr, false},
        {"/My Phone/Card/top.mp3", nullptr, false}, // a file in the root is not found by path
        {"/My Phone", nullptr, false},
        {"/", nullptr, false},
    };
    for (const Row& row : rows) {
        bool directory = false;
        EXPECT_EQ(control.fileNodeAtPath(device, phone, row.path, &directory), row.node) << row.path;
        EXPECT_EQ(directory, row.directory) << row.path;
        directory = !row.directory; // this one is written in any case
        EXPECT_EQ(control.fileExistsAtPath(row.path, std::nullopt, device, phone, &directory), row.node != nullptr);
        EXPECT_EQ(directory, row.directory) << row.path;
    }
    EXPECT_EQ(control.fileNodeAtPath(device, phone, std::nullopt, nullptr), nullptr);
    song->header.Signature = MTP_SIGNATURE_PLAYLIST;
    EXPECT_EQ(control.fileNodeAtPath(device, phone, "/My Phone/Card/Music/song.mp3", nullptr), nullptr);
    EXPECT_FALSE(control.fileExistsAtPath("/My Phone/Card/Music/song.mp3", std::nullopt, device, phone, nullptr));
}

TEST_F(PathTest, existenceByNodeID) {
    bool directory = false;
    EXPECT_TRUE(control.fileIsExists(id(music), &directory));
    EXPECT_TRUE(directory);
    EXPECT_TRUE(control.fileExistsAtPath("/nowhere", id(song), device, phone, &directory));
    EXPECT_FALSE(directory);
    library.takeCalls();
    const std::string songID = id(song);
    library.kill(song);
    directory = true;
    EXPECT_FALSE(control.fileIsExists(songID, &directory));
    EXPECT_TRUE(directory); // untouched
    EXPECT_FALSE(control.fileExistsAtPath("/My Phone/Card/Music", songID, device, phone, &directory));
    for (const char* foreign : {"", "0", "FFFFFFFF", "12345", "song", "-1", "99999999999999999999"}) {
        EXPECT_FALSE(control.fileIsExists(foreign, nullptr)) << foreign;
    }
    EXPECT_EQ(library.takeCalls(), Calls{}); // nothing that is not there is asked about
    expectLogged(3, "Input parameter is invalid. File is not exist",
                 [&] { EXPECT_FALSE(control.fileIsExists(std::nullopt, nullptr)); });
}

TEST_F(PathTest, existenceOfANode) {
    EXPECT_TRUE(control.checkNodeExist(&music->header));
    EXPECT_EQ(library.takeCalls(), Calls{"libIsExist(Music, 3)"});
    library.kill(music);
    expectLogged(6, "Current node is not exist. node = (" + address(music) + ")",
                 [&] { EXPECT_FALSE(control.checkNodeExist(&music->header)); });
    _MTP_COMMON_NODE elsewhere{}; // not even in record memory
    EXPECT_FALSE(control.checkNodeExist(&elsewhere));
    EXPECT_FALSE(control.checkNodeExist(nullptr));
}

} // namespace
