// SPDX-License-Identifier: MIT
// Sizes, counts and places of podcasts and their episodes.
#include "device/MTPService/MTPServicePrivate.h"

#include "device/MTPService/MethodTrace.h"
#include "device/MTPService/PodcastChannel.h"
#include "platform/Log.h"
#include "platform/Strings.h"

#include <functional>

using platform::Array;
using platform::Dictionary;
using platform::Synchronized;
using platform::Value;

namespace {

/// Whether the text begins with the prefix, without regard to case.
bool beginsWith(const std::string& text, const std::string& prefix) {
    return platform::caseFolded(text).starts_with(platform::caseFolded(prefix));
}

/// Calls `take` with the episodes of each podcast that has some.
void forEachEpisodeList(const std::optional<Array>& contents, const std::function<void(const Array&)>& take) {
    for (const Value& entry : contents.value_or(Array())) {
        const Dictionary* podcast = entry.dictionary();
        if (podcast == nullptr) {
            QD_LOG(1, "Contents data is nil. Next data search");
            continue;
        }
        const Array* episodes = podcast->array("children");
        if (episodes == nullptr) {
            QD_LOG(1, "Podcast Episode is NULL");
            continue;
        }
        take(*episodes);
    }
}

} // namespace

void MTPServicePrivate::makeEpisodeFullPath(Dictionary& podcast, const std::string& podcastChannelName) const {
    const Array* episodes = podcast.array("children");
    if (episodes == nullptr) {
        return;
    }
    Array completed = *episodes;
    for (Value& entry : completed) {
        const Text path = entry.dictionary() == nullptr ? std::nullopt : entry.dictionary()->string("FilePath");
        if (path && !beginsWith(*path, podcastChannelName)) {
            Dictionary episode = *entry.dictionary();
            episode.set("FilePath", platform::formatText("%@/%@", podcastChannelName, *path));
            entry = std::move(episode);
        }
    }
    podcast.set("children", std::move(completed));
}

bool MTPServicePrivate::checkPodcastEpisodeSize(const Text& storageName, const std::optional<Array>& episodeData) {
    const std::uint64_t needed = totalPodcastEpisodeDataSize(episodeData);
    const Synchronized library(MtpControl::classMonitor());
    return needed < _mtpControl->freeSpace(_currentDeviceNode, _storageHeadNode, storageName);
}

MTPServicePrivate::Text MTPServicePrivate::podcastEpisodeNodeWithDefaultNode(const Text& defaultNode,
                                                                             const Text& storagePath,
                                                                             const Text& channelName) {
    if (!defaultNode || !storagePath || !channelName) {
        QD_LOG(3, "Input Parameter is nil.");
        return std::nullopt;
    }
    const Synchronized library(MtpControl::classMonitor());
    auto* parent = MtpControl::nodeFromText(defaultNode);
    _MTP_STORAGE_NODE* storage = _mtpControl->getStorageNode(_currentDeviceNode, &_storageHeadNode, storagePath);
    if (storage == nullptr || parent == nullptr || parent->Signature != MTP_SIGNATURE_FOLDER) {
        return std::nullopt;
    }
    const _MTP_FOLDER_NODE* folder =
        _mtpControl->getFolderNode(*channelName, storage, reinterpret_cast<_MTP_FOLDER_NODE*>(parent));
    return folder == nullptr ? std::nullopt : Text(MtpControl::nodeIDText(folder));
}

std::uint64_t MTPServicePrivate::totalPodcastEpisodeDataSize(const std::optional<Array>& episodeData) const {
    std::uint64_t total = 0;
    for (const Value& entry : episodeData.value_or(Array())) {
        const Dictionary* episode = entry.dictionary();
        if (episode == nullptr) {
            QD_LOG(1, "Episode Dictionary Data is nil.");
            continue;
        }
        if (const auto length = PodcastChannel::length(*episode)) {
            total += static_cast<std::uint64_t>(*length);
        } else {
            QD_LOG(1, "Episode File Length value is nil");
            total += getLocalFileSize(episode->string("FilePath"));
        }
    }
    return total;
}

std::uint32_t MTPServicePrivate::mtpTotalPodcastCount(const std::optional<Array>& contents) const {
    std::size_t count = 0;
    forEachEpisodeList(contents, [&](const Array& episodes) { count += episodes.size(); });
    return static_cast<std::uint32_t>(count);
}

std::uint64_t MTPServicePrivate::totalPodcastFileSize(const std::optional<Array>& contents,
                                                      std::uint32_t* sendCount) const {
    std::uint64_t total = 0;
    forEachEpisodeList(contents, [&](const Array& episodes) {
        for (const Value& entry : episodes) {
            const Dictionary* episode = entry.dictionary();
            const auto length = episode == nullptr ? std::nullopt : PodcastChannel::length(*episode);
            total += static_cast<std::uint32_t>(length.value_or(0)); // counted in 32 bits each
        }
    });
    if (sendCount != nullptr) {
        *sendCount = mtpTotalPodcastCount(contents);
    }
    return total;
}
