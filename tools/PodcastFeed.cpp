// SPDX-License-Identifier: MIT
#include "tools/PodcastFeed.h"

#include "platform/Xml.h"
#include "tools/FeedText.h"
#include "tools/UrlText.h"

#include <algorithm>
#include <filesystem>
#include <numeric>
#include <ranges>

using platform::Dictionary;
using platform::XmlDocument;
using platform::XmlElement;

namespace tool {
namespace {

using Text = std::optional<std::string>;

/// Whether an element is the itunes one of that name. Feeds write its namespace in several ways, or not at all.
bool isItunes(const XmlElement& element, std::string_view name) {
    const bool inNamespace =
        element.localName() == name && (element.namespaceName().find("itunes") != std::string_view::npos ||
                                        element.namespaceName().find("ITunes") != std::string_view::npos);
    return inNamespace || element.localName() == "itunes:" + std::string(name);
}

std::optional<XmlElement> plainChild(const XmlElement& parent, std::string_view name) {
    auto child = parent.firstChild();
    while (child && !(child->localName() == name && child->namespaceName().empty())) {
        child = child->next();
    }
    return child;
}

std::optional<XmlElement> itunesChild(const XmlElement& parent, std::string_view name) {
    auto child = parent.firstChild();
    while (child && !isItunes(*child, name)) {
        child = child->next();
    }
    return child;
}

/// "content:encoded", in which some feeds have all of an item's text.
std::optional<XmlElement> wholeText(const XmlElement& item) {
    auto child = item.firstChild();
    while (child && !((child->localName() == "encoded" && !child->namespaceName().empty()) ||
                      child->localName() == "content:encoded")) {
        child = child->next();
    }
    return child;
}

/// The element's text without markup; nothing when it has none.
Text textOf(const std::optional<XmlElement>& element) {
    std::string text = plainText(element ? element->text().value_or("") : "");
    return text.empty() ? std::nullopt : Text(std::move(text));
}

Text firstOf(std::initializer_list<Text> texts) {
    for (const Text& text : texts) {
        if (text) {
            return text;
        }
    }
    return std::nullopt;
}

void setText(Dictionary& dictionary, const char* key, const Text& text) {
    if (text) {
        dictionary.set(key, *text);
    }
}

Text attributeOf(const std::optional<XmlElement>& element, const char* name) {
    const Text value = element ? element->attribute(name) : std::nullopt;
    return value && !value->empty() ? value : std::nullopt;
}

/// The address of the feed itself, as it tells.
Text selfAddress(const XmlElement& channel) {
    for (auto child = channel.firstChild(); child; child = child->next()) {
        if (child->localName() == "link" && child->attribute("rel") == "self") {
            return child->attribute("href");
        }
    }
    return textOf(itunesChild(channel, "new-feed-url"));
}

Text categories(const XmlElement& channel) {
    std::string joined;
    for (auto child = channel.firstChild(); child; child = child->next()) {
        const Text name = isItunes(*child, "category")  ? child->attribute("text")
                          : child->name() == "category" ? textOf(child)
                                                        : std::nullopt;
        if (name && !name->empty()) {
            joined += (joined.empty() ? "" : ", ") + *name;
        }
    }
    return joined.empty() ? std::nullopt : Text(joined);
}

Dictionary channelFields(const XmlElement& channel) {
    Dictionary fields;
    const auto image = plainChild(channel, "image");
    setText(fields, "ChannelURL", selfAddress(channel));
    setText(fields, "Title", textOf(plainChild(channel, "title")));
    setText(fields, "SubTitle", textOf(itunesChild(channel, "subtitle")));
    setText(fields, "Description", textOf(plainChild(channel, "description")));
    setText(fields, "Author",
            firstOf({textOf(itunesChild(channel, "author")), textOf(plainChild(channel, "managingEditor"))}));
    setText(fields, "Summary", textOf(itunesChild(channel, "summary")));
    setText(fields, "Link", textOf(plainChild(channel, "link")));
    setText(fields, "LastBuildDate", textOf(plainChild(channel, "lastBuildDate")));
    setText(fields, "LastUpdateDate", textOf(plainChild(channel, "pubDate")));
    setText(fields, "WebMaster", textOf(plainChild(channel, "webMaster")));
    setText(fields, "ImageURL",
            firstOf({attributeOf(itunesChild(channel, "image"), "href"),
                     image ? textOf(plainChild(*image, "url")) : std::nullopt}));
    setText(fields, "Category", categories(channel));
    return fields;
}

/// An item's fields, but for what its media file tells.
Dictionary episodeFields(const XmlElement& item, const std::string& url) {
    Dictionary fields;
    const Text published = textOf(plainChild(item, "pubDate"));
    setText(fields, "Title", firstOf({textOf(plainChild(item, "title")), textOf(itunesChild(item, "title"))}));
    setText(fields, "SubTitle", textOf(itunesChild(item, "subtitle")));
    setText(fields, "Description", firstOf({textOf(plainChild(item, "description")), textOf(wholeText(item))}));
    setText(fields, "Author", firstOf({textOf(itunesChild(item, "author")), textOf(plainChild(item, "author"))}));
    setText(fields, "Summary", textOf(itunesChild(item, "summary")));
    setText(fields, "Link", textOf(plainChild(item, "link")));
    setText(fields, "Guid", textOf(plainChild(item, "guid")));
    if (const auto date = feedDate(published.value_or(""))) {
        fields.set("PublishDate", *date);
    } else {
        setText(fields, "PublishDate", published);
    }
    setText(fields, "Duration", textOf(itunesChild(item, "duration")));
    fields.set("Url", url);
    setText(fields, "Type", attributeOf(plainChild(item, "enclosure"), "type"));
    return fields;
}

/// The file of that name in the folder, as an absolute path.
Text fileInFolder(const std::string& folder, const std::string& name) {
    std::error_code error;
    const std::filesystem::path exact = std::filesystem::path(folder) / name;
    if (std::filesystem::is_regular_file(exact, error)) {
        return std::filesystem::absolute(exact, error).string();
    }
    return std::nullopt;
}

class Reader {
public:
    Reader(const std::string& mediaFolder, PodcastFeed& feed)
        : _mediaFolder(mediaFolder)
        , _feed(feed) {}

    void read(const XmlElement& item) {
        const auto enclosure = plainChild(item, "enclosure");
        const Text url = attributeOf(enclosure, "url");
        const Text name = url ? fileNameInUrl(*url) : std::nullopt;
        if (!name) {
            _feed.withoutMedia.push_back(textOf(plainChild(item, "title")).value_or("(no title)"));
            return;
        }
        const Text path = fileInFolder(_mediaFolder, *name);
        if (!path) {
            _feed.missingFiles.push_back(*name);
            return;
        }
        Dictionary episode = episodeFields(item, *url);
        std::error_code error;
        const auto size = std::filesystem::file_size(*path, error);
        episode.set("FilePath", *path);
        episode.set("Length", error ? std::uint64_t{0} : std::uint64_t{size});
        if (!episode.contains("Title")) {
            episode.set("Title", *name);
        }
        episodes.push_back(std::move(episode));
    }

    std::vector<Dictionary> episodes;

private:
    const std::string& _mediaFolder;
    PodcastFeed& _feed;
};

/// Takes the latest ones, in the order in which they stand.
platform::Array newestOf(const std::vector<Dictionary>& episodes, std::optional<std::size_t> newest) {
    std::vector<std::size_t> order(episodes.size());
    std::iota(order.begin(), order.end(), std::size_t{0});
    if (newest && *newest < order.size()) {
        std::ranges::stable_sort(order, [&](std::size_t left, std::size_t right) {
            return episodes[left].find("PublishDate") != nullptr &&
                   (episodes[right].find("PublishDate") == nullptr ||
                    episodes[left].find("PublishDate")->date() > episodes[right].find("PublishDate")->date());
        });
        order.resize(*newest);
        std::ranges::sort(order);
    }
    platform::Array taken;
    for (const std::size_t index : order) {
        taken.emplace_back(episodes[index]);
    }
    return taken;
}

} // namespace

std::optional<std::string> fileNameInUrl(const std::string& url) {
    const std::string path = url.substr(0, url.find_first_of("?#"));
    const std::size_t slash = path.rfind('/');
    const bool isWholeAddress = slash != std::string::npos && slash > 0 && path[slash - 1] == '/';
    std::string name = percentDecoded(std::string_view(path).substr(slash == std::string::npos ? 0 : slash + 1));
    const bool isSafe = !name.empty() && name != "." && name != ".." && name.find('/') == std::string::npos &&
                        name.find('\0') == std::string::npos;
    return isSafe && !isWholeAddress ? std::optional(std::move(name)) : std::nullopt;
}

std::optional<PodcastFeed> readPodcastFeed(std::string_view bytes, const std::string& mediaFolder,
                                           std::optional<std::size_t> newest, std::string& error) {
    // Feeds are often a little damaged: an "&nbsp;" that XML does not know, a bare "&".
    const auto document = XmlDocument::parse(bytes, {.recover = true}, &error);
    const auto channel = document ? plainChild(*document->root(), "channel") : std::nullopt;
    if (!document) {
        return std::nullopt;
    }
    if (document->root()->name() != "rss" || !channel) {
        error = "it is no RSS feed";
        return std::nullopt;
    }
    PodcastFeed feed{.podcast = channelFields(*channel), .withoutMedia = {}, .missingFiles = {}};
    if (!feed.podcast.contains("Title")) {
        error = "the channel has no title";
        return std::nullopt;
    }
    Reader reader(mediaFolder, feed);
    for (auto item = channel->firstChild(); item; item = item->next()) {
        if (item->name() == "item") {
            reader.read(*item);
        }
    }
    feed.podcast.set("children", newestOf(reader.episodes, newest));
    return feed;
}

} // namespace tool
