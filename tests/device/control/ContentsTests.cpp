// SPDX-License-Identifier: MIT
// What the content walks enter, ask and tell.
#include "ControlTest.h"

namespace {

using platform::Array;
using platform::Dictionary;
using Text = MtpControl::Text;
using Names = std::vector<std::string>;

class ContentsTest : public ControlTest {
protected:
    static Names values(const std::optional<Array>& entries, const char* key) {
        Names found;
        for (const auto& entry : entries.value_or(Array())) {
            found.push_back(entry.dictionary()->string(key).value_or("(none)"));
        }
        return found;
    }
    Names media(const Text& source, const std::vector<std::string>& extensions = {"mp3"}) {
        return values(control.enumeratorMediaFiles(device, phone, source, extensions), "FilePath");
    }

    // Phone: song.mp3, .hidden/{h.mp3}, Music/{a.MP3, b.txt, Quiet/{.NoMedia, q.mp3, Deep/{d.mp3}}, Rock/{r.mp3}}
    _MTP_FILE_NODE* song = library.addFile(phone, "song.mp3", 7);
    _MTP_FOLDER_NODE* hidden = library.addFolder(phone, ".hidden");
    _MTP_FILE_NODE* inHidden = library.addFile(hidden, "h.mp3");
    _MTP_FOLDER_NODE* music = library.addFolder(phone, "Music");
    _MTP_FILE_NODE* upper = library.addFile(music, "a.MP3", 5'000'000'000);
    _MTP_FILE_NODE* text = library.addFile(music, "b.txt");
    _MTP_FOLDER_NODE* quiet = library.addFolder(music, "Quiet");
    _MTP_FILE_NODE* noMedia = library.addFile(quiet, ".NoMedia");
    _MTP_FILE_NODE* inQuiet = library.addFile(quiet, "q.mp3");
    _MTP_FOLDER_NODE* deep = library.addFolder(quiet, "Deep");
    _MTP_FILE_NODE* inDeep = library.addFile(deep, "d.mp3");
    _MTP_FOLDER_NODE* rock = library.addFolder(music, "Rock");
    _MTP_FILE_NODE* inRock = library.addFile(rock, "r.mp3");
};

TEST_F(ContentsTest, mediaWalksLeaveOutWhatIsHidden) {
    EXPECT_EQ(media("/My Phone/Phone"),
              (Names{"/My Phone/Phone/song.mp3", "/My Phone/Phone/Music/a.MP3", "/My Phone/Phone/Music/Rock/r.mp3"}));
    EXPECT_EQ(media("/My Phone/Phone/Music", {"TXT", "jpg"}), Names{"/My Phone/Phone/Music/b.txt"});
    EXPECT_EQ(media("/My Phone/Phone", {}), Names{});
    // Whoever names a folder means it.
    EXPECT_EQ(media("/My Phone/Phone/Music/Quiet"),
              (Names{"/My Phone/Phone/Music/Quiet/q.mp3", "/My Phone/Phone/Music/Quiet/Deep/d.mp3"}));
    EXPECT_EQ(media("/my phone/PHONE/.Hidden"), Names{"/my phone/PHONE/.Hidden/h.mp3"});
}

TEST_F(ContentsTest, backupsEnterEverything) {
    EXPECT_EQ(values(control.enumeratorBackupFiles(device, phone, "/My Phone/Phone"), "FileName"),
              (Names{"song.mp3", "h.mp3", "a.MP3", "b.txt", ".NoMedia", "q.mp3", "d.mp3", "r.mp3"}));
    EXPECT_EQ(values(control.enumeratorBackupFiles(device, phone, "/My Phone/Card"), "FileName"), Names{});
    EXPECT_EQ(values(control.enumeratorAllContents(device, phone), "FilePath").size(), 13U) << "folders too";
    EXPECT_EQ(values(control.enumeratorAllContents(device, nullptr), "FileName").front(), "song.mp3");
}

TEST_F(ContentsTest, onlyMetadataWalksAskForMetadata) {
    const auto asked = [&] {
        const Calls calls = library.takeCalls();
        return std::count_if(calls.begin(), calls.end(),
                             [](const std::string& call) { return call.starts_with("mtpGetMediaFileInfo"); });
    };
    library.takeCalls();
    const auto names = control.enumeratorMediaFileNames(device, phone, "/My Phone/Phone", {"mp3"});
    const Calls calls = library.takeCalls();
    EXPECT_EQ(std::count(calls.begin(), calls.end(), "mtpSetNameListing(on)"), 1);
    EXPECT_EQ(calls.back(), "mtpSetNameListing(off)");
    EXPECT_TRUE(std::none_of(calls.begin(), calls.end(),
                             [](const std::string& call) { return call.starts_with("mtpGetMediaFileInfo"); }));
    EXPECT_EQ(values(names, "FileName"), (Names{"song.mp3", "a.MP3", "r.mp3"}));
    EXPECT_FALSE((*names)[1].dictionary()->contains("FileSize")) << "which a name listing does not ask for";
    EXPECT_EQ((*names)[1].dictionary()->string("NodeID"), id(upper));
    EXPECT_TRUE(control.enumeratorBackupFiles(device, phone, "/My Phone/Phone"));
    EXPECT_EQ(asked(), 0);
    EXPECT_EQ(media("/My Phone/Phone/Music").size(), 2U);
    EXPECT_EQ(asked(), 2) << "for the files of these extensions alone";
    library.answer("mtpGetMediaFileInfo", {DGSTATUS_INTERNAL_GENERALERROR});
    EXPECT_EQ(media("/My Phone/Phone/Music").size(), 2U) << "told without metadata";
}

TEST_F(ContentsTest, oneFolder) {
    const auto listed = control.enumeratorFiles(device, phone, "/My Phone/Phone/Music", std::nullopt);
    EXPECT_EQ(values(listed, "FilePath"), (Names{"/My Phone/Phone/Music/a.MP3", "/My Phone/Phone/Music/b.txt"}));
    EXPECT_EQ(values(listed, "NodeID"), (Names{id(upper), id(text)}));
    EXPECT_EQ(values(control.enumeratorFiles(device, phone, "music/ROCK", std::nullopt), "FileName"), Names{"r.mp3"});
    EXPECT_EQ(values(control.enumeratorFiles(device, phone, "", std::nullopt), "FileName"), Names{"song.mp3"});
    EXPECT_EQ(values(control.enumeratorFolders(device, phone, "/My Phone/Phone", std::nullopt), "FileName"),
              (Names{".hidden", "Music"}));
    EXPECT_EQ(values(control.enumeratorFolders(device, phone, "/ignored", id(music)), "FilePath"),
              (Names{"/ignored/Quiet", "/ignored/Rock"}));
    EXPECT_EQ(control.enumeratorFiles(device, phone, "/My Phone/Phone/Gone/Music", std::nullopt), std::nullopt);
    EXPECT_EQ(control.enumeratorFiles(device, phone, "/My Phone/Phone/song.mp3", std::nullopt), std::nullopt);
    EXPECT_EQ(control.enumeratorFiles(device, phone, std::nullopt, id(music)), std::nullopt);
    EXPECT_EQ(control.enumeratorFiles(device, nullptr, "Music", std::nullopt), std::nullopt);
    EXPECT_EQ(control.enumeratorMediaFiles(device, phone, "/My Phone/Gone", {"mp3"}), std::nullopt);
    EXPECT_EQ(control.enumeratorMediaFiles(nullptr, phone, "/My Phone/Phone", {"mp3"}), std::nullopt);
}

TEST_F(ContentsTest, aDeviceThatGoesAwayLeavesNoHalfListing) {
    const auto walk = [&] { return control.enumeratorBackupFiles(device, phone, "/My Phone/Phone"); };
    library.answer("mtpGetFolderListHead", {DGSTATUS_NO_DEVICE_ATTACHED});
    EXPECT_EQ(walk(), std::nullopt);
    EXPECT_TRUE(log.contains("Device disconnected"));
    library.answer("mtpGetMediaFileInfo", {DGSTATUS_NO_DEVICE_ATTACHED});
    EXPECT_EQ(control.enumeratorFiles(device, phone, "Music", std::nullopt), std::nullopt);
    // A folder of its own trouble is passed over, unless it was the one asked for.
    library.answer("mtpGetFileListHead", {DGSTATUS_INTERNAL_ACCESSDENIED});
    EXPECT_EQ(walk(), std::nullopt);
    control.setDeviceConnected(true);
    EXPECT_EQ(walk()->size(), 8U);
    EXPECT_TRUE(control.enumeratorMediaFiles(device, phone, "/My Phone/Phone", {"mp3"}));
}

TEST_F(ContentsTest, aWalkWhoseNodesGoAwayUnderItBeginsAnew) {
    const auto walk = [&] {
        return values(control.enumeratorBackupFiles(device, phone, "/My Phone/Phone"), "FileName");
    };
    constexpr DGSTATUS goesOn = DGSTATUS_IGNORED_SUCCESS;
    constexpr DGSTATUS gone = DGSTATUS_NODE_IS_NOT_EXISTED;
    const Names all = walk();
    library.answer("mtpGetFileListHead", {goesOn, gone}); // the root is read, its first folder is not there any more
    EXPECT_EQ(walk(), all) << "each file once";
    library.answer("mtpGetNextFileNode", {gone});
    library.answer("mtpGetNextSiblingFolderNode", {gone});
    EXPECT_EQ(walk(), all) << "a list that breaks off is read anew";
    // What is not there the third time either is passed over.
    library.answer("mtpGetFileListHead", {goesOn, gone, goesOn, gone, goesOn, gone});
    Names others = all;
    std::erase(others, "h.mp3");
    EXPECT_EQ(walk(), others);
    library.answer("mtpGetFileListHead", {gone});
    EXPECT_EQ(control.enumeratorBackupFiles(device, phone, "/My Phone/Phone"), std::nullopt) << "the one asked for";
}

TEST_F(ContentsTest, aFolderThatContainsItselfIsEnteredOnce) {
    library.childrenOf(rock).folders.push_back(music);
    library.childrenOf(quiet).folders.push_back(quiet);
    EXPECT_EQ(values(control.enumeratorBackupFiles(device, phone, "/My Phone/Phone"), "FileName").size(), 8U);
}

TEST_F(ContentsTest, depthHasABound) {
    void* parent = card;
    for (int i = 0; i < 1100; ++i) {
        parent = library.addFolder(parent, "d");
        library.addFile(parent, "f");
    }
    EXPECT_EQ(control.enumeratorBackupFiles(device, phone, "/My Phone/Card")->size(), 1000U);
}

TEST_F(ContentsTest, exactNodesAreNoNamesakes) {
    _MTP_FILE_NODE* rootNamesake = library.addFile(phone, "r.mp3");
    _MTP_FILE_NODE* rockInRock = library.addFile(rock, "Rock");
    _MTP_FILE_NODE* capital = library.addFile(rock, "R.MP3");
    const auto exact = [&](const Text& path, const MtpControl::NodeID& hint = std::nullopt) {
        return control.exactNode(device, phone, hint, path);
    };
    EXPECT_EQ(exact("/My Phone/Phone/Music/Rock/r.mp3"), id(inRock));
    EXPECT_EQ(exact("/My Phone/Phone/Music/Rock/R.MP3"), id(capital)) << "spelled so";
    EXPECT_EQ(exact("/My Phone/Phone/Music/Rock/R.mp3"), id(inRock)) << "the first that differs in case only";
    EXPECT_EQ(exact("/My Phone/Phone/Gone/r.mp3"), std::nullopt);
    EXPECT_EQ(exact("/My Phone/Phone/R.mp3"), id(rootNamesake));
    EXPECT_EQ(exact("/My Phone/Phone/Music/Rock/Rock"), id(rockInRock));
    EXPECT_EQ(exact("/My Phone/Phone/Music"), id(music));
    EXPECT_EQ(exact("/My Phone/Phone"), id(phone));
    EXPECT_EQ(exact("/My Phone"), std::nullopt);
    EXPECT_EQ(exact(std::nullopt), std::nullopt);
    EXPECT_EQ(exact("/anything/r.mp3", id(inRock)), id(inRock));
    EXPECT_EQ(exact("/My Phone/Phone/Music/b.txt", id(inRock)), id(text)) << "an ID that means something else now";
    EXPECT_EQ(control.exactNodeInStorage(device, phone, std::nullopt, "/my phone/phone/MUSIC/rock"), id(rock));
    EXPECT_EQ(control.exactNodeInStorage(device, phone, std::nullopt, "Music/rock/Gone/r.mp3"), std::nullopt);
    EXPECT_EQ(control.exactNodeInStorage(device, nullptr, std::nullopt, "Music"), std::nullopt);
}

TEST_F(ContentsTest, singleNodes) {
    Dictionary entry;
    EXPECT_TRUE(control.makeFolderNode(music, entry));
    EXPECT_EQ(entry, (Dictionary{{"FileName", "Music"}, {"NodeID", id(music)}}));
    EXPECT_FALSE(control.makeFolderNode(nullptr, entry));
    EXPECT_EQ(control.makeMediaFilePath(device, card, "/Music/a.mp3"), "/My Phone/Card/Music/a.mp3");
    EXPECT_EQ(control.makeMediaFilePath(device, card, "a.mp3"), "/My Phone/Card/a.mp3");
    EXPECT_EQ(control.makeMediaFilePath(device, nullptr, "a.mp3"), std::nullopt);
    EXPECT_EQ(control.makeMediaFilePath(device, card, std::nullopt), std::nullopt);
    EXPECT_EQ(values(control.contentsOfFileAtNode(&music->header, "/m"), "FilePath"), (Names{"/m/a.MP3", "/m/b.txt"}));
    EXPECT_EQ(values(control.subpathsOfDirectoryAtNode(&quiet->header, phone, "q"), "FilePath"),
              (Names{"q/.NoMedia", "q/q.mp3", "q/Deep", "q/Deep/d.mp3"}));
    EXPECT_EQ(control.contentsOfFileAtNode(&song->header, "x"), std::nullopt);
    EXPECT_EQ(control.subpathsOfDirectoryAtNode(nullptr, phone, "x"), std::nullopt);
}

} // namespace
