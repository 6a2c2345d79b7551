// SPDX-License-Identifier: MIT
// What a channel and its document come to, whatever happens to them.
#include "tests/device/service/PodcastTest.h"

#include <atomic>
#include <gtest/gtest.h>

using platform::Array;
using platform::Dictionary;
using tests::mebibyte;
using tests::numbers;
using Numbers = tests::Numbers;

namespace {

constexpr std::int64_t duplicate = 0x10000005;
constexpr std::int64_t storageFull = 0x1310000a;

class PodcastChannelTest : public tests::PodcastTest {
protected:
    using PodcastTest::PodcastTest;
    ~PodcastChannelTest() override { isSpoilt = false; }

public:
    /// What the converter is to look for in the document, which is spoilt before if the test wants it so.
    static Dictionary sought(const Dictionary& episode, platform::XmlDocument& document) {
        if (!isSpoilt) {
            return episode;
        }
        document.root()->append("Post").append("Title", "no address");
        return {{"Url", "elsewhere"}};
    }

protected:
    static inline std::atomic<bool> isSpoilt = false;
};

class FullChannelTest : public PodcastChannelTest {
protected:
    FullChannelTest()
        : PodcastChannelTest(3 * mebibyte) {}
};

} // namespace

// The linker leads the jobs' calls of the converter here (--wrap), and the calls from here to the converter: while the
// documents are spoilt they have a "Post" without "Url", and the walk for an episode comes to it.
extern "C" {
using Change = void(const VXUIPodcastXMLConverter*, const Dictionary&, platform::XmlDocument*);
Change __real__ZNK23VXUIPodcastXMLConverter17addPodcastEpisodeERKN8platform10DictionaryEPNS0_11XmlDocumentE;
Change __real__ZNK23VXUIPodcastXMLConverter20removePodcastEpisodeERKN8platform10DictionaryEPNS0_11XmlDocumentE;
Change __wrap__ZNK23VXUIPodcastXMLConverter17addPodcastEpisodeERKN8platform10DictionaryEPNS0_11XmlDocumentE;
Change __wrap__ZNK23VXUIPodcastXMLConverter20removePodcastEpisodeERKN8platform10DictionaryEPNS0_11XmlDocumentE;

void __wrap__ZNK23VXUIPodcastXMLConverter17addPodcastEpisodeERKN8platform10DictionaryEPNS0_11XmlDocumentE(
    const VXUIPodcastXMLConverter* converter, const Dictionary& episode, platform::XmlDocument* document) {
    __real__ZNK23VXUIPodcastXMLConverter17addPodcastEpisodeERKN8platform10DictionaryEPNS0_11XmlDocumentE(
        converter, PodcastChannelTest::sought(episode, *document), document);
}
void __wrap__ZNK23VXUIPodcastXMLConverter20removePodcastEpisodeERKN8platform10DictionaryEPNS0_11XmlDocumentE(
    const VXUIPodcastXMLConverter* converter, const Dictionary& episode, platform::XmlDocument* document) {
    __real__ZNK23VXUIPodcastXMLConverter20removePodcastEpisodeERKN8platform10DictionaryEPNS0_11XmlDocumentE(
        converter, PodcastChannelTest::sought(episode, *document), document);
}
}

TEST_F(PodcastChannelTest, TheDocumentTellsTheTruthEachTime) {
    const Dictionary first = episode("u1", "one.mp3");
    const Dictionary second = episode("u2", "two.mp3");
    copyPodcasts(1, {podcast("Show", {first, second})});
    EXPECT_EQ(listed("Show"), (Listed{"u1=one.mp3", "u2=two.mp3"}));
    copyPodcasts(2, {podcast("Show", {first, second, episode("u3", "three.mp3")})});
    EXPECT_EQ(resultStatuses(2), (Numbers{duplicate, duplicate, 0}));
    EXPECT_EQ(listed("Show"), (Listed{"u1=one.mp3", "u2=two.mp3", "u3=three.mp3"}));

    removeBehind(place("Show", "two.mp3"), "/Player/Phone/Podcast/Show/two.mp3");
    copyPodcasts(3, {podcast("Show", {})});
    EXPECT_EQ(listed("Show"), (Listed{"u1=one.mp3", "u3=three.mp3"})) << "also when no episode comes along";
    deletePodcasts(4, {podcast("Show", {Dictionary{{"Url", "u1"}}})});
    EXPECT_EQ(listed("Show"), (Listed{"u3=three.mp3"}));
    syncPodcasts(5, {podcast("Show", {first, second})});
    EXPECT_EQ(resultStatuses(5), (Numbers{0, 0}));
    EXPECT_EQ(listed("Show"), (Listed{"u3=three.mp3", "u1=one.mp3", "u2=two.mp3"}));
}

TEST_F(FullChannelTest, AFullStorageLeavesADocumentOfWhatIsThere) {
    copyPodcasts(1, {podcast("Show", {episode("u1", "one.mp3", mebibyte)})});
    copyPodcasts(2, {podcast("Show", {episode("u2", "two.mp3"), episode("u3", "three.mp3", 8 * mebibyte),
                                      episode("u4", "four.mp3")}),
                     podcast("Next", {episode("u5", "five.mp3")})});
    EXPECT_EQ(resultStatuses(2), (Numbers{0, storageFull}));
    EXPECT_EQ(recorder.progress(2).back().uint32("Fail"), 3U);
    EXPECT_EQ(listed("Show"), (Listed{"u1=one.mp3", "u2=two.mp3"}));
    EXPECT_FALSE(std::filesystem::exists(place("Next")));

    copyPodcasts(3, {podcast("New", {episode("u6", "six.mp3", 8 * mebibyte)})});
    EXPECT_EQ(listed("New"), Listed{}) << "a channel without episodes has its document as well";
}

TEST_F(PodcastChannelTest, ADocumentThatDoesNotFitLeavesTheOneBefore) {
    copyPodcasts(1, {podcast("Show", {episode("u1", "one.mp3")})});
    for (const auto operation : {mtpsdk::OperationCode::SendObjectPropList, mtpsdk::OperationCode::SendObject}) {
        device->faults().refuse({.operation = operation, .nth = 2}, mtpsdk::ResponseCode::StoreFull);
        copyPodcasts(2, {podcast("Show", {episode("u2", "two.mp3")})});
        EXPECT_EQ(listed("Show"), (Listed{"u1=one.mp3"}));
        deletePodcasts(3, {podcast("Show", {Dictionary{{"FilePath", "two.mp3"}}})});
        EXPECT_EQ(listed("Show"), (Listed{"u1=one.mp3"}));
        device->faults().clear();
    }
}

TEST_F(PodcastChannelTest, ADocumentWithoutAddressesFailsTheJobAndLeavesTheDeviceWhole) {
    const Dictionary first = episode("u1", "one.mp3");
    const Dictionary second = episode("u2", "two.mp3");
    copyPodcasts(1, {podcast("Show", {first, second})});
    const auto delegate = std::make_shared<tests::AlwaysOverwrite>();
    service->setConfirmDelegate(delegate);

    isSpoilt = true;
    copyPodcasts(2, {podcast("Show", {first, second}), podcast("Next", {episode("u3", "three.mp3")})});
    EXPECT_EQ(resultStatuses(2), (Numbers{0x23000001}));
    EXPECT_EQ(recorder.progress(2).back().uint32("Fail"), 3U);
    EXPECT_EQ(statuses(2).back(), 4);
    deletePodcasts(3, {podcast("Show", {Dictionary{{"Url", "u2"}}})});
    EXPECT_EQ(resultStatuses(3), (Numbers{0x23000003}));
    EXPECT_EQ(statuses(3).back(), 4);
    isSpoilt = false;

    EXPECT_TRUE(arrived("Phone/Podcast/Show/one.mp3", files.path("one.mp3")));
    copyPodcasts(4, {podcast("Show", {second})});
    EXPECT_EQ(resultStatuses(4), (Numbers{0})) << "the next job goes its way";
    EXPECT_EQ(listed("Show"), (Listed{"u1=one.mp3", "u2=two.mp3"}));
}

TEST_F(PodcastChannelTest, NamesThatDifferInCaseOnlyAreOneChannelAndOneFile) {
    copyPodcasts(1, {podcast("Show", {episode("u1", "one.mp3")}), podcast("SHOW", {episode("u2", "two.mp3")})});
    EXPECT_EQ(resultStatuses(1), (Numbers{0, 0}));
    const auto read = inside()->checkMtpXmlData("/Player/Phone/Podcast/show", "show", std::nullopt);
    ASSERT_TRUE(read);
    EXPECT_EQ(listedIn(*read), (Listed{"u1=one.mp3", "u2=two.mp3"}));
    EXPECT_FALSE(std::filesystem::exists(place("SHOW")));

    copyPodcasts(2, {podcast("Show", {episode("u3", "ONE.mp3")})});
    EXPECT_EQ(resultStatuses(2), (Numbers{duplicate}));
    syncPodcasts(3, {podcast("Show", {episode("u1", "one.mp3")})});
    EXPECT_EQ(numbers(recorder.results(3), "IsKept"), (Numbers{1}));
}

// Their local copies want one name, as a file and as a folder.
TEST_F(PodcastChannelTest, ATitleThatEndsAsADocumentDoesIsAChannelOfItsOwn) {
    const Array both{podcast("Show", {episode("u1", "one.mp3")}), podcast("Show.xml", {episode("u2", "two.mp3")})};
    copyPodcasts(1, both);
    copyPodcasts(2, {podcast("Show", {episode("u3", "three.mp3")}), podcast("Show.xml", {episode("u4", "four.mp3")})});
    EXPECT_EQ(resultStatuses(2), (Numbers{0, 0}));
    EXPECT_EQ(listed("Show"), (Listed{"u1=one.mp3", "u3=three.mp3"}));
    EXPECT_EQ(listed("Show.xml"), (Listed{"u2=two.mp3", "u4=four.mp3"}));
}

TEST_F(PodcastChannelTest, TitlesLeadNowhereElse) {
    const auto namesIn = [](const std::string& folder) {
        tests::Names names;
        for (const auto& entry : std::filesystem::directory_iterator(folder)) {
            names.insert(entry.path().filename().string());
        }
        return names;
    };
    const tests::Names before = namesIn(device->path("Phone"));
    const Dictionary only = episode("u1", "one.mp3");
    const std::pair<const char*, const char*> rows[] = {{"a/b", "a_b"},
                                                        {"../../up", ".._.._up"},
                                                        {"http://e.org/?x", "e.org__x"},
                                                        {"a\r\nb", "a__b"},
                                                        {".hidden", ".hidden"}};
    for (const auto& [title, folder] : rows) {
        copyPodcasts(1, {podcast(title, {only})});
        EXPECT_EQ(listed(folder), (Listed{"u1=one.mp3"})) << title;
    }
    for (const char* title : {"", ".", "..", "/", "a\tb"}) {
        recorder.clear();
        copyPodcasts(2, {podcast(title, {only})});
        EXPECT_EQ(statuses(2).back(), 4) << title;
    }
    EXPECT_EQ(namesIn(device->path("Phone")), before);
    EXPECT_EQ(namesIn(device->path("Phone/Podcast")),
              (tests::Names{"a_b", ".._.._up", "e.org__x", "a__b", ".hidden", "_"}));
}

TEST_F(PodcastChannelTest, TenThousandEpisodesStayInOneGo) {
    constexpr int count = 10'000;
    Dictionary only = episode("", "one.mp3");
    Array episodes;
    for (int i = 0; i < count; ++i) {
        only.set("Url", "u" + std::to_string(i));
        Dictionary onDevice = only;
        onDevice.set("FilePath", "one.mp3");
        episodes.emplace_back(std::move(onDevice));
    }
    put("Phone/Podcast/Show/one.mp3", "sound");
    put("Phone/Podcast/Show/Show.xml",
        VXUIPodcastXMLConverter().makePodcastXMLFromPodcastDictionary(podcast("Show", episodes), true).prettyPrinted());
    EXPECT_TRUE(
        tests::waitUntil([&] { return service->fileExistsAtPath("/Player/Phone/Podcast/Show/Show.xml", nullptr); }));
    syncPodcasts(1, {podcast("Show", episodes)});
    EXPECT_EQ(resultStatuses(1), Numbers(count, 0));
    EXPECT_EQ(listed("Show").size(), static_cast<std::size_t>(count));
}
