// SPDX-License-Identifier: MIT
// Single files and folders: read, write, delete, make, rename; bytes in memory.
#include "tests/device/service/FileService.h"

using platform::Dictionary;
using platform::Value;
using tests::Names;
using tests::Text;
using tests::values;

namespace {

constexpr std::uint32_t invalid = 0x10000002;
constexpr std::uint32_t exists = 0x10000005;
constexpr std::uint32_t noNode = 0x10000001;

class FileServiceTransferTest : public tests::FileService {
protected:
    bool read(const std::string& path, const Text& destination, bool overwrite = false) {
        return service->readFileFromDevice(Dictionary{{"FilePath", path}}, destination, 0, 0, overwrite, Value(),
                                           Value(), &error);
    }
    bool writeTo(const std::string& source, const Text& destination, bool overwrite = false) {
        return service->writeFileToDevice(Dictionary{{"FilePath", source}}, destination, 0, 0, overwrite, Value(),
                                          Value(), &error);
    }
    bool syncWrite(const std::string& source, const Text& folder, bool overwrite = false, std::uint32_t disk = 0) {
        return service->syncWriteFileToDevice(Dictionary{{"FilePath", source}, {"MediaType", 0x1000001U}}, folder, disk,
                                              1, overwrite, Value(), Value(), &error);
    }
    static std::vector<std::byte> bytes(const std::string& text) {
        const auto* first = reinterpret_cast<const std::byte*>(text.data());
        return {first, first + text.size()};
    }
    std::string localCopies() const { return tests::homeFolder() + "/Tesvora/Lumo/Temp"; }
    std::shared_ptr<QDMtpDeviceNotifier> notifier(std::uint32_t serviceID) {
        return std::make_shared<QDMtpDeviceNotifier>(service->locationID(), service->locationID(), serviceID, 1,
                                                     service->modelName(), 0, 1, 2 * tests::mebibyte);
    }
};

} // namespace

TEST_F(FileServiceTransferTest, InvalidArguments) {
    const auto readInvalid = [&](const std::optional<Dictionary>& information, const Text& destination) {
        error = 0;
        EXPECT_FALSE(service->readFileFromDevice(information, destination, 0, 0, false, Value(), Value(), &error));
        EXPECT_EQ(error, invalid);
        error = 0;
        EXPECT_FALSE(service->writeFileToDevice(information, destination, 0, 0, false, Value(), Value(), &error));
        EXPECT_EQ(error, invalid);
    };
    readInvalid(std::nullopt, "/x");
    readInvalid(Dictionary{{"FilePath", "/Player/Phone/x"}}, std::nullopt);
    readInvalid(Dictionary{{"FileName", "x"}}, "/x");
    readInvalid(Dictionary{{"FilePath", ""}}, "/x");
    EXPECT_FALSE(service->readFileFromDevice(std::nullopt, "/x", 0, 0, false, Value(), Value(), nullptr));

    EXPECT_FALSE(service->syncWriteFileToDevice(std::nullopt, {}, 0, 1, false, Value(), Value(), &error));
    EXPECT_EQ(error, invalid);
    error = 0;
    EXPECT_FALSE(syncWrite("/a", {}, false, 9));
    EXPECT_EQ(error, invalid) << "no such disk";
    EXPECT_FALSE(service->deletefileAtDevice(std::nullopt, &error));
    EXPECT_EQ(error, noNode);
    EXPECT_FALSE(service->createFolder(std::nullopt));
    EXPECT_FALSE(service->fileExistsAtPath(std::nullopt, nullptr));
    EXPECT_EQ(service->readFileData(std::nullopt), std::nullopt);
    EXPECT_FALSE(service->writeFileData("/Player/Phone/x", std::nullopt));
    EXPECT_FALSE(service->writeFileData(std::nullopt, bytes("x")));
    EXPECT_EQ(service->fileSizeAtDevice(std::nullopt), 0U);
}

TEST_F(FileServiceTransferTest, ReadingMakesFoldersAndSparesWhatIsThere) {
    put("Phone/Sounds/a.mp3", "from the device");
    reopen();
    EXPECT_TRUE(read("/player/phone/sounds/A.mp3", files.path("new/folder/a.mp3")));
    EXPECT_EQ(error, 0U);
    EXPECT_EQ(tests::readFile(files.path("new/folder/a.mp3")), "from the device");

    write("a.mp3", "mine");
    EXPECT_FALSE(read("/Player/Phone/Sounds/a.mp3", files.path("a.mp3")));
    EXPECT_EQ(error, exists);
    EXPECT_EQ(tests::readFile(files.path("a.mp3")), "mine");
    EXPECT_FALSE(read("/Player/Phone/Sounds/gone.mp3", files.path("a.mp3"), true));
    EXPECT_EQ(error, noNode);
    EXPECT_EQ(tests::readFile(files.path("a.mp3")), "mine") << "nothing came to take its place";
    EXPECT_TRUE(read("/Player/Phone/Sounds/a.mp3", files.path("a.mp3"), true));
    EXPECT_EQ(tests::readFile(files.path("a.mp3")), "from the device");

    EXPECT_FALSE(read("/Player/Phone/Sounds/a.mp3", "no folder"));
    EXPECT_EQ(error, invalid);
    EXPECT_FALSE(read("/Player/Phone/Sounds/a.mp3", files.path("a.mp3/below a file")));
    EXPECT_EQ(error, invalid);
}

TEST_F(FileServiceTransferTest, WritingIntoFoldersThatAreMadeAndOverFilesThatAreThere) {
    const std::string source = write("a.txt", "one");
    EXPECT_TRUE(writeTo(source, "/Player/Phone/New/Deep/a.txt"));
    EXPECT_EQ(onDevice("Phone/New/Deep/a.txt"), "one");
    EXPECT_TRUE(indexed("/Player/Phone/New/Deep/A.TXT"));

    write("a.txt", "two");
    EXPECT_FALSE(writeTo(source, "/Player/Phone/New/Deep/a.txt"));
    EXPECT_EQ(error, exists);
    EXPECT_EQ(onDevice("Phone/New/Deep/a.txt"), "one");
    EXPECT_TRUE(writeTo(source, "/Player/Phone/New/Deep/a.txt", true));
    EXPECT_EQ(error, 0U);
    EXPECT_EQ(onDevice("Phone/New/Deep/a.txt"), "two");
    EXPECT_TRUE(writeTo(source, "/Player/Card/a.txt", true)) << "nothing there to replace";
    EXPECT_FALSE(writeTo(files.path("gone.txt"), "/Player/Phone/New/Deep/a.txt", true));
    EXPECT_NE(error, 0U);
    EXPECT_EQ(onDevice("Phone/New/Deep/a.txt"), "two") << "nothing is deleted for a file that is not there";
}

TEST_F(FileServiceTransferTest, NothingButWhatThePathSpellsIsReplacedOrDeleted) {
    put("Phone/a.txt", "in the root");
    put("Phone/Rock/Rock", "a file named like its folder");
    put("Phone/Rock/other", "stays");
    put("Card/Same/x", "lower");
    put("Card/Same/X", "upper");
    reopen();
    EXPECT_TRUE(writeTo(write("a.txt", "new"), "/Player/Phone/Missing/a.txt", true));
    EXPECT_EQ(onDevice("Phone/a.txt"), "in the root");
    EXPECT_FALSE(service->deletefileAtDevice("/Player/Phone/Gone/a.txt", &error));
    EXPECT_EQ(error, noNode);
    EXPECT_EQ(onDevice("Phone/a.txt"), "in the root");
    EXPECT_TRUE(service->deletefileAtDevice("/Player/Phone/Rock/Rock", &error));
    EXPECT_TRUE(isOnDevice("Phone/Rock/other"));
    ASSERT_TRUE(service->fileLists("/Player/Card/Same"));
    EXPECT_TRUE(service->deletefileAtDevice("/Player/Card/Same/X", &error));
    EXPECT_TRUE(isOnDevice("Card/Same/x"));
    EXPECT_FALSE(isOnDevice("Card/Same/X"));
    EXPECT_FALSE(service->deletefileAtDevice("/Player/Phone", &error)) << "a storage";
    EXPECT_TRUE(service->deletefileAtDevice("/player/PHONE/rock", nullptr));
    EXPECT_FALSE(isOnDevice("Phone/Rock"));
}

TEST_F(FileServiceTransferTest, WhatWasListedIsFoundThroughTheIndex) {
    put("Phone/top.txt", "top");
    reopen();
    EXPECT_FALSE(service->fileExistsAtPath("/Player/Phone/top.txt", nullptr)) << "paths alone find nothing in a root";
    ASSERT_TRUE(service->fileLists("/Player/Phone"));
    bool isDirectory = true;
    EXPECT_TRUE(service->fileExistsAtPath("/player/phone/TOP.txt", &isDirectory));
    EXPECT_FALSE(isDirectory);
    EXPECT_TRUE(service->deletefileAtDevice("/Player/Phone/top.txt", &error));
    EXPECT_EQ(indexed("/Player/Phone/top.txt"), std::nullopt);
    EXPECT_FALSE(service->fileExistsAtPath("/Player/Phone/top.txt", &isDirectory));
}

TEST_F(FileServiceTransferTest, SyncWritingIntoADefaultFolder) {
    const std::string source = write("a.mp3", "song");
    EXPECT_TRUE(syncWrite(source, std::nullopt));
    EXPECT_EQ(onDevice("Phone/Sounds/a.mp3"), "song");
    EXPECT_TRUE(syncWrite(source, "Album"));
    EXPECT_TRUE(service->deletefileAtDevice("/Player/Phone/Sounds/Album/a.mp3", &error));
    EXPECT_TRUE(syncWrite(source, "Album")) << "into the folder that is there";
    EXPECT_EQ(onDevice("Phone/Sounds/Album/a.mp3"), "song");
    EXPECT_TRUE(syncWrite(source, "AC/DC: Live?")) << "a name that no folder can have";
    EXPECT_EQ(onDevice("Phone/Sounds/AC_DC_ Live_/a.mp3"), "song");
    EXPECT_TRUE(indexed("/Player/Phone/Sounds/AC_DC_ Live_/a.mp3"));
    EXPECT_FALSE(syncWrite(source, ".."));
    EXPECT_NE(error, 0U);

    write("a.mp3", "another song");
    EXPECT_FALSE(syncWrite(source, "Album"));
    EXPECT_EQ(error, exists);
    EXPECT_TRUE(syncWrite(source, "Album", true));
    EXPECT_EQ(error, 0U);
    EXPECT_EQ(onDevice("Phone/Sounds/Album/a.mp3"), "another song");
    // Kept: an overwrite that has nothing to delete sends nothing, and answers true.
    EXPECT_TRUE(syncWrite(source, "Other", true));
    EXPECT_EQ(error, noNode);
    EXPECT_FALSE(isOnDevice("Phone/Sounds/Other/a.mp3"));
}

TEST_F(FileServiceTransferTest, ProgressIsToldWhenBothPartsAreGiven) {
    const std::string source = local("a.bin", 2 * tests::mebibyte);
    EXPECT_TRUE(service->writeFileToDevice(Dictionary{{"FilePath", source}}, "/Player/Phone/a.bin", 0, 0, false,
                                           service->callbackObject(), Value(), &error));
    EXPECT_TRUE(recorder.progress(5).empty());
    EXPECT_TRUE(service->readFileFromDevice(Dictionary{{"FilePath", "/Player/Phone/a.bin"}}, files.path("back"), 0, 0,
                                            false, service->callbackObject(), notifier(5), &error));
    EXPECT_FALSE(recorder.progress(5).empty());
    EXPECT_EQ(tests::readFile(files.path("back")), tests::readFile(source));

    service->cancelFileAction(6);
    EXPECT_FALSE(service->readFileFromDevice(Dictionary{{"FilePath", "/Player/Phone/a.bin"}}, files.path("cancelled"),
                                             0, 0, false, service->callbackObject(), notifier(6), &error));
    EXPECT_EQ(error, 0x10000008U);
    EXPECT_FALSE(std::filesystem::exists(files.path("cancelled")));
}

TEST_F(FileServiceTransferTest, FoldersAreMadeWhole) {
    EXPECT_TRUE(service->createFolder("/Player/Phone/One/Two"));
    EXPECT_TRUE(std::filesystem::is_directory(device->path("Phone/One/Two")));
    EXPECT_TRUE(service->createFolder("/player/phone/ONE/two")) << "there already";
    bool isDirectory = false;
    EXPECT_TRUE(service->fileExistsAtPath("/Player/Phone/One/Two", &isDirectory));
    EXPECT_TRUE(isDirectory);
    EXPECT_FALSE(service->createFolder("/Player/Nowhere/One"));
    EXPECT_FALSE(service->createFolder("/Player/Phone/One/a*b"));
    EXPECT_TRUE(service->createFolder("Vault:In/Side"));
    EXPECT_TRUE(std::filesystem::is_directory(device->path("Vault/In/Side")));
}

TEST_F(FileServiceTransferTest, AHiddenVolumeTakesFilesAndGivesThemBack) {
    EXPECT_TRUE(writeTo(write("x.mp3", "hidden"), "~Vault:Music/x.mp3"));
    EXPECT_EQ(onDevice("Vault/Music/x.mp3"), "hidden");
    EXPECT_EQ(indexed("~Vault:Music/x.mp3"), std::nullopt) << "what a send puts there is not indexed";
    write("x.mp3", "changed");
    EXPECT_TRUE(writeTo(files.path("x.mp3"), "Vault:Music/x.mp3", true));
    EXPECT_TRUE(read("Vault:music/X.mp3", files.path("back")));
    EXPECT_EQ(tests::readFile(files.path("back")), "changed");
    EXPECT_EQ(service->readFileData("Vault:Music/x.mp3"), bytes("changed"));
    EXPECT_TRUE(service->writeFileData("Vault:Music/x.mp3", bytes("bytes")));
    EXPECT_EQ(onDevice("Vault/Music/x.mp3"), "bytes");
    EXPECT_FALSE(read("Vault:Music/gone.mp3", files.path("none")));
    EXPECT_FALSE(service->deletefileAtDevice("Vault:Gone/x.mp3", &error));
    EXPECT_TRUE(service->deletefileAtDevice("VAULT:Music/x.mp3", &error));
    EXPECT_FALSE(isOnDevice("Vault/Music/x.mp3"));
}

TEST_F(FileServiceTransferTest, BytesComeAndGoThroughALocalCopyThatIsNotKept) {
    const std::string text("a\0b", 3);
    EXPECT_TRUE(service->writeFileData("/Player/Phone/Notes/n.txt", bytes(text)));
    EXPECT_EQ(onDevice("Phone/Notes/n.txt"), text);
    EXPECT_TRUE(service->writeFileData("/Player/Phone/Notes/n.txt", bytes("again"))) << "always replaced";
    EXPECT_EQ(service->readFileData("/Player/Phone/Notes/n.txt"), bytes("again"));
    EXPECT_EQ(service->fileSizeAtDevice("/Player/Phone/Notes/n.txt"), 5U);
    EXPECT_TRUE(service->writeFileData("/Player/Phone/Notes/empty", bytes("")));
    EXPECT_EQ(service->readFileData("/Player/Phone/Notes/empty"), bytes(""));
    EXPECT_TRUE(tests::tree(localCopies()).empty());

    EXPECT_EQ(service->readFileData("/Player/Phone/Notes"), std::nullopt) << "a folder";
    EXPECT_EQ(service->readFileData("/Player/Phone/Notes/gone"), std::nullopt);
    EXPECT_FALSE(service->writeFileData("/Player/Nowhere/x", bytes("x")));
    EXPECT_FALSE(service->writeFileData("/../../../../escaped", bytes("x")));
    EXPECT_FALSE(service->writeFileData("/Player/Phone/Notes", bytes("x"))) << "a folder is in its place";
    EXPECT_TRUE(tests::tree(localCopies()).empty());
    device->faults().deliverSize("n.txt", 2);
    EXPECT_EQ(service->readFileData("/Player/Phone/Notes/n.txt"), std::nullopt) << "cut short";
    EXPECT_TRUE(tests::tree(localCopies()).empty());
}

TEST_F(FileServiceTransferTest, RenamingTakesWhatThePathSpellsAndTheIndexFollows) {
    put("Phone/Sounds/a.mp3", "song");
    put("Phone/Folder/inner", "x");
    put("Phone/b.mp3", "in the root");
    reopen();
    const auto rename = [&](const Text& path, const Text& name) {
        EXPECT_TRUE(service->renameContent(9, path, name));
        waitUntilIdle();
    };
    waitUntilIdle();
    ASSERT_TRUE(service->fileLists("/Player/Phone/Folder"));
    ASSERT_TRUE(service->folderLists("/Player/Phone"));
    rename("/Player/Phone/Sounds/a.mp3", "Ünicode.mp3");
    EXPECT_EQ(onDevice("Phone/Sounds/Ünicode.mp3"), "song");
    rename("/player/phone/folder", "Renamed");
    EXPECT_TRUE(isOnDevice("Phone/Renamed/inner"));
    EXPECT_FALSE(service->fileExistsAtPath("/Player/Phone/Folder", nullptr));
    EXPECT_TRUE(service->fileExistsAtPath("/Player/Phone/Renamed/inner", nullptr));
    EXPECT_EQ(indexed("/Player/Phone/Folder/inner"), std::nullopt);
    EXPECT_TRUE(indexed("/Player/Phone/Renamed/inner"));
    // What was sent to the old path before leads nobody to the folder's new place.
    ASSERT_TRUE(service->writeFileData("/Player/Phone/Old/x", bytes("x")));
    rename("/Player/Phone/Old", "New");
    EXPECT_TRUE(service->writeFileData("/Player/Phone/Old/y", bytes("y")));
    EXPECT_TRUE(isOnDevice("Phone/New/x") && isOnDevice("Phone/Old/y"));
    rename("/Player/Phone/Gone/b.mp3", "c.mp3");
    EXPECT_TRUE(isOnDevice("Phone/b.mp3")) << "a namesake elsewhere";
    rename("/Player/Phone/Renamed/inner", "../out");
    EXPECT_TRUE(isOnDevice("Phone/Renamed/inner"));
    EXPECT_TRUE(recorder.progress(9).empty());
    rename(std::nullopt, "x");
    rename("/Player/Phone/b.mp3", std::nullopt);
    EXPECT_EQ(recorder.progress(9).size(), 2U) << "refused";
}
