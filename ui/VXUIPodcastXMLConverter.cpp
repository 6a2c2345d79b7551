// SPDX-License-Identifier: MIT
#include "ui/VXUIPodcastXMLConverter.h"

#include "platform/Log.h"

#include <stdexcept>
#include <unordered_set>

using platform::Dictionary;
using platform::Value;
using platform::XmlDocument;
using platform::XmlElement;

namespace {

constexpr const char* rootName = "channel";
constexpr const char* postName = "Post";
constexpr const char* childrenKey = "children";
constexpr const char* urlKey = "Url";

/// Names become dictionary keys, and those are kept for good: a document with ever new names must not pile them up.
constexpr std::size_t maxFieldNames = 256;

Value valueOf(const XmlElement& element) {
    std::optional<std::string> text = element.text();
    return text ? Value(*std::move(text)) : Value();
}

/// The text form of an episode's value. A value that was read as null stands for an empty element and becomes one.
std::string textOf(const Value* value) {
    return value == nullptr || value->isNull() ? std::string() : value->description();
}

bool hasFewNames(const XmlElement& channel) {
    std::unordered_set<std::string> names;
    for (auto field = channel.firstChild(); field && names.size() <= maxFieldNames; field = field->next()) {
        names.insert(field->name());
        for (auto inner = field->isNamed(postName) ? field->firstChild() : std::nullopt;
             inner && names.size() <= maxFieldNames; inner = inner->next()) {
            names.insert(inner->name());
        }
    }
    return names.size() <= maxFieldNames;
}

struct PostPlace {
    std::size_t index; ///< among all children of the root
    std::string url;
};

/// The first "Post" with the episode's "Url", compared exactly. An episode without one matches none.
std::optional<PostPlace> findPost(const XmlElement& channel, const Dictionary& episode) {
    const std::optional<std::string> wanted = episode.string(urlKey);
    std::size_t index = 0;
    for (auto child = channel.firstChild(); child; child = child->next(), ++index) {
        if (!child->isNamed(postName)) {
            continue;
        }
        const auto url = child->child(urlKey);
        if (!url) {
            throw std::out_of_range("index 0 beyond bounds: the Post has no Url");
        }
        if (wanted && url->text().value_or("") == *wanted) {
            return PostPlace{index, *wanted};
        }
    }
    return std::nullopt;
}

} // namespace

VXUIPodcastXMLConverter::VXUIPodcastXMLConverter()
    : channelFieldNames{"ChannelURL", "Title",         "SubTitle",       "Description", "Author",   "Summary", "Link",
                        "Guid",       "LastBuildDate", "LastUpdateDate", "WebMaster",   "ImageURL", "Category"}
    , postFieldNames{"Title",      "SubTitle",    "Description",     "Author",      "Summary", "Link",
                     "Guid",       "PublishDate", "Rating",          "Duration",    "Url",     "Length",
                     "Type",       "FilePath",    "DetailMediaType", "DRMProperty", "Bitrate", "SamplingRate",
                     "AudioCodec", "VideoCodec",  "DownloadDate"} {}

XmlDocument VXUIPodcastXMLConverter::makePodcastXMLFromPodcastDictionary(const Dictionary& podcast,
                                                                         bool includeEpisode) const {
    XmlDocument document;
    XmlElement channel = document.setRoot(rootName);
    for (const std::string& name : channelFieldNames) {
        channel.append(name, podcast.string(name).value_or(""));
    }
    const platform::Array* episodes = includeEpisode ? podcast.array(childrenKey) : nullptr;
    if (episodes != nullptr) {
        for (const Value& episode : *episodes) {
            appendPost(channel, episode.dictionary() == nullptr ? Dictionary() : *episode.dictionary());
        }
    }
    return document;
}

XmlElement VXUIPodcastXMLConverter::appendPost(XmlElement& channel, const Dictionary& episode) const {
    XmlElement post = channel.append(postName);
    for (const std::string& name : postFieldNames) {
        post.append(name, textOf(episode.find(name)));
    }
    return post;
}

std::optional<Dictionary> VXUIPodcastXMLConverter::makePodcastDictionaryFromXML(std::string_view bytes) const {
    std::string error;
    const auto document = XmlDocument::parse(bytes, {.validate = true, .maxBytes = maxDocumentBytes}, &error);
    if (!document) {
        QD_LOG(3, "failed to load xml:%@", error);
        return std::nullopt;
    }
    const XmlElement channel = *document->root();
    if (!channel.isNamed(rootName)) {
        QD_LOG(3, "Invalid podcast xml:%@", channel.name());
        return std::nullopt;
    }
    if (!hasFewNames(channel)) {
        QD_LOG(3, "failed to load xml:%@", "there are too many fields");
        return std::nullopt;
    }
    platform::Array episodes;
    Dictionary podcast{{childrenKey, platform::Array()}};
    bool isReplaced = false;
    for (auto child = channel.firstChild(); child; child = child->next()) {
        if (child->isNamed(postName)) {
            episodes.emplace_back(episodeFromPost(*child));
        } else {
            // Names are not compared with the field lists: a field called "children" takes the episodes' place.
            isReplaced = isReplaced || child->isNamed(childrenKey);
            podcast.set(child->name(), valueOf(*child));
        }
    }
    if (!isReplaced) {
        podcast.set(childrenKey, std::move(episodes));
    }
    return podcast;
}

Dictionary VXUIPodcastXMLConverter::episodeFromPost(const XmlElement& post) {
    Dictionary episode;
    for (auto field = post.firstChild(); field; field = field->next()) {
        episode.set(field->name(), valueOf(*field));
    }
    return episode;
}

void VXUIPodcastXMLConverter::addPodcastEpisode(const Dictionary& episode, XmlDocument* inXML) const {
    auto channel = inXML == nullptr ? std::nullopt : inXML->root();
    if (!channel) {
        return;
    }
    if (const auto found = findPost(*channel, episode)) {
        QD_LOG(0, "same episode: %@", found->url); // told at every debug level
        return;
    }
    appendPost(*channel, episode);
}

XmlElement VXUIPodcastXMLConverter::appendPodcastEpisode(const Dictionary& episode, XmlDocument& document) const {
    auto channel = document.root();
    if (!channel) {
        throw std::invalid_argument("the document has no root element");
    }
    return appendPost(*channel, episode);
}

void VXUIPodcastXMLConverter::removePodcastEpisode(const Dictionary& episode, XmlDocument* inXML) const {
    auto channel = inXML == nullptr ? std::nullopt : inXML->root();
    if (!channel) {
        return;
    }
    if (const auto found = findPost(*channel, episode)) {
        channel->removeChild(found->index);
    }
}
