// SPDX-License-Identifier: MIT
#include "ControlTest.h"

namespace {

using NodeID = MtpControl::NodeID;

/// Card: Music/{Rock/{deep.mp3}, song.mp3, Music, Same}, Rock/, Same/, song.mp3, top.mp3
class NodeTest : public ControlTest {
protected:
    _MTP_FOLDER_NODE* music = library.addFolder(card, "Music");
    _MTP_FOLDER_NODE* rock = library.addFolder(music, "Rock");
    _MTP_FOLDER_NODE* rootRock = library.addFolder(card, "rock");
    _MTP_FILE_NODE* deep = library.addFile(rock, "deep.mp3", 0x123456789AULL);
    _MTP_FILE_NODE* song = library.addFile(music, "song.mp3", 33);
    _MTP_FILE_NODE* namesake = library.addFile(music, "Music");
    _MTP_FILE_NODE* top = library.addFile(card, "top.mp3", 7);
    std::uint32_t error = 0xEE;

    bool deletePath(const NodeID& node, const MtpControl::Text& path) {
        return control.deleteItemAtPath(device, phone, node, path, &error);
    }
    bool deleteWithin(const NodeID& node, const MtpControl::Text& path) {
        return control.deleteNode(device, card, node, path, &error);
    }
    /// The ID of a node that is no more.
    NodeID staleID() {
        _MTP_FILE_NODE* old = library.addFile(card, "old");
        library.kill(old);
        return id(old);
    }
};

TEST_F(NodeTest, deletesWhatThePathNames) {
    struct Row {
        const char* path;
        const char* deleted;
    };
    const Row rows[] = {
        {"/My Phone/Card/Music/SONG.mp3", "song.mp3"},
        {"/My Phone/Card/top.mp3", "top.mp3"}, // in the storage's root
        {"/My Phone/Card/Music/Rock", "Rock"},
        {"/My Phone/Card/Music/Music", "Music"}, // the folder, not the file in it
    };
    for (const Row& row : rows) {
        EXPECT_TRUE(deletePath(std::nullopt, row.path)) << row.path;
        EXPECT_EQ(error, 0U);
        EXPECT_EQ(library.takeChanges(), Calls{std::string("mtpDeleteNode(") + row.deleted + ")"}) << row.path;
    }
    EXPECT_FALSE(library.isLive(music));
    EXPECT_TRUE(library.isLive(namesake));
    EXPECT_TRUE(log.contains("DELETE at Node : (null), Path = /My Phone/Card/top.mp3"));
}

TEST_F(NodeTest, deletesByIDWithoutAPath) {
    EXPECT_TRUE(deletePath(id(song), std::nullopt));
    EXPECT_TRUE(deleteWithin(id(deep), "/ignored"));
    EXPECT_EQ(library.takeCalls(), (Calls{"libIsExist(song.mp3, 4)", "mtpDeleteNode(song.mp3)",
                                          "libIsExist(deep.mp3, 4)", "mtpDeleteNode(deep.mp3)"}));
    EXPECT_TRUE(log.contains("DELETE at Node : " + id(song) + ", Path = (null)"));
}

TEST_F(NodeTest, afterAStaleIDOnlyTheExactPathIsDeleted) {
    const NodeID stale = staleID();
    for (const char* path : {
             "/My Phone/Card/Missing/rock",        // the forgiving walk would end in the root's folder
             "/My Phone/Card/Missing/top.mp3",     // or take the root's file
             "/My Phone/Card/Music/Gone/song.mp3", // or one above
             "/My Phone/Card/Music/Music",         // or the folder in place of the file
             "/My Phone/Card",
             "/My Phone/None/top.mp3",
         }) {
        EXPECT_FALSE(deletePath(stale, path)) << path;
        EXPECT_FALSE(deleteWithin(stale, path)) << path;
        EXPECT_EQ(error, 0x10000001U);
    }
    EXPECT_FALSE(deletePath(stale, std::nullopt));
    EXPECT_EQ(library.takeChanges(), Calls{});
    EXPECT_TRUE(deletePath(stale, "/My Phone/Card/Music/song.mp3"));
    EXPECT_TRUE(deleteWithin(stale, "/My Phone/Card/Music/Rock"));
    EXPECT_TRUE(deleteWithin("0", "/My Phone/Card/Missing/rock")); // no ID at all: the forgiving walk
    EXPECT_EQ(library.takeChanges(), (Calls{"mtpDeleteNode(song.mp3)", "mtpDeleteNode(Rock)", "mtpDeleteNode(rock)"}));
}

TEST_F(NodeTest, afterAStaleIDFoldersNamedLikeTheHeadAreNotLeftOut) {
    // The walks pass over such folders, and what lies above them has the same name as what was meant.
    const NodeID stale = staleID();
    for (const char* path : {"/My Phone/Card/Music/Card/song.mp3", "/My Phone/Card/My Phone/top.mp3",
                             "/My Phone/Card/Card/Music", "/Card/top.mp3"}) {
        EXPECT_FALSE(deleteWithin(stale, path)) << path;
    }
    EXPECT_FALSE(deletePath(stale, "/Card/My Phone/top.mp3"));
    EXPECT_EQ(library.takeChanges(), Calls{});
    EXPECT_TRUE(deleteWithin(stale, "Music/Rock")); // without a head nothing is left out
    _MTP_FOLDER_NODE* inside = library.addFolder(card, "My Phone");
    library.addFile(inside, "a.mp3");
    EXPECT_TRUE(deletePath(stale, "/My Phone/Card/My Phone/a.mp3")); // a full path has its head only once
    EXPECT_EQ(library.takeChanges(), (Calls{"mtpDeleteNode(Rock)", "mtpDeleteNode(a.mp3)"}));
}

TEST_F(NodeTest, afterAStaleIDNoNamesakeIsTakenForTheFile) {
    const NodeID stale = staleID();
    library.takeCalls();
    for (const char* path : {"/My Phone/Card/Missing/top.mp3", "/My Phone/Card/Music"}) { // Music/Music is another file
        EXPECT_FALSE(control.renameItemAtPath(device, phone, stale, path, "x", &error)) << path;
        EXPECT_EQ(error, 0x10000001U);
        EXPECT_FALSE(control.uploadFileFromMTPEx(device, phone, stale, path, "/x", nullptr, nullptr, &error)) << path;
        EXPECT_EQ(error, 0x10000001U);
        EXPECT_FALSE(control.transferFileFromDevice(device, card, stale, path, "/x", nullptr, nullptr, &error)) << path;
        EXPECT_EQ(control.fileSize(device, phone, path, stale, nullptr), 0U) << path;
    }
    EXPECT_EQ(library.takeChanges(), Calls{});
    EXPECT_TRUE(
        control.uploadFileFromMTPEx(device, phone, stale, "/My Phone/Card/top.mp3", "/x", nullptr, nullptr, &error));
    EXPECT_TRUE(control.renameItemAtPath(device, phone, stale, "/My Phone/Card/Music/Music", "x", &error));
    EXPECT_EQ(library.takeChanges(), (Calls{"mtpGetFileEx(top.mp3, /x#3)", "mtpRenameNode(Music, x#4)"}));
}

TEST_F(NodeTest, deletesWithinAStorageThroughTheCache) {
    NodeID file;
    const platform::Dictionary data{{"FilePath", "/new.mp3"}};
    ASSERT_TRUE(control.transferFileToDevice(device, card, std::nullopt, &data, "/My Phone/Card/Music/new.mp3", nullptr,
                                             nullptr, &file, &error));
    library.takeCalls();
    EXPECT_TRUE(deleteWithin(std::nullopt, "/my phone/card/music/new.mp3"));
    // Neither the friendly name nor a folder list is asked for.
    EXPECT_EQ(library.takeCalls().front(), "libIsExist(Music, 3)");
    EXPECT_TRUE(deleteWithin(std::nullopt, "/My Phone/Card/Music/Music")); // the folder, from the cache too
    EXPECT_FALSE(library.isLive(music));
    EXPECT_FALSE(deleteWithin(std::nullopt, "/My Phone/Card/Music/song.mp3")); // the cached folder is gone
}

TEST_F(NodeTest, fileInTheCacheIsNoFolder) {
    // The library answers a duplicate name with the file that holds it; sends and deletes must not take it for a
    // folder.
    library.duplicate = top;
    library.answer("mtpCreateFolderNode", {DGSTATUS_NODE_FILE_DUPNAME_EXISTED});
    NodeID file;
    const platform::Dictionary data{{"FilePath", "/new.mp3"}};
    (void) control.transferFileToDevice(device, card, std::nullopt, &data, "top.mp3/new.mp3", nullptr, nullptr, &file,
                                        &error);
    EXPECT_FALSE(deleteWithin(std::nullopt, "top.mp3/other.mp3"));
    EXPECT_TRUE(library.isLive(top));
}

TEST_F(NodeTest, failuresOfDeletes) {
    expectLogged(3,
                 "mtpDeleteNode is failed. Delete Node = (" + address(song) +
                     ") status = DGSTATUS_INTERNAL_OBJECTWRITEPROTECTED  0x1310000b",
                 [&] {
                     library.answer("mtpDeleteNode", {DGSTATUS_INTERNAL_OBJECTWRITEPROTECTED});
                     EXPECT_FALSE(deletePath(id(song), std::nullopt));
                     EXPECT_EQ(error, 0x1310000BU);
                 });
    for (const char* path : {"/My Phone/Card/none", "/My Phone/None/a", "/My Phone", "/", ""}) {
        expectLogged(3, "Do not exist delete node.", [&] {
            EXPECT_FALSE(deletePath(std::nullopt, path));
            EXPECT_FALSE(deleteWithin("FFFFFFF0", path));
            EXPECT_EQ(error, 0x10000001U);
        });
    }
    EXPECT_FALSE(control.deleteItemAtPath(nullptr, nullptr, std::nullopt, "/My Phone/Card/top.mp3", nullptr));
    EXPECT_FALSE(control.deleteNode(device, nullptr, std::nullopt, "top.mp3", nullptr));
    EXPECT_TRUE(library.isLive(top));
}

TEST_F(NodeTest, renamesWithTheTerminatorInTheSize) {
    EXPECT_TRUE(control.renameItemAtPath(device, phone, id(rock), "/ignored", "Jazz", &error));
    EXPECT_TRUE(control.renameItemAtPath(device, phone, std::nullopt, "/My Phone/Card/Music/song.mp3", "a", &error));
    EXPECT_TRUE(control.renameItemAtPath(device, phone, staleID(), "/My Phone/Card/top.mp3", "b", &error));
    EXPECT_EQ(library.takeChanges(),
              (Calls{"mtpRenameNode(Rock, Jazz#10)", "mtpRenameNode(song.mp3, a#4)", "mtpRenameNode(top.mp3, b#4)"}));
    EXPECT_EQ(error, 0U);
    EXPECT_TRUE(log.contains("Target Name = Jazz"));
}

TEST_F(NodeTest, failuresOfRenames) {
    const NodeID stale = staleID();
    const std::uint32_t handle = mtpNodeHandle(library.addFile(card, "gone"));
    library.kill(library.childrenOf(card).files.back());
    expectLogged(3, platform::formatText("0x%x Node is not exist.", handle), [&] {
        EXPECT_FALSE(
            control.renameItemAtPath(device, phone, platform::formatText("%X", handle), std::nullopt, "x", &error));
    });
    for (const auto& [node, path] : std::vector<std::pair<NodeID, MtpControl::Text>>{
             {stale, std::nullopt}, {stale, "/My Phone/Card/Missing/top.mp3"}, {std::nullopt, "/My Phone/Card/none"}}) {
        expectLogged(3, "Do not exist delete node.", [&, &nodeID = node, &source = path] {
            EXPECT_FALSE(control.renameItemAtPath(device, phone, nodeID, source, "x", &error));
            EXPECT_EQ(error, 0x10000001U);
        });
    }
    EXPECT_EQ(library.takeChanges(), Calls{});
    expectLogged(3,
                 "mtpRenameNode is failed. Rename Node = (" + address(song) +
                     "), status = DGSTATUS_FILE_INVALID_CHAR - 0x11000005",
                 [&] {
                     library.answer("mtpRenameNode", {DGSTATUS_FILE_INVALID_CHAR});
                     EXPECT_FALSE(control.renameItemAtPath(device, phone, id(song), std::nullopt, "a:b", &error));
                     EXPECT_EQ(error, 0x11000005U);
                 });
}

TEST_F(NodeTest, sizesOfFiles) {
    NodeID out;
    EXPECT_EQ(control.fileSize(device, phone, "/My Phone/Card/Music/Rock/deep.mp3", std::nullopt, &out), 0x123456789AU);
    EXPECT_EQ(out, NodeID("X")); // the text is fixed
    EXPECT_EQ(control.fileSize(device, phone, "/My Phone/Card/top.mp3", std::nullopt, nullptr), 7U);
    EXPECT_EQ(control.fileSize(device, phone, "/x", id(song), nullptr), 33U);
    EXPECT_EQ(control.fileSize(device, phone, "/My Phone/Card/Music/song.mp3", "FFFFFFF0", nullptr), 33U);
    out.reset();
    EXPECT_EQ(control.fileSize(device, phone, "/My Phone/Card/none", std::nullopt, &out), 0U);
    for (const void* other : {static_cast<void*>(music), static_cast<void*>(device)}) { // records without a size
        EXPECT_EQ(control.fileSize(device, phone, "/x", id(other), &out), 0U);
    }
    EXPECT_EQ(out, std::nullopt);
    expectLogged(3, "Input parameter is error. device = 0x0, file Path = (null)",
                 [&] { EXPECT_EQ(control.fileSize(nullptr, phone, std::nullopt, id(song), &out), 0U); });
}

TEST_F(NodeTest, fetchedStorageListsGoBack) {
    EXPECT_TRUE(control.deleteItemAtPath(device, nullptr, std::nullopt, "/My Phone/Card/top.mp3", &error));
    EXPECT_EQ(library.takeChanges(), (Calls{"mtpDeleteNode(top.mp3)", "mtpReleaseStorageList(Phone)"}));
}

} // namespace
