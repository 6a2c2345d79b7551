// SPDX-License-Identifier: MIT
// Backup of the internal storage into a local folder, and back.
#include "tests/device/service/FileService.h"

#include <algorithm>

using platform::Array;
using platform::Dictionary;
using tests::Names;
using tests::tree;

namespace {

class FileServiceBackupTest : public tests::FileService {
protected:
    [[nodiscard]] std::string backup() const { return files.path("Backup"); }
    /// What a restore takes: every local file below the folder.
    [[nodiscard]] Array restorable() const {
        Array list;
        for (const auto& entry : tree(backup())) {
            list.emplace_back(Dictionary{{"FilePath", backup() + "/" + entry.first}, {"subFilePath", entry.first}});
        }
        return list;
    }
    void wipe() {
        for (const auto& folder : std::filesystem::directory_iterator(device->path("Phone"))) {
            std::filesystem::remove_all(folder.path());
        }
    }
    static Array entry(const std::string& path) { return {Dictionary{{"FilePath", path}}}; }
};

} // namespace

TEST_F(FileServiceBackupTest, OddNamesComeBackByteForByte) {
    put("Phone/Music/a.mp3", "song");
    put("Phone/Music/.hidden/.nomedia", "");
    put("Phone/Ein Ordner mit  Leerzeichen /ü ß 日本 🎵.txt", std::string("bytes\0\xff", 7));
    put("Phone/...dots.../...", "dots");
    put("Phone/name", "no extension");
    put("Phone/Music/u\xCC\x88.txt", "decomposed");
    put("Phone/-rf ~ $HOME 'q'", "shell");
    reopen();
    const auto before = tree(device->path("Phone"));
    EXPECT_TRUE(service->fileBackup(service->subpathsAtDisk(std::nullopt, 0), backup()));
    EXPECT_EQ(tree(backup()), before);
    EXPECT_EQ(tests::readFile(backup() + "/Music/a.mp3"), "song");

    for (const char* folder : {"Music", "Ein Ordner mit  Leerzeichen ", "...dots..."}) {
        EXPECT_TRUE(service->deletefileAtDevice(std::string("/Player/Phone/") + folder, &error)) << folder;
    }
    put("Phone/other", "stays"); // unknown to the service
    EXPECT_TRUE(service->fileRestore(restorable()));
    auto after = tree(device->path("Phone"));
    EXPECT_EQ(after.erase("other"), 1U);
    ASSERT_EQ(after.size(), before.size());
    EXPECT_EQ(after["Music/\xC3\xBC.txt"], "decomposed") << "names are sent precomposed";
    after.erase("Music/\xC3\xBC.txt");
    for (const auto& [path, content] : after) {
        EXPECT_EQ(before.at(path), content) << path;
    }
}

TEST_F(FileServiceBackupTest, NamesThatNothingElseWouldSendGoBackAsTheyWere) {
    put("Phone/Music/a", "lower");
    put("Phone/Music/A", "upper");
    put("Phone/music/a", "in the other folder");
    put("Phone/What: is \"this\"?/<*>|\\.txt", "reserved");
    reopen();
    const auto before = tree(device->path("Phone"));
    EXPECT_TRUE(service->fileBackup(service->subpathsAtDisk(std::nullopt, 0), backup()));
    EXPECT_EQ(tree(backup()), before);
    wipe();
    reopen();
    EXPECT_TRUE(service->fileRestore(restorable()));
    EXPECT_EQ(tree(device->path("Phone")), before);
    EXPECT_TRUE(service->fileRestore(restorable())) << "each replaces itself";
    EXPECT_EQ(tree(device->path("Phone")), before);
    EXPECT_FALSE(service->createFolder("/Player/Phone/a?")) << "only what is restored";
}

TEST_F(FileServiceBackupTest, FoldersAreRestoredAsFolders) {
    std::filesystem::create_directories(files.path("empty"));
    EXPECT_TRUE(service->fileRestore(Array{Dictionary{{"FilePath", files.path("empty")}, {"subFilePath", "In/Side?"}},
                                           Dictionary{{"FilePath", files.path("empty")}, {"subFilePath", "in"}}}));
    EXPECT_TRUE(std::filesystem::is_directory(device->path("Phone/In/Side?")));
    EXPECT_TRUE(std::filesystem::is_directory(device->path("Phone/in")));
    EXPECT_FALSE(service->fileRestore(Array{Dictionary{{"FilePath", files.path("empty")}, {"subFilePath", "a/../b"}}}));
    EXPECT_FALSE(isOnDevice("Phone/b"));
}

TEST_F(FileServiceBackupTest, ADeviceThatTellsNamesApartByMoreThanCaseGetsWhatItTakes) {
    put("Phone/Sounds/a.txt", "old");
    reopen();
    tests::writeFile(write("A.txt", "new"), "new");
    const Array list{Dictionary{{"FilePath", files.path("A.txt")}, {"subFilePath", "Sounds/A.txt"}}};
    device->faults().refuse({mtpsdk::OperationCode::SendObjectPropList}, mtpsdk::ResponseCode::AccessDenied);
    EXPECT_TRUE(service->fileRestore(list));
    EXPECT_EQ(tree(device->path("Phone")), (std::map<std::string, std::string>{{"Sounds/A.txt", "new"}}));
}

TEST_F(FileServiceBackupTest, RestoringReplacesWhatIsThere) {
    put("Phone/Music/a.mp3", "old");
    reopen();
    ASSERT_TRUE(service->fileBackup(service->subpathsAtDisk(std::nullopt, 0), backup()));
    tests::writeFile(backup() + "/Music/a.mp3", "new");
    EXPECT_TRUE(service->fileRestore(restorable()));
    EXPECT_EQ(onDevice("Phone/Music/a.mp3"), "new");
    put("Card/same/place", "card");
    EXPECT_TRUE(service->fileRestore(restorable())) << "again";
    EXPECT_FALSE(service->fileRestore(restorable(), [] { return true; }));
    EXPECT_EQ(onDevice("Phone/Music/a.mp3"), "new") << "nothing goes for a file that is not sent";
}

TEST_F(FileServiceBackupTest, NothingIsWrittenOutsideTheFolder) {
    put("Phone/Music/a.mp3", "song");
    put("Card/c.txt", "card");
    reopen();
    const Array list{Dictionary{{"FilePath", "/Player/Phone/../../outside"}},
                     Dictionary{{"FilePath", "/Player/Phone/Music/../../../outside"}},
                     Dictionary{{"FilePath", "/Player/Phonebook/x"}},
                     Dictionary{{"FilePath", files.path("outside")}},
                     Dictionary{{"FilePath", "/Player/Card/c.txt"}},
                     Dictionary{{"FilePath", std::string("/Player/Phone/a\0b", 17)}},
                     Dictionary{{"FilePath", "/Player/Phone/Music/a.mp3"}}};
    EXPECT_FALSE(service->fileBackup(list, backup())) << "not all of them";
    EXPECT_EQ(files.names(), Names{"Backup"});
    EXPECT_EQ(tree(backup()), (std::map<std::string, std::string>{{"Music/a.mp3", "song"}})) << "the good one came";
}

TEST_F(FileServiceBackupTest, HostileNamesStayInside) {
    put("Phone/Music/up", "1");
    put("Phone/Music/down", "2");
    reopen();
    device->faults().tellName("up", u"..");
    device->faults().tellName("down", u"../../../../down");
    EXPECT_TRUE(service->fileBackup(service->subpathsAtDisk(std::nullopt, 0), backup()));
    EXPECT_EQ(files.names(), Names{"Backup"});
    EXPECT_EQ(tree(backup()).size(), 2U);
}

TEST_F(FileServiceBackupTest, WhatFailsEndsIt) {
    put("Phone/a", "a");
    put("Phone/b", "b");
    put("Phone/c", "c");
    reopen();
    const auto listed = service->subpathsAtDisk(std::nullopt, 0);
    ASSERT_TRUE(listed);
    device->faults().refuse({mtpsdk::OperationCode::GetObject, 2}, mtpsdk::ResponseCode::AccessDenied);
    EXPECT_FALSE(service->fileBackup(listed, backup()));
    EXPECT_EQ(tree(backup()).size(), 1U);
    EXPECT_TRUE(service->fileBackup(listed, backup() + "//"));
    EXPECT_EQ(tree(backup()).size(), 3U);

    Array list = restorable();
    list.insert(list.begin() + 1, Dictionary{{"FilePath", files.path("gone")}, {"subFilePath", "gone"}});
    ASSERT_TRUE(service->deletefileAtDevice("/Player/Phone/a", &error));
    ASSERT_TRUE(service->deletefileAtDevice("/Player/Phone/b", &error));
    EXPECT_FALSE(service->fileRestore(list));
    EXPECT_TRUE(isOnDevice("Phone/a"));
    EXPECT_FALSE(isOnDevice("Phone/b"));
}

TEST_F(FileServiceBackupTest, AFileIsStoppedOnItsWay) {
    put("Phone/a", "a");
    put("Phone/b", std::string(2 << 20, 'b'));
    reopen();
    auto listed = service->subpathsAtDisk(std::nullopt, 0);
    std::ranges::sort(*listed, {}, [](const auto& file) { return *file.dictionary()->string("FilePath"); });
    std::filesystem::create_directories(backup());
    std::ofstream(backup() + "/b") << "older";
    // Not at once: in the middle of the large file, which asks a dozen times.
    const auto after = [](const std::string& first) {
        return [first, asked = 0]() mutable { return std::filesystem::exists(first) && ++asked > 3; };
    };
    EXPECT_FALSE(service->fileBackup(listed, backup(), after(backup() + "/a")));
    EXPECT_EQ(tree(backup()), (std::map<std::string, std::string>{{"a", "a"}, {"b", "older"}}));
    EXPECT_TRUE(service->fileBackup(listed, backup(), [] { return false; }));

    ASSERT_TRUE(service->deletefileAtDevice("/Player/Phone/a", &error));
    EXPECT_FALSE(service->fileRestore(restorable(), after(device->path("Phone/a"))));
    EXPECT_EQ(tree(device->path("Phone")), (std::map<std::string, std::string>{{"a", "a"}}));
    EXPECT_TRUE(service->fileRestore(restorable(), [] { return false; }));
    EXPECT_EQ(tree(device->path("Phone")), tree(backup()));
}

TEST_F(FileServiceBackupTest, WhatIsNotAFileIsPassedOver) {
    put("Phone/a", "a");
    reopen();
    EXPECT_FALSE(service->fileBackup(std::nullopt, backup()));
    EXPECT_FALSE(service->fileBackup(Array(), backup()));
    EXPECT_FALSE(service->fileBackup(entry("/Player/Phone/a"), std::nullopt));
    EXPECT_FALSE(service->fileRestore(std::nullopt));
    EXPECT_FALSE(service->fileRestore(Array()));
    const Array odd{nullptr, "text", Dictionary{{"FileName", "x"}}, Dictionary{{"FilePath", "/Player/Phone/a"}}};
    EXPECT_TRUE(service->fileBackup(odd, backup()));
    EXPECT_EQ(tree(backup()).size(), 1U);
    EXPECT_TRUE(service->fileRestore(odd)) << "none of them says where it belongs";
    service->removeDiskInformation(*service->storageInformation()->front().dictionary());
    EXPECT_FALSE(service->fileBackup(odd, backup())) << "no internal storage";
    EXPECT_FALSE(service->fileRestore(odd));
}
