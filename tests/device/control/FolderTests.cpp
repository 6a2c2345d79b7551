// SPDX-License-Identifier: MIT
#include "ControlTest.h"

namespace {

using NodeID = MtpControl::NodeID;

class FolderTest : public ControlTest {
protected:
    _MTP_FOLDER_NODE* music = library.addFolder(card, "Music");
    NodeID made;
    std::uint32_t error = 0xEE;

    bool create(const MtpControl::Text& path) { return control.createFolder(device, phone, path, &made, &error); }
    bool createWithin(const MtpControl::Text& path) {
        return control.createFolderInStorage(device, card, path, &made, &error);
    }
    [[nodiscard]] _MTP_FOLDER_NODE* newest(void* parent) { return library.childrenOf(parent).folders.back(); }
};

TEST_F(FolderTest, oneFolderIsNamedInComposedForm) {
    const _MTP_FOLDER_NODE* folder = control.createFolder(&music->header, "Cafe\u0301", &error);
    EXPECT_EQ(folder, newest(music));
    EXPECT_EQ(library.takeCalls(), Calls{"mtpCreateFolderNode(Music, Caf\u00E9#10)"}); // bytes with the terminator
    EXPECT_EQ(error, 0xEEU);
    EXPECT_TRUE(log.contains("Create Folder Name = Caf\u00E9"));
}

TEST_F(FolderTest, folderThatExistsIsSuccess) {
    for (const DGSTATUS status : {0x10000005, 0x10000006}) {
        library.duplicate = music;
        expectLogged(6, "music folder is existed", [&] {
            library.answer("mtpCreateFolderNode", {status});
            error = 0xEE;
            EXPECT_EQ(control.createFolder(&card->header, "music", &error), music);
            EXPECT_EQ(error, 0U);
        });
    }
}

TEST_F(FolderTest, failedFolderGivesItsStatus) {
    const std::string message = "mtpCreateFolderNode is failed. Parent Node = (" + address(card) +
                                "), status = DGSTATUS_FILE_INVALID_CHAR - 0x11000005";
    expectLogged(3, message, [&] {
        library.answer("mtpCreateFolderNode", {DGSTATUS_FILE_INVALID_CHAR});
        EXPECT_EQ(control.createFolder(&card->header, "a:b", &error), nullptr);
        EXPECT_EQ(error, 0x11000005U);
    });
    library.answer("mtpCreateFolderNode", {DGSTATUS_FILE_INVALID_CHAR});
    EXPECT_EQ(control.createFolder(&card->header, "a:b", nullptr), nullptr);
}

TEST_F(FolderTest, missingFoldersOfAFullPathAreMade) {
    EXPECT_TRUE(create("/My Phone/CARD/music/Rock/Live"));
    EXPECT_EQ(library.takeChanges(),
              (Calls{"mtpCreateFolderNode(Music, Rock#10)", "mtpCreateFolderNode(Rock, Live#10)"}));
    EXPECT_EQ(made, NodeID(id(newest(newest(music)))));
    EXPECT_EQ(error, 0xEEU);

    EXPECT_TRUE(create("/My Phone/Card/Podcasts")); // under the storage itself
    EXPECT_EQ(library.takeChanges(), Calls{"mtpCreateFolderNode(Card, Podcasts#18)"});
    EXPECT_TRUE(create("/My Phone/Card/My Phone")); // a folder, as only the first is the device's name
    EXPECT_EQ(library.takeChanges(), Calls{"mtpCreateFolderNode(Card, My Phone#18)"});
    EXPECT_TRUE(create("/My Phone/Card/Music"));
    EXPECT_EQ(library.takeChanges(), Calls{});
    EXPECT_EQ(made, NodeID(id(music)));
}

TEST_F(FolderTest, pathWithoutFoldersNamesItsStorage) {
    EXPECT_TRUE(create("/My Phone/Card"));
    EXPECT_EQ(made, NodeID(id(card)));
    EXPECT_FALSE(createWithin("/My Phone/Card")); // but within a storage there is nothing to be made
    EXPECT_EQ(error, 0x20000002U);
}

TEST_F(FolderTest, failureDoesNotStopTheWalk) {
    library.answer("mtpCreateFolderNode", {DGSTATUS_INTERNAL_STOREFULL});
    EXPECT_TRUE(create("/My Phone/Card/Music/a/b"));
    EXPECT_EQ(error, 0x1310000AU);
    EXPECT_EQ(library.takeChanges(), (Calls{"mtpCreateFolderNode(Music, a#4)", "mtpCreateFolderNode(Card, b#4)"}));
    EXPECT_EQ(made, NodeID(id(newest(card))));

    library.answer("mtpCreateFolderNode", {DGSTATUS_INTERNAL_STOREFULL});
    EXPECT_TRUE(create("/My Phone/Card/Music/last"));
    EXPECT_EQ(error, 0x1310000AU);
    EXPECT_EQ(made, std::nullopt);
}

TEST_F(FolderTest, invalidInputsOfAFullPath) {
    expectLogged(3, "Input parameter is invalid. device = " + address(device) + ", folderPath = (null)", [&] {
        EXPECT_FALSE(create(std::nullopt));
        EXPECT_EQ(error, 0x20000002U);
    });
    EXPECT_FALSE(control.createFolder(nullptr, phone, "/a", &made, nullptr));
    for (const char* path : {"/My Phone/None/a", "/My Phone", "/", ""}) {
        error = 0;
        EXPECT_FALSE(create(path)) << path;
        EXPECT_EQ(error, 0x20000002U) << path;
    }
    library.answer("mtpGetFriendlyName", {DGSTATUS_NO_FRIENDLYNAME});
    EXPECT_FALSE(create("/My Phone/Card/a"));
    EXPECT_EQ(error, 4U);
    EXPECT_EQ(library.takeChanges(), Calls{});
}

TEST_F(FolderTest, foldersWithinAStorage) {
    EXPECT_TRUE(createWithin("/My Phone/card/My Phone/Music/Rock"));
    EXPECT_EQ(library.takeChanges(), Calls{"mtpCreateFolderNode(Music, Rock#10)"});
    EXPECT_EQ(made, NodeID(id(newest(music))));
    expectLogged(3, "Input parameter is invalid. device = " + address(device) + ", storage = 0x0, folderPath = Music",
                 [&] { EXPECT_FALSE(control.createFolderInStorage(device, nullptr, "Music", &made, &error)); });
    library.answer("mtpCreateFolderNode", {DGSTATUS_INTERNAL_STOREFULL});
    EXPECT_FALSE(createWithin("Other"));
    EXPECT_EQ(error, 0x20000002U);
    library.answer("mtpGetFriendlyName", {DGSTATUS_NO_FRIENDLYNAME});
    EXPECT_FALSE(createWithin("Other"));
    EXPECT_EQ(error, 4U);
}

TEST_F(FolderTest, parentOfAFile) {
    _MTP_STORAGE_NODE* head = nullptr;
    EXPECT_EQ(control.checkCreateFolder(device, &head, "/My Phone/Card/Music/a.mp3", &error), &music->header);
    EXPECT_EQ(head, phone); // fetched for the caller
    EXPECT_EQ(control.checkCreateFolder(device, &head, "/My Phone/Card/a.mp3", &error), &card->header);
    library.takeCalls();
    _MTP_COMMON_NODE* parent = control.checkCreateFolder(device, &head, "/My Phone/Card/Music/New/a.mp3", &error);
    EXPECT_EQ(parent, &newest(music)->header);
    EXPECT_EQ(library.takeChanges(), Calls{"mtpCreateFolderNode(Music, New#8)"});

    library.answer("mtpCreateFolderNode", {DGSTATUS_INTERNAL_STOREFULL});
    EXPECT_EQ(control.checkCreateFolder(device, &head, "/My Phone/Card/Full/a.mp3", &error), nullptr);
    EXPECT_EQ(error, 0x1310000AU);
}

TEST_F(FolderTest, parentOfAFileThatCannotBe) {
    _MTP_STORAGE_NODE* head = phone;
    expectLogged(3, "Input parameter is invalid. device = (0x0), folderPath = /a",
                 [&] { EXPECT_EQ(control.checkCreateFolder(nullptr, &head, "/a", &error), nullptr); });
    EXPECT_EQ(error, 0x20000002U);
    expectLogged(3, "getStorageNode is failed.",
                 [&] { EXPECT_EQ(control.checkCreateFolder(device, &head, "/My Phone/None/a", &error), nullptr); });
    expectLogged(3, "Get Friendly name is failed.", [&] {
        library.answer("mtpGetFriendlyName", {DGSTATUS_NO_FRIENDLYNAME});
        EXPECT_EQ(control.checkCreateFolder(device, &head, "/My Phone/Card/a", &error), nullptr);
        EXPECT_EQ(error, 4U);
    });
    for (const char* path : {"", "/", "a"}) {
        EXPECT_EQ(control.checkCreateFolder(device, &head, path, &error), nullptr) << path;
    }
}

} // namespace
