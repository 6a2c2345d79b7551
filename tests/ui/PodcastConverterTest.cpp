// SPDX-License-Identifier: MIT
#include "ui/VXUIPodcastXMLConverter.h"

#include "platform/Log.h"

#include <gtest/gtest.h>
#include <stdexcept>

namespace {

using platform::Array;
using platform::Dictionary;
using platform::Value;
using platform::XmlDocument;
using platform::XmlElement;

const std::vector<std::string> channelFields = {"ChannelURL", "Title",    "SubTitle", "Description",   "Author",
                                                "Summary",    "Link",     "Guid",     "LastBuildDate", "LastUpdateDate",
                                                "WebMaster",  "ImageURL", "Category"};
const std::vector<std::string> episodeFields = {
    "Title",           "SubTitle",    "Description", "Author",       "Summary",    "Link",       "Guid",
    "PublishDate",     "Rating",      "Duration",    "Url",          "Length",     "Type",       "FilePath",
    "DetailMediaType", "DRMProperty", "Bitrate",     "SamplingRate", "AudioCodec", "VideoCodec", "DownloadDate"};

std::vector<std::string> childNames(const XmlElement& element) {
    std::vector<std::string> names;
    for (auto child = element.firstChild(); child; child = child->next()) {
        names.push_back(child->name());
    }
    return names;
}

XmlElement lastChild(const XmlElement& element) {
    XmlElement last = *element.firstChild();
    while (const auto next = last.next()) {
        last = *next;
    }
    return last;
}

Dictionary episode(const std::string& url) {
    return {{"Title", "Title of " + url}, {"Url", url}};
}

/// Keeps the messages of the log, at a debug level of nothing.
class Messages {
public:
    explicit Messages(int level) {
        debugLevel() = level;
        platform::setLogLevelSource([] { return debugLevel(); });
        platform::setLogSink([this](const std::string& line) { texts.push_back(line.substr(line.find("] ") + 2)); });
    }
    ~Messages() {
        platform::setLogSink({});
        platform::setLogLevelSource([] { return 0; });
    }
    Messages(const Messages&) = delete;
    Messages& operator=(const Messages&) = delete;
    std::vector<std::string> texts;

private:
    static int& debugLevel() {
        static int level = 0;
        return level;
    }
};

class PodcastConverterTest : public testing::Test {
protected:
    /// The document's "Url" texts in order.
    static std::string urls(const XmlDocument& document) {
        std::string text;
        for (auto child = document.root()->firstChild(); child; child = child->next()) {
            if (child->isNamed("Post")) {
                text += child->child("Url")->text().value_or("-") + " ";
            }
        }
        return text;
    }
    XmlDocument documentOf(const std::vector<std::string>& episodes) const {
        Array children;
        for (const std::string& url : episodes) {
            children.emplace_back(episode(url));
        }
        return converter.makePodcastXMLFromPodcastDictionary({{"Title", "Show"}, {"children", children}}, true);
    }
    VXUIPodcastXMLConverter converter;
};

TEST_F(PodcastConverterTest, DocumentHasAllChannelFieldsAndEpisodesOnlyWhenTheyAreAskedFor) {
    const Dictionary podcast{{"Category", "News & Talk"},
                             {"Title", "Show"},
                             {"Rating", "not a channel field"},
                             {"Summary", 7}, // channel values are strings, or nothing
                             {"children", Array{Value(episode("u"))}}};
    for (const auto& [source, flag] :
         {std::pair(podcast, false), std::pair(Dictionary{{"Title", "Show"}, {"children", "no array"}}, true)}) {
        const XmlDocument document = converter.makePodcastXMLFromPodcastDictionary(source, flag);
        const XmlElement channel = *document.root();
        EXPECT_EQ(channel.name(), "channel");
        EXPECT_EQ(childNames(channel), channelFields);
        EXPECT_EQ(channel.child("Title")->text(), "Show");
        EXPECT_EQ(channel.child("Summary")->text(), std::nullopt);
    }
}

TEST_F(PodcastConverterTest, PostsHaveAllEpisodeFieldsInTheirTextForm) {
    const platform::Date date{std::chrono::sys_seconds(std::chrono::seconds(1'700'000'000))};
    const Dictionary full{{"Title", "<b>One</b>"}, {"Length", 5'000'000'000U}, {"Rating", -1},
                          {"DRMProperty", true},   {"PublishDate", date},      {"Bitrate", 127.5},
                          {"Type", Value()},       {"Other", "left out"}};
    const XmlDocument document =
        converter.makePodcastXMLFromPodcastDictionary({{"children", Array{Value(full), Value()}}}, true);
    const XmlElement post = *document.root()->child("Post");
    EXPECT_EQ(childNames(post), episodeFields);
    const std::pair<const char*, std::optional<std::string>> rows[] = {
        {"Title", "<b>One</b>"}, {"Length", "5000000000"},
        {"Rating", "-1"},        {"DRMProperty", "1"},
        {"Bitrate", "127.5"},    {"Type", std::nullopt},
        {"Url", std::nullopt},   {"PublishDate", "2023-11-14 22:13:20 +0000"}};
    for (const auto& [name, text] : rows) {
        EXPECT_EQ(post.child(name)->text(), text) << name;
    }
    EXPECT_EQ(childNames(lastChild(*document.root())), episodeFields);
}

TEST_F(PodcastConverterTest, WhatIsWrittenIsReadBackAsTextAndNull) {
    const Dictionary podcast{{"Title", "Show"}, {"children", Array{Value(Dictionary{{"Url", "u"}, {"Length", 3}})}}};
    const std::string text = converter.makePodcastXMLFromPodcastDictionary(podcast, true).prettyPrinted();
    const auto read = converter.makePodcastDictionaryFromXML(text);
    ASSERT_TRUE(read);
    EXPECT_EQ(read->size(), channelFields.size() + 1);
    EXPECT_EQ(read->string("Title"), "Show");
    ASSERT_TRUE(read->find("Guid"));
    EXPECT_TRUE(read->find("Guid")->isNull());
    ASSERT_EQ(read->array("children")->size(), 1U);
    const Dictionary& post = *read->array("children")->front().dictionary();
    EXPECT_EQ(post.size(), episodeFields.size());
    EXPECT_EQ(post.string("Length"), "3");
    EXPECT_TRUE(post.find("FilePath")->isNull());
    // Null stays an empty element.
    EXPECT_EQ(converter.makePodcastXMLFromPodcastDictionary(*read, true).prettyPrinted(), text);
}

TEST_F(PodcastConverterTest, ReadingTakesAnyElements) {
    const auto read = converter.makePodcastDictionaryFromXML(
        "<channel a='1'>stray<Title>1</Title><New><b>x</b>y</New><Post><Url>u</Url><Url>v</Url><x:y "
        "xmlns:x='n'/></Post>"
        "<Title>2</Title><Post/><!-- c --></channel>");
    ASSERT_TRUE(read);
    EXPECT_EQ(*read, (Dictionary{
                         {"Title", "2"},
                         {"New", "xy"},
                         {"children", Array{Value(Dictionary{{"Url", "v"}, {"x:y", Value()}}), Value(Dictionary())}}}));
    const auto replaced = converter.makePodcastDictionaryFromXML(
        "<channel><Post><Url>u</Url></Post><children>text</children><Post/></channel>");
    ASSERT_TRUE(replaced);
    EXPECT_EQ(replaced->string("children"), "text");
    EXPECT_EQ(converter.makePodcastDictionaryFromXML("<channel/>"), (Dictionary{{"children", Array()}}));
}

TEST_F(PodcastConverterTest, OtherDocumentsGiveNothingAndAReason) {
    std::string names = "<channel><Post>";
    for (int i = 0; i < 300; ++i) {
        names += "<n" + std::to_string(i) + "/>";
    }
    const std::pair<std::string, std::string> rows[] = {
        {"<Channel/>", "Invalid podcast xml:Channel"},
        {"<rss><channel/></rss>", "Invalid podcast xml:rss"},
        {"<channel>", "failed to load xml:"},
        {"", "failed to load xml:"},
        {"<!DOCTYPE channel [<!ELEMENT channel EMPTY>]><channel><Post/></channel>", "failed to load xml:"},
        {names + "</Post></channel>", "failed to load xml:there are too many fields"},
    };
    for (const auto& [bytes, message] : rows) {
        const Messages messages(3);
        EXPECT_EQ(converter.makePodcastDictionaryFromXML(bytes), std::nullopt) << bytes;
        ASSERT_EQ(messages.texts.size(), 1U) << bytes;
        EXPECT_EQ(messages.texts.front().substr(0, message.size()), message);
    }
    EXPECT_TRUE(converter.makePodcastDictionaryFromXML(
        "<!DOCTYPE channel [<!ELEMENT channel (Post)><!ELEMENT Post EMPTY>]><channel><Post/></channel>"));
}

TEST_F(PodcastConverterTest, AnEpisodeIsAddedOnceAfterAllOthers) {
    XmlDocument document = documentOf({"a", "b"});
    document.root()->append("Later");
    const Messages messages(-1);
    converter.addPodcastEpisode(episode("b"), &document);
    EXPECT_EQ(urls(document), "a b ");
    EXPECT_EQ(messages.texts, std::vector<std::string>{"same episode: b"}); // whatever the debug level
    converter.addPodcastEpisode(episode("B"), &document);
    converter.addPodcastEpisode({{"Title", "without"}}, &document);
    converter.addPodcastEpisode({{"Title", "without"}}, &document);
    EXPECT_EQ(urls(document), "a b B - - ");
    EXPECT_EQ(childNames(lastChild(*document.root())), episodeFields);
    converter.addPodcastEpisode(episode("a"), nullptr);
    XmlDocument empty;
    converter.addPodcastEpisode(episode("a"), &empty);
    EXPECT_FALSE(empty.root());
    // Without a look at what is there.
    EXPECT_EQ(converter.appendPodcastEpisode(episode("a"), document).child("Url")->text(), "a");
    EXPECT_EQ(urls(document), "a b B - - a ");
    EXPECT_THROW(converter.appendPodcastEpisode(episode("a"), empty), std::invalid_argument);
}

TEST_F(PodcastConverterTest, RemovingTakesTheFirstOfEqualEpisodes) {
    XmlDocument document = documentOf({"a", "b", "a", "c"});
    converter.removePodcastEpisode(episode("a"), &document);
    EXPECT_EQ(urls(document), "b a c ");
    const Messages messages(7);
    converter.removePodcastEpisode(episode("none"), &document);
    converter.removePodcastEpisode({{"Title", "without"}}, &document);
    converter.removePodcastEpisode(episode("b"), nullptr);
    EXPECT_EQ(urls(document), "b a c ");
    EXPECT_TRUE(messages.texts.empty());
    EXPECT_EQ(document.root()->child("Title")->text(), "Show");
}

TEST_F(PodcastConverterTest, APostWithoutUrlIsOutOfRangeUnlessTheWalkEndsBefore) {
    const std::string bytes = "<channel><Post><Url>a</Url></Post><Post><Title>t</Title></Post></channel>";
    auto document = XmlDocument::parse(bytes, {});
    ASSERT_TRUE(document);
    EXPECT_NO_THROW(converter.addPodcastEpisode(episode("a"), &*document));
    EXPECT_THROW(converter.addPodcastEpisode(episode("b"), &*document), std::out_of_range);
    EXPECT_THROW(converter.removePodcastEpisode(episode("b"), &*document), std::out_of_range);
    EXPECT_EQ(document->prettyPrinted(), XmlDocument::parse(bytes, {})->prettyPrinted());
}

} // namespace
