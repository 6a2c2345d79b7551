// SPDX-License-Identifier: MIT
// The queued playlist edits: what they write, what they tell, how they end.
#include "tests/device/service/PlaylistService.h"

#include <gtest/gtest.h>

using platform::Array;
using platform::Dictionary;
using tests::Names;
using tests::numbers;
using Numbers = std::vector<std::int64_t>;

namespace {

constexpr std::int64_t invalidEntry = 0x26000004;
constexpr std::int64_t notThere = 0x10000004;

class PlaylistJobTest : public tests::PlaylistService {
protected:
    PlaylistJobTest() { putSongs({"a.mp3", "b.mp3", "c.mp3", "d.mp3", "e.mp3"}); }

    [[nodiscard]] Dictionary last(std::uint32_t id) const {
        const auto progress = recorder.progress(id);
        return progress.empty() ? Dictionary() : progress.back();
    }
    [[nodiscard]] bool isRefused(std::uint32_t id) const {
        const auto progress = recorder.progress(id);
        return recorder.results(id).empty() && progress.size() == 1 && progress[0].uint32("Current") == 0U &&
               progress[0].uint32("Max") == 0U && progress[0].uint32("TransferStatus") == 3U;
    }
    /// A request as the worker takes it.
    static _serviceinfo request(std::uint32_t id, const Array& contents) {
        _serviceinfo made;
        made.serviceID = id;
        made.contents = contents;
        made.playlistName = "Best";
        made.mediaType = playlistType;
        return made;
    }
};

} // namespace

TEST_F(PlaylistJobTest, FilesAreAddedInOrderEachWithAWriteOfItsOwn) {
    create("Best", {});
    add(1, "best", songs({"c.mp3", "a.mp3", "b.mp3"}));
    EXPECT_EQ(writes.take(), (Names{"c.mp3", "c.mp3 a.mp3", "c.mp3 a.mp3 b.mp3"}));
    EXPECT_EQ(listed("Best"), (Names{"c.mp3", "a.mp3", "b.mp3"}));
    EXPECT_TRUE(isOnDisk("Best", {"c.mp3", "a.mp3", "b.mp3"}));

    const auto progress = recorder.progress(1);
    EXPECT_EQ(numbers(progress, "CurrentProgress"), (Numbers{0, 33, 66, 100, 100}));
    EXPECT_EQ(numbers(progress, "TransferStatus"), (Numbers{2, 2, 2, 2, 4}));
    const auto results = recorder.results(1);
    ASSERT_EQ(results.size(), 3U);
    EXPECT_EQ(results[1], (Dictionary{{"ServiceID", 1},
                                      {"MediaNotiType", 10},
                                      {"VolumeIndex", 0},
                                      {"ResultStatus", 0},
                                      {"LocationId", device->locationID()},
                                      {"FilePath", song("a.mp3")},
                                      {"PlaylistName", "best"},
                                      {"MN", "Model"}}));
}

TEST_F(PlaylistJobTest, WhatIsThereAlreadyCountsAsDoneAndLeavesNullEntries) {
    create("Best", {"a.mp3"});
    add(1, "Best", songs({"a.mp3", "b.mp3", "A.MP3", "c.mp3"}));
    EXPECT_EQ(writes.take(), (Names{"a.mp3 b.mp3 -", "a.mp3 b.mp3 c.mp3 - -"}));
    EXPECT_EQ(listed("Best"), (Names{"a.mp3", "b.mp3", "c.mp3"}));
    EXPECT_EQ(resultStatuses(1), (Numbers{0, 0, 0, 0}));

    add(2, "Best", songs({"c.mp3", "b.mp3"}));
    EXPECT_EQ(writes.take(), Names());
    EXPECT_EQ(resultStatuses(2), (Numbers{0, 0}));
    EXPECT_EQ(last(2).uint32("TransferStatus"), 4U);
}

TEST_F(PlaylistJobTest, BadEntriesFailAlone) {
    create("Best", {});
    Array contents{nullptr, Dictionary{{"FileName", "a.mp3"}}, Dictionary{{"FilePath", song("none.mp3")}},
                   Dictionary{{"FilePath", "/Player/Phone/Sounds"}}};
    contents.push_back(songs({"a.mp3"}).front());
    add(1, "Best", contents);
    EXPECT_EQ(writes.take(), (Names{"a.mp3 - - - -"}));
    EXPECT_EQ(resultStatuses(1), (Numbers{invalidEntry, invalidEntry, notThere, notThere, 0}));
    EXPECT_EQ(last(1).uint32("Fail"), 4U);
    EXPECT_EQ(listed("Best"), (Names{"a.mp3"}));

    remove(2, "Best", {nullptr, Dictionary{{"ObjectID", 1}}});
    EXPECT_EQ(resultStatuses(2), (Numbers{invalidEntry})) << "an entry that is nothing has no result";
    EXPECT_EQ(last(2).uint32("Fail"), 2U);
    EXPECT_EQ(writes.take(), Names());
}

TEST_F(PlaylistJobTest, DeletingOneFileTakesOutItsFirstEntry) {
    create("Best", {"a.mp3", "b.mp3", "c.mp3", "b.mp3"});
    remove(1, "Best", {entry("Best", "b.mp3")});
    EXPECT_EQ(writes.take(), (Names{"a.mp3 c.mp3 b.mp3"}));
    EXPECT_TRUE(isOnDisk("Best", {"a.mp3", "c.mp3", "b.mp3"}));
    EXPECT_EQ(resultStatuses(1), (Numbers{0}));
    EXPECT_EQ(recorder.results(1).front().string("FilePath"), song("b.mp3"));
    EXPECT_EQ(numbers(recorder.progress(1), "CurrentProgress"), (Numbers{0, 100, 100}));
}

// Later deletions of a request write lists that are shorter than what is left; applications know that.
TEST_F(PlaylistJobTest, DeletingSeveralAtOnceAlsoShortensTheEnd) {
    create("Best", {"a.mp3", "b.mp3", "c.mp3", "d.mp3", "e.mp3"});
    remove(1, "Best", {entry("Best", "b.mp3"), entry("Best", "a.mp3")});
    EXPECT_EQ(writes.take(), (Names{"a.mp3 c.mp3 d.mp3 e.mp3", "c.mp3 d.mp3"}));

    create("Three", {"a.mp3", "b.mp3", "c.mp3"});
    remove(2, "Three", {entry("Three", "a.mp3"), entry("Three", "b.mp3"), entry("Three", "c.mp3")});
    EXPECT_EQ(writes.take(), (Names{"b.mp3 c.mp3", "", ""})) << "never below nothing";
    EXPECT_EQ(resultStatuses(2), (Numbers{0, 0, 0}));
    EXPECT_EQ(listed("Three"), Names());
}

TEST_F(PlaylistJobTest, DeletingWhatIsNotInTheListShortensItToo) {
    create("Best", {"a.mp3", "b.mp3"});
    remove(1, "Best", {Dictionary{{"FileName", song("z.mp3")}, {"ObjectID", 0xFFFFF}}});
    EXPECT_EQ(listed("Best"), (Names{"a.mp3"}));
    remove(2, "Best", {Dictionary{{"FileName", song("z.mp3")}}});
    remove(3, "Best", {Dictionary{{"FileName", song("z.mp3")}}});
    EXPECT_EQ(writes.take(), (Names{"a.mp3", "", ""}));
    EXPECT_EQ(resultStatuses(3), (Numbers{0}));
}

TEST_F(PlaylistJobTest, AnUnknownPlaylistFailsEachFile) {
    create("Other", {"e.mp3"});
    add(1, "Best", songs({"a.mp3", "b.mp3"}));
    remove(2, "Best", {entry("Other", "e.mp3")});
    EXPECT_EQ(resultStatuses(1), (Numbers{notThere, notThere}));
    EXPECT_EQ(resultStatuses(2), (Numbers{notThere}));
    EXPECT_FALSE(hasFile("Best"));
    EXPECT_EQ(listed("Other"), (Names{"e.mp3"}));
}

TEST_F(PlaylistJobTest, RefusalsShowAsCancelNotifications) {
    create("Best", {"a.mp3"});
    const Array one = songs({"b.mp3"});
    EXPECT_TRUE(service->addContentsToPlaylist(1, std::nullopt, playlistType, "Best"));
    EXPECT_TRUE(service->addContentsToPlaylist(2, Array(), playlistType, "Best"));
    EXPECT_TRUE(service->addContentsToPlaylist(3, one, playlistType, std::nullopt));
    EXPECT_TRUE(service->addContentsToPlaylist(4, one, MediaTypeMusic, "Best"));
    EXPECT_TRUE(service->deleteContentsAtPlaylist(5, one, MediaTypeMusic, "Best"));
    EXPECT_TRUE(service->deleteContentsAtPlaylist(6, Array(), playlistType, "Best"));
    waitUntilIdle();
    _serviceinfo wrongType = request(7, one);
    wrongType.mediaType = MediaTypeMusic;
    EXPECT_FALSE(inside()->doCopyMediaContentsToPlaylist(wrongType));
    _serviceinfo noName = request(8, one);
    noName.playlistName.reset();
    EXPECT_FALSE(inside()->doDeletePlaylistContents(noName));
    forgetInternalMemory();
    add(9, "Best", one);
    remove(10, "Best", one);
    EXPECT_FALSE(inside()->doCopyMediaContentsToPlaylist2(request(11, one)));
    EXPECT_FALSE(inside()->doDeletePlaylistContents2(request(12, Array())));
    for (std::uint32_t id = 1; id <= 12; ++id) {
        EXPECT_TRUE(isRefused(id)) << id;
    }
    service->exitServiceThread();
    EXPECT_TRUE(service->addContentsToPlaylist(13, one, playlistType, "Best"));
    EXPECT_TRUE(service->deleteContentsAtPlaylist(14, one, playlistType, "Best"));
    EXPECT_TRUE(isRefused(13));
    EXPECT_TRUE(isRefused(14));
    EXPECT_EQ(writes.take(), Names());
}

TEST_F(PlaylistJobTest, CancelledOrReleasedBetweenFilesTheJobStopsThere) {
    create("Best", {});
    const auto onSecondResult = [&](std::uint32_t id, const std::function<void()>& act) {
        recorder.onEach([=, this](const platform::Notification&) {
            if (recorder.results(id).size() == 2 && recorder.progress(id).back().uint32("Current") == 2U) {
                act();
            }
        });
    };
    onSecondResult(1, [&] {
        if (!service->isCancelServiceId(1)) {
            service->cancelFileAction(1);
        }
    });
    add(1, "Best", songs({"a.mp3", "b.mp3", "c.mp3", "d.mp3"}));
    EXPECT_EQ(last(1).uint32("TransferStatus"), 3U);
    EXPECT_EQ(resultStatuses(1), (Numbers{0, 0}));
    EXPECT_EQ(listed("Best"), (Names{"a.mp3", "b.mp3"}));
    EXPECT_FALSE(service->isCancelServiceId(1));

    onSecondResult(2, [&] { service->exitServiceThread(); });
    const Dictionary first = entry("Best", "a.mp3");
    remove(2, "Best", {first, first, first});
    EXPECT_EQ(last(2).uint32("TransferStatus"), 3U);
    EXPECT_EQ(recorder.results(2).size(), 2U);
}

TEST_F(PlaylistJobTest, AFailedWriteFailsItsFileAndACancelledOneTheRest) {
    create("Best", {});
    writes.answer({DGSTATUS_INTERNAL_DEVICEBUSY});
    add(1, "Best", songs({"a.mp3", "b.mp3"}));
    EXPECT_EQ(resultStatuses(1), (Numbers{DGSTATUS_INTERNAL_DEVICEBUSY, 0}));
    EXPECT_EQ(listed("Best"), (Names{"a.mp3", "b.mp3"})) << "the list that is written next has both";

    // A deletion that failed is not counted as one.
    writes.answer({DGSTATUS_INTERNAL_DEVICEBUSY});
    writes.take();
    remove(2, "Best", {entry("Best", "a.mp3"), entry("Best", "b.mp3")});
    EXPECT_EQ(writes.take(), (Names{"b.mp3", "-"}));
    EXPECT_EQ(resultStatuses(2), (Numbers{DGSTATUS_INTERNAL_DEVICEBUSY, 0}));

    for (const DGSTATUS status : {DGSTATUS_IO_CANCEL_SUCCESS, DGSTATUS_IO_CANCEL_FAILED}) {
        const auto id = static_cast<std::uint32_t>(status);
        writes.answer({status});
        add(id, "Best", songs({"c.mp3", "d.mp3"}));
        EXPECT_TRUE(recorder.results(id).empty());
        EXPECT_EQ(last(id).uint32("TransferStatus"), 3U);
    }
}

// A list that is written without what could not be read would lose it.
TEST_F(PlaylistJobTest, AListThatCannotBeReadIsNotWritten) {
    create("Best", {"a.mp3", "b.mp3"});
    const Array first{entry("Best", "a.mp3")};
    const auto inner = inside();
    const std::optional<std::string> song = inner->indexedNode("/Player/Phone/Sounds/c.mp3");
    const auto refuseToTell = [&] {
        const platform::Synchronized library(MtpControl::classMonitor());
        const auto storage = inner->playlistStorage();
        inner->_mtpControl->releaseMTPPlaylist(
            inner->_mtpControl->searchPlaylistName(inner->_currentDeviceNode, storage->node, "Best"));
        device->faults().refuse({.operation = mtpsdk::OperationCode::GetObjectReferences, .times = 2},
                                mtpsdk::ResponseCode::AccessDenied);
    };
    const std::int64_t denied = DGSTATUS_INTERNAL_ACCESSDENIED;
    refuseToTell();
    add(1, "Best", songs({"c.mp3", "d.mp3"}));
    EXPECT_EQ(resultStatuses(1), (Numbers{denied, denied}));
    EXPECT_EQ(last(1).uint32("TransferStatus"), 4U);
    refuseToTell();
    remove(2, "Best", first);
    EXPECT_EQ(resultStatuses(2), (Numbers{denied}));
    refuseToTell();
    std::uint32_t error = 0;
    EXPECT_FALSE(inner->sendMediaFileToPlaylist("Best", song, std::nullopt, &error));
    EXPECT_EQ(error, denied);
    EXPECT_EQ(writes.take(), Names());
    EXPECT_EQ(listed("Best"), (Names{"a.mp3", "b.mp3"}));
}

TEST_F(PlaylistJobTest, AFileThatVanishesMeanwhileIsNoEntryAnyMore) {
    create("Best", {"a.mp3", "b.mp3"});
    recorder.onEach([&](const platform::Notification& notification) {
        if (notification.userInfo.uint32("ServiceID") == 1U && recorder.results(1).size() == 1) {
            std::uint32_t error = 0;
            service->deletefileAtDevice(song("a.mp3"), &error);
        }
    });
    add(1, "Best", songs({"c.mp3", "d.mp3"}));
    EXPECT_EQ(writes.take(), (Names{"a.mp3 b.mp3 c.mp3", "- b.mp3 c.mp3 d.mp3"}));
    EXPECT_EQ(listed("Best"), (Names{"b.mp3", "c.mp3", "d.mp3"}));
    EXPECT_EQ(resultStatuses(1), (Numbers{0, 0}));
}

// The variants that are run by hand.

TEST_F(PlaylistJobTest, OneByOneFilesAreAddedWithoutALookAtWhatIsThere) {
    create("Best", {"a.mp3"});
    EXPECT_TRUE(inside()->doCopyMediaContentsToPlaylist2(request(1, songs({"a.mp3", "b.mp3"}))));
    EXPECT_EQ(listed("Best"), (Names{"a.mp3", "a.mp3", "b.mp3"}));
    EXPECT_EQ(numbers(recorder.progress(1), "CurrentProgress"), (Numbers{50, 100, 100})) << "no announcement";
    EXPECT_EQ(resultStatuses(1), (Numbers{0, 0}));

    Array contents{nullptr, Dictionary()};
    contents.push_back(songs({"none.mp3"}).front());
    EXPECT_FALSE(inside()->doCopyMediaContentsToPlaylist2(request(2, contents)));
    EXPECT_EQ(resultStatuses(2), (Numbers{invalidEntry, invalidEntry, notThere}));

    writes.answer({DGSTATUS_IO_CANCEL_FAILED, DGSTATUS_IO_CANCEL_SUCCESS});
    EXPECT_FALSE(inside()->doCopyMediaContentsToPlaylist2(request(3, songs({"c.mp3", "d.mp3", "e.mp3"}))));
    EXPECT_EQ(resultStatuses(3), (Numbers{DGSTATUS_IO_CANCEL_FAILED})) << "only a cancel that succeeded ends it";
    EXPECT_EQ(last(3).uint32("TransferStatus"), 3U);
}

TEST_F(PlaylistJobTest, OneByOneFilesAreDeletedExactly) {
    create("Best", {"a.mp3", "b.mp3", "c.mp3", "d.mp3"});
    EXPECT_TRUE(inside()->doDeletePlaylistContents2(request(1, songs({"b.mp3", "c.mp3"}))));
    EXPECT_EQ(listed("Best"), (Names{"a.mp3", "d.mp3"}));
    EXPECT_FALSE(inside()->doDeletePlaylistContents2(request(2, songs({"b.mp3"}))));
    EXPECT_EQ(listed("Best"), (Names{"a.mp3", "d.mp3"}));
    EXPECT_EQ(last(2).uint32("Fail"), 1U);
}
