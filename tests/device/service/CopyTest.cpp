// SPDX-License-Identifier: MIT
#include "tests/device/service/VirtualService.h"

#include "device/MTPService/MTPServicePrivate.h"
#include "host/MediaLibrary.h"
#include "host/VXDeviceConfirmDelegate.h"
#include "platform/UserDefaults.h"

#include <gtest/gtest.h>

#include <algorithm>

using platform::Array;
using platform::Dictionary;
using tests::content;
using tests::mebibyte;
using tests::numbers;
using Numbers = std::vector<std::int64_t>;

namespace {

constexpr std::int64_t duplicate = 0x10000005;
constexpr std::int64_t invalidEntry = 0x23000001;
constexpr const char* notAskKey = "LumoFileServicePreferencesNotAskOverwrite";
constexpr const char* isOverwriteKey = "LumoFileServicePreferencesIsOverwrite";

class Delegate : public VXDeviceConfirmDelegate {
public:
    bool confirmOverwrite(const std::string& fileName, bool& isNotAsk) override {
        asked.push_back(fileName);
        if (act) {
            act();
        }
        isNotAsk = remember;
        return answer;
    }
    std::shared_ptr<MTPService> getFileServiceObject(const std::string& /*locationID*/) override { return nullptr; }

    bool answer = false;
    bool remember = false;
    std::function<void()> act;
    std::vector<std::string> asked;
};

class Library : public MediaLibrary {
public:
    explicit Library(std::function<std::optional<Dictionary>(const std::string&)> tell)
        : _tell(std::move(tell)) {}
    std::optional<Dictionary> getMediaInfo(const std::string& filePath, const Dictionary& /*info*/) override {
        asked.push_back(filePath);
        return _tell(filePath);
    }
    std::vector<std::string> asked;

private:
    std::function<std::optional<Dictionary>(const std::string&)> _tell;
};

class CopyTest : public tests::VirtualService {
protected:
    using VirtualService::VirtualService;
    ~CopyTest() override { MediaLibrary::setSharedInstance(nullptr); }

    [[nodiscard]] std::shared_ptr<MTPServicePrivate> inside() const {
        return service->callbackObject().object<MTPServicePrivate>();
    }
    static std::string localCopy(const std::string& devicePath) {
        return tests::homeFolder() + "/Tesvora/Lumo/Temp" + devicePath;
    }
};

} // namespace

TEST_F(CopyTest, AFileArrivesAndItsNotificationsSayEverything) {
    const std::string song = local("Für Elise 🎵.mp3", 3'000'000);
    copy(7, {content(song)});
    EXPECT_TRUE(arrived("Phone/Sounds/Für Elise 🎵.mp3", song));

    const auto progress = recorder.progress(7);
    ASSERT_GE(progress.size(), 3U);
    EXPECT_EQ(progress.front(), (Dictionary{{"ServiceID", 7},
                                            {"MediaNotiType", 1},
                                            {"Current", 1},
                                            {"Max", 1},
                                            {"Fail", 0},
                                            {"CurrentProgress", 0},
                                            {"MaxProgress", 100},
                                            {"TransferStatus", 2},
                                            {"LocationId", device->locationID()},
                                            {"MN", "Model"}}));
    EXPECT_EQ(progress.back(), (Dictionary{{"ServiceID", 7},
                                           {"MediaNotiType", 1},
                                           {"Current", 1},
                                           {"Max", 1},
                                           {"Fail", 0},
                                           {"CurrentProgress", 100},
                                           {"MaxProgress", 100},
                                           {"TransferStatus", 4},
                                           {"LocationId", device->locationID()},
                                           {"FileName", "Für Elise 🎵.mp3"},
                                           {"MN", "Model"}}));
    const Numbers percents = numbers(progress, "CurrentProgress");
    EXPECT_TRUE(std::ranges::is_sorted(percents));
    EXPECT_EQ(percents[percents.size() - 2], 100) << "the end of the file's bytes is told before the end of the job";

    const auto results = recorder.results(7);
    ASSERT_EQ(results.size(), 1U);
    const Dictionary& result = results.front();
    EXPECT_EQ(result.uint32("ResultStatus"), 0U);
    EXPECT_EQ(result.uint32("VolumeIndex"), 0U);
    EXPECT_EQ(result.uint32("MediaNotiType"), 1U);
    EXPECT_EQ(result.string("LocationId"), device->locationID());
    EXPECT_EQ(result.string("FilePath"), "/Player/Phone/Sounds/Für Elise 🎵.mp3");
    EXPECT_EQ(result.string("MN"), "Model");
    EXPECT_EQ(result.uint64("FileSize"), 3'000'000U) << "the device's media information";
    EXPECT_TRUE(inside()->indexedNode("/player/phone/sounds/FÜR elise 🎵.MP3"));
}

TEST_F(CopyTest, EachKindGoesToItsFolderOfTheStorageChosen) {
    const std::string picture = local("p.jpg", 1000);
    const std::string empty = local("e.mp4", 0);
    service->copyContentsMacToDevice(1, Array{content(picture)}, 2, 1);
    waitUntilIdle(); // a request that meets the worker at the queue is lost
    service->copyContentsMacToDevice(2, Array{content(empty)}, 3, 0);
    waitUntilIdle();
    EXPECT_TRUE(arrived("Card/DCIM/Camera/p.jpg", picture));
    EXPECT_TRUE(arrived("Phone/Videos/e.mp4", empty));
    EXPECT_EQ(numbers(recorder.results(1), "VolumeIndex"), (Numbers{1}));
    // Podcasts have a job of their own, for which a file's dictionary is none.
    service->copyContentsMacToDevice(3, Array{content(picture)}, 4, 0);
    waitUntilIdle();
    EXPECT_TRUE(recorder.results(3).empty());
    EXPECT_FALSE(std::filesystem::exists(device->path("Phone/Podcast/p.jpg")));
}

TEST_F(CopyTest, BadEntriesFailAloneAndTheJobGoesOn) {
    const std::string good = local("good.mp3", 2000);
    const std::string gone = local("gone.mp3", 10);
    const Array contents{nullptr,       Dictionary{{"FileName", "x"}}, Dictionary{{"FilePath", good}},
                         content(gone), content(files.path()),         content(good)};
    std::filesystem::remove(gone);
    copy(1, contents);
    const auto results = recorder.results(1);
    ASSERT_EQ(results.size(), 6U);
    for (int i = 0; i < 3; ++i) {
        EXPECT_EQ(results[i].uint32("ResultStatus"), 0x23000001U);
        EXPECT_FALSE(results[i].contains("FilePath")) << "no other file's path";
    }
    EXPECT_EQ(results[3].string("FilePath"), "/Player/Phone/Sounds/gone.mp3");
    EXPECT_NE(results[3].uint32("ResultStatus"), 0U);
    EXPECT_NE(results[4].uint32("ResultStatus"), 0U);
    EXPECT_EQ(results[5].uint32("ResultStatus"), 0U);
    EXPECT_TRUE(arrived("Phone/Sounds/good.mp3", good));
    const Dictionary last = recorder.progress(1).back();
    EXPECT_EQ(last.uint32("Fail"), 5U);
    EXPECT_EQ(last.uint32("TransferStatus"), 4U);
}

TEST_F(CopyTest, AnExistingFileStaysWithoutADelegateAndWhenItSaysSo) {
    const std::string first = local("a.mp3", 1000, 1);
    copy(1, {content(first)});
    std::filesystem::create_directory(files.path("new"));
    const std::string second = local("new/a.mp3", 1500, 2);
    copy(2, {content(second)});
    auto delegate = std::make_shared<Delegate>();
    service->setConfirmDelegate(delegate);
    copy(3, {content(second)});
    EXPECT_EQ(delegate->asked, (std::vector<std::string>{"a.mp3"}));
    delegate->act = [] { throw std::runtime_error("no answer"); };
    copy(4, {content(second)});
    for (const std::uint32_t id : {2U, 3U, 4U}) {
        EXPECT_EQ(resultStatuses(id), (Numbers{duplicate}));
        EXPECT_EQ(recorder.progress(id).back().uint32("Fail"), 1U);
    }
    EXPECT_TRUE(arrived("Phone/Sounds/a.mp3", first));
    delegate.reset(); // not kept alive by the service
    copy(5, {content(second)});
    EXPECT_EQ(resultStatuses(5), (Numbers{duplicate}));
}

TEST_F(CopyTest, OverwritingReplacesAndMayBeRemembered) {
    std::vector<std::string> versions;
    for (unsigned i = 0; i < 4; ++i) {
        std::filesystem::create_directory(files.path(std::to_string(i)));
        versions.push_back(local(std::to_string(i) + "/a.mp3", 1000 + i, i));
    }
    copy(1, {content(versions[0])});
    auto delegate = std::make_shared<Delegate>();
    service->setConfirmDelegate(delegate);
    delegate->answer = true;
    copy(2, {content(versions[1])});
    EXPECT_EQ(resultStatuses(2), (Numbers{0}));
    EXPECT_TRUE(arrived("Phone/Sounds/a.mp3", versions[1]));
    auto& defaults = platform::UserDefaults::standardUserDefaults();
    EXPECT_FALSE(defaults.boolForKey(notAskKey));

    delegate->remember = true;
    copy(3, {content(versions[2]), content(versions[2])});
    EXPECT_EQ(delegate->asked.size(), 2U) << "the second time it was remembered";
    EXPECT_EQ(resultStatuses(3), (Numbers{0, 0}));
    EXPECT_TRUE(defaults.boolForKey(notAskKey));
    EXPECT_TRUE(defaults.boolForKey(isOverwriteKey));

    defaults.setBool(false, isOverwriteKey);
    copy(4, {content(versions[3])});
    EXPECT_EQ(delegate->asked.size(), 2U);
    EXPECT_EQ(resultStatuses(4), (Numbers{duplicate}));
    EXPECT_TRUE(arrived("Phone/Sounds/a.mp3", versions[2]));
}

// Deleting one of them would not make room for the new file, which bears the other's name too.
TEST_F(CopyTest, NamesThatDifferOnlyInCaseAreNeitherOverwritten) {
    copy(1, {content(local("a.mp3", 1000, 1))});
    put("Phone/Sounds/A.mp3", "the other");
    ASSERT_TRUE(tests::waitUntil([&] { return service->fileLists("/Player/Phone/Sounds")->size() == 2; }));
    auto delegate = std::make_shared<Delegate>();
    service->setConfirmDelegate(delegate);
    delegate->answer = true;
    std::filesystem::create_directory(files.path("new"));
    copy(2, {content(local("new/a.mp3", 1500, 2)), content(local("new/A.mp3", 1500, 3))});
    EXPECT_EQ(resultStatuses(2), (Numbers{duplicate, duplicate}));
    EXPECT_TRUE(arrived("Phone/Sounds/a.mp3", files.path("a.mp3")));
    EXPECT_EQ(std::filesystem::file_size(device->path("Phone/Sounds/A.mp3")), 9U);
}

TEST_F(CopyTest, ReleasedWhileTheOverwriteQuestionIsAsked) {
    const std::string song = local("a.mp3", 1000);
    copy(1, {content(song)});
    auto delegate = std::make_shared<Delegate>();
    service->setConfirmDelegate(delegate);
    delegate->answer = true;
    delegate->act = [&] { service->exitServiceThread(); };
    copy(2, {content(song), content(song)});
    EXPECT_EQ(recorder.progress(2).back().uint32("TransferStatus"), 3U);
    EXPECT_TRUE(recorder.results(2).empty());
}

TEST_F(CopyTest, CancelledWhileTheOverwriteQuestionIsAskedThePresentFileStays) {
    copy(1, {content(local("a.mp3", 1000, 1))});
    auto delegate = std::make_shared<Delegate>();
    service->setConfirmDelegate(delegate);
    delegate->answer = true;
    delegate->act = [&] { service->cancelFileAction(2); };
    std::filesystem::create_directory(files.path("new"));
    copy(2, {content(local("new/a.mp3", 1500, 2))});
    EXPECT_EQ(recorder.progress(2).back().uint32("TransferStatus"), 3U);
    EXPECT_TRUE(recorder.results(2).empty());
    EXPECT_TRUE(arrived("Phone/Sounds/a.mp3", files.path("a.mp3")));
}

namespace {

class FullDevice : public CopyTest {
protected:
    FullDevice()
        : CopyTest(5 * mebibyte / 2) {}
};

} // namespace

TEST_F(FullDevice, TheThirdOfFiveDoesNotFit) {
    Array contents;
    for (int i = 0; i < 5; ++i) {
        contents.push_back(content(local(std::to_string(i) + ".mp3", mebibyte, i)));
    }
    copy(1, contents);
    const Numbers statuses = resultStatuses(1);
    ASSERT_EQ(statuses.size(), 3U);
    EXPECT_EQ(statuses[1], 0);
    EXPECT_TRUE(statuses[2] == 0x1000000A || statuses[2] == 0x1310000A) << statuses[2];
    const Dictionary last = recorder.progress(1).back();
    EXPECT_EQ(last.uint32("Fail"), 3U);
    EXPECT_EQ(last.uint32("Current"), 5U);
    EXPECT_EQ(last.uint32("TransferStatus"), 4U);
    EXPECT_TRUE(arrived("Phone/Sounds/1.mp3", files.path("1.mp3")));
    for (const char* name : {"2.mp3", "3.mp3", "4.mp3"}) {
        EXPECT_FALSE(std::filesystem::exists(device->path(std::string("Phone/Sounds/") + name)));
    }
}

TEST_F(CopyTest, CancelledInTheMiddleOfAFile) {
    for (const bool deviceRefuses : {false, true}) {
        const std::uint32_t id = deviceRefuses ? 2 : 1;
        device->faults().refuseCancel(deviceRefuses);
        Array contents;
        for (int i = 0; i < 5; ++i) {
            contents.push_back(content(local(std::to_string(id) + std::to_string(i) + ".mp3", 4 * mebibyte, i)));
        }
        recorder.onEach([&](const auto& notification) {
            if (notification.userInfo.uint32("ServiceID") == id && notification.userInfo.uint32("Current") == 3U) {
                service->cancelFileAction(id);
            }
        });
        copy(id, contents);
        recorder.onEach({});
        EXPECT_EQ(recorder.progress(id).back().uint32("TransferStatus"), 3U);
        EXPECT_EQ(resultStatuses(id), (Numbers{0, 0}));
        const std::string third = std::to_string(id) + "2.mp3";
        EXPECT_FALSE(std::filesystem::exists(device->path("Phone/Sounds/" + third))) << "no part of it stays";
        service->removeCancelServiceId(id); // the handler may have asked twice
        EXPECT_FALSE(service->isCancelServiceId(id));
    }
    device->faults().refuseCancel(false);
    const std::string after = local("after.mp3", 1000);
    copy(9, {content(after)});
    EXPECT_TRUE(arrived("Phone/Sounds/after.mp3", after)) << "the session goes on";
}

TEST_F(CopyTest, MediaInformationComesFromTheEntryOrTheHost) {
    const std::string plain = local("plain.mp3", 1000);
    const std::string titled = local("titled.mp3", 1000);
    auto library = std::make_shared<Library>([](const std::string& path) {
        return Dictionary{{"FilePath", path}, {"MediaType", 0x1000001}, {"Title", "From the host"}, {"TrackNo", 7}};
    });
    MediaLibrary::setSharedInstance(library);
    Dictionary entry = content(titled);
    entry.set("Title", "From the entry");
    entry.set("MediaType", 0x1000001);
    copy(1, {content(plain), entry});
    EXPECT_EQ(library->asked, (std::vector<std::string>{plain}));
    const auto results = recorder.results(1);
    ASSERT_EQ(results.size(), 2U);
    EXPECT_EQ(results[0].string("Title"), "From the host");
    EXPECT_EQ(results[1].string("Title"), "From the entry");

    MediaLibrary::setSharedInstance(
        std::make_shared<Library>([](const std::string&) -> std::optional<Dictionary> { throw 1; }));
    copy(2, {content(local("c.mp3", 10)), entry});
    EXPECT_EQ(resultStatuses(2), (Numbers{invalidEntry, duplicate}));
    MediaLibrary::setSharedInstance(std::make_shared<Library>([](const std::string&) { return std::nullopt; }));
    copy(3, {content(local("d.mp3", 10))});
    EXPECT_EQ(resultStatuses(3), (Numbers{0}));
}

TEST_F(CopyTest, ACopyIsKeptAsTheLocalOneAndRenewedWhenItIsStale) {
    const std::string song = local("a.mp3", 1000, 1);
    const std::string kept = localCopy("/Player/Phone/Sounds/a.mp3");
    copy(1, {content(song)});
    EXPECT_EQ(tests::readFile(kept), tests::readFile(song));
    EXPECT_EQ(std::filesystem::hard_link_count(kept), 1U) << "never the user's own file";
    EXPECT_FALSE(std::filesystem::equivalent(kept, song));

    const auto target = [](const std::string& path) { return "/Player/Phone/Sounds/" + path; };
    EXPECT_TRUE(inside()->copyMediaFileToLocalTempPath(song, target("a.mp3"), 1));
    tests::makeFile(song, 1000, 2);
    std::filesystem::last_write_time(song, std::filesystem::last_write_time(kept) + std::chrono::seconds(5));
    EXPECT_TRUE(inside()->copyMediaFileToLocalTempPath(song, target("a.mp3"), 1));
    EXPECT_EQ(tests::readFile(kept), tests::readFile(song));
    EXPECT_FALSE(inside()->copyMediaFileToLocalTempPath(files.path("missing"), target("b.mp3"), 1));
    for (const char* hostile : {"/../../escaped", "/Player/../../../../escaped", "relative", ".."}) {
        EXPECT_FALSE(inside()->copyMediaFileToLocalTempPath(song, hostile, 1)) << hostile;
    }
    EXPECT_FALSE(std::filesystem::exists(tests::homeFolder() + "/Tesvora/escaped"));

    // Playing uses the copy that is there; one of another size is fetched anew.
    EXPECT_EQ(service->copyContentToPlay(5, 0, 1, Dictionary{{"FilePath", target("a.mp3")}}), kept);
    tests::makeFile(kept, 10);
    EXPECT_EQ(service->copyContentToPlay(6, 0, 1, Dictionary{{"FilePath", target("a.mp3")}}), std::nullopt);
    waitUntilIdle();
    EXPECT_EQ(service->copyContentToPlay(6, 0, 1, Dictionary{{"FilePath", target("none.mp3")}}), std::nullopt);
    waitUntilIdle();
}

TEST_F(CopyTest, MediaInformationOfADeviceFile) {
    copy(1, {content(local("a.mp3", 1234))});
    const auto info = service->mediaFileInfoFromDevice(std::nullopt, "/player/PHONE/Sounds/A.mp3");
    ASSERT_TRUE(info);
    EXPECT_EQ(info->uint64("FileSize"), 1234U);
    EXPECT_EQ(info->string("FilePath"), "/player/PHONE/Sounds/A.mp3");
    EXPECT_FALSE(service->mediaFileInfoFromDevice(std::nullopt, "/Player/Phone/Sounds/none.mp3"));
    EXPECT_FALSE(service->mediaFileInfoFromDevice(std::nullopt, std::nullopt));
}

TEST_F(CopyTest, APlaylistIsNamedThoughTheFileCannotJoinIt) {
    const std::string song = local("a.mp3", 1000);
    service->copyContentsMacToDevice(1, Array{content(song)}, 1, 0, "Best of");
    waitUntilIdle();
    EXPECT_TRUE(arrived("Phone/Sounds/a.mp3", song));
    ASSERT_EQ(recorder.results(1).size(), 1U);
    EXPECT_EQ(recorder.results(1).front().string("PlaylistName"), "Best of");
}
