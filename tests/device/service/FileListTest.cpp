// SPDX-License-Identifier: MIT
// The device's media by kind, and what a backup of it finds.
#include "tests/device/service/FileService.h"
#include "tree/DeviceList.h"
#include "ui/VXUIPodcastXMLConverter.h"

#include <algorithm>

using platform::Array;
using platform::Dictionary;
using tests::Names;
using tests::Text;
using tests::values;

namespace {

class FileListTest : public tests::FileService {
protected:
    void putChannel(const std::string& folder, const std::string& title) const {
        const Dictionary podcast{
            {"Title", title},
            {"children", Array{Dictionary{{"Title", "First"}, {"Url", "u1"}, {"FilePath", "ep1.mp3"}}}}};
        put(folder + "/" + title + ".xml",
            VXUIPodcastXMLConverter().makePodcastXMLFromPodcastDictionary(podcast, true).prettyPrinted());
    }
    /// Twenty songs in four folders, all known to the device: it announces none of them to a session that is opened
    /// now.
    void putAlbums() {
        for (int i = 0; i < 20; ++i) {
            put("Phone/Sounds/album" + std::to_string(i % 4) + "/" + std::to_string(i) + ".mp3", "song");
        }
        ASSERT_TRUE(tests::waitUntil([&] {
            const auto known = service->fileNameList("", MediaTypeMusic, 0);
            return known && known->size() == 20;
        }));
    }
    [[nodiscard]] std::uint64_t transactions() const {
        return mtpsdk::DeviceList::shared().deviceOf(inside()->_currentDeviceNode)->session().transactionCount();
    }
    [[nodiscard]] std::size_t formats() const {
        const auto known = mtpsdk::DeviceList::shared().deviceOf(inside()->_currentDeviceNode);
        return known->session().deviceInfo().playbackFormats.size();
    }
    /// What ends the service while the device answers the next listing of a folder.
    void releaseWhileListing() {
        device->faults().alterData({mtpsdk::OperationCode::GetObjectPropList},
                                   [this](auto&) { inside()->_releaseState = 1; });
    }
};

struct Group {
    std::uint32_t disk;
    std::uint32_t type;
    Names names;
    bool operator==(const Group&) const = default;
};

void PrintTo(const Group& group, std::ostream* out) {
    *out << group.disk << "/" << group.type << ":" << testing::PrintToString(group.names);
}

/// The groups in their order; an empty one holds no files at all.
std::vector<Group> groupsOf(const std::optional<Array>& listed, const char* key = "FileName") {
    std::vector<Group> groups;
    for (const auto& value : listed.value_or(Array())) {
        const Dictionary& group = *value.dictionary();
        const Array* files = group.array("ContentMediaTag");
        EXPECT_TRUE(files == nullptr || !files->empty());
        groups.push_back({group.uint32("DiskIndex").value_or(99), group.uint32("ContentMediaType").value_or(99),
                          values(files == nullptr ? Array() : *files, key)});
    }
    return groups;
}

const Dictionary backupKinds{{"musicExtension", Array{"mp3", "OGG", "mp4"}},
                             {"photoExtension", Array{"jpg", "ogg"}},
                             {"videoExtension", Array{"MP4", "avi"}}};

} // namespace

TEST_F(FileListTest, AllKindsOfAllStoragesInTheirOrder) {
    put("Phone/Sounds/a.mp3", "song");
    put("Phone/elsewhere/deep/b.MP3", "song");
    put("Phone/DCIM/Camera/c.JPEG", "image");
    put("Phone/Videos/d.3gp", "video");
    put("Phone/Videos/notes.txt", "none of them");
    put("Phone/Videos/track.m4a", "not taken for music");
    put("Phone/.thumbs/t.jpg", "hidden");
    put("Phone/Podcast/Show/ep1.mp3", "episode");
    put("Phone/Podcast/Show/ep1.mp4", "episode");
    putChannel("Phone/Podcast/Show", "Show");
    put("Phone/broken.xml", "<channel>");
    put("Card/x.mp3", "song");
    put("Card/Playlists/Cards.pla", "");
    reopen();
    ASSERT_TRUE(
        service->createPlaylist("Mix", MediaTypeMusic, Array{Dictionary{{"FilePath", "/Player/Phone/Sounds/a.mp3"}}}));

    const auto listed = service->fileInformationListForAllMediaType(std::nullopt);
    EXPECT_EQ(groupsOf(listed, "FilePath"),
              (std::vector<Group>{
                  {0, 1, {"/Player/Phone/Sounds/a.mp3", "/Player/Phone/elsewhere/deep/b.MP3"}},
                  {0, 2, {"/Player/Phone/DCIM/Camera/c.JPEG"}},
                  {0, 3, {"/Player/Phone/Videos/d.3gp"}},
                  {0, 4, {"(none)"}},
                  {0, 10, {"/Player/Phone/Playlists/Mix.pla"}},
                  {1, 1, {"/Player/Card/x.mp3"}},
                  {1, 2, {}},
                  {1, 3, {}},
                  {1, 4, {}},
              }));
    const Array& podcasts = *(*listed)[3].dictionary()->array("ContentMediaTag");
    EXPECT_EQ(podcasts[0].dictionary()->string("Title"), "Show");
    EXPECT_EQ(values(*podcasts[0].dictionary()->array("children"), "FilePath"),
              Names{"/Player/Phone/Podcast/Show/ep1.mp3"});
    EXPECT_EQ(inside()->_FileTransferStatus, TransferStatusDone);
}

TEST_F(FileListTest, TheIndexHoldsWhatTheLastListOfAllKindsMet) {
    put("Phone/Sounds/a.mp3", "song");
    put("Phone/Podcast/Show/ep1.mp3", "episode");
    put("Phone/text.txt", "text");
    reopen();
    ASSERT_TRUE(service->fileLists("/Player/Phone"));
    ASSERT_TRUE(indexed("/Player/Phone/text.txt"));

    const auto listed = service->fileInformationListForAllMediaType(std::nullopt);
    EXPECT_FALSE(indexed("/Player/Phone/text.txt"));
    EXPECT_TRUE(indexed("/Player/Phone/Podcast/Show/ep1.mp3")) << "left out of the list, but met";
    const Dictionary& song = *listed->front().dictionary()->array("ContentMediaTag")->front().dictionary();
    EXPECT_EQ(indexed("/PLAYER/phone/sounds/A.MP3"), song.string("NodeID"));
    EXPECT_EQ(service->fileSizeAtDevice("/Player/Phone/Sounds/a.mp3"), 4U);
}

TEST_F(FileListTest, OneKindOfOneStorage) {
    put("Phone/Sounds/a.mp3", "song");
    put("Phone/b.mp3", "song");
    put("Phone/Podcast/Show/ep1.mp3", "episode");
    put("Phone/c.png", "image");
    put("Phone/Podcast/cover.png", "image");
    put("Card/x.mp3", "song");
    put("Card/Podcast/only.avi", "video");
    reopen();
    const auto information = service->fileInformationList("", MediaTypeMusic, 0);
    const auto names = service->fileNameList("", MediaTypeMusic, 0);
    for (const auto* list : {&information, &names}) {
        EXPECT_EQ(values(*list, "FilePath"), (Names{"/Player/Phone/Sounds/a.mp3", "/Player/Phone/b.mp3"}));
        for (const auto& entry : list->value_or(Array())) {
            const Dictionary& file = *entry.dictionary();
            EXPECT_EQ(file.uint32("diskIndex"), 0U);
            EXPECT_EQ(indexed(*file.string("FilePath")), file.string("NodeID"));
            EXPECT_EQ(file.uint64("FileSize"), list == &names ? std::nullopt : std::optional<std::uint64_t>(4));
        }
    }
    EXPECT_EQ(values(service->fileInformationList("", MediaTypeMusic, 1), "FileName"), Names{"x.mp3"});
    EXPECT_EQ(values(service->fileNameList("", MediaTypeImage, 0), "FileName"), Names{"c.png"});
    EXPECT_EQ(service->fileInformationList("", MediaTypeMovie, 0), std::nullopt) << "no file at all";
    EXPECT_EQ(service->fileInformationList("", MediaTypeMovie, 1), Array()) << "none but a podcast's";
    EXPECT_EQ(inside()->_FileTransferStatus, TransferStatusDone);

    for (const std::uint32_t type : {0U, 5U, 9U, std::uint32_t{MediaTypePlaylist}, 11U}) {
        EXPECT_EQ(service->fileInformationList("", type, 0), std::nullopt) << type;
        EXPECT_EQ(service->fileNameList("", type, 0), std::nullopt) << type;
    }
    EXPECT_EQ(service->fileInformationList("", MediaTypeMusic, 2), std::nullopt);
}

TEST_F(FileListTest, PodcastsAreReadFromThePodcastFolderAlone) {
    putChannel("Phone/Podcast/News", "News");
    putChannel("Phone/Podcast/Ünïcode Show", "Ünïcode Show");
    putChannel("Phone/Sounds", "Elsewhere");
    put("Phone/Podcast/News/broken.XML", "<channel><Title>");
    put("Phone/Podcast/News/ep1.mp3", "episode");
    reopen();
    for (const auto& list :
         {service->fileInformationList("", MediaTypePodcast, 0), service->fileNameList("", MediaTypePodcast, 0)}) {
        EXPECT_EQ(values(list, "Title"), (Names{"News", "Ünïcode Show"}));
    }
    EXPECT_EQ(service->fileInformationList("", MediaTypePodcast, 1), std::nullopt);
}

TEST_F(FileListTest, NamesCostNoMetadataAndAListThatIsAskedForAgainNothing) {
    putAlbums();
    reopen();
    std::uint64_t before = transactions();
    const auto names = service->fileNameList("", MediaTypeMusic, 0);
    EXPECT_EQ(names->size(), 20U);
    // The storage's root, the default folders and those in them, the albums; in which group the names of each format
    // are.
    EXPECT_LE(transactions() - before, 20U + formats());

    const auto first = service->fileInformationListForAllMediaType(std::nullopt);
    before = transactions();
    EXPECT_EQ(service->fileInformationListForAllMediaType(std::nullopt), first);
    EXPECT_EQ(service->fileNameList("", MediaTypeMusic, 0), names);
    EXPECT_EQ(transactions(), before);
}

TEST_F(FileListTest, NamesBringNoPropertiesAndWhatTheyLackComesLater) {
    putAlbums();
    std::size_t bytes = 0;
    device->faults().alterData({mtpsdk::OperationCode::GetObjectPropList, 1, 0},
                               [&](std::vector<std::byte>& data) { bytes += data.size(); });
    const auto listed = [&](const std::function<std::optional<Array>()>& list) {
        reopen();
        bytes = 0;
        const std::uint64_t before = transactions();
        EXPECT_EQ(list()->size(), 20U);
        return std::pair(transactions() - before, bytes);
    };
    const auto complete = listed([&] { return service->fileInformationList("", MediaTypeMusic, 0); });
    const auto names = listed([&] { return service->fileNameList("", MediaTypeMusic, 0); });
    device->faults().clear();
    EXPECT_GT(names.second, 0U);
    EXPECT_LT(names.second * 2, complete.second);
    EXPECT_LE(names.first, complete.first + formats()) << "asking for the group of the names, once for each format";

    const Names paths = values(service->fileNameList("", MediaTypeMusic, 0), "FilePath");
    EXPECT_EQ(service->fileSizeAtDevice(*paths.begin()), 4U);
    const auto songs = service->fileInformationList("", MediaTypeMusic, 0);
    ASSERT_TRUE(songs);
    for (const auto& song : *songs) {
        EXPECT_EQ(song.dictionary()->uint64("FileSize"), 4U);
    }
}

TEST_F(FileListTest, PlaylistsOnlyWhereTheStorageHasAFolderForThemAndIsNoCard) {
    put("Phone/Sounds/a.mp3", "song");
    reopen();
    ASSERT_TRUE(service->createPlaylist("Mix", MediaTypeMusic, Array()));
    ASSERT_EQ(groupsOf(service->fileInformationListForAllMediaType(std::nullopt)).size(), 9U);
    Array storages = *service->storageInformation();
    Dictionary withoutFolder = *storages[0].dictionary();
    withoutFolder.remove("DefaultPlaylistPath");
    service->removeDiskInformation(*storages[0].dictionary());
    service->addDiskInformation(withoutFolder);
    EXPECT_EQ(groupsOf(service->fileInformationListForAllMediaType(std::nullopt)).size(), 8U);

    MtpControl control;
    ASSERT_EQ(control.setMTPFriendlyName(inside()->_currentDeviceNode, "My Card Player"), DGSTATUS_SUCCESS);
    ASSERT_TRUE(service->storageInfoLists());
    const auto groups = groupsOf(service->fileInformationListForAllMediaType(std::nullopt));
    EXPECT_EQ(groups.size(), 8U) << "its volume path reads like a card's";
    EXPECT_EQ(groups.front(), (Group{0, 1, {"a.mp3"}}));
}

TEST_F(FileListTest, AListEndsWithTheServiceOrTheDevice) {
    put("Phone/Sounds/a.mp3", "song");
    reopen();
    releaseWhileListing();
    EXPECT_EQ(service->fileInformationListForAllMediaType(std::nullopt), std::nullopt);
    reopen();
    releaseWhileListing();
    EXPECT_EQ(service->fileNameList("", MediaTypeMusic, 0), std::nullopt);
    reopen();
    EXPECT_NE(service->fileNameList("", MediaTypeMusic, 0), std::nullopt);
    EXPECT_NE(service->backupRestoreMediaFileScan(backupKinds, true, std::nullopt), std::nullopt);
    inside()->_releaseState = 1;
    EXPECT_EQ(service->backupRestoreMediaFileScan(backupKinds, true, std::nullopt), std::nullopt);

    reopen();
    device->pullOut();
    EXPECT_EQ(service->fileInformationListForAllMediaType(std::nullopt), std::nullopt);
    EXPECT_EQ(service->fileInformationList("", MediaTypeMusic, 0), std::nullopt);
    EXPECT_EQ(service->backupRestoreMediaFileScan(backupKinds, true, std::nullopt), std::nullopt);
    EXPECT_EQ(inside()->_FileTransferStatus, TransferStatusDone);
    const Array storages = *service->storageInformation();
    service->removeDiskInformation(*storages.front().dictionary());
    EXPECT_EQ(service->fileInformationListForAllMediaType(std::nullopt), std::nullopt) << "no storage 0";
}

TEST_F(FileListTest, AListingCountsAsATransfer) {
    put("Phone/Sounds/a.mp3", "song");
    reopen();
    std::vector<std::int32_t> meanwhile;
    device->faults().alterData({mtpsdk::OperationCode::GetObjectPropList},
                               [&](auto&) { meanwhile.push_back(inside()->_FileTransferStatus); });
    ASSERT_TRUE(service->fileNameList("", MediaTypeMusic, 0));
    ASSERT_FALSE(meanwhile.empty());
    EXPECT_TRUE(std::ranges::all_of(meanwhile, [](std::int32_t status) { return status == TransferStatusRunning; }));
}

TEST_F(FileListTest, ABackupFindsEveryFileOfTheInternalStorageByTheApplicationsKinds) {
    for (const char* name : {"Sounds/a.MP3", "b.ogg", "c.Jpg", "d.avi", "both.mp4", ".hidden/e.jpg", "f.txt",
                             "noextension", ".jpg", "trailing."}) {
        put(std::string("Phone/") + name, "x");
    }
    put("Card/x.mp3", "song");
    reopen();
    const auto scan = service->backupRestoreMediaFileScan(backupKinds, true, "/Player/Phone/Sounds");
    ASSERT_TRUE(scan);
    const auto list = [&](const char* key) { return values(*scan->array(key), "FileName"); };
    EXPECT_EQ(list("musicList"), (Names{"a.MP3", "b.ogg", "both.mp4"}))
        << "b.ogg counts as music before it counts as photo";
    EXPECT_EQ(list("photoList"), (Names{"c.Jpg", "e.jpg"}));
    EXPECT_EQ(list("videoList"), (Names{"both.mp4", "d.avi"}));
    EXPECT_EQ(list("otherList"), Names{"f.txt"});
    EXPECT_TRUE(indexed("/Player/Phone/noextension"));

    const auto media = service->backupRestoreMediaFileScan(backupKinds, false, std::nullopt);
    EXPECT_EQ(media->array("otherList")->size(), 0U);
    const auto nothingKnown = service->backupRestoreMediaFileScan(std::nullopt, true, std::nullopt);
    EXPECT_EQ(nothingKnown->array("musicList")->size(), 0U);
    EXPECT_EQ(nothingKnown->array("otherList")->size(), 7U);

    EXPECT_TRUE(service->fileBackup(*scan->array("videoList"), files.path("backup")));
    EXPECT_TRUE(std::filesystem::exists(files.path("backup/both.mp4")));
}

TEST_F(FileListTest, AnEmptyStorageHasNothingToBackUp) {
    EXPECT_EQ(service->backupRestoreMediaFileScan(backupKinds, true, std::nullopt), std::nullopt);
    const Array storages = *service->storageInformation();
    for (const auto& storage : storages) {
        service->removeDiskInformation(*storage.dictionary());
    }
    EXPECT_EQ(service->backupRestoreMediaFileScan(backupKinds, true, std::nullopt), std::nullopt) << "no internal one";
}

TEST_F(FileListTest, NamesThatADeviceMakesUpLeadNowhere) {
    put("Phone/Podcast/up/ep.mp3", "1");
    put("Phone/Podcast/up/doc.xml", "<channel/>");
    put("Phone/Sounds/song.mp3", "2");
    reopen();
    device->faults().tellName("up", u"..");
    device->faults().tellName("doc.xml", u"../../../../etc/x.xml");
    device->faults().tellName("song.mp3", u"\n\x1b[2J\u202e.mp3");
    device->faults().tellSize("doc.xml", 1ULL << 63U);
    const auto listed = service->fileInformationListForAllMediaType(std::nullopt);
    ASSERT_TRUE(listed);
    EXPECT_EQ(groupsOf(listed)[3], (Group{0, 4, {}}));
    for (const auto& [path, content] : tests::tree(tests::homeFolder())) {
        EXPECT_FALSE(path.ends_with(".xml")) << path;
    }
}
