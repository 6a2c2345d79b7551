// SPDX-License-Identifier: MIT
// The jobs that make the device hold a podcast's episodes, and that take episodes off it.
#include "tests/device/service/PodcastTest.h"

#include <gtest/gtest.h>

using platform::Array;
using platform::Dictionary;
using platform::Value;
using tests::mebibyte;
using tests::numbers;
using Numbers = tests::Numbers;

namespace {

class PodcastSyncTest : public tests::PodcastTest {
protected:
    using PodcastTest::PodcastTest;

    [[nodiscard]] Numbers volumes(std::uint32_t id) const { return numbers(recorder.results(id), "VolumeIndex"); }
    /// What the service would list: full paths, and nothing of the local file.
    [[nodiscard]] Dictionary deviceEpisode(const std::string& url, const std::string& name) const {
        return {{"Url", url}, {"FilePath", "/Player/Phone/Podcast/Show/" + name}};
    }
};

class FullPodcastSyncTest : public PodcastSyncTest {
protected:
    FullPodcastSyncTest()
        : PodcastSyncTest(3 * mebibyte) {}
};

} // namespace

TEST_F(PodcastSyncTest, MissingEpisodesAreSentAndTheSecondTimeNone) {
    const Array podcasts{podcast("Show", {episode("u1", "one.mp3", 1'500'000), episode("u2", "two.mp3")})};
    syncPodcasts(1, podcasts);
    EXPECT_EQ(resultStatuses(1), (Numbers{0, 0}));
    EXPECT_EQ(listed("Show"), (Listed{"u1=one.mp3", "u2=two.mp3"}));
    const auto time = std::filesystem::last_write_time(place("Show", "one.mp3"));
    syncPodcasts(2, podcasts);
    EXPECT_EQ(resultStatuses(2), (Numbers{0, 0}));
    EXPECT_EQ(std::filesystem::last_write_time(place("Show", "one.mp3")), time) << "what is there stays";
    EXPECT_EQ(numbers(recorder.results(1), "IsKept"), (Numbers{-1, -1}));
    EXPECT_EQ(numbers(recorder.results(2), "IsKept"), (Numbers{1, 1}));
    EXPECT_EQ(listed("Show"), (Listed{"u1=one.mp3", "u2=two.mp3"}));
    for (const std::uint32_t id : {1U, 2U}) {
        EXPECT_TRUE(std::ranges::is_sorted(percents(id))) << id;
        EXPECT_EQ(statuses(id).back(), 4);
        EXPECT_EQ(listedIn(*recorder.results(id).back().dictionary("PodcastXmlInfo")).size(), 2U);
    }
}

TEST_F(PodcastSyncTest, VanishedEpisodesComeBackAndUnlistedFilesAreListed) {
    const Dictionary first = episode("u1", "one.mp3");
    const Dictionary second = episode("u2", "two.mp3", 3000);
    copyPodcasts(1, {podcast("Show", {first, second, episode("u9", "kept.mp3")})});
    removeBehind(place("Show", "one.mp3"), "/Player/Phone/Podcast/Show/one.mp3");
    syncPodcasts(2, {podcast("Show", {first, second})});
    EXPECT_EQ(listed("Show"), (Listed{"u2=two.mp3", "u9=kept.mp3", "u1=one.mp3"})) << "what is not named stays";
    EXPECT_TRUE(arrived("Phone/Podcast/Show/one.mp3", files.path("one.mp3")));

    removeBehind(place("Show", "Show.xml"), "/Player/Phone/Podcast/Show/Show.xml");
    const auto time = std::filesystem::last_write_time(place("Show", "two.mp3"));
    syncPodcasts(3, {podcast("Show", {second, episode("u1", "one.mp3", 2500)})});
    EXPECT_EQ(listed("Show"), (Listed{"u2=two.mp3", "u1=one.mp3"}));
    EXPECT_EQ(std::filesystem::last_write_time(place("Show", "two.mp3")), time);
    EXPECT_TRUE(arrived("Phone/Podcast/Show/one.mp3", files.path("one.mp3"))) << "another size is another file";
}

TEST_F(FullPodcastSyncTest, AnEpisodeGoesToTheFirstStorageWithRoom) {
    syncPodcasts(
        1, {podcast("Show", {episode("u1", "a.mp3", 2 * mebibyte), episode("u2", "b.mp3", 2 * mebibyte),
                             episode("u3", "c.mp3"), episode("u4", "d.mp3", 2 * mebibyte), episode("u5", "e.mp3")})});
    EXPECT_EQ(resultStatuses(1), (Numbers{0, 0, 0, 0x1000000a}));
    EXPECT_EQ(volumes(1), (Numbers{0, 1, 0, 1}));
    EXPECT_EQ(recorder.progress(1).back().uint32("Fail"), 2U);
    EXPECT_EQ(listed("Show"), (Listed{"u1=a.mp3", "u3=c.mp3"}));
    EXPECT_EQ(listed("Show", "Card"), (Listed{"u2=b.mp3"}));
}

TEST_F(PodcastSyncTest, AChannelGrowsWhereItLies) {
    copyPodcasts(1, {podcast("Show", {episode("u1", "one.mp3")})}, 1);
    syncPodcasts(2, {podcast("Show", {episode("u1", "one.mp3"), episode("u2", "two.mp3")}), podcast("New", {})});
    EXPECT_EQ(volumes(2), (Numbers{1, 1}));
    EXPECT_EQ(listed("Show", "Card"), (Listed{"u1=one.mp3", "u2=two.mp3"}));
    EXPECT_FALSE(std::filesystem::exists(place("Show")));
    EXPECT_FALSE(std::filesystem::exists(place("New"))) << "nothing to hold";
}

TEST_F(PodcastSyncTest, FlaggedEpisodesAreDeletedAndTheRestStays) {
    copyPodcasts(1,
                 {podcast("Show", {episode("u1", "one.mp3"), episode("u2", "two.mp3"), episode("u3", "three.mp3")})});
    Dictionary flagged = deviceEpisode("u1", "one.mp3");
    flagged.set("Delete", true);
    Dictionary kept = deviceEpisode("u2", "two.mp3");
    kept.set("Delete", false);
    deletePodcasts(2, {podcast("Show", {flagged, kept, deviceEpisode("u3", "three.mp3")})});
    EXPECT_EQ(resultStatuses(2), (Numbers{0}));
    EXPECT_EQ(recorder.progress(2).back().uint32("Max"), 1U);
    EXPECT_EQ(statuses(2).back(), 4);
    EXPECT_FALSE(std::filesystem::exists(place("Show", "one.mp3")));
    EXPECT_EQ(listed("Show"), (Listed{"u2=two.mp3", "u3=three.mp3"}));
    EXPECT_FALSE(inside()->indexedNode("/Player/Phone/Podcast/Show/one.mp3"));
}

TEST_F(PodcastSyncTest, WithoutFlagsTheListedOnesGoAndAnEmptyChannelWithThem) {
    copyPodcasts(1, {podcast("Show", {episode("u1", "one.mp3"), episode("u2", "two.mp3")}),
                     podcast("Other", {episode("u3", "three.mp3")})});
    put("Phone/Podcast/Other/cover.jpg", "picture");
    EXPECT_TRUE(
        tests::waitUntil([&] { return service->fileExistsAtPath("/Player/Phone/Podcast/Other/cover.jpg", nullptr); }));
    // By address alone, by file alone, and one that is not there.
    deletePodcasts(2, {podcast("Show", {Dictionary{{"Url", "u1"}}, Dictionary{{"FilePath", "/elsewhere/TWO.mp3"}},
                                        Dictionary{{"Url", "none"}}, deviceEpisode("u9", "nine.mp3"), Value()}),
                       podcast("Other", {Dictionary{{"Url", "u3"}}}), podcast("Nowhere", {})});
    const Numbers results = resultStatuses(2);
    ASSERT_EQ(results.size(), 5U);
    EXPECT_EQ(results[0], 0);
    EXPECT_EQ(results[1], 0);
    EXPECT_EQ(results[2], 0x23000003);
    EXPECT_NE(results[3], 0);
    EXPECT_EQ(results[4], 0);
    EXPECT_FALSE(std::filesystem::exists(place("Show"))) << "no episodes, no document, no folder";
    EXPECT_FALSE(std::filesystem::exists(place("Other", "Other.xml")));
    EXPECT_TRUE(std::filesystem::exists(place("Other", "cover.jpg"))) << "what is not the channel's stays";
}

TEST_F(PodcastSyncTest, ARefusedDeletionStaysListed) {
    copyPodcasts(1, {podcast("Show", {episode("u1", "one.mp3"), episode("u2", "two.mp3")})});
    device->faults().refuse({.operation = mtpsdk::OperationCode::DeleteObject, .times = 1},
                            mtpsdk::ResponseCode::ObjectWriteProtected);
    deletePodcasts(2, {podcast("Show", {Dictionary{{"Url", "u1"}}, Dictionary{{"Url", "u2"}}})});
    const Numbers results = resultStatuses(2);
    ASSERT_EQ(results.size(), 2U);
    EXPECT_NE(results[0], 0);
    EXPECT_EQ(results[1], 0);
    EXPECT_EQ(listed("Show"), (Listed{"u1=one.mp3"}));
}
