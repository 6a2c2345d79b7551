// SPDX-License-Identifier: MIT
// Feeds as people download them, with texts, dates and addresses of any form.
#include "tools/FeedText.h"
#include "tools/PodcastFeed.h"

#include <cstdint>
#include <cstdlib>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t length) {
    const std::string_view bytes(reinterpret_cast<const char*>(data), length);
    std::string error;
    const auto feed = tool::readPodcastFeed(bytes, "/nonexistent", 3, error);
    if (feed ? feed->podcast.array("children") == nullptr || !feed->podcast.string("Title") : error.empty()) {
        std::abort();
    }
    (void) tool::plainText(bytes);
    if (const auto date = tool::feedDate(bytes)) {
        (void) platform::dateDescription(*date);
    }
    const auto name = tool::fileNameInUrl(std::string(bytes));
    if (name && (name->empty() || name->find('/') != std::string::npos || *name == "..")) {
        std::abort(); // it would be looked up outside the folder
    }
    return 0;
}
