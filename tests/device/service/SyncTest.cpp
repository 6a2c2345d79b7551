// SPDX-License-Identifier: MIT
// The job that makes the device's default folders hold a list of local files.
#include "tests/device/service/JobTest.h"

#include <gtest/gtest.h>

using platform::Array;
using platform::Dictionary;
using tests::content;
using tests::mebibyte;
using tests::numbers;
using Numbers = tests::Numbers;

namespace {

constexpr std::int64_t invalidEntry = 0x23000004;
constexpr std::int64_t duplicate = 0x10000005;

class SyncTest : public tests::JobTest {
protected:
    using JobTest::JobTest;

    void sync(std::uint32_t id, const Array& contents, bool isStartInternal = true) {
        waitUntilIdle();
        service->syncContents(id, contents, 1, isStartInternal);
        waitUntilIdle();
    }
    /// From now on no file can be sent.
    void refuseFiles() const {
        for (const auto operation : {mtpsdk::OperationCode::SendObjectInfo, mtpsdk::OperationCode::SendObjectPropList,
                                     mtpsdk::OperationCode::DeleteObject}) {
            device->faults().refuse({.operation = operation, .times = 0}, mtpsdk::ResponseCode::AccessDenied);
        }
    }
    [[nodiscard]] Numbers volumes(std::uint32_t id) const { return numbers(recorder.results(id), "VolumeIndex"); }
};

class FullSyncTest : public SyncTest {
protected:
    FullSyncTest()
        : SyncTest(5 * mebibyte / 2) {}
};

} // namespace

TEST_F(SyncTest, MissingFilesAreSentAndTheSecondTimeNone) {
    send({"unlisted.mp3"});
    const Array contents{content(local("a.mp3", 1'500'000)), content(local("Ünï.mp3", 1'500'000, 2)),
                         content(local("empty.mp3", 0))};
    sync(1, contents);
    EXPECT_EQ(resultStatuses(1), (Numbers{0, 0, 0}));
    EXPECT_TRUE(arrived("Phone/Sounds/a.mp3", files.path("a.mp3")));
    EXPECT_TRUE(arrived("Phone/Sounds/Ünï.mp3", files.path("Ünï.mp3")));
    EXPECT_TRUE(arrived("Phone/Sounds/empty.mp3", files.path("empty.mp3")));
    refuseFiles();
    sync(2, contents);
    EXPECT_EQ(resultStatuses(2), (Numbers{0, 0, 0}));
    EXPECT_EQ(recorder.results(2)[1].string("FilePath"), song("Ünï.mp3"));
    for (const std::uint32_t id : {1U, 2U}) {
        const Numbers line = percents(id);
        EXPECT_EQ(line.front(), 0);
        EXPECT_TRUE(std::ranges::is_sorted(line)) << id;
        EXPECT_EQ(line[line.size() - 2], 100) << "files that stay fill the bar too";
        EXPECT_EQ(statuses(id).back(), 4);
        EXPECT_EQ(recorder.progress(id).back().uint32("Fail"), 0U);
    }
    EXPECT_TRUE(isOnDevice("unlisted.mp3"));
}

TEST_F(SyncTest, AChangedFileIsReplacedWhereItLies) {
    sync(9, {content(local("card.mp3", 500))}, false);
    send({"a.mp3", "b.mp3"});
    const Array contents{content(local("a.mp3", 1500, 7)), content(files.path("b.mp3")),
                         content(local("card.mp3", 800, 8))};
    sync(1, contents);
    EXPECT_EQ(resultStatuses(1), (Numbers{0, 0, 0}));
    EXPECT_EQ(volumes(1), (Numbers{0, 0, 1}));
    EXPECT_TRUE(arrived("Phone/Sounds/a.mp3", files.path("a.mp3")));
    EXPECT_TRUE(arrived("Card/Sounds/card.mp3", files.path("card.mp3")));
    EXPECT_FALSE(isOnDevice("card.mp3"));
    refuseFiles();
    sync(2, contents, false);
    EXPECT_EQ(resultStatuses(2), (Numbers{0, 0, 0})) << "on whichever storage they are";
}

TEST_F(SyncTest, TheCardComesFirstUnlessTheInternalMemoryShall) {
    sync(1, {content(local("c.mp3", 1000))}, false);
    sync(2, {content(local("i.mp3", 1000))}, true);
    EXPECT_TRUE(arrived("Card/Sounds/c.mp3", files.path("c.mp3")));
    EXPECT_TRUE(arrived("Phone/Sounds/i.mp3", files.path("i.mp3")));
    EXPECT_EQ(volumes(1), (Numbers{1}));
}

TEST_F(SyncTest, BadEntriesFailAloneAndTwoFilesOfOneNameAreOneTooMany) {
    std::filesystem::create_directory(files.path("other"));
    const std::string first = local("a.mp3", 1000, 1);
    const std::string second = local("other/A.mp3", 2000, 2);
    const Array contents{nullptr,
                         Dictionary{{"FileName", "x"}},
                         Dictionary{{"FilePath", first}},
                         content(files.path("gone.mp3")),
                         content(first),
                         content(second),
                         content(first)};
    for (const std::uint32_t id : {1U, 2U}) {
        sync(id, contents);
        Numbers results = resultStatuses(id);
        ASSERT_EQ(results.size(), 7U);
        EXPECT_NE(results[3], 0);
        results.erase(results.begin() + 3);
        EXPECT_EQ(results, (Numbers{invalidEntry, invalidEntry, invalidEntry, 0, duplicate, 0}));
        EXPECT_EQ(recorder.progress(id).back().uint32("Fail"), 5U);
        EXPECT_TRUE(arrived("Phone/Sounds/a.mp3", first));
    }
    _serviceinfo request;
    request.serviceID = 3;
    request.mediaType = 1;
    EXPECT_FALSE(inside()->doSyncMediaContentsToDevice(request));
    EXPECT_EQ(statuses(3), (Numbers{3}));
}

TEST_F(SyncTest, AnEntryThatFailedIsInNobodysWay) {
    std::filesystem::create_directory(files.path("other"));
    const std::string second = local("other/a.mp3", 2000, 2);
    sync(1, {content(files.path("a.mp3")), content(second)});
    const Numbers results = resultStatuses(1);
    ASSERT_EQ(results.size(), 2U);
    EXPECT_NE(results[0], 0);
    EXPECT_EQ(results[1], 0);
    EXPECT_TRUE(arrived("Phone/Sounds/a.mp3", second));
}

TEST_F(FullSyncTest, TheNextStorageTakesWhatTheFirstHasNoRoomFor) {
    Array contents;
    for (int i = 0; i < 7; ++i) {
        contents.emplace_back(content(local(std::to_string(i) + ".mp3", mebibyte, i)));
    }
    sync(1, contents);
    EXPECT_EQ(resultStatuses(1), (Numbers{0, 0, 0, 0, 0x1000000A}));
    Numbers where = volumes(1);
    where.pop_back();
    EXPECT_EQ(where, (Numbers{0, 0, 1, 1}));
    EXPECT_TRUE(arrived("Phone/Sounds/1.mp3", files.path("1.mp3")));
    EXPECT_TRUE(arrived("Card/Sounds/2.mp3", files.path("2.mp3")));
    const Dictionary last = recorder.progress(1).back();
    EXPECT_EQ(last.uint32("Fail"), 3U);
    EXPECT_EQ(last.uint32("TransferStatus"), 4U);
    EXPECT_TRUE(std::ranges::all_of(percents(1), [](std::int64_t percent) { return percent <= 100; }));
    EXPECT_FALSE(isOnDevice("4.mp3"));
}

TEST_F(SyncTest, CancelledInTheMiddleAndRunAgainItIsComplete) {
    Array contents;
    for (int i = 0; i < 4; ++i) {
        contents.emplace_back(content(local(std::to_string(i) + ".mp3", 3 * mebibyte, i)));
    }
    cancelAt(1, [](const auto& notification) {
        return isProgress(notification) && notification.userInfo.uint32("Current") == 2U;
    });
    sync(1, contents);
    recorder.onEach({});
    EXPECT_EQ(statuses(1).back(), 3);
    EXPECT_FALSE(isOnDevice("1.mp3")) << "no part of it stays";
    sync(2, contents);
    EXPECT_EQ(resultStatuses(2), (Numbers{0, 0, 0, 0}));
    for (int i = 0; i < 4; ++i) {
        const std::string name = std::to_string(i) + ".mp3";
        EXPECT_TRUE(arrived("Phone/Sounds/" + name, files.path(name)));
    }
}
