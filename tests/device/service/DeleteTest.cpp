// SPDX-License-Identifier: MIT
// The job that deletes files of the device.
#include "tests/device/service/JobTest.h"

#include <gtest/gtest.h>

using platform::Array;
using platform::Dictionary;
using tests::numbers;
using Numbers = tests::Numbers;

namespace {

class DeleteTest : public tests::JobTest {
protected:
    static Dictionary named(const std::string& name) { return {{"FilePath", song(name)}}; }
    void remove(std::uint32_t id, const Array& contents) {
        waitUntilIdle();
        service->deleteContents(id, contents, 1, 0);
        waitUntilIdle();
    }
    bool run(std::uint32_t id, const platform::Value& contents, std::uint32_t mediaType = 1) {
        _serviceinfo request;
        request.serviceID = id;
        request.serviceCommand = FS_COMMAND_QD_DELETE_CONTENTS;
        request.mediaType = mediaType;
        request.contents = contents;
        return inside()->doDeleteMediaContents(request);
    }
};

} // namespace

TEST_F(DeleteTest, FilesGoOneByOneAndTheIndexForgetsThem) {
    send({"a.mp3", "b.mp3", "c.mp3", "keep.mp3", "late.mp3"});
    inside()->unindexNode(song("late.mp3"));
    remove(1, {named("a.mp3"), named("B.MP3"), named("late.mp3")});
    EXPECT_EQ(resultStatuses(1), (Numbers{0, 0, 0}));
    EXPECT_EQ(statuses(1), (Numbers{2, 2, 2, 4})) << "no announcement of the start";
    EXPECT_EQ(percents(1), (Numbers{33, 66, 100, 100}));
    EXPECT_EQ(recorder.results(1)[1].string("FilePath"), song("B.MP3"));
    EXPECT_FALSE(isOnDevice("a.mp3") || isOnDevice("b.mp3") || isOnDevice("late.mp3"));
    EXPECT_TRUE(isOnDevice("keep.mp3") && isOnDevice("c.mp3"));
    EXPECT_FALSE(inside()->indexedNode(song("a.mp3")));
    EXPECT_FALSE(inside()->indexedNode(song("b.mp3")));

    send({"a.mp3"}); // found anew
    remove(2, {named("a.mp3")});
    EXPECT_EQ(resultStatuses(2), (Numbers{0}));
    EXPECT_FALSE(isOnDevice("a.mp3"));
}

TEST_F(DeleteTest, BadEntriesFailAlone) {
    send({"a.mp3"});
    remove(1, {nullptr, Dictionary{{"FileName", "a.mp3"}}, named("none.mp3"), named("a.mp3")});
    const auto results = recorder.results(1);
    EXPECT_EQ(numbers(results, "ResultStatus"), (Numbers{0x23000003, 0x10000001, 0}))
        << "an entry that is nothing is only counted";
    EXPECT_FALSE(results[0].contains("FilePath"));
    EXPECT_EQ(recorder.progress(1).back().uint32("Fail"), 3U);
    EXPECT_FALSE(isOnDevice("a.mp3"));
}

TEST_F(DeleteTest, TheAnswerIsThatOfTheLastDeletion) {
    send({"a.mp3", "b.mp3"});
    EXPECT_TRUE(run(1, Array{named("x.mp3"), named("y.mp3"), named("a.mp3")}));
    EXPECT_FALSE(run(2, Array{named("b.mp3"), named("z.mp3")}));
    EXPECT_FALSE(run(3, Array{}));
    EXPECT_TRUE(recorder.progress(3).empty());
    EXPECT_FALSE(run(4, nullptr));
    EXPECT_FALSE(run(5, Array{named("a.mp3")}, 4));
    EXPECT_EQ(statuses(4), (Numbers{3}));
    EXPECT_EQ(statuses(5), (Numbers{3}));
}

TEST_F(DeleteTest, CancelledOrReleasedBetweenTwoFiles) {
    send({"a.mp3", "b.mp3", "c.mp3", "d.mp3", "e.mp3"});
    cancelAt(1, [](const auto& notification) { return !isProgress(notification); });
    remove(1, {named("a.mp3"), named("b.mp3"), named("c.mp3")});
    EXPECT_EQ(resultStatuses(1), (Numbers{0}));
    EXPECT_EQ(recorder.progress(1).back().uint32("TransferStatus"), 3U);
    EXPECT_TRUE(isOnDevice("b.mp3") && isOnDevice("c.mp3"));
    EXPECT_FALSE(service->isCancelServiceId(1));

    recorder.onEach([&](const auto& notification) {
        if (!isProgress(notification)) {
            service->exitServiceThread();
        }
    });
    remove(2, {named("d.mp3"), named("e.mp3")});
    EXPECT_EQ(recorder.progress(2).back().uint32("TransferStatus"), 3U);
    EXPECT_TRUE(isOnDevice("e.mp3"));
    EXPECT_FALSE(isOnDevice("d.mp3"));
}
