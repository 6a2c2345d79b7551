// SPDX-License-Identifier: MIT
#pragma once

#include "platform/Value.h"
#include "platform/Xml.h"

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

/// Converts between an application's podcast dictionary (a channel's fields, and "children": its episodes) and the XML
/// document that a device keeps beside the channel's episode files.
///
/// The document: "channel" with an element for each channel field, then a "Post" for each episode with an element for
/// each episode field, all without attributes, in the order of the field lists. Missing values are empty elements.
/// Reading takes elements of any name. "Url" tells episodes apart.
///
/// A document with a "Post" that has no "Url" makes adding and removing throw std::out_of_range; nothing else throws.
/// Thread-safe.
class VXUIPodcastXMLConverter {
public:
    /// Longer documents are not read: some 20,000 episodes with the usual texts. No channel comes near it, and a device
    /// must fill neither the local disk nor the memory with one.
    static constexpr std::size_t maxDocumentBytes = std::size_t{32} << 20;

    VXUIPodcastXMLConverter();

    /// Channel values go in when they are strings, episode values in their text form: numbers and dates have one.
    [[nodiscard]] platform::XmlDocument makePodcastXMLFromPodcastDictionary(const platform::Dictionary& podcast,
                                                                            bool includeEpisode) const;
    /// The values are strings, whatever they were; an element without a value gives null. Nothing (logged) when the
    /// bytes are no channel document.
    [[nodiscard]] std::optional<platform::Dictionary> makePodcastDictionaryFromXML(std::string_view bytes) const;

    /// Appends the episode unless its "Url" is there already. A null document is left at that.
    void addPodcastEpisode(const platform::Dictionary& episode, platform::XmlDocument* inXML) const;
    /// Appends the episode without looking for its "Url", for a caller that knows all of the document's: a walk for
    /// each of a thousand episodes costs more than all else that is done to a document. Throws std::invalid_argument
    /// for a document without a root.
    platform::XmlElement appendPodcastEpisode(const platform::Dictionary& episode,
                                              platform::XmlDocument& document) const;
    /// Takes out the first "Post" with the episode's "Url".
    void removePodcastEpisode(const platform::Dictionary& episode, platform::XmlDocument* inXML) const;

    /// What reading the document gives for one of its "Post" elements.
    [[nodiscard]] static platform::Dictionary episodeFromPost(const platform::XmlElement& post);

private:
    platform::XmlElement appendPost(platform::XmlElement& channel, const platform::Dictionary& episode) const;

    const std::vector<std::string> channelFieldNames;
    const std::vector<std::string> postFieldNames;
};
