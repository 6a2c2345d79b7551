// SPDX-License-Identifier: MIT
#include "tools/PodcastFeed.h"

#include "tests/platform/TemporaryFolder.h"
#include "tools/FeedText.h"

#include <fstream>
#include <gtest/gtest.h>

namespace {

using platform::Dictionary;

class PodcastFeedTest : public testing::Test {
protected:
    void media(const std::string& name, std::size_t size = 10) {
        std::ofstream(folder.path(name)) << std::string(size, 'x');
    }
    std::optional<tool::PodcastFeed> read(const std::string& bytes, std::optional<std::size_t> newest = std::nullopt) {
        error.clear();
        return tool::readPodcastFeed(bytes, folder.path(), newest, error);
    }
    static std::string item(const std::string& name, const std::string& more = "") {
        return "<item><title>" + name + "</title><enclosure url='http://e.org/a/" + name + ".mp3'/>" + more + "</item>";
    }
    static std::string feed(const std::string& items) {
        return "<rss version='2.0'><channel><title>Show</title>" + items + "</channel></rss>";
    }
    static std::string titles(const tool::PodcastFeed& feed) {
        std::string text;
        for (const auto& episode : *feed.podcast.array("children")) {
            text += episode.dictionary()->string("Title").value_or("-") + " ";
        }
        return text;
    }
    tests::TemporaryFolder folder;
    std::string error;
};

TEST_F(PodcastFeedTest, ReadsAChannelAndItsEpisodes) {
    media("Ep 1.mp3", 1234);
    const auto found = read(R"(<?xml version="1.0" encoding="UTF-8"?>
<rss version="2.0" xmlns:itunes="http://www.itunes.com/dtds/podcast-1.0.dtd" xmlns:atom="http://www.w3.org/2005/Atom">
<channel>
  <atom:link href="http://e.org/feed.xml" rel="self"/>
  <title>Show &amp; Tell</title><link>http://e.org</link>
  <description><![CDATA[<p>First&nbsp;line</p><p>Second <b>bold</b> 3 &lt; 4</p>]]></description>
  <image><title>not this</title><url>http://e.org/i.png</url></image>
  <itunes:author>Somebody</itunes:author><itunes:subtitle>Sub</itunes:subtitle><itunes:summary>Sum</itunes:summary>
  <itunes:category text="Arts"><itunes:category text="Design"/></itunes:category><category>News</category>
  <lastBuildDate>Wed, 02 Oct 2002 15:00:00 +0200</lastBuildDate>
  <item>
    <title>Episode 1</title><itunes:title>other</itunes:title><guid isPermaLink="false">g1</guid>
    <description>&lt;a href="x"&gt;Notes&lt;/a&gt; &amp;amp; more</description>
    <pubDate>Wed, 02 Oct 2002 15:00:00 +0200</pubDate><itunes:duration>1:02:03</itunes:duration>
    <enclosure url="http://e.org/m/Ep%201.mp3?source=feed#t" length="99" type="audio/mpeg"/>
  </item>
</channel></rss>)");
    ASSERT_TRUE(found) << error;
    Dictionary channel = found->podcast;
    ASSERT_EQ(channel.array("children")->size(), 1U);
    const Dictionary episode = *channel.array("children")->front().dictionary();
    channel.remove("children");
    EXPECT_EQ(channel, (Dictionary{{"ChannelURL", "http://e.org/feed.xml"},
                                   {"Title", "Show & Tell"},
                                   {"SubTitle", "Sub"},
                                   {"Description", "First line\nSecond bold 3 < 4"},
                                   {"Author", "Somebody"},
                                   {"Summary", "Sum"},
                                   {"Link", "http://e.org"},
                                   {"LastBuildDate", "Wed, 02 Oct 2002 15:00:00 +0200"},
                                   {"ImageURL", "http://e.org/i.png"},
                                   {"Category", "Arts, News"}}));
    EXPECT_EQ(episode, (Dictionary{{"Title", "Episode 1"},
                                   {"Description", "Notes & more"},
                                   {"Guid", "g1"},
                                   {"PublishDate", *tool::feedDate("2002-10-02T13:00:00Z")},
                                   {"Duration", "1:02:03"},
                                   {"Url", "http://e.org/m/Ep%201.mp3?source=feed#t"},
                                   {"Type", "audio/mpeg"},
                                   {"FilePath", folder.path("Ep 1.mp3")},
                                   {"Length", 1234}}));
}

TEST_F(PodcastFeedTest, ItemsWithoutMediaAreToldApart) {
    media("a.mp3");
    const auto found = read(feed("<item><title>Text only</title></item><item/>" + item("gone") + item("a") +
                                 "<item><enclosure url=''/></item><item><enclosure url='http://e.org'/></item>"
                                 "<item><enclosure url='http://e.org/..%2F..%2Fetc%2Fpasswd'/></item>"));
    ASSERT_TRUE(found) << error;
    EXPECT_EQ(titles(*found), "a ");
    EXPECT_EQ(found->withoutMedia.size(), 5U);
    EXPECT_EQ(found->withoutMedia.front(), "Text only");
    EXPECT_EQ(found->missingFiles, std::vector<std::string>{"gone.mp3"});
}

TEST_F(PodcastFeedTest, AnItemsWholeTextStandsInForItsDescription) {
    media("a.mp3");
    media("b.mp3");
    const std::string whole = "<content:encoded><![CDATA[<p>All</p>]]></content:encoded>";
    for (const std::string& open :
         {std::string("<rss xmlns:content='http://purl.org/rss/1.0/modules/content/'>"), std::string("<rss>")}) {
        const auto found = read(open + "<channel><title>Show</title>" + item("a", whole) +
                                item("b", whole + "<description>Short</description>") + "</channel></rss>");
        ASSERT_TRUE(found) << error;
        const auto& episodes = *found->podcast.array("children");
        EXPECT_EQ(episodes[0].dictionary()->string("Description"), "All");
        EXPECT_EQ(episodes[1].dictionary()->string("Description"), "Short");
    }
}

TEST_F(PodcastFeedTest, TheNewestByDateStayInTheFeedsOrder) {
    for (const char* name : {"a.mp3", "b.mp3", "c.mp3", "d.mp3"}) {
        media(name);
    }
    const std::string items = item("a", "<pubDate>Thu, 01 Jan 2015 00:00:00 GMT</pubDate>") + item("b") +
                              item("c", "<pubDate>1 Feb 2016 00:00 EST</pubDate>") +
                              item("d", "<pubDate>2017-03-01</pubDate>");
    EXPECT_EQ(titles(*read(feed(items))), "a b c d ");
    EXPECT_EQ(titles(*read(feed(items), 2)), "c d ");
    EXPECT_EQ(titles(*read(feed(items), 0)), "");
    EXPECT_EQ(titles(*read(feed(items), 9)), "a b c d ");
    EXPECT_EQ(titles(*read(feed(item("b") + item("a")), 1)), "b ") << "without dates the order of the feed";
}

TEST_F(PodcastFeedTest, DamagedAndOddlyEncodedFeedsAreReadSensibly) {
    media("a.mp3");
    const std::pair<std::string, std::string> rows[] = {
        {"<?xml version='1.0' encoding='windows-1252'?><rss><channel><title>Caf\xE9 \x96</title></channel></rss>",
         "Café –"},
        {"<rss><channel><title>Undeclared \xFC</title></channel></rss>", "Undeclared ü"},
        {"<rss><channel><title>A &nbsp; B &copy; C</title></channel></rss>", "A B C"},
        {"<rss><channel><title>open</title><item>", "open"},
        {"\xEF\xBB\xBF<rss><channel><title><![CDATA[Ich & <i>Du</i>]]></title></channel></rss>", "Ich & Du"},
        {"<rss><channel><itunes:author>x</itunes:author><title>no namespace</title></channel></rss>", "no namespace"},
    };
    for (const auto& [bytes, title] : rows) {
        const auto found = read(bytes);
        ASSERT_TRUE(found) << error;
        EXPECT_EQ(found->podcast.string("Title"), title);
    }
    for (const std::string bytes : {"", "no feed", "<html><body/></html>", "<rss/>", "<rss><channel/></rss>",
                                    "<feed xmlns='http://www.w3.org/2005/Atom'/>"}) {
        EXPECT_FALSE(read(bytes)) << bytes;
        EXPECT_FALSE(error.empty()) << bytes;
    }
}

TEST(FeedText, MarkupGoesAndReferencesAreResolved) {
    const std::pair<const char*, const char*> rows[] = {
        {"", ""},
        {"  plain\r\n text ", "plain\ntext"},
        {"a<br>b<BR/>c<p>d</p>e", "a\nb\ncd\ne"},
        {"x <!-- <b>no</b> --> y", "x y"},
        {"1 < 2 && 3 > 2", "1 < 2 && 3 > 2"},
        {"&#65;&#x42;&#xe9;&#160;|&unknown;&amp", "ABé |&unknown;&amp"},
        {"&#0;&#xD800;&#x110000;&#99999999999;ok", "&#99999999999;ok"},
        {"<unclosed", ""},
        {"&lt;b&gt;", "<b>"},
    };
    for (const auto& [html, text] : rows) {
        EXPECT_EQ(tool::plainText(html), text) << html;
    }
}

TEST(FeedText, DatesInTheFormsOfFeeds) {
    const std::pair<const char*, const char*> rows[] = {
        {"Wed, 02 Oct 2002 15:00:00 +0200", "2002-10-02 13:00:00 +0000"},
        {"02 October 2002 15:00 GMT", "2002-10-02 15:00:00 +0000"},
        {"Sat, 1 Jan 00 0:05:09 EST", "2000-01-01 05:05:09 +0000"},
        {"Fri, 31 Dec 99 23:59:59 -0800", "2000-01-01 07:59:59 +0000"},
        {" 2020-02-29T12:30:00+05:30 ", "2020-02-29 07:00:00 +0000"},
        {"2020-02-29", "2020-02-29 00:00:00 +0000"},
        {"2020-02-29T12:30:00.123Z", "2020-02-29 12:30:00 +0000"},
    };
    for (const auto& [text, date] : rows) {
        const auto found = tool::feedDate(text);
        EXPECT_EQ(found ? platform::dateDescription(*found) : "none", date) << text;
    }
    for (const char* text : {"", "yesterday", "Wed, 32 Oct 2002 15:00:00 GMT", "2021-02-29", "2 Foo 2002 10:00 Z",
                             "2002-10-02T25:00:00Z", "Wed,", "1 2 3 4", "+ - : ,"}) {
        EXPECT_FALSE(tool::feedDate(text)) << text;
    }
}

TEST(FeedText, FileNamesAtTheEndOfAddresses) {
    const std::pair<const char*, std::optional<std::string>> rows[] = {
        {"http://e.org/a/b.mp3", "b.mp3"},
        {"b.mp3", "b.mp3"},
        {"http://e.org/a%20b%2.mp3?x=/y#z/w", "a b%2.mp3"},
        {"http://e.org/%C3%BC.mp3", "ü.mp3"},
        {"http://e.org/", std::nullopt},
        {"http://e.org", std::nullopt},
        {"http://e.org/..", std::nullopt},
        {"http://e.org/a%2Fb", std::nullopt},
        {"http://e.org/a%00b", std::nullopt},
        {"", std::nullopt},
    };
    for (const auto& [url, name] : rows) {
        EXPECT_EQ(tool::fileNameInUrl(url), name) << url;
    }
}

} // namespace
