// SPDX-License-Identifier: MIT
// Channel documents as a device may hold them: read, changed and written, and what is written must be read back the
// same.
#include "ui/VXUIPodcastXMLConverter.h"

#include <cstdlib>
#include <stdexcept>

namespace {

void require(bool holds) {
    if (!holds) {
        std::abort();
    }
}

const platform::Dictionary episode{{"Url", "u"}, {"Title", "t"}};

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t length) {
    static const VXUIPodcastXMLConverter converter;
    const std::string_view bytes(reinterpret_cast<const char*>(data), length);

    if (const auto podcast = converter.makePodcastDictionaryFromXML(bytes)) {
        const std::string text = converter.makePodcastXMLFromPodcastDictionary(*podcast, true).prettyPrinted();
        const auto again = converter.makePodcastDictionaryFromXML(text);
        require(again.has_value());
        require(converter.makePodcastXMLFromPodcastDictionary(*again, true).prettyPrinted() == text);
    }
    if (auto document = platform::XmlDocument::parse(bytes, {})) {
        try {
            converter.addPodcastEpisode(episode, &*document);
            converter.removePodcastEpisode(episode, &*document);
        } catch (const std::out_of_range&) { // a "Post" without "Url"
        }
        (void) platform::XmlDocument::parse(document->prettyPrinted(), {.validate = true});
    }
    (void) platform::XmlDocument::parse(bytes, {.recover = true});
    return 0;
}
