// SPDX-License-Identifier: MIT
// The job that copies files from one device to another.
#include "host/VXDeviceConfirmDelegate.h"
#include "tests/device/service/JobTest.h"

#include <gtest/gtest.h>

using platform::Array;
using platform::Dictionary;
using tests::content;
using tests::mebibyte;
using tests::numbers;
using Numbers = tests::Numbers;

namespace {

class Delegate : public VXDeviceConfirmDelegate {
public:
    bool confirmOverwrite(const std::string& fileName, bool& /*isNotAsk*/) override {
        asked.push_back(fileName);
        return answer;
    }
    std::shared_ptr<MTPService> getFileServiceObject(const std::string& locationID) override {
        return services[locationID].lock();
    }
    std::map<std::string, std::weak_ptr<MTPService>> services;
    std::vector<std::string> asked;
    bool answer = false;
};

/// Two devices of one model and one name, each with its service. The first is the source.
class BetweenDevicesTest : public tests::JobTest {
protected:
    explicit BetweenDevicesTest(std::uint64_t capacity = 64 * mebibyte)
        : otherDevice(std::make_unique<tests::Device>(capacity, 0xF1000002))
        , other(std::make_shared<MTPService>()) {
        other->setLocationID(otherDevice->locationID());
        other->setDeviceInformation(Dictionary{{"MN", "Model"}});
        EXPECT_TRUE(other->storageInfoLists());
        delegate->services[otherDevice->locationID()] = other;
        service->setConfirmDelegate(delegate);
    }
    ~BetweenDevicesTest() override {
        recorder.onEach({});
        waitUntilIdle();
        EXPECT_TRUE(passage().empty()) << "no local copy is left over";
        if (other != nullptr) {
            other->releaseDeviceHeadNode();
        }
        other.reset();
    }

    static tests::Names passage() {
        tests::Names found = passing();
        std::erase_if(found, [](const std::string& name) { return !name.starts_with("Between-"); });
        return found;
    }
    void copyOn(std::uint32_t id, const std::vector<std::string>& names) {
        Array contents;
        for (const std::string& name : names) {
            contents.emplace_back(Dictionary{{"FilePath", song(name)}, {"FileName", name}});
        }
        copyOn(id, contents);
    }
    void copyOn(std::uint32_t id, const Array& contents) {
        waitUntilIdle();
        service->copyContentsDeviceToDevice(id, contents, device->locationID(), otherDevice->locationID(), 1, 0);
        waitUntilIdle();
    }
    void sendToOther(const std::string& file) {
        EXPECT_TRUE(tests::waitUntil([&] { return other->isIdle(); }));
        other->copyContentsMacToDevice(9001, Array{content(file)}, 1, 0);
        EXPECT_TRUE(tests::waitUntil([&] { return other->isIdle(); }));
    }
    [[nodiscard]] std::string atOther(const std::string& name) const {
        return otherDevice->path("Phone/Sounds/" + name);
    }
    [[nodiscard]] bool isCopied(const std::string& name) const {
        return std::filesystem::exists(atOther(name)) &&
               tests::readFile(atOther(name)) == tests::readFile(device->path("Phone/Sounds/" + name));
    }
    std::vector<std::string> sendMany(int count, std::size_t size) {
        std::vector<std::string> names;
        for (int i = 0; i < count; ++i) {
            names.push_back(std::to_string(i) + ".mp3");
        }
        send(names, size);
        return names;
    }

    std::unique_ptr<tests::Device> otherDevice;
    std::shared_ptr<MTPService> other;
    std::shared_ptr<Delegate> delegate = std::make_shared<Delegate>();
};

class FullOtherTest : public BetweenDevicesTest {
protected:
    FullOtherTest()
        : BetweenDevicesTest(5 * mebibyte / 2) {}
};

} // namespace

TEST_F(BetweenDevicesTest, FilesArriveWithTheirNamesAndWhatIsKnownOfThem) {
    Dictionary titled = content(local("Für Elise 🎵.mp3", 3'000'000));
    titled.set("Title", "Bagatelle");
    titled.set("MediaType", 0x1000001);
    waitUntilIdle();
    copy(1, {titled, content(local("b.mp3", 2'000'000, 2))});
    copyOn(2, std::vector<std::string>{"Für Elise 🎵.mp3", "b.mp3"});
    EXPECT_TRUE(isCopied("Für Elise 🎵.mp3"));
    EXPECT_TRUE(isCopied("b.mp3"));
    const auto results = recorder.results(2);
    EXPECT_EQ(numbers(results, "ResultStatus"), (Numbers{0, 0}));
    ASSERT_EQ(results.size(), 2U);
    EXPECT_EQ(results[0].string("Title"), "Bagatelle");
    EXPECT_EQ(results[0].string("LocationId"), otherDevice->locationID());
    EXPECT_EQ(recorder.progress(2)[0].string("LocationId"), device->locationID());
    const Numbers line = percents(2);
    EXPECT_TRUE(std::ranges::is_sorted(line)) << "one line over both halves";
    EXPECT_EQ(line.front(), 0);
    EXPECT_TRUE(std::ranges::any_of(line, [](std::int64_t percent) { return percent > 0 && percent < 50; }));
    EXPECT_EQ(line[line.size() - 2], 100);
    EXPECT_EQ(statuses(2).back(), 4);
}

TEST_F(BetweenDevicesTest, WhatIsThereIsAskedAboutAndBadEntriesFailAlone) {
    send({"a.mp3", "b.mp3"});
    std::filesystem::create_directory(files.path("other"));
    const std::string others = local("other/a.mp3", 50, 9);
    sendToOther(others);
    copyOn(1, Array{nullptr, Dictionary{{"FileName", "x"}}, Dictionary{{"FilePath", "/"}},
                    Dictionary{{"FilePath", song("gone.mp3")}}, Dictionary{{"FilePath", song("a.mp3")}},
                    Dictionary{{"FilePath", song("b.mp3")}}});
    EXPECT_EQ(resultStatuses(1), (Numbers{0x23000001, 0x23000001, 0x23000001, 0x10000001, 0x10000005, 0}));
    EXPECT_EQ(delegate->asked, std::vector<std::string>{"a.mp3"});
    EXPECT_EQ(tests::readFile(atOther("a.mp3")), tests::readFile(others));
    delegate->answer = true;
    copyOn(2, std::vector<std::string>{"a.mp3"});
    EXPECT_EQ(resultStatuses(2), (Numbers{0}));
    EXPECT_TRUE(isCopied("a.mp3"));
}

TEST_F(BetweenDevicesTest, AFileIsNeverReplacedByItself) {
    send({"a.mp3"});
    delegate->answer = true; // which would delete it first
    const std::shared_ptr<MTPService> borrowed(service.get(), [](MTPService*) {});
    delegate->services[device->locationID()] = borrowed;
    waitUntilIdle();
    service->copyContentsDeviceToDevice(1, Array{Dictionary{{"FilePath", "/Player//PHONE/Sounds/A.mp3"}}},
                                        device->locationID(), device->locationID(), 1, 0);
    waitUntilIdle();
    EXPECT_EQ(resultStatuses(1), (Numbers{0x10000005}));
    // Two services of one device are two ways to the same file.
    const auto twin = std::make_shared<MTPService>();
    twin->setLocationID(device->locationID());
    delegate->services["0" + device->locationID()] = twin;
    other->setConfirmDelegate(delegate);
    other->copyContentsDeviceToDevice(2, Array{Dictionary{{"FilePath", song("a.mp3")}}}, device->locationID(),
                                      "0" + device->locationID(), 1, 0);
    EXPECT_TRUE(tests::waitUntil([&] { return other->isIdle(); }));
    EXPECT_EQ(resultStatuses(2), (Numbers{0x10000005}));
    EXPECT_TRUE(delegate->asked.empty());
    EXPECT_TRUE(isOnDevice("a.mp3"));
    twin->releaseDeviceHeadNode();
}

TEST_F(BetweenDevicesTest, CancelledAtEitherSideOnlyWholeFilesStay) {
    const auto names = sendMany(30, 300'000);
    for (const bool atDestination : {false, true}) {
        const std::uint32_t id = atDestination ? 2 : 1;
        const std::uint32_t last = atDestination ? 20 : 8;
        delegate->answer = true;
        recorder.onEach([&](const auto& notification) {
            if (notification.userInfo.uint32("ServiceID") == id && notification.userInfo.uint32("Current") == last &&
                !service->isCancelServiceId(id) && !other->isCancelServiceId(id) &&
                notification.userInfo.uint32("TransferStatus") == 2U) {
                (atDestination ? *other : *service).cancelFileAction(id);
            }
        });
        copyOn(id, names);
        recorder.onEach({});
        EXPECT_EQ(statuses(id).back(), 3);
        EXPECT_EQ(resultStatuses(id), Numbers(last - 1, 0));
        for (std::size_t i = 0; i < names.size(); ++i) {
            EXPECT_EQ(std::filesystem::exists(atOther(names[i])), i < last - 1) << i;
            EXPECT_TRUE(i >= last - 1 || isCopied(names[i])) << i;
        }
        EXPECT_FALSE(service->isCancelServiceId(id));
        EXPECT_FALSE(other->isCancelServiceId(id));
    }
}

TEST_F(BetweenDevicesTest, TheOtherSideGoesWhileTheJobRuns) {
    const auto names = sendMany(6, 1'500'000);
    recorder.onEach([&](const auto& notification) {
        if (notification.userInfo.uint32("Current") == 3U && isProgress(notification)) {
            other.reset(); // its end does not wait for this job, though it happens inside it
        }
    });
    copyOn(1, names);
    EXPECT_EQ(statuses(1).back(), 3);
    EXPECT_EQ(resultStatuses(1), (Numbers{0, 0}));
    copyOn(2, names);
    EXPECT_EQ(statuses(2), (Numbers{3})) << "the delegate knows it no more";
}

TEST_F(BetweenDevicesTest, ADeviceIsDisconnectedOnEitherSide) {
    const auto names = sendMany(4, 1'500'000);
    recorder.onEach([&](const auto& notification) {
        if (notification.userInfo.uint32("Current") == 2U) {
            (notification.userInfo.uint32("ServiceID") == 1U ? *other : *service).exitServiceThread();
        }
    });
    copyOn(1, names);
    EXPECT_EQ(statuses(1).back(), 3);
    EXPECT_EQ(resultStatuses(1), (Numbers{0}));
    EXPECT_FALSE(std::filesystem::exists(atOther("1.mp3")));
}

TEST_F(BetweenDevicesTest, BothDirectionsAtOnce) {
    const auto names = sendMany(5, 200'000);
    const std::string back = tests::makeFile(files.path("back.mp3"), 400'000, 77);
    sendToOther(back);
    auto both = std::make_shared<Delegate>();
    // The other service's job is told of this one by a shared object that does not own it.
    const std::shared_ptr<MTPService> borrowed(service.get(), [](MTPService*) {});
    both->services[device->locationID()] = borrowed;
    other->setConfirmDelegate(both);
    Array contents;
    for (const std::string& name : names) {
        contents.emplace_back(Dictionary{{"FilePath", song(name)}});
    }
    waitUntilIdle();
    service->copyContentsDeviceToDevice(1, contents, device->locationID(), otherDevice->locationID(), 1, 0);
    other->copyContentsDeviceToDevice(2, Array{Dictionary{{"FilePath", song("back.mp3")}}}, otherDevice->locationID(),
                                      device->locationID(), 1, 0);
    EXPECT_TRUE(tests::waitUntil([&] { return service->isIdle() && other->isIdle(); }));
    EXPECT_EQ(resultStatuses(1), Numbers(5, 0));
    EXPECT_EQ(resultStatuses(2), (Numbers{0}));
    EXPECT_TRUE(arrived("Phone/Sounds/back.mp3", back));
    EXPECT_TRUE(isCopied("4.mp3"));
}

TEST_F(FullOtherTest, AFullDestinationEndsTheJob) {
    const auto names = sendMany(5, mebibyte);
    copyOn(1, names);
    const Numbers results = resultStatuses(1);
    ASSERT_EQ(results.size(), 3U);
    EXPECT_TRUE(results[2] == 0x1000000A || results[2] == 0x1310000A) << results[2];
    EXPECT_EQ(recorder.progress(1).back().uint32("Fail"), 3U);
    EXPECT_TRUE(isCopied("1.mp3"));
    EXPECT_FALSE(std::filesystem::exists(atOther("2.mp3")));
}
