// SPDX-License-Identifier: MIT
#include "ControlTest.h"

namespace {

using NodeID = MtpControl::NodeID;
using Text = MtpControl::Text;
using platform::Dictionary;

std::uint32_t onProgress(std::uint64_t /*current*/, std::uint64_t /*total*/, void* /*context*/) {
    return 0;
}

class TransferTest : public ControlTest {
protected:
    _MTP_FOLDER_NODE* music = library.addFolder(card, "Music");
    _MTP_FILE_NODE* song = library.addFile(music, "song.mp3");
    _MTP_FILE_NODE* top = library.addFile(card, "top.mp3");
    const Dictionary data{
        {"FilePath", "/tmp/e\u0301.mp3"}, {"MediaType", 0x1000001U}, {"Title", "T"}, {"Description", "long text"}};
    const Text target = "/My Phone/Card/Music/new.mp3";
    NodeID file;
    std::uint32_t error = 0xEE;
    const std::string failed = "DGSTATUS_INTERNAL_DEVICEBUSY  0x13100017";

    bool sendMediaEx(const NodeID& folder, const Dictionary* content, const Text& destination) {
        return control.sendMediaFileToMTPEx(device, phone, folder, content, destination, onProgress, this, &file,
                                            &error);
    }
    bool sendMedia(const NodeID& folder, const Dictionary* content, const Text& destination) {
        return control.sendMediaFileToMTP(device, phone, folder, content, destination, onProgress, this, &file, &error);
    }
    bool sendWithin(const NodeID& parent, const Text& destination) {
        return control.transferFileToDevice(device, card, parent, &data, destination, onProgress, this, &file, &error);
    }
    bool receiveEx(const NodeID& node, const Text& source, const Text& destination) {
        return control.uploadFileFromMTPEx(device, phone, node, source, destination, onProgress, this, &error);
    }
    bool receiveWithin(const NodeID& node, const Text& source) {
        return control.transferFileFromDevice(device, card, node, source, "/tmp/x", onProgress, this, &error);
    }
};

TEST_F(TransferTest, sendsWithMetadataByPath) {
    EXPECT_TRUE(sendMediaEx(std::nullopt, &data, target));
    EXPECT_EQ(error, 0U);
    EXPECT_EQ(file, NodeID(id(library.childrenOf(music).files.back())));
    // The local path is precomposed; its length counts the terminator.
    EXPECT_EQ(library.takeChanges(), (Calls{"mtpSendMediaFileEx(/tmp/\u00E9.mp3#11, Music, record 6, callback)",
                                            "mtpReleaseMediaFileInfo()"}));
    EXPECT_TRUE(log.contains("Send Media File Name = /tmp/\u00E9.mp3, TO = /My Phone/Card/Music/new.mp3"));

    EXPECT_TRUE(sendMedia(std::nullopt, &data, target));
    EXPECT_EQ(library.takeChanges().front(), "mtpSendMediaFile(/tmp/\u00E9.mp3#11, Music, record 6, callback)");
    EXPECT_TRUE(log.contains("Send Media File Name = /tmp/\u00E9.mp3"));
}

TEST_F(TransferTest, parentByIDAloneOrElseByPath) {
    EXPECT_TRUE(sendMediaEx(id(card), &data, "nowhere"));
    EXPECT_EQ(library.takeChanges().front(), "mtpSendMediaFileEx(/tmp/\u00E9.mp3#11, Card, record 6, callback)");
    // What names no live folder or storage, a file or the device, say, is no place to send to.
    for (const std::string& none :
         {std::string("0"), std::string(), std::string("no number"), std::string("FFFFFFF0"), id(song), id(device)}) {
        EXPECT_TRUE(sendMediaEx(none, &data, target)) << none;
        EXPECT_EQ(library.takeChanges().front(), "mtpSendMediaFileEx(/tmp/\u00E9.mp3#11, Music, record 6, callback)");
    }
    EXPECT_TRUE(sendMediaEx(std::nullopt, &data, "/My Phone/Card/New/a.mp3")); // folders are made first
    EXPECT_EQ(library.takeChanges(),
              (Calls{"mtpCreateFolderNode(Card, New#8)",
                     "mtpSendMediaFileEx(/tmp/\u00E9.mp3#11, New, record 6, callback)", "mtpReleaseMediaFileInfo()"}));
}

TEST_F(TransferTest, recordFollowsTheMediaType) {
    const std::pair<std::uint32_t, std::string> rows[] = {
        {0x1000001, "record 6"}, {0x2000001, "record 7"}, {0x4000001, "record 8"}, {0x5000001, "record 6"},
        {0x6000001, "record 8"}, {0, "no record"},        {1, "no record"},
    };
    for (const auto& [type, record] : rows) {
        const Dictionary content{{"FilePath", "/a"}, {"MediaType", type}};
        EXPECT_TRUE(sendMediaEx(id(music), &content, target));
        EXPECT_EQ(library.takeChanges().front(), "mtpSendMediaFileEx(/a#3, Music, " + record + ", callback)");
        if (record != "no record") {
            const std::uint16_t format = control.setMediaFileFormat(type);
            EXPECT_EQ(library.sentRecord[48] | library.sentRecord[49] << 8, format) << std::hex << type;
        }
    }
}

TEST_F(TransferTest, existingNameHandsOutItsNode) {
    library.duplicate = song;
    for (const DGSTATUS status : {0x10000005, 0x10000006}) {
        file.reset();
        log.clear();
        library.answer("mtpSendMediaFileEx", {status});
        EXPECT_FALSE(sendMediaEx(std::nullopt, &data, target));
        EXPECT_EQ(error, static_cast<std::uint32_t>(status));
        EXPECT_EQ(file, NodeID(id(song)));
        LogCapture::level() = 3;
        EXPECT_FALSE(log.contains("mtpSendMediaFileEx is failed. status = " + control.statusString(status)));
    }
}

TEST_F(TransferTest, failuresOfSends) {
    const std::string at = "Common Node = (" + address(music) + ") status = " + failed;
    struct Row {
        const char* function;
        std::string message;
        std::function<bool()> send;
    };
    const std::vector<Row> rows = {
        {"mtpSendMediaFileEx", "mtpSendMediaFileEx is failed. status = " + failed,
         [&] { return sendMediaEx(id(music), &data, target); }},
        {"mtpSendMediaFile", "mtpSendMediaFile is failed. status = " + failed,
         [&] { return sendMedia(id(music), &data, target); }},
        {"mtpSendMediaFileEx", "mtpSendMediaFileEx is failed. status = " + failed,
         [&] { return sendWithin(id(music), target); }},
        {"mtpSendFileEx", "mtpSendFileEx is failed. " + at,
         [&] {
             return control.downloadFileToMTPEx(device, phone, id(music), "/a", target, onProgress, this, &file,
                                                &error);
         }},
        {"mtpSendFile", "mtpSendFile is failed. " + at,
         [&] {
             return control.downloadFileToMTP(device, phone, id(music), "/a", target, onProgress, this, &file, &error);
         }},
    };
    library.duplicate = song; // not to be handed out for any other status
    for (const Row& row : rows) {
        expectLogged(3, row.message, [&] {
            library.answer(row.function, {DGSTATUS_INTERNAL_DEVICEBUSY});
            EXPECT_FALSE(row.send());
            EXPECT_EQ(error, 0x13100017U);
            EXPECT_EQ(file, std::nullopt);
        });
    }
}

TEST_F(TransferTest, invalidInputsOfSends) {
    const std::string none = "Input parameter is error. device = " + address(device);
    expectLogged(3, none + ", data = 0x0, destPath = " + *target, [&] {
        EXPECT_FALSE(sendMediaEx(std::nullopt, nullptr, target));
        EXPECT_EQ(error, 0x23000001U);
    });
    EXPECT_FALSE(sendMediaEx(id(music), &data, std::nullopt));
    EXPECT_FALSE(
        control.sendMediaFileToMTP(nullptr, phone, id(music), &data, target, nullptr, nullptr, nullptr, nullptr));
    expectLogged(3, none + ", srcPath = (null), destPath = " + *target, [&] {
        EXPECT_FALSE(control.downloadFileToMTPEx(device, phone, std::nullopt, std::nullopt, target, nullptr, nullptr,
                                                 &file, &error));
        EXPECT_EQ(error, 0x23000001U);
    });
    expectLogged(3, none + ", storage = 0x0, data = " + address(&data) + ", destPath = (null)", [&] {
        EXPECT_FALSE(control.transferFileToDevice(device, nullptr, std::nullopt, &data, std::nullopt, nullptr, nullptr,
                                                  &file, &error));
        EXPECT_EQ(error, 0x23000001U);
    });
    EXPECT_EQ(library.takeChanges(), Calls{});
    expectLogged(3, "Get Current Node is NULL", [&] {
        EXPECT_FALSE(sendMediaEx(std::nullopt, &data, "/My Phone/None/a"));
        EXPECT_EQ(error, 0x10000001U);
    });
}

TEST_F(TransferTest, plainFilesHaveNoRecord) {
    EXPECT_TRUE(
        control.downloadFileToMTPEx(device, phone, std::nullopt, "/e\u0301", target, onProgress, this, &file, &error));
    EXPECT_EQ(file, NodeID(id(library.childrenOf(music).files.back())));
    EXPECT_TRUE(log.contains("Download /e\u0301 to " + *target));
    EXPECT_TRUE(control.downloadFileToMTP(device, phone, id(card), "/b", target, nullptr, nullptr, nullptr, nullptr));
    EXPECT_EQ(library.takeChanges(), (Calls{"mtpSendFileEx(/\u00E9#3, Music, callback)", "mtpSendFile(/b#3, Card)"}));
}

TEST_F(TransferTest, foldersOfSendsWithinAStorageAreCached) {
    const std::string message = "Parent Folder [/My Phone/Card/New] is not exist in m_folderNode Dictionary.";
    EXPECT_TRUE(sendWithin(std::nullopt, "/My Phone/Card/New/a.mp3"));
    EXPECT_TRUE(log.contains(message));
    EXPECT_EQ(library.takeChanges().front(), "mtpCreateFolderNode(Card, New#8)");
    log.clear();

    EXPECT_TRUE(sendWithin(std::nullopt, "/my phone/CARD/new/b.mp3")); // the cache knows no case
    EXPECT_FALSE(log.contains(message));
    EXPECT_EQ(library.takeCalls(),
              (Calls{"libIsExist(New, 3)", "mtpSendMediaFileEx(/tmp/\u00E9.mp3#11, New, record 6, callback)",
                     "mtpReleaseMediaFileInfo()"}));
    EXPECT_TRUE(sendWithin(id(music), "/My Phone/Card/New/c.mp3")); // an ID goes before the cache
    EXPECT_TRUE(sendWithin(id(song), "/My Phone/Card/New/c.mp3"));  // but the ID of a file is none of a folder
    EXPECT_EQ(library.takeChanges(),
              (Calls{"mtpSendMediaFileEx(/tmp/\u00E9.mp3#11, Music, record 6, callback)", "mtpReleaseMediaFileInfo()",
                     "mtpSendMediaFileEx(/tmp/\u00E9.mp3#11, New, record 6, callback)", "mtpReleaseMediaFileInfo()"}));

    // What is cached is a storage's own: paths within a hidden volume do not name it.
    for (_MTP_STORAGE_NODE* storage : {card, phone}) {
        EXPECT_TRUE(control.transferFileToDevice(device, storage, std::nullopt, &data, "New/e.mp3", onProgress, this,
                                                 &file, &error));
    }
    EXPECT_EQ(library.childrenOf(library.childrenOf(phone).folders.back()).files.size(), 1U);
    library.takeCalls();

    library.kill(library.childrenOf(card).folders.back()); // a cached folder that is gone is made anew
    EXPECT_TRUE(sendWithin(std::nullopt, "/My Phone/Card/New/d.mp3"));
    EXPECT_EQ(library.takeChanges().front(), "mtpCreateFolderNode(Card, New#8)");

    control.InitializeNodeDic();
    EXPECT_TRUE(sendWithin(std::nullopt, "/My Phone/Card/New/e.mp3"));
    EXPECT_TRUE(log.contains(message));
}

TEST_F(TransferTest, sendWithinAStorageWithoutAFolder) {
    library.answer("mtpCreateFolderNode", {DGSTATUS_INTERNAL_STOREFULL});
    expectLogged(3, "Get Current Node is NULL", [&] {
        library.answer("mtpCreateFolderNode", {DGSTATUS_INTERNAL_STOREFULL});
        EXPECT_FALSE(sendWithin(std::nullopt, "New/a.mp3"));
        EXPECT_EQ(error, 0x10000001U);
    });
}

TEST_F(TransferTest, receivesByIDOrPath) {
    EXPECT_TRUE(receiveEx(id(song), "/nowhere", "/tmp/e\u0301"));
    EXPECT_EQ(error, 0U);
    // The local path stays as it was given.
    EXPECT_EQ(library.takeCalls(),
              (Calls{"libIsExist(song.mp3, 4)", "mtpGetFileEx(song.mp3, /tmp/e\u0301#8, callback)"}));
    EXPECT_TRUE(log.contains("File Upload /nowhere to /tmp/e\u0301"));

    EXPECT_TRUE(receiveEx("0", "/My Phone/Card/Music/SONG.mp3", "/x"));
    EXPECT_TRUE(receiveEx(std::nullopt, "/My Phone/Card/top.mp3", "/x")); // in the storage's root
    EXPECT_TRUE(control.uploadFileFromMTP(device, phone, id(song), "/a", "/x", nullptr, nullptr, nullptr));
    EXPECT_EQ(library.takeChanges(), (Calls{"mtpGetFileEx(song.mp3, /x#3, callback)",
                                            "mtpGetFileEx(top.mp3, /x#3, callback)", "mtpGetFile(song.mp3, /x#3)"}));
    EXPECT_TRUE(receiveWithin(std::nullopt, "Music/song.mp3"));
    EXPECT_TRUE(receiveWithin(id(top), "Music/song.mp3"));
    EXPECT_EQ(library.takeChanges(),
              (Calls{"mtpGetFileEx(song.mp3, /tmp/x#7, callback)", "mtpGetFileEx(top.mp3, /tmp/x#7, callback)"}));
    EXPECT_TRUE(log.contains("Transfer Music/song.mp3 to /tmp/x"));
}

TEST_F(TransferTest, fileThatIsGoneIsAskedForNevertheless) {
    expectLogged(6, "File node is not exist. node = (" + address(song) + ")", [&] {
        library.answer("libIsExist", {0});
        library.answer("mtpGetFileEx", {DGSTATUS_NODE_IS_NOT_EXISTED});
        EXPECT_FALSE(receiveEx(id(song), "/a", "/x"));
        EXPECT_EQ(error, 0x10000004U);
    });
}

TEST_F(TransferTest, failuresOfReceives) {
    const std::string at = "File Node = (" + address(song) + "), status = " + failed;
    for (const auto& [function, receive] : std::vector<std::pair<std::string, std::function<bool()>>>{
             {"mtpGetFileEx", [&] { return receiveEx(id(song), "/a", "/x"); }},
             {"mtpGetFile",
              [&] { return control.uploadFileFromMTP(device, phone, id(song), "/a", "/x", nullptr, nullptr, &error); }},
             {"mtpGetFileEx", [&] { return receiveWithin(id(song), "/a"); }},
         }) {
        expectLogged(3, function + " is failed. " + at, [&, &name = function, &call = receive] {
            library.answer(name, {DGSTATUS_INTERNAL_DEVICEBUSY});
            EXPECT_FALSE(call());
            EXPECT_EQ(error, 0x13100017U);
        });
    }
    for (const char* path : {"/My Phone/Card/Music/none.mp3", "/My Phone/None/a", "/My Phone", ""}) {
        expectLogged(3, "Do not exist File node for upload to local.", [&] {
            EXPECT_FALSE(receiveEx(std::nullopt, path, "/x"));
            EXPECT_EQ(error, 0x10000001U);
        });
    }
}

TEST_F(TransferTest, invalidInputsOfReceives) {
    expectLogged(3, "Input parameter is error. device = 0x0, srcPath = /a, destPath = /x", [&] {
        EXPECT_FALSE(control.uploadFileFromMTPEx(nullptr, phone, id(song), "/a", "/x", nullptr, nullptr, &error));
        EXPECT_EQ(error, 0x23000002U);
    });
    EXPECT_FALSE(receiveEx(id(song), std::nullopt, "/x"));
    EXPECT_FALSE(receiveEx(id(song), "/a", std::nullopt));
    expectLogged(
        3, "Input parameter is error. device = " + address(device) + ", storage = 0x0, srcPath = /a, destPath = (null)",
        [&] {
            EXPECT_FALSE(control.transferFileFromDevice(device, nullptr, id(song), "/a", std::nullopt, nullptr, nullptr,
                                                        &error));
            EXPECT_EQ(error, 0x23000002U);
        });
    EXPECT_EQ(library.takeCalls(), Calls{});
}

} // namespace
