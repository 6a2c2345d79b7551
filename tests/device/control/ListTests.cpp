// SPDX-License-Identifier: MIT
#include "ControlTest.h"

namespace {

class ListTest : public ControlTest {
protected:
    static constexpr DGSTATUS gone = DGSTATUS_NO_DEVICE_ATTACHED;
    const std::string _gone = "DGSTATUS_NO_DEVICE_ATTACHED - 0x12000001";
    _MTP_FOLDER_NODE* music = library.addFolder(card, "Music");
    _MTP_FILE_NODE* song = library.addFile(card, "song.mp3");
    _MTP_DEVICE_NODE* nextDevice = nullptr;
    _MTP_STORAGE_NODE* storage = nullptr;
    _MTP_FOLDER_NODE* folder = nullptr;
    _MTP_FILE_NODE* file = nullptr;
    _MTP_MEDIA_FILE_INFO* media = nullptr;
    _MTP_COMMON_NODE* parent = nullptr;
    _MTP_COMMON_NODE* updated = nullptr;
    std::string text = "before";
};

TEST_F(ListTest, everyFailureIsReturnedAndLogged) {
    struct Row {
        const char* function;
        int level;
        std::string message;
        std::function<DGSTATUS()> call;
    };
    const std::string at = address(device);
    const std::vector<Row> rows = {
        {"mtpGetConnectedDeviceListHead", 3, "mtpGetConnectedDeviceListHead is faild. status = " + _gone,
         [&] { return control.getMTPDeviceHead(&nextDevice); }},
        {"mtpGetNextDevice", 3, "mtpGetNextDevice is failed. Current Device Node = " + at + ", status = " + _gone,
         [&] { return control.getMTPNextDevice(device, &nextDevice); }},
        {"mtpGetStorageListHead", 3,
         "mtpGetStorageListHead is failed. Current Device Node = " + at + ", status = " + _gone,
         [&] { return control.getMTPStorageListHead(device, &storage); }},
        {"mtpGetNextStorageNode", 3,
         "mtpGetNextStorageNode is failed. Current Storage Node = " + address(card) + ", status = " + _gone,
         [&] { return control.getMTPNextStorage(card, &storage); }},
        {"mtpGetFolderListHead", 3,
         "mtpGetFolderListHead is failed. Current Folder Node = " + address(music) + ", status = " + _gone,
         [&] { return control.getMTPFolderListHead(music, card, &folder, nullptr, nullptr); }},
        {"mtpGetNextSiblingFolderNode", 3,
         "mtpGetNextSiblingFolderNode is failed. Current Folder Node = " + address(music) + ", status = " + _gone,
         [&] { return control.getMTPNextFolder(music, &folder); }},
        {"mtpGetFileListHead", 3,
         "mtpGetFileListHead is failed. Common Node = " + address(card) + ", status = " + _gone,
         [&] { return control.getMTPFileListHead(&card->header, &file, nullptr, nullptr); }},
        {"mtpGetNextFileNode", 3,
         "mtpGetNextFileNode is failed. Current File Node = " + address(song) + ", status = " + _gone,
         [&] { return control.getMTPNextFile(song, &file); }},
        {"mtpGetMediaFileInfo", 3,
         "mtpGetMediaFileInfo is failed. Current File Node = " + address(song) + ". status = " + _gone,
         [&] { return control.getMTPMediaFileInfo(song, &media); }},
        {"mtpSetMediaFileInfo", 3,
         "mtpSetMediaFileInfo is failed. Current File Node = " + address(song) + ", status = " + _gone,
         [&] { return control.setMTPMediaFileInfo(song, media); }},
        {"mtpGetHiddenStorage", 3, "mtpGetHiddenStorage is failed. status = " + _gone,
         [&] { return control.getMTPHiddenStorage(device, 7, &storage); }},
        {"mtpGetFriendlyName", 6, "Get MTP Friendly name is failed. status = " + _gone,
         [&] { return control.getMTPFriendlyName(device, text); }},
        {"mtpGetModelName", 3, "Get MTP model Name is failed. status = " + _gone,
         [&] { return control.getMTPModelName(device, text); }},
        {"mtpGetManufacturerName", 3, "Get MTP Manufacture Name is failed. status = " + _gone,
         [&] { return control.getMTPManufactureName(device, text); }},
        {"mtpGetSerialNumber", 3, "Get MTP serial number is failed. status = " + _gone,
         [&] { return control.getMTPSerialNumber(device, text); }},
        {"mtpGetSyncpartner", 3, "Get MTP Sync Partner Name is failed. status = " + _gone,
         [&] { return control.getMTPSyncPartner(device, text); }},
        {"mtpSetFriendlyName", 3, "Set Friendly Name is failed. current Device Node = (" + at + "), status = " + _gone,
         [&] { return control.setMTPFriendlyName(device, "a"); }},
        {"mtpSetSyncpartner", 3, "Set syncPartner Name is failed. status = " + _gone,
         [&] { return control.setMTPSyncPartner(device, "a"); }},
        {"mtpRefreshDeviceList", 3, "mtpRefreshDeviceList is fail", [&] { return control.refreshMtpDeviceList(); }},
        {"mtpRequestEventNotify", 3, "mtpRequestEventNotify is error. status = " + _gone,
         [&] { return control.registerMtpRequestEventNotify(device, nullptr, nullptr); }},
        {"mtpRequestEventNotifyEx", 3, "mtpRequestEventNotifyEx is error. status = " + _gone,
         [&] { return control.registerMtpRequestEventNotifyEx(device, nullptr, nullptr); }},
        {"mtpApplyOperationNotification", 3, "mtpApplyOperationNotification is error. status = " + _gone,
         [&] { return control.getMTPOperationNotify(this, &parent, &updated); }},
    };
    for (const Row& row : rows) {
        expectLogged(row.level, row.message, [&] {
            library.answer(row.function, {gone});
            EXPECT_EQ(row.call(), gone) << row.function;
        });
    }
    EXPECT_EQ(text, "before");
}

TEST_F(ListTest, failedDeviceListClearsItsHead) {
    nextDevice = device;
    library.answer("mtpGetConnectedDeviceListHead", {gone});
    control.getMTPDeviceHead(&nextDevice);
    EXPECT_EQ(nextDevice, nullptr);
}

TEST_F(ListTest, endsOfFolderAndFileListsAreNoFailures) {
    const std::string end = ", status = DGSTATUS_NO_MORE_DATA - 0x00000002";
    expectLogged(6, "Child node is NULL. Current Folder Node = " + address(music) + end, [&] {
        EXPECT_EQ(control.getMTPFolderListHead(music, card, &folder, nullptr, nullptr), DGSTATUS_NO_MORE_DATA);
    });
    expectLogged(6, "Next folder node is NULL. Current Folder Node = " + address(music) + end,
                 [&] { EXPECT_EQ(control.getMTPNextFolder(music, &folder), DGSTATUS_NO_MORE_DATA); });
    expectLogged(6, "child file node head is NULL. Common Node = " + address(music) + end, [&] {
        EXPECT_EQ(control.getMTPFileListHead(&music->header, &file, nullptr, nullptr), DGSTATUS_NO_MORE_DATA);
    });
    expectLogged(6, "Next File Node is NULL. Current File Node = " + address(song) + end,
                 [&] { EXPECT_EQ(control.getMTPNextFile(song, &file), DGSTATUS_NO_MORE_DATA); });
}

TEST_F(ListTest, missingInputsDoNotReachTheLibrary) {
    expectLogged(3, "Current Device Node is NULL. status = DGSTATUS_UNSUCCESSFUL - 0x10000001",
                 [&] { EXPECT_EQ(control.getMTPNextDevice(nullptr, &nextDevice), 0x10000001); });
    expectLogged(3, "Current Storage List is NULL.",
                 [&] { EXPECT_EQ(control.getMTPNextStorage(nullptr, &storage), 0x10000001); });
    expectLogged(3, "Input Parameter is invalid. current Device = 0x0, storageID = 0x0000ab01",
                 [&] { EXPECT_EQ(control.getMTPHiddenStorage(nullptr, 0xAB01, &storage), 0x10000002); });
    EXPECT_EQ(control.getMTPHiddenStorage(device, 0, &storage), 0x10000002);
    EXPECT_EQ(control.getMTPOperationNotify(nullptr, &parent, &updated), 0);
    EXPECT_EQ(control.registerMtpRequestEventNotify(nullptr, nullptr, nullptr), 0x10000001);
    EXPECT_EQ(control.registerMtpRequestEventNotifyEx(nullptr, nullptr, nullptr), 0x10000001);
    EXPECT_EQ(control.getMTPModelName(nullptr, text), 0x10000001);
    EXPECT_EQ(control.setMTPFriendlyName(nullptr, "a"), 0x10000001);
    EXPECT_EQ(control.setMTPFriendlyName(device, ""), 0x10000001);
    EXPECT_EQ(control.setMTPSyncPartner(device, ""), 0x10000001);
    control.releaseMTPDeviceList(nullptr);
    control.releaseMTPStorageList(nullptr);
    control.releaseMTPFolderList(nullptr);
    control.releaseMTPFileList(nullptr);
    control.releaseMTPMediaFileInfo(media);
    EXPECT_EQ(library.takeCalls(), Calls{});
}

TEST_F(ListTest, storagesOfNoDeviceAreThoseOfTheFirst) {
    EXPECT_EQ(control.getMTPStorageListHead(nullptr, &storage), 0);
    EXPECT_EQ(storage, phone);
    EXPECT_EQ(library.takeCalls(), (Calls{"mtpGetConnectedDeviceListHead()", "mtpGetStorageListHead(device0)"}));
    library.answer("mtpGetConnectedDeviceListHead", {gone});
    EXPECT_EQ(control.getMTPStorageListHead(nullptr, &storage), gone);
    EXPECT_EQ(library.takeCalls(), Calls{"mtpGetConnectedDeviceListHead()"});
}

TEST_F(ListTest, listsAndRecordsGoBackThroughTheLibrary) {
    expectLogged(7, "Release Device Node", [&] { control.releaseMTPDeviceList(device); });
    control.releaseMTPStorageList(phone);
    control.releaseMTPFolderList(music);
    control.releaseMTPFileList(song);
    ASSERT_EQ(control.getMTPMediaFileInfo(song, &media), 0);
    control.releaseMTPMediaFileInfo(media);
    EXPECT_EQ(media, nullptr);
    EXPECT_EQ(library.takeCalls(),
              (Calls{"mtpReleaseDeviceList(device0)", "mtpReleaseDeviceList(device0)", "mtpReleaseStorageList(Phone)",
                     "mtpReleaseFolderList(Music)", "mtpReleaseFileList(song.mp3)", "mtpGetMediaFileInfo(song.mp3)",
                     "mtpReleaseMediaFileInfo()"}));
}

TEST_F(ListTest, propertiesAreReadInTwoCalls) {
    library.properties["mtpGetModelName"] = "Player \u00E9";
    EXPECT_EQ(control.getMTPModelName(device, text), 0);
    EXPECT_EQ(text, "Player \u00E9");
    EXPECT_EQ(library.takeCalls(), (Calls{"mtpGetModelName(null, 0)", "mtpGetModelName(buffer, 18)"}));

    library.properties["mtpGetModelName"] = "";
    EXPECT_EQ(control.getMTPModelName(device, text), 0);
    EXPECT_EQ(text, "");
}

TEST_F(ListTest, propertyWithoutASecondCallLeavesTheTextAlone) {
    library.answer("mtpGetModelName", {DGSTATUS_SUCCESS});
    EXPECT_EQ(control.getMTPModelName(device, text), 0);
    EXPECT_EQ(text, "before");
    EXPECT_EQ(library.takeCalls(), Calls{"mtpGetModelName(null, 0)"});

    library.answer("mtpGetModelName", {DGSTATUS_MORE_DATA, DGSTATUS_SUCCESS}); // a needed size of no bytes
    EXPECT_EQ(control.getMTPModelName(device, text), 0);
    EXPECT_EQ(text, "");
}

TEST_F(ListTest, settersDoNotCountTheTerminator) {
    EXPECT_EQ(control.setMTPFriendlyName(device, "Na\u00EFve"), 0);
    EXPECT_EQ(control.setMTPSyncPartner(device, "\U0001F3B5"), 0); // two code units
    EXPECT_EQ(library.takeCalls(), (Calls{"mtpSetFriendlyName(Na\u00EFve#10)", "mtpSetSyncpartner(\U0001F3B5#4)"}));
}

TEST_F(ListTest, devicesAreFoundByLocation) {
    _MTP_DEVICE_NODE* second = library.addDevice(0x14200000);
    EXPECT_EQ(control.deviceWithLocationId(device, 0x14200000), second);
    EXPECT_EQ(control.deviceWithLocationId(device, 0x14300000), nullptr);
    EXPECT_EQ(library.takeCalls(),
              (Calls{"mtpGetNextDevice(device0)", "mtpGetNextDevice(device0)", "mtpGetNextDevice(device1)"}));
    expectLogged(6, "Device Node Head is NULL. getMTPDeviceHead calling.",
                 [&] { EXPECT_EQ(control.deviceWithLocationId(nullptr, 0x14100000), device); });
    library.answer("mtpGetNextDevice", {gone});
    EXPECT_EQ(control.deviceWithLocationId(device, 0x14200000), nullptr);
    library.answer("mtpGetConnectedDeviceListHead", {gone});
    EXPECT_EQ(control.deviceWithLocationId(nullptr, 0x14100000), nullptr);
}

TEST_F(ListTest, storageFigures) {
    std::uint64_t total = 5;
    EXPECT_EQ(control.maxCapacity(device, phone, "CARD"), 64000U);
    EXPECT_EQ(control.freeSpace(device, phone, "/My Phone/Card"), 63000U);
    EXPECT_EQ(control.storageSpace(device, phone, "card", &total), 1000U);
    EXPECT_EQ(total, 64000U);
    EXPECT_EQ(control.storageSpace(device, phone, "None", &total), 0U);
    EXPECT_EQ(total, 64000U);
    EXPECT_EQ(control.maxCapacity(device, phone, std::nullopt), 0U);
    card->UsedSize = 65000; // more than there is
    EXPECT_EQ(control.freeSpace(device, phone, "Card"), 0U);
}

TEST_F(ListTest, fetchedStorageListIsGivenBack) {
    EXPECT_EQ(control.maxCapacity(device, nullptr, "Card"), 64000U);
    EXPECT_EQ(library.takeCalls(), (Calls{"mtpGetStorageListHead(device0)", "mtpGetNextStorageNode(Phone)",
                                          "mtpReleaseStorageList(Phone)"}));
}

TEST_F(ListTest, lifeOfTheObjectIsLogged) {
    for (const char* message : {"ENTER", "EXIT"}) {
        expectLogged(6, message, [] { const MtpControl another; });
        expectLogged(7, message, [&] { control.InitializeNodeDic(); });
    }
    EXPECT_FALSE(control.deviceConnected());
    control.setDeviceConnected(true);
    EXPECT_TRUE(control.deviceConnected());
}

} // namespace
