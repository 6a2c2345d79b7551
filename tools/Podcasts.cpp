// SPDX-License-Identifier: MIT
#include "tools/Podcasts.h"

#include "platform/Strings.h"
#include "platform/Xml.h"
#include "tools/DeviceTree.h"
#include "tools/ScreenText.h"
#include "tools/SyncPlan.h"

#include <algorithm>
#include <charconv>
#include <string_view>

namespace tool {
namespace {

using platform::Dictionary;
using platform::XmlDocument;
using platform::XmlElement;

constexpr std::size_t kMaxDocumentBytes = std::size_t{32} << 20; // as the service takes them
constexpr const char* kShownFields[] = {"Title", "Url", "FilePath", "PublishDate", "Length", "Duration"};

bool equalNames(std::string_view left, std::string_view right) {
    return platform::caseFolded(left) == platform::caseFolded(right);
}

bool hasXmlExtension(const std::string& name) {
    return name.size() > 4 && equalNames(std::string_view(name).substr(name.size() - 4), ".xml");
}

Dictionary fieldsOf(const XmlElement& post) {
    Dictionary fields;
    for (const char* name : kShownFields) {
        const auto field = post.child(name);
        if (const auto text = field ? field->text() : std::nullopt) {
            fields.set(name, *text);
        }
    }
    return fields;
}

/// Fills the channel from its document; false when that is none.
bool readDocument(MTPService& service, const std::string& path, PodcastOnDevice& channel) {
    if (service.fileSizeAtDevice(path) > kMaxDocumentBytes) {
        return false;
    }
    const auto data = service.readFileData(path);
    const auto document = data ? XmlDocument::parse({reinterpret_cast<const char*>(data->data()), data->size()},
                                                    {.maxBytes = kMaxDocumentBytes})
                               : std::nullopt;
    if (!document || document->root()->name() != "channel") {
        return false;
    }
    for (auto child = document->root()->firstChild(); child; child = child->next()) {
        if (child->isNamed("Title")) {
            channel.title = child->text().value_or(channel.title);
        } else if (child->isNamed("Post")) {
            channel.episodes.emplace_back(fieldsOf(*child));
        }
    }
    return true;
}

} // namespace

std::vector<PodcastOnDevice> podcastsOn(DeviceSession& session) {
    std::vector<PodcastOnDevice> channels;
    DeviceTree tree(session);
    for (const platform::Value& storage : session.storages()) {
        const auto folder = storage.dictionary()->string(defaultFolderKey(MediaTypePodcast));
        const auto podcasts = folder ? tree.findWhole(*folder) : std::nullopt;
        for (const DeviceEntry& entry : podcasts ? tree.list(*podcasts) : std::vector<DeviceEntry>()) {
            if (!entry.isFolder || entry.hasTwin) {
                continue;
            }
            PodcastOnDevice channel{.name = entry.name,
                                    .title = entry.name,
                                    .storage = storageLabel(*storage.dictionary()),
                                    .diskIndex = storage.dictionary()->uint32("diskIndex").value_or(0),
                                    .episodes = {}};
            const std::vector<DeviceEntry>& files = tree.list(entry);
            const auto document = std::ranges::find_if(files, [&](const DeviceEntry& file) {
                return !file.isFolder && hasXmlExtension(file.name) && equalNames(file.name, entry.name + ".xml");
            });
            if (document != files.end() && readDocument(session.service(), document->path, channel)) {
                channels.push_back(std::move(channel));
            }
        }
    }
    return channels;
}

std::vector<PodcastOnDevice> podcastsNamed(DeviceSession& session, const std::string& name) {
    std::vector<PodcastOnDevice> channels = podcastsOn(session);
    std::erase_if(channels, [&](const PodcastOnDevice& channel) {
        return !equalNames(channel.title, name) && !equalNames(channel.name, name);
    });
    if (channels.empty()) {
        throw Failure(ExitStatus::someFailed, "There is no podcast " + safeText(name) + " on the device.");
    }
    return channels;
}

std::size_t episodeMeant(const platform::Array& episodes, const std::string& wanted) {
    for (const char* field : {"Title", "FilePath"}) {
        const auto found = std::ranges::find_if(episodes, [&](const platform::Value& episode) {
            return equalNames(episode.dictionary()->string(field).value_or(""), wanted);
        });
        if (found != episodes.end()) {
            return static_cast<std::size_t>(found - episodes.begin());
        }
    }
    std::size_t number = 0;
    const auto [end, error] = std::from_chars(wanted.data(), wanted.data() + wanted.size(), number);
    const bool isNumber = error == std::errc() && end == wanted.data() + wanted.size();
    return isNumber && number >= 1 && number <= episodes.size() ? number - 1 : episodes.size();
}

} // namespace tool
