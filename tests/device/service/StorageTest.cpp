// SPDX-License-Identifier: MIT
#include "device/MTPService/MTPServicePrivate.h"
#include "host/ProfileHandler.h"
#include "tests/device/service/VirtualService.h"

#include <gtest/gtest.h>

#include <map>

using platform::Array;
using platform::Dictionary;
using tests::keys;
using tests::mebibyte;
using Text = std::optional<std::string>;
using Names = std::vector<std::string>;

namespace {

class StorageTest : public tests::VirtualService {
protected:
    [[nodiscard]] std::shared_ptr<MTPServicePrivate> inside() const {
        return service->callbackObject().object<MTPServicePrivate>();
    }
};

class Profiles : public ProfileHandler {
public:
    std::optional<std::string> valueForModelName(const Text& modelName, const std::string& profile,
                                                 const std::string& nodePath) override {
        if (raises) {
            throw std::runtime_error("no profile");
        }
        EXPECT_EQ(modelName, "Model");
        EXPECT_EQ(profile, "Contents.xml");
        const auto found = values.find(nodePath);
        return found == values.end() ? Text() : Text(found->second);
    }
    std::map<std::string, std::string> values;
    bool raises = false;
};

class WithProfiles {
public:
    WithProfiles() { ProfileHandler::setSharedInstance(profiles); }
    ~WithProfiles() { ProfileHandler::setSharedInstance(nullptr); }
    WithProfiles(const WithProfiles&) = delete;
    WithProfiles& operator=(const WithProfiles&) = delete;
    std::shared_ptr<Profiles> profiles = std::make_shared<Profiles>();
};

} // namespace

TEST_F(StorageTest, ListsInternalMemoryAndCardAndPassesOverTheSystemsOwn) {
    const auto listed = service->storageInfoLists();
    ASSERT_TRUE(listed);
    ASSERT_EQ(listed->size(), 2U);
    const Dictionary& phone = *(*listed)[0].dictionary();
    EXPECT_EQ(keys(phone), (Names{"TotalSpace", "UsedSize", "diskIndex", "diskType", "volumePath"}));
    EXPECT_EQ(phone.string("volumePath"), "/Player/Phone");
    EXPECT_EQ(phone.uint64("TotalSpace"), 64 * mebibyte);
    EXPECT_EQ(phone.uint32("diskIndex"), 0U);
    EXPECT_EQ(phone.uint32("diskType"), 1U);
    const Dictionary& card = *(*listed)[1].dictionary();
    EXPECT_EQ(card.string("volumePath"), "/Player/Card");
    EXPECT_EQ(card.uint32("diskIndex"), 1U);
    EXPECT_EQ(card.uint32("diskType"), 2U);
}

TEST_F(StorageTest, TheTableHoldsDefaultFoldersThatAreThere) {
    const auto table = service->diskInformation();
    ASSERT_TRUE(table);
    ASSERT_EQ(table->size(), 2U) << "listing again does not double it";
    const Dictionary& phone = *(*table)[0].dictionary();
    EXPECT_EQ(keys(phone),
              (Names{"DefaultImageID", "DefaultImagePath", "DefaultMovieID", "DefaultMoviePath", "DefaultMusicID",
                     "DefaultMusicPath", "DefaultPlaylistID", "DefaultPlaylistPath", "DefaultPodcastID",
                     "DefaultPodcastPath", "diskIndex", "diskType", "locationId", "volumePath"}));
    EXPECT_EQ(phone.string("locationId"), device->locationID());
    for (const char* storage : {"Phone", "Card"}) {
        for (const char* folder : {"Sounds", "DCIM/Camera", "Videos", "Podcast", "Playlists"}) {
            EXPECT_TRUE(std::filesystem::is_directory(device->path(std::string(storage) + "/" + folder)));
        }
    }
    EXPECT_EQ(service->defaultMediaPath(1, 2), "/Player/Card/DCIM/Camera");
    EXPECT_EQ(service->defaultMediaID("/player/phone/sounds/x", 1), phone.string("DefaultMusicID"));
}

TEST_F(StorageTest, FoldersAreMadeOnDemand) {
    EXPECT_EQ(service->createDefaultMediaFolder("/Player/Phone"), std::nullopt);
    EXPECT_EQ(service->createDefaultMediaFolder("/Player/Nowhere/a"), std::nullopt);
    EXPECT_EQ(service->createDefaultMediaFolder(std::nullopt), std::nullopt);
    const Text made = service->createDefaultMediaFolder("/player/phone/New/Deep");
    ASSERT_TRUE(made);
    EXPECT_TRUE(std::filesystem::is_directory(device->path("Phone/New/Deep")));
    EXPECT_EQ(service->createDefaultMediaFolder("/Player/Phone/new/DEEP"), made);

    service->setDefaultMediaID("/Player/Phone/Sounds", 1, "0");
    const Text again = service->mediaDefaultNode("/Player/Phone/Sounds", 1);
    ASSERT_TRUE(again);
    EXPECT_GT(again->size(), 1U);
    EXPECT_EQ(service->defaultMediaID("/Player/Phone/Sounds", 1), again);
}

TEST_F(StorageTest, ProfilesNameTheFoldersAndStoragesBehindACardCountAsExternal) {
    const WithProfiles with;
    with.profiles->values = {{"ZEP/Contents/Music/DefaultFolder/Internal", "/In/Music"},
                             {"ZEP/Contents/Music/DefaultFolder/External", "/Out/Music"},
                             {"ZEP/Contents/Playlist/DefaultFolder/Internal", "/In/Lists"},
                             {"ZEP/Contents/Playlist/DefaultFolder/External", "/Never"}};
    const auto entry = [](const char* path, std::uint32_t index) {
        return Dictionary{{"volumePath", path}, {"diskIndex", index}, {"diskType", 1}};
    };
    ASSERT_TRUE(service->storageInfoLists());
    EXPECT_EQ(service->defaultMediaPath(0, 1), "/Player/Phone/In/Music");
    EXPECT_EQ(service->defaultMediaPath(1, 1), "/Player/Card/Out/Music");
    EXPECT_EQ(service->defaultMediaPath(1, 10), "/Player/Card/In/Lists");
    EXPECT_EQ(service->defaultMediaPath(0, 2), "/Player/Phone/DCIM/Camera");
    EXPECT_TRUE(std::filesystem::is_directory(device->path("Card/Out/Music")));
    service->setDefaultMediaInfo(Array{entry("/Player/Card", 5), entry("/Player/Phone", 6)});
    EXPECT_EQ(service->defaultMediaPath(6, 1), "/Player/Phone/Out/Music");

    EXPECT_EQ(inside()->defaultMediaContentsPath(Text("/V"), 1, 10), "/V/In/Lists");
    EXPECT_EQ(inside()->defaultMediaContentsPath(Text("/V"), 2, 10), "/V/Playlists");
    EXPECT_EQ(inside()->defaultMediaContentsPath(Text("/V"), 2, 1), "/V/Out/Music");
    EXPECT_EQ(inside()->defaultMediaContentsPath(Text("/V"), 1, 8), std::nullopt);
    EXPECT_TRUE(inside()->checkMediaContent(Text("/V"), Text("/v/in/music/a.mp3"), 1, 1));
    EXPECT_FALSE(inside()->checkMediaContent(Text("/V"), std::nullopt, 1, 1));
    EXPECT_TRUE(inside()->checkMediaContent(0, Text("/Player/Phone/IN/Music/a.mp3"), 1));
    EXPECT_FALSE(inside()->checkMediaContent(9, Text("/Player/Phone/In/Music/a.mp3"), 1));

    with.profiles->raises = true;
    ASSERT_TRUE(service->storageInfoLists());
    EXPECT_EQ(service->defaultMediaPath(0, 1), "/Player/Phone/Sounds");
}

TEST_F(StorageTest, CapacitiesAreRealAndKeptForTheTimeOfATransfer) {
    EXPECT_EQ(service->storageTotalSpace("/Player/Phone"), 0U) << "the table learns sizes from the queries only";
    EXPECT_EQ(service->totalSpace(0, 0), 64 * mebibyte);
    EXPECT_EQ(service->freeSpace(0, 0), 64 * mebibyte);
    copy(1, {tests::content(local("a.mp3", 3 * mebibyte))});
    EXPECT_EQ(service->freeSpace(0, 0), 61 * mebibyte);
    EXPECT_EQ(service->storageUsedSpace("/Player/Phone"), 3 * mebibyte);

    std::vector<std::uint64_t> meanwhile;
    recorder.onEach([&](const auto& notification) {
        if (notification.userInfo.uint32("CurrentProgress") == 0U) {
            meanwhile = {service->totalSpace(0, 0), service->freeSpace(0, 0), service->totalSpace(0, 1),
                         service->freeSpace(0, 1)};
        }
    });
    copy(2, {tests::content(local("b.mp3", mebibyte))});
    EXPECT_EQ(meanwhile, (std::vector<std::uint64_t>{64 * mebibyte, 61 * mebibyte, 0, 0}));
}

TEST_F(StorageTest, HiddenVolumes) {
    _MTP_STORAGE_NODE* node = nullptr;
    EXPECT_EQ(inside()->checkHiddenVolume("Vault/x.mp3", &node), std::nullopt);
    EXPECT_EQ(inside()->checkHiddenVolume("Other:x.mp3", &node), std::nullopt);
    EXPECT_EQ(inside()->checkHiddenVolume(":x", &node), std::nullopt);
    EXPECT_EQ(inside()->checkHiddenVolume("~:x", &node), std::nullopt);
    EXPECT_EQ(inside()->checkHiddenVolume(std::nullopt, &node), std::nullopt);
    EXPECT_EQ(node, nullptr);
    EXPECT_EQ(inside()->checkHiddenVolume("~vault:Music/x.mp3", &node), "Music/x.mp3");
    ASSERT_NE(node, nullptr);
    EXPECT_EQ(node->header.Id, tests::Device::hiddenStorageID);
    _MTP_STORAGE_NODE* again = nullptr;
    EXPECT_EQ(inside()->checkHiddenVolume("VAULT:", &again), "");
    EXPECT_EQ(again, node) << "remembered";
    const Text folder = service->createDefaultMediaFolder("/Player/Phone/Sounds");
    ASSERT_TRUE(folder);
    inside()->_hiddenVolumeLists.with([&](std::optional<Dictionary>& table) {
        table->set("VAULT_" + std::to_string(tests::Device::hiddenStorageID), *folder);
    });
    EXPECT_EQ(inside()->checkHiddenVolume("Vault:x", &again), "x");
    EXPECT_EQ(again, node) << "never a node of another kind at a remembered handle";
    EXPECT_EQ(inside()->convertHiddenVolumePathToFullPath("~Vault:a:b", &again), "/Player/Vault/a:b");
    EXPECT_EQ(again, node);
    service->releaseHiddenStorage();
    service->setDeviceInformation(Dictionary{{"MN", "Model"}, {"HVID", "Other:1"}});
    EXPECT_EQ(inside()->checkHiddenVolume("Vault:x", &node), std::nullopt);
    EXPECT_EQ(inside()->checkHiddenVolume("Other:x", &node), "x") << "named, though the device has none";
    EXPECT_EQ(node, nullptr);
}

TEST_F(StorageTest, AStorageIsFoundInADevicePath) {
    EXPECT_EQ(inside()->currentStorageNode("/Player/Nowhere"), nullptr);
    EXPECT_EQ(inside()->currentStorageNode(std::nullopt), nullptr);
    const _MTP_STORAGE_NODE* card = inside()->currentStorageNode("/player/card/a/b.mp3");
    ASSERT_NE(card, nullptr);
    EXPECT_EQ(card->header.Signature, MTP_SIGNATURE_STORAGE);
}

TEST_F(StorageTest, AnotherDeviceOrNoneIsSelected) {
    service->setLocationID(std::nullopt);
    EXPECT_EQ(service->locationID(), std::nullopt);
    EXPECT_TRUE(service->storageInfoLists()) << "the device itself stays selected";
    service->setLocationID("12345");
    EXPECT_FALSE(service->registerNotifyEvent());
    EXPECT_TRUE(service->deviceNodeHeadExist());
    EXPECT_TRUE(service->refreshDeviceList());
}

TEST_F(StorageTest, ListsGoBackToTheLibrary) {
    const auto useOnce = [&] {
        MTPService other;
        other.setLocationID(device->locationID());
        EXPECT_TRUE(other.storageInfoLists());
        EXPECT_TRUE(other.storageInfoLists());
        other.setLocationID(device->locationID());
        other.releaseDeviceHeadNode();
    };
    // Services of earlier tests may have kept the device list, as they may; so the first round can add to it.
    useOnce();
    const std::size_t before = mtpRecordBytesInUse();
    useOnce();
    useOnce();
    EXPECT_EQ(mtpRecordBytesInUse(), before);
}
