// SPDX-License-Identifier: MIT
#include "device/MTPService/QDMtpDeviceNotifier.h"
#include "tests/device/service/World.h"

#include <gtest/gtest.h>

#include <array>
#include <thread>

using platform::Dictionary;
using tests::keys;
using tests::numbers;
using Numbers = std::vector<std::int64_t>;
using Names = std::vector<std::string>;

namespace {

constexpr std::uint32_t id = 77;

class NotifierTest : public ::testing::Test {
protected:
    static std::unique_ptr<QDMtpDeviceNotifier> make(std::uint32_t files, std::uint64_t bytes) {
        return std::make_unique<QDMtpDeviceNotifier>("A1", "B2", id, 1, "Model", 3, files, bytes);
    }
    tests::Recorder recorder;
};

} // namespace

TEST_F(NotifierTest, ProgressCarriesItsKeysAndOnlyThoseThatAreSet) {
    auto full = make(2, 10);
    full->setFilePath("/Player/Phone/Sounds/a.mp3");
    full->setCurrentTransferStatus(2);
    full->sendTransferEvent(100, 42);
    QDMtpDeviceNotifier bare;
    bare.setServiceID(id);
    bare.sendInitialTransferEvent();

    const auto sent = recorder.progress(id);
    ASSERT_EQ(sent.size(), 2U);
    EXPECT_EQ(sent[0], (Dictionary{{"ServiceID", id},
                                   {"MediaNotiType", 1},
                                   {"Current", 1},
                                   {"Max", 2},
                                   {"Fail", 0},
                                   {"CurrentProgress", 42},
                                   {"MaxProgress", 100},
                                   {"TransferStatus", 2},
                                   {"LocationId", "A1"},
                                   {"FileName", "a.mp3"},
                                   {"MN", "Model"}}));
    EXPECT_EQ(keys(sent[1]), (Names{"Current", "CurrentProgress", "Fail", "Max", "MaxProgress", "MediaNotiType",
                                    "ServiceID", "TransferStatus"}));
}

TEST_F(NotifierTest, ResultOverridesMediaInformationWithItsOwnKeys) {
    auto notifier = make(1, 1);
    notifier->setMediaInfo(Dictionary{{"Title", "Song"}, {"FilePath", "other"}, {"MN", "other"}});
    notifier->setFilePath("/Player/Phone/a.mp3");
    notifier->setPlaylistName("List");
    notifier->setChannelName("Channel");
    notifier->setPodcastXmlData(Dictionary{{"Title", "Feed"}});
    notifier->setTransferResult(5);
    notifier->sendResultNotification();
    QDMtpDeviceNotifier bare;
    bare.setServiceID(id);
    bare.sendResultEvent();

    const auto sent = recorder.results(id);
    ASSERT_EQ(sent.size(), 2U);
    EXPECT_EQ(sent[0], (Dictionary{{"Title", "Song"},
                                   {"ServiceID", id},
                                   {"MediaNotiType", 1},
                                   {"VolumeIndex", 3},
                                   {"ResultStatus", 5},
                                   {"LocationId", "B2"},
                                   {"FilePath", "/Player/Phone/a.mp3"},
                                   {"PlaylistName", "List"},
                                   {"MN", "Model"},
                                   {"ChannelName", "Channel"},
                                   {"PodcastXmlInfo", Dictionary{{"Title", "Feed"}}}}));
    EXPECT_EQ(sent[1],
              (Dictionary{{"ServiceID", id}, {"MediaNotiType", 0}, {"VolumeIndex", 0}, {"ResultStatus", 0x10000001}}));
}

TEST_F(NotifierTest, BytesAreToldEveryMillionAndAtTheEnd) {
    auto notifier = make(1, 3'000'000);
    notifier->setMaxSendBytes(3'000'000);
    std::vector<std::uint64_t> at;
    recorder.onEach([&](const platform::Notification&) { at.push_back(notifier->currentTransferSize()); });
    for (std::uint64_t sent = 100'000; sent <= 3'000'000; sent += 100'000) {
        notifier->addCurrentSendBytesEx(sent);
    }
    EXPECT_EQ(at, (std::vector<std::uint64_t>{1'100'000, 2'200'000, 3'000'000}));
    EXPECT_EQ(numbers(recorder.progress(id), "CurrentProgress"), (Numbers{36, 73, 100}));
    EXPECT_EQ(notifier->prevSendBytes(), 0U);
}

TEST_F(NotifierTest, BytesOfSeveralFilesAddUp) {
    auto notifier = make(3, 400);
    for (const std::uint32_t size : {100U, 50U, 250U}) {
        notifier->setMaxSendBytes(size);
        notifier->addCurrentSendBytes(size / 2);
        notifier->addCurrentSendBytes(size);
    }
    EXPECT_EQ(notifier->currentTransferSize(), 400U);
    EXPECT_EQ(numbers(recorder.progress(id), "CurrentProgress"), (Numbers{25, 37, 100}));
    // A file that begins below the count of one that broke off is a new one.
    notifier->setMaxSendBytes(1000);
    notifier->addCurrentSendBytesEx(600);
    notifier->addCurrentSendBytesEx(10);
    EXPECT_EQ(notifier->currentTransferSize(), 1010U);
}

TEST_F(NotifierTest, SizesBeyond32BitsAndAnEmptyTotal) {
    auto big = make(1, 8'000'000'000);
    big->setMaxSendBytes(8'000'000'000);
    big->addCurrentSendBytesEx(6'000'000'000);
    EXPECT_EQ(numbers(recorder.progress(id), "CurrentProgress"), (Numbers{75}));
    recorder.clear();
    auto unknown = make(1, 0);
    unknown->setMaxSendBytes(5'000'000);
    unknown->addCurrentSendBytesEx(5'000'000);
    EXPECT_TRUE(recorder.all().empty());
}

TEST_F(NotifierTest, SuccessCountsFinishAtTheLastFile) {
    auto notifier = make(3, 0);
    for (int file = 0; file < 3; ++file) {
        notifier->incCurrentTransferFileCount();
    }
    EXPECT_EQ(recorder.results(id).size(), 3U);
    EXPECT_EQ(numbers(recorder.progress(id), "TransferStatus"), (Numbers{4}));
    EXPECT_EQ(numbers(recorder.progress(id), "Current"), (Numbers{3}));
    // The result comes before the end is told.
    EXPECT_EQ(recorder.all().back().name, "VXLUMO_NOTI_TRANSFER_PROGRESS");
}

TEST_F(NotifierTest, AFailingNextToLastFileAlreadyTellsTheEnd) {
    auto notifier = make(3, 0);
    notifier->incCurrentTransferFileCount();
    EXPECT_TRUE(recorder.progress(id).empty());
    notifier->incFailTransferFileCount(); // the second of three
    EXPECT_EQ(numbers(recorder.progress(id), "TransferStatus"), (Numbers{4}));
    EXPECT_EQ(numbers(recorder.progress(id), "Fail"), (Numbers{1}));
    notifier->incFailTransferFileCount();
    EXPECT_EQ(numbers(recorder.progress(id), "Fail"), (Numbers{1, 2}));
    EXPECT_EQ(recorder.results(id).size(), 1U) << "failing posts no result by itself";
}

TEST_F(NotifierTest, TheOnlyFileFails) {
    auto notifier = make(1, 0);
    notifier->incFailTransferFileCount();
    const auto sent = recorder.progress(id);
    ASSERT_EQ(sent.size(), 1U);
    EXPECT_EQ(sent[0].uint32("Current"), 1U);
    EXPECT_EQ(sent[0].uint32("Max"), 1U);
    EXPECT_EQ(sent[0].uint32("TransferStatus"), 4U);
}

TEST_F(NotifierTest, AddingSeveralFilesAtOnce) {
    auto counted = make(5, 0);
    counted->addCurrentTransferFileCount(2);
    EXPECT_EQ(counted->currentTransferFileCount(), 3U);
    counted->addCurrentTransferFileCount(9);
    EXPECT_EQ(counted->currentTransferFileCount(), 5U);
    EXPECT_EQ(numbers(recorder.progress(id), "TransferStatus"), (Numbers{4}));

    recorder.clear();
    auto failed = make(5, 0); // the third of five and all after it
    failed->setCurrentTransferFileCount(3);
    failed->addFailTransferFileCount(3);
    EXPECT_EQ(failed->currentTransferFileCount(), 5U);
    EXPECT_EQ(failed->failTransferFileCount(), 3U);
    EXPECT_EQ(numbers(recorder.progress(id), "TransferStatus"), (Numbers{4}));

    recorder.clear();
    auto partly = make(5, 0);
    partly->addFailTransferFileCount(2);
    EXPECT_EQ(partly->currentTransferFileCount(), 3U);
    EXPECT_TRUE(recorder.all().empty());
}

TEST_F(NotifierTest, FileCountAndCancel) {
    make(0, 0)->fileCountTransfer();
    EXPECT_TRUE(recorder.all().empty());
    auto notifier = make(3, 0);
    notifier->fileCountTransfer();
    notifier->setCurrentTransferFileCount(2);
    notifier->fileCountTransfer();
    notifier->cancelFileTransfer();
    EXPECT_EQ(numbers(recorder.progress(id), "CurrentProgress"), (Numbers{33, 66, 100}));
    EXPECT_EQ(numbers(recorder.progress(id), "TransferStatus"), (Numbers{0, 0, 3}));
    EXPECT_EQ(notifier->currentTransferStatus(), 3);
}

TEST_F(NotifierTest, CountsFromSeveralThreadsAddUp) {
    auto notifier = make(1000, 4000);
    std::array<std::thread, 4> threads;
    for (std::thread& thread : threads) {
        thread = std::thread([&] {
            for (int n = 0; n < 100; ++n) {
                notifier->incFailTransferFileCount();
                notifier->setFilePath("/" + std::to_string(n));
                notifier->sendTransferEvent(100, 1);
            }
        });
    }
    for (auto& thread : threads) {
        thread.join();
    }
    EXPECT_EQ(notifier->failTransferFileCount(), 400U);
    EXPECT_EQ(notifier->currentTransferFileCount(), 401U);
}
