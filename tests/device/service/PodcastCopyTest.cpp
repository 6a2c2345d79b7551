// SPDX-License-Identifier: MIT
// The job that puts podcasts onto the device, each channel with its document.
#include "tests/device/service/PodcastTest.h"

#include <gtest/gtest.h>

using platform::Array;
using platform::Dictionary;
using platform::Value;
using tests::mebibyte;
using Numbers = tests::Numbers;

namespace {

constexpr std::int64_t invalidEntry = 0x23000001;
constexpr std::int64_t duplicate = 0x10000005;
constexpr std::int64_t storageFull = 0x1310000a;

class PodcastCopyTest : public tests::PodcastTest {
protected:
    using PodcastTest::PodcastTest;
};

class FullPodcastTest : public PodcastCopyTest {
protected:
    FullPodcastTest()
        : PodcastCopyTest(3 * mebibyte) {}
};

} // namespace

TEST_F(PodcastCopyTest, ANewChannelGetsItsFolderItsEpisodesAndADocument) {
    const Dictionary first = episode("u1", "one.mp3", 1'500'000);
    const Dictionary second = episode("u2", "zwei ü.mp3");
    copyPodcasts(7, {podcast("News: Now?", {first, second})});
    EXPECT_TRUE(arrived("Phone/Podcast/News_ Now_/one.mp3", files.path("one.mp3")));
    EXPECT_TRUE(arrived("Phone/Podcast/News_ Now_/zwei ü.mp3", files.path("zwei ü.mp3")));
    EXPECT_EQ(listed("News_ Now_"), (Listed{"u1=one.mp3", "u2=zwei ü.mp3"}));
    const auto written = document("News_ Now_");
    ASSERT_TRUE(written);
    EXPECT_EQ(written->string("Author"), "Host of News: Now?");
    EXPECT_EQ(written->array("children")->front().dictionary()->string("Rating"), "4");

    EXPECT_EQ(resultStatuses(7), (Numbers{0, 0}));
    const auto results = recorder.results(7);
    EXPECT_EQ(results[0].string("ChannelName"), "News_ Now_");
    EXPECT_EQ(results[0].string("FilePath"), files.path("one.mp3"));
    EXPECT_EQ(results[0].uint64("FileSize"), 1'500'000U);
    const std::string folder = "/Player/Phone/Podcast/News_ Now_/";
    ASSERT_TRUE(results[0].dictionary("PodcastXmlInfo"));
    EXPECT_EQ(listedIn(*results[0].dictionary("PodcastXmlInfo")), (Listed{"u1=" + folder + "one.mp3"}));
    EXPECT_EQ(listedIn(*results[1].dictionary("PodcastXmlInfo")),
              (Listed{"u1=" + folder + "one.mp3", "u2=" + folder + "zwei ü.mp3"}));
    EXPECT_EQ(statuses(7).front(), 2);
    EXPECT_EQ(statuses(7).back(), 4);
    EXPECT_EQ(recorder.progress(7).back().uint32("Max"), 2U);
    for (const char* name : {"", "one.mp3", "News_ Now_.xml"}) {
        EXPECT_TRUE(inside()->indexedNode(name[0] == 0 ? folder.substr(0, folder.size() - 1) : folder + name)) << name;
    }
}

// The dictionary of a notification is kept beside the document; it must be what reading the document gives.
TEST_F(PodcastCopyTest, NotificationsTellWhatTheDocumentSays) {
    Dictionary odd = episode("u1", "a.mp3");
    odd.set("Title", "tab\t<b>&amp;</b>\r\n \x01 end ");
    odd.set("Summary", "   ");
    odd.set("PublishDate", platform::Date{std::chrono::sys_seconds(std::chrono::seconds(86'400))});
    odd.set("Guid", nullptr);
    copyPodcasts(1, {podcast("Odd", {odd, episode("u2", "b.mp3")})});
    auto written = document("Odd");
    ASSERT_TRUE(written);
    inside()->makeEpisodeFullPath(*written, "/Player/Phone/Podcast/Odd");
    const auto results = recorder.results(1);
    ASSERT_EQ(results.size(), 2U);
    EXPECT_EQ(*results.back().dictionary("PodcastXmlInfo"), *written);
}

TEST_F(PodcastCopyTest, AChannelKeepsItsEpisodesAndGainsNewOnes) {
    const Dictionary first = episode("u1", "one.mp3");
    copyPodcasts(1, {podcast("Show", {first})});
    copyPodcasts(2, {podcast("Show", {first, episode("u2", "two.mp3")})});
    EXPECT_EQ(resultStatuses(2), (Numbers{duplicate, 0})) << "nobody said that the file may be overwritten";
    EXPECT_EQ(listed("Show"), (Listed{"u1=one.mp3", "u2=two.mp3"}));

    const auto delegate = std::make_shared<tests::AlwaysOverwrite>();
    service->setConfirmDelegate(delegate);
    copyPodcasts(3, {podcast("Show", {episode("u1", "one.mp3", 3000)})});
    EXPECT_EQ(delegate->asked, std::vector<std::string>{"one.mp3"});
    EXPECT_EQ(resultStatuses(3), (Numbers{0}));
    EXPECT_TRUE(arrived("Phone/Podcast/Show/one.mp3", files.path("one.mp3")));
    EXPECT_EQ(listed("Show"), (Listed{"u1=one.mp3", "u2=two.mp3"}));
}

TEST_F(PodcastCopyTest, AVanishedEpisodeLeavesTheDocument) {
    copyPodcasts(1, {podcast("Show", {episode("u1", "one.mp3"), episode("u2", "two.mp3")})});
    removeBehind(place("Show", "one.mp3"), "/Player/Phone/Podcast/Show/one.mp3");
    copyPodcasts(2, {podcast("Show", {episode("u3", "three.mp3")})});
    EXPECT_EQ(listed("Show"), (Listed{"u2=two.mp3", "u3=three.mp3"}));
}

TEST_F(PodcastCopyTest, BadEntriesFailAloneAndTheJobGoesOn) {
    const Dictionary good = episode("u1", "one.mp3");
    Dictionary gone = episode("u2", "gone.mp3");
    std::filesystem::remove(files.path("gone.mp3"));
    copyPodcasts(1, {Value(), Dictionary{{"Title", "No children"}}, podcast("..", {good}),
                     Dictionary{{"children", Array{good}}},
                     podcast("Show", {Value(), Dictionary{{"Url", "u"}}, Dictionary{{"FilePath", "/"}}, gone, good})});
    const Numbers results = resultStatuses(1);
    EXPECT_EQ(Numbers(results.begin(), results.begin() + 6),
              (Numbers{invalidEntry, invalidEntry, invalidEntry, invalidEntry, invalidEntry, invalidEntry}));
    ASSERT_EQ(results.size(), 8U);
    EXPECT_NE(results[6], 0);
    EXPECT_EQ(results[7], 0);
    EXPECT_EQ(listed("Show"), (Listed{"u1=one.mp3"}));
    EXPECT_EQ(statuses(1).back(), 4);

    copyPodcasts(2, {podcast("Empty", {})});
    EXPECT_EQ(listed("Empty"), Listed{});
    EXPECT_EQ(statuses(2).back(), 4) << "a job without episodes tells of its end too";
}

TEST_F(PodcastCopyTest, DamagedDocumentsAreReplaced) {
    const std::string bomb = "<!DOCTYPE channel [<!ENTITY a 'x'>]><channel><Title>&a;</Title></channel>";
    for (const std::string& content : {std::string("no document"), bomb, std::string(200, '\0'),
                                       std::string("<channel><children>text</children></channel>")}) {
        put("Phone/Podcast/Show/Show.xml", content);
        EXPECT_TRUE(tests::waitUntil(
            [&] { return service->fileExistsAtPath("/Player/Phone/Podcast/Show/Show.xml", nullptr); }));
        copyPodcasts(1, {podcast("Show", {episode("u1", "one.mp3")})});
        EXPECT_EQ(listed("Show"), (Listed{"u1=one.mp3"})) << content;
        deletePodcasts(2, {podcast("Show", {episode("u1", "one.mp3")})});
    }
}

TEST_F(PodcastCopyTest, ADocumentOfTheDevicesOwnIsTakenOverWithItsEncoding) {
    put("Phone/Podcast/Show/Ep.MP3", "sound");
    put("Phone/Podcast/Show/Show.xml",
        "<?xml version='1.0' encoding='ISO-8859-1'?><channel><Title>Caf\xE9</Title><Odd>1</Odd>"
        "<Post><Url>old</Url><FilePath>ep.mp3</FilePath></Post>"
        "<Post><Title>no address</Title><FilePath>ep.mp3</FilePath></Post>"
        "<Post><Url>up</Url><FilePath>../../../Sounds/x.mp3</FilePath></Post></channel>");
    EXPECT_TRUE(tests::waitUntil([&] {
        return service->fileExistsAtPath("/Player/Phone/Podcast/Show/Show.xml", nullptr) &&
               service->fileExistsAtPath("/Player/Phone/Podcast/Show/Ep.MP3", nullptr);
    }));
    copyPodcasts(1, {podcast("Show", {episode("u1", "one.mp3")})});
    EXPECT_EQ(listed("Show"), (Listed{"old=ep.mp3", "-=ep.mp3", "u1=one.mp3"}));
    EXPECT_EQ(document("Show")->string("Title"), "Café");
}

TEST_F(FullPodcastTest, AFullStorageEndsTheJobAndTheDocumentListsWhatMadeIt) {
    copyPodcasts(1, {podcast("Show", {episode("u1", "a.mp3", mebibyte), episode("u2", "b.mp3", 8 * mebibyte),
                                      episode("u3", "c.mp3")}),
                     podcast("Next", {episode("u4", "d.mp3")})});
    EXPECT_EQ(resultStatuses(1), (Numbers{0, storageFull}));
    EXPECT_EQ(recorder.progress(1).back().uint32("Fail"), 3U);
    EXPECT_EQ(recorder.progress(1).back().uint32("Current"), 4U);
    EXPECT_EQ(statuses(1).back(), 4);
    EXPECT_EQ(listed("Show"), (Listed{"u1=a.mp3"}));
    EXPECT_FALSE(std::filesystem::exists(place("Next")));
}

TEST_F(PodcastCopyTest, ACancelledJobListsWhatHasArrived) {
    cancelAt(1, [](const platform::Notification& n) { return !isProgress(n); });
    copyPodcasts(1, {podcast("Show", {episode("u1", "one.mp3"), episode("u2", "two.mp3")}),
                     podcast("Next", {episode("u3", "three.mp3")})});
    EXPECT_EQ(statuses(1).back(), 3);
    EXPECT_EQ(listed("Show"), (Listed{"u1=one.mp3"}));
    EXPECT_FALSE(std::filesystem::exists(place("Next")));
    EXPECT_FALSE(inside()->isCancelServiceId(1));

    cancelAt(2, isProgress);
    copyPodcasts(2, {podcast("Later", {episode("u4", "big.mp3", 4'000'000)})});
    EXPECT_EQ(statuses(2).back(), 3);
    EXPECT_FALSE(std::filesystem::exists(place("Later", "big.mp3")));
}

TEST_F(PodcastCopyTest, AFolderThatCannotBeMadeFailsItsEpisodesOnly) {
    device->faults().refuse({.operation = mtpsdk::OperationCode::SendObjectInfo, .times = 1},
                            mtpsdk::ResponseCode::AccessDenied);
    copyPodcasts(1, {podcast("Show", {episode("u1", "one.mp3"), episode("u2", "two.mp3")}),
                     podcast("Next", {episode("u3", "three.mp3")})});
    const Numbers results = resultStatuses(1);
    ASSERT_GE(results.size(), 2U);
    EXPECT_NE(results.front(), 0);
    EXPECT_EQ(results.back(), 0);
    EXPECT_EQ(recorder.results(1).front().string("ChannelName"), "Show");
    EXPECT_EQ(recorder.progress(1).back().uint32("Fail"), 2U);
    EXPECT_EQ(listed("Next"), (Listed{"u3=three.mp3"}));
}

TEST_F(PodcastCopyTest, WrongRequestsAreRefused) {
    _serviceinfo request;
    request.serviceID = 9;
    request.mediaType = 1;
    request.contents = Array{podcast("Show", {})};
    request.destinationPath = "/Player/Phone/Podcast";
    EXPECT_FALSE(inside()->doCopyPodcastContentsToDevice(request));
    EXPECT_FALSE(inside()->doSyncPodcastContentsToDevice(request));
    EXPECT_FALSE(inside()->doDeletePodcastContents(request));
    request.mediaType = 4;
    request.contents = Value();
    EXPECT_FALSE(inside()->doCopyPodcastContentsToDevice(request));
    EXPECT_FALSE(inside()->doSyncPodcastContentsToDevice(request));
    EXPECT_FALSE(inside()->doDeletePodcastContents(request));
    EXPECT_EQ(statuses(9), Numbers(6, 3));
}

TEST_F(PodcastCopyTest, SizesCountsAndPathsOfPodcasts) {
    const Array contents{podcast("A", {Dictionary{{"Length", 10}}, Dictionary{{"Length", 0x1'0000'0005ULL}},
                                       Dictionary{{"Length", "7"}}, Value(), Dictionary()}),
                         Value(), Dictionary{{"Title", "none"}}};
    std::uint32_t count = 0;
    EXPECT_EQ(inside()->totalPodcastFileSize(contents, &count), 10U + 5U + 7U);
    EXPECT_EQ(count, 5U);
    EXPECT_EQ(inside()->mtpTotalPodcastCount(contents), 5U);
    const Array episodes{Dictionary{{"Length", 0x1'0000'0005ULL}}, Dictionary{{"FilePath", local("x.mp3", 123)}},
                         Value(), Dictionary()};
    EXPECT_EQ(inside()->totalPodcastEpisodeDataSize(episodes), 0x1'0000'0005ULL + 123);
    EXPECT_TRUE(inside()->checkPodcastEpisodeSize("/Player/Phone", Array{Dictionary{{"Length", 1000}}}));
    EXPECT_FALSE(inside()->checkPodcastEpisodeSize("/Player/Phone", Array{Dictionary{{"Length", 64 * mebibyte}}}));
    EXPECT_FALSE(inside()->checkPodcastEpisodeSize("/Player/Phone", Array{Dictionary{{"Length", -1}}}));
    EXPECT_FALSE(inside()->checkPodcastEpisodeSize("/Player/None", Array{Dictionary{{"Length", 1}}}));

    Dictionary paths{{"children", Array{Dictionary{{"FilePath", "a.mp3"}}, Dictionary{{"FilePath", "/PLAYER/é/b.mp3"}},
                                        Dictionary{{"FilePath", nullptr}}}}};
    inside()->makeEpisodeFullPath(paths, "/Player/É");
    EXPECT_EQ(listedIn(paths), (Listed{"-=/Player/É/a.mp3", "-=/PLAYER/é/b.mp3", "-=-"}));

    copyPodcasts(1, {podcast("Show", {episode("u1", "one.mp3")})});
    const auto folder = inside()->mediaDefaultNode("/Player/Phone/Podcast", 4);
    EXPECT_EQ(inside()->podcastEpisodeNodeWithDefaultNode(folder, "/Player/Phone", "SHOW"),
              inside()->indexedNode("/Player/Phone/Podcast/Show"));
    EXPECT_EQ(inside()->podcastEpisodeNodeWithDefaultNode(folder, "/Player/Phone", "None"), std::nullopt);
    EXPECT_EQ(inside()->podcastEpisodeNodeWithDefaultNode(std::nullopt, "/Player/Phone", "Show"), std::nullopt);
}

TEST_F(PodcastCopyTest, DocumentsAreReceivedIntoTheTemporaryFolderAlone) {
    copyPodcasts(1, {podcast("Show", {episode("u1", "one.mp3")})});
    const std::string path = "/Player/Phone/Podcast/Show/Show.xml";
    const std::string toPath = tests::homeFolder() + "/Tesvora/Lumo/Temp" + path;
    const auto read = inside()->mtpPodcastXmlData(path, toPath, inside()->indexedNode(path));
    ASSERT_TRUE(read);
    EXPECT_EQ(listedIn(*read), (Listed{"u1=/Player/Phone/Podcast/Show/one.mp3"}));
    EXPECT_FALSE(inside()->mtpPodcastXmlData(path, toPath + "/../../x.xml", inside()->indexedNode(path)));
    EXPECT_FALSE(inside()->mtpPodcastXmlData("/Player/Phone/../x.xml", toPath, std::nullopt));
    EXPECT_FALSE(inside()->mtpPodcastXmlData(std::nullopt, toPath, std::nullopt));
    EXPECT_FALSE(inside()->checkMtpXmlData("/Player/../..", "Show", std::nullopt));
    EXPECT_FALSE(inside()->checkMtpXmlData("/Player/Phone/Podcast/None", "None", std::nullopt));
    EXPECT_FALSE(inside()->sendMtpXmlData(1, nullptr, "/Player/Phone", "x", std::nullopt));
}
