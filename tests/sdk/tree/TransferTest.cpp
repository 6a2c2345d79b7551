// SPDX-License-Identifier: MIT
#include "VirtualDeviceTest.h"

#include <algorithm>
#include <sys/stat.h>
#include <unistd.h>

namespace {

class TransferTest : public VirtualDeviceTest {
protected:
    struct Watch {
        std::vector<std::uint64_t> reports;
        std::uint64_t total = 0;
        std::size_t stopAt = SIZE_MAX; ///< which report is answered with "stop"
        std::function<void()> during;

        Watch() = default;
        explicit Watch(std::size_t stop)
            : stopAt(stop) {}
        explicit Watch(std::function<void()> action)
            : during(std::move(action)) {}
    };
    static std::uint32_t watch(std::uint64_t current, std::uint64_t total, void* context) {
        auto& watched = *static_cast<Watch*>(context);
        watched.total = total;
        watched.reports.push_back(current);
        if (watched.during) {
            watched.during();
        }
        return watched.reports.size() > watched.stopAt ? DGSTATUS_IO_CANCEL : 0;
    }
    [[nodiscard]] std::uint64_t used() { return storage()->UsedSize; }
    [[nodiscard]] std::vector<std::string> localFiles(const std::string& folder) const {
        std::vector<std::string> names;
        for (const auto& found : std::filesystem::directory_iterator(_folder.path(folder))) {
            names.push_back(found.path().filename().string());
        }
        return names;
    }
    std::string big() {
        std::string content(3 << 20, ' ');
        for (std::size_t i = 0; i < content.size(); ++i) {
            content[i] = static_cast<char>(i * 31 + i / 977);
        }
        return content;
    }
};

TEST_F(TransferTest, sendsAFileInThreeTransactions) {
    _MTP_FOLDER_NODE* music = nullptr;
    ASSERT_EQ(createFolder(root(), "Music", &music), DGSTATUS_SUCCESS);
    std::uint64_t before = transactions();
    sent("first.mp3", "x", &music->header);
    EXPECT_LE(transactions(), before + 4) << "the first file of a format asks which properties the device takes";
    before = transactions();
    const std::uint64_t usedBefore = used();
    _MTP_FILE_NODE* file = sent("song.mp3", "0123456789", &music->header);
    ASSERT_NE(file, nullptr);
    EXPECT_LE(transactions(), before + 3);
    EXPECT_EQ(contentOnDevice("Internal/Music/song.mp3"), "0123456789");
    EXPECT_EQ(+file->size, 10U);
    EXPECT_EQ(text(file->name), "song.mp3");
    EXPECT_EQ(used(), usedBefore + 10);
    EXPECT_EQ(fileNames(&music->header), (Names{"first.mp3", "song.mp3"}));
    _MTP_MEDIA_FILE_INFO* media = nullptr;
    ASSERT_EQ(mtpGetMediaFileInfo(file, &media), DGSTATUS_SUCCESS);
    EXPECT_EQ(+media->file.header.Signature, MTP_SIGNATURE_MUSIC_INFO);
    EXPECT_EQ(+media->format, 0x3009);
    EXPECT_LE(transactions(), before + 3) << "what the send read back answers for the metadata";
    mtpReleaseMediaFileInfo(&media);
}

TEST_F(TransferTest, sendsMetadataAndReadsItBack) {
    auto* record = static_cast<_MTP_MEDIA_FILE_INFO*>(mtpRecordAllocate(sizeof(_MTP_MEDIA_FILE_INFO)));
    record->file.header.Signature = MTP_SIGNATURE_MUSIC_INFO;
    record->format = 0x3009;
    record->title = mtpsdk::newRecordText(u"Träumerei");
    record->titleSize = 10;
    record->audio.artist = mtpsdk::newRecordText(u"Robert");
    record->audio.artistSize = 7;
    record->audio.playLength = 150000;
    record->audio.trackNumber = 7;
    const auto path = units(_folder.write("unnamed.bin", "abc"));
    _MTP_FILE_NODE* file = nullptr;
    ASSERT_EQ(mtpSendMediaFileEx(path.data(), length(path), root(), record, &file, nullptr, nullptr), DGSTATUS_SUCCESS);
    mtpReleaseMediaFileInfo(&record);
    _MTP_MEDIA_FILE_INFO* media = nullptr;
    ASSERT_EQ(mtpGetMediaFileInfo(file, &media), DGSTATUS_SUCCESS);
    EXPECT_EQ(text(media->title), "Träumerei");
    EXPECT_EQ(text(media->audio.artist), "Robert");
    EXPECT_EQ(+media->audio.playLength, 150000U);
    EXPECT_EQ(+media->audio.trackNumber, 7);
    EXPECT_EQ(+media->format, 0x3009);

    media->audio.trackNumber = 8;
    ASSERT_EQ(mtpSetMediaFileInfo(file, media), DGSTATUS_SUCCESS);
    mtpReleaseMediaFileInfo(&media);
    ASSERT_EQ(mtpGetMediaFileInfo(file, &media), DGSTATUS_SUCCESS);
    EXPECT_EQ(+media->audio.trackNumber, 8);
    const std::uint64_t before = transactions();
    mtpReleaseMediaFileInfo(&media);
    ASSERT_EQ(mtpGetMediaFileInfo(file, &media), DGSTATUS_SUCCESS);
    mtpReleaseMediaFileInfo(&media);
    EXPECT_EQ(transactions(), before);
}

TEST_F(TransferTest, reportsProgressFromBeginningToEndOnce) {
    Watch watched;
    const std::string content = big();
    _MTP_FILE_NODE* file = nullptr;
    ASSERT_EQ(send(_folder.write("big.bin", content), root(), &file, watch, &watched), DGSTATUS_SUCCESS);
    const auto check = [&] {
        EXPECT_EQ(watched.total, content.size());
        ASSERT_GT(watched.reports.size(), 2U);
        EXPECT_EQ(watched.reports.front(), 0U);
        EXPECT_TRUE(std::ranges::is_sorted(watched.reports));
        EXPECT_EQ(std::ranges::count(watched.reports, content.size()), 1);
        EXPECT_EQ(watched.reports.back(), content.size());
    };
    check();
    watched = Watch();
    ASSERT_EQ(receive(file, _folder.path("back.bin"), watch, &watched), DGSTATUS_SUCCESS);
    check();
    EXPECT_EQ(_folder.read("back.bin"), content);
    watched = Watch();
    _MTP_FILE_NODE* empty = nullptr;
    ASSERT_EQ(send(_folder.write("empty", ""), root(), &empty, watch, &watched), DGSTATUS_SUCCESS);
    EXPECT_EQ(watched.reports, (std::vector<std::uint64_t>{0}));
    watched = Watch();
    ASSERT_EQ(receive(empty, _folder.path("empty back"), watch, &watched), DGSTATUS_SUCCESS);
    EXPECT_EQ(watched.reports, (std::vector<std::uint64_t>{0}));
    EXPECT_TRUE(std::filesystem::exists(_folder.path("empty back")));
}

TEST_F(TransferTest, stopsAtWhateverReportTheApplicationLikes) {
    const std::string content = big();
    const std::string path = _folder.write("big.bin", content);
    Watch whole;
    _MTP_FILE_NODE* file = nullptr;
    ASSERT_EQ(send(path, root(), &file, watch, &whole), DGSTATUS_SUCCESS);
    ASSERT_EQ(rename(file, "kept.bin"), DGSTATUS_SUCCESS);
    std::filesystem::create_directory(_folder.path("target"));
    _folder.write("target/big.bin", "precious");
    const std::uint64_t usedBefore = used();
    for (const std::size_t stopAt : {std::size_t{0}, std::size_t{1}, std::size_t{5}, whole.reports.size() - 1}) {
        Watch watched(stopAt);
        _MTP_FILE_NODE* none = file;
        EXPECT_EQ(send(path, root(), &none, watch, &watched), DGSTATUS_IO_CANCEL_SUCCESS);
        EXPECT_EQ(none, nullptr);
        EXPECT_EQ(watched.reports.size(), stopAt + 1) << "nothing is reported after a stop";
        EXPECT_FALSE(existsOnDevice("Internal/big.bin"));
        EXPECT_EQ(used(), usedBefore);
        watched = Watch(stopAt);
        EXPECT_EQ(receive(file, _folder.path("target/big.bin"), watch, &watched), DGSTATUS_IO_CANCEL_SUCCESS);
        EXPECT_EQ(localFiles("target"), (Names{"big.bin"}));
        EXPECT_EQ(_folder.read("target/big.bin"), "precious");
    }
    EXPECT_EQ(fileNames(), (Names{"kept.bin"}));
    // The same session goes on.
    EXPECT_EQ(send(path, root(), &file), DGSTATUS_SUCCESS);
    EXPECT_EQ(contentOnDevice("Internal/big.bin"), content);
    faults().refuseCancel(true);
    Watch watched(std::size_t{2});
    EXPECT_EQ(receive(file, _folder.path("target/big.bin"), watch, &watched), DGSTATUS_IO_CANCEL_FAILED);
    EXPECT_EQ(_folder.read("target/big.bin"), "precious");
}

TEST_F(TransferTest, handsOutWhatHasTheNameAlready) {
    _MTP_FILE_NODE* song = sent("Song.mp3", "old");
    _MTP_FOLDER_NODE* music = nullptr;
    ASSERT_EQ(createFolder(root(), "Music", &music), DGSTATUS_SUCCESS);
    _MTP_FILE_NODE* file = nullptr;
    EXPECT_EQ(send(_folder.write("SONG.MP3", "new"), root(), &file), DGSTATUS_NODE_FILE_DUPNAME_EXISTED);
    EXPECT_EQ(file, song);
    EXPECT_EQ(contentOnDevice("Internal/Song.mp3"), "old");
    EXPECT_EQ(send(_folder.write("MUSIC", "new"), root(), &file), DGSTATUS_NODE_FOLDER_DUPNAME_EXISTED);
    EXPECT_EQ(static_cast<void*>(file), music);
    _MTP_FOLDER_NODE* folder = nullptr;
    EXPECT_EQ(createFolder(root(), "music", &folder), DGSTATUS_NODE_FOLDER_DUPNAME_EXISTED);
    EXPECT_EQ(folder, music);
    EXPECT_EQ(createFolder(root(), "song.mp3", &folder), DGSTATUS_NODE_FILE_DUPNAME_EXISTED);
    EXPECT_EQ(rename(song, "MUSIC"), DGSTATUS_NODE_FOLDER_DUPNAME_EXISTED);
    EXPECT_EQ(rename(music, "Song.mp3"), DGSTATUS_NODE_FILE_DUPNAME_EXISTED);
    EXPECT_EQ(rename(song, "SONG.mp3"), DGSTATUS_SUCCESS) << "an object may change the case of its own name";
    EXPECT_EQ(text(song->name), "SONG.mp3");
    EXPECT_TRUE(existsOnDevice("Internal/SONG.mp3"));
}

TEST_F(TransferTest, saysWhatIsWrongWithALocalFile) {
    _MTP_FILE_NODE* file = nullptr;
    EXPECT_EQ(send(_folder.path("missing.mp3"), root(), &file), DGSTATUS_FILE_OPEN_FAILED);
    std::filesystem::create_directory(_folder.path("folder"));
    EXPECT_EQ(send(_folder.path("folder"), root(), &file), DGSTATUS_FILE_OPEN_FAILED);
    ASSERT_EQ(mkfifo(_folder.path("pipe").c_str(), 0600), 0);
    EXPECT_EQ(send(_folder.path("pipe"), root(), &file), DGSTATUS_FILE_OPEN_FAILED);
    if (geteuid() != 0) {
        ASSERT_EQ(chmod(_folder.write("secret", "x").c_str(), 0), 0);
        EXPECT_EQ(send(_folder.path("secret"), root(), &file), DGSTATUS_FILE_ACCESS_DENIED);
    }
    EXPECT_EQ(send(_folder.write("what?.mp3", "x"), root(), &file), DGSTATUS_FILE_INVALID_CHAR);
    EXPECT_EQ(send(_folder.write(std::string(255, 'x'), "x"), root(), &file), DGSTATUS_FILE_INVALID_CHAR);
    EXPECT_EQ(file, nullptr);
    EXPECT_EQ(mtpSendFile(nullptr, 5, root(), &file, nullptr, nullptr), DGSTATUS_INVALID_PARAMETER);
    _MTP_FOLDER_NODE* folder = nullptr;
    EXPECT_EQ(createFolder(root(), "a:b", &folder), DGSTATUS_FILE_INVALID_CHAR);
    EXPECT_EQ(createFolder(root(), "", &folder), DGSTATUS_FILE_INVALID_CHAR);
    file = sent("good.mp3", "x");
    EXPECT_EQ(rename(file, "../up"), DGSTATUS_FILE_INVALID_CHAR);
    EXPECT_EQ(text(file->name), "good.mp3");
}

TEST_F(TransferTest, takesNamesVerbatimWhereThatWasAskedFor) {
    const _MTP_FILE_NODE* song = sent("song.mp3", "lower");
    ASSERT_EQ(mtpSetVerbatimNames(device(), true), DGSTATUS_SUCCESS);
    _MTP_FILE_NODE* file = nullptr;
    EXPECT_EQ(send(_folder.write("SONG.mp3", "upper"), root(), &file), DGSTATUS_SUCCESS);
    EXPECT_EQ(send(_folder.write("song.mp3", "again"), root(), &file), DGSTATUS_NODE_FILE_DUPNAME_EXISTED);
    EXPECT_EQ(file, song);
    EXPECT_EQ(send(_folder.write("what: *?\"\\<>|.mp3", "x"), root(), &file), DGSTATUS_SUCCESS);
    EXPECT_TRUE(existsOnDevice("Internal/what: *?\"\\<>|.mp3"));
    _MTP_FOLDER_NODE* folder = nullptr;
    EXPECT_EQ(createFolder(root(), "a:b", &folder), DGSTATUS_SUCCESS);
    for (const char* impossible : {"", ".", "..", "a/b", "a\nb"}) {
        EXPECT_EQ(createFolder(root(), impossible, &folder), DGSTATUS_FILE_INVALID_CHAR) << impossible;
    }
    ASSERT_EQ(mtpSetVerbatimNames(device(), false), DGSTATUS_SUCCESS);
    EXPECT_EQ(createFolder(root(), "A:b", &folder), DGSTATUS_FILE_INVALID_CHAR);
    EXPECT_EQ(send(_folder.write("Song.mp3", "x"), root(), &file), DGSTATUS_NODE_FILE_DUPNAME_EXISTED);
    EXPECT_EQ(file, nullptr) << "two of them already";
    EXPECT_EQ(mtpSetVerbatimNames(nullptr, true), DGSTATUS_INVALID_PARAMETER);
}

TEST_F(TransferTest, sendsDecomposedAndLongNames) {
    _MTP_FILE_NODE* file = nullptr;
    _folder.write("Cafe\u0301.mp3", "abc");
    EXPECT_EQ(send(_folder.path("Caf\u00E9.mp3"), root(), &file), DGSTATUS_SUCCESS);
    EXPECT_EQ(contentOnDevice("Internal/Caf\u00E9.mp3"), "abc");
    const std::string longest = std::string(250, 'n') + ".mp3";
    sent(longest, "long");
    EXPECT_EQ(contentOnDevice("Internal/" + longest), "long");
    sent("\U0001F600.png", "smile");
    EXPECT_EQ(contentOnDevice("Internal/\U0001F600.png"), "smile");
}

TEST_F(TransferTest, leavesNothingOfAFileThatChangesWhileItIsRead) {
    const std::string path = _folder.write("big.bin", big());
    _MTP_FILE_NODE* file = nullptr;
    Watch shrinking([&] { std::filesystem::resize_file(path, 1 << 20); });
    EXPECT_EQ(send(path, root(), &file, watch, &shrinking), DGSTATUS_FILE_READ_FAILED);
    EXPECT_EQ(file, nullptr);
    _folder.write("big.bin", big());
    Watch growing([&] { std::filesystem::resize_file(path, 4 << 20); });
    EXPECT_EQ(send(path, root(), &file, watch, &growing), DGSTATUS_FILE_READ_FAILED);
    EXPECT_TRUE(fileNames().empty());
    EXPECT_FALSE(existsOnDevice("Internal/big.bin"));
    EXPECT_EQ(+sent("small.txt", "still works")->size, 11U);
}

TEST_F(TransferTest, sendsNoByteToAStorageThatIsTooSmall) {
    Watch watched;
    _MTP_FILE_NODE* file = nullptr;
    EXPECT_EQ(send(_folder.write("big.bin", big()), &card()->header, &file, watch, &watched),
              DGSTATUS_INTERNAL_STOREFULL);
    EXPECT_LE(watched.reports.size(), 1U);
    EXPECT_FALSE(existsOnDevice("Card/big.bin"));
    faults().fullAfter(1 << 20);
    EXPECT_EQ(send(_folder.path("big.bin"), root(), &file), DGSTATUS_INTERNAL_STOREFULL);
    EXPECT_EQ(file, nullptr);
    EXPECT_FALSE(existsOnDevice("Internal/big.bin"));
    EXPECT_TRUE(fileNames().empty());
}

TEST_F(TransferTest, receivesIntoPlacesThatAreNotThere) {
    _MTP_FILE_NODE* file = sent("song.mp3", "abc");
    EXPECT_EQ(receive(file, _folder.path("missing/song.mp3")), DGSTATUS_FILE_OPEN_FAILED);
    EXPECT_EQ(receive(file, _folder.path(std::string(300, 'x'))), DGSTATUS_FILE_INVALID_CHAR);
    std::filesystem::create_directory(_folder.path("folder"));
    EXPECT_EQ(receive(file, _folder.path("folder")), DGSTATUS_FILE_OPEN_FAILED);
    EXPECT_EQ(receive(file, "/dev/full/x"), DGSTATUS_FILE_OPEN_FAILED);
    EXPECT_EQ(mtpGetFile(nullptr, units("x").data(), 2, nullptr, nullptr), DGSTATUS_INVALID_PARAMETER);
    faults().deliverSize("song.mp3", 2);
    _folder.write("folder/song.mp3", "precious");
    EXPECT_EQ(receive(file, _folder.path("folder/song.mp3")), DGSTATUS_INTERNAL_SIZE_MISMATCH);
    EXPECT_EQ(_folder.read("folder/song.mp3"), "precious");
    EXPECT_EQ(localFiles("folder"), (Names{"song.mp3"}));
}

TEST_F(TransferTest, deletesWithAllBelowAndKeepsTheBooks) {
    _MTP_FOLDER_NODE* music = nullptr;
    _MTP_FOLDER_NODE* rock = nullptr;
    const std::uint64_t before = used();
    ASSERT_EQ(createFolder(root(), "Music", &music), DGSTATUS_SUCCESS);
    ASSERT_EQ(createFolder(&music->header, "Rock", &rock), DGSTATUS_SUCCESS);
    _MTP_FILE_NODE* inner = sent("inner.mp3", "12345", &rock->header);
    _MTP_FILE_NODE* outer = sent("outer.mp3", "123");
    EXPECT_EQ(used(), before + 8);
    EXPECT_EQ(mtpDeleteNode(&outer->header), DGSTATUS_SUCCESS);
    EXPECT_EQ(used(), before + 5);
    EXPECT_EQ(mtpDeleteNode(&outer->header), DGSTATUS_NODE_IS_NOT_EXISTED);
    EXPECT_EQ(mtpDeleteNode(&music->header), DGSTATUS_SUCCESS);
    EXPECT_EQ(used(), before);
    EXPECT_FALSE(existsOnDevice("Internal/Music"));
    for (void* node : {static_cast<void*>(inner), static_cast<void*>(rock), static_cast<void*>(music)}) {
        EXPECT_EQ(mtpNodeFromHandle(mtpNodeHandle(node)), nullptr);
    }
    EXPECT_EQ(receive(inner, _folder.path("x")), DGSTATUS_NODE_IS_NOT_EXISTED);
    EXPECT_TRUE(folderNames().empty());
    // A stale handle never names what came after it.
    for (int i = 0; i < 50; ++i) {
        EXPECT_NE(sent("new" + std::to_string(i), "x"), inner);
    }
    EXPECT_EQ(libIsExist(&inner->header, MTP_SIGNATURE_FILE), 0);
}

TEST_F(TransferTest, answersNotReentrantlyFromACallback) {
    _MTP_FILE_NODE* file = sent("first.txt", "x");
    std::vector<DGSTATUS> answers;
    Watch watched([&] {
        _MTP_FILE_NODE* node = nullptr;
        answers.push_back(mtpGetFileListHead(root(), &node, nullptr, nullptr));
        answers.push_back(mtpDeleteNode(&file->header));
        EXPECT_EQ(libIsExist(&file->header, MTP_SIGNATURE_FILE), 1);
    });
    EXPECT_EQ(send(_folder.write("second.txt", "y"), root(), nullptr, watch, &watched), DGSTATUS_SUCCESS);
    EXPECT_FALSE(answers.empty());
    EXPECT_EQ(std::ranges::count(answers, DGSTATUS_ABNORMAL_STATUS), static_cast<std::ptrdiff_t>(answers.size()));
}

} // namespace
