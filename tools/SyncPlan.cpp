// SPDX-License-Identifier: MIT
#include "tools/SyncPlan.h"

#include "platform/Strings.h"

#include <map>
#include <set>
#include <utility>

namespace tool {
namespace {

/// Folded names to the sizes that files of the name have.
using Contents = std::map<std::string, std::set<std::uint64_t>>;

Contents contentsOfDefaultFolders(MediaType type, DeviceTree& tree, const platform::Array& storages,
                                  const std::function<bool()>& isStopped) {
    Contents contents;
    for (const platform::Value& storage : storages) {
        if (isStopped()) {
            break;
        }
        const auto path = storage.dictionary()->string(defaultFolderKey(type));
        const auto folder = path ? tree.findWhole(*path) : std::nullopt;
        if (!folder || !folder->isFolder) {
            continue;
        }
        for (const DeviceEntry& entry : tree.list(*folder)) {
            if (!entry.isFolder) {
                contents[platform::caseFolded(entry.name)].insert(entry.size);
            }
        }
    }
    return contents;
}

} // namespace

const char* defaultFolderKey(MediaType type) {
    switch (type) {
    case MediaTypeImage:
        return "DefaultImagePath";
    case MediaTypeMovie:
        return "DefaultMoviePath";
    case MediaTypePlaylist:
        return "DefaultPlaylistPath";
    case MediaTypePodcast:
        return "DefaultPodcastPath";
    default:
        return "DefaultMusicPath";
    }
}

std::vector<SyncAction> planSync(const std::vector<LocalFile>& files, DeviceTree& tree, const platform::Array& storages,
                                 const std::function<bool()>& isStopped) {
    std::map<MediaType, Contents> held;
    std::vector<SyncAction> actions;
    for (const LocalFile& file : files) {
        const auto [contents, isNew] = held.try_emplace(file.type);
        if (isNew) {
            contents->second = contentsOfDefaultFolders(file.type, tree, storages, isStopped);
        }
        const auto found = contents->second.find(platform::caseFolded(file.name));
        if (found == contents->second.end()) {
            actions.push_back(SyncAction::send);
        } else {
            actions.push_back(found->second.contains(file.size) ? SyncAction::keep : SyncAction::replace);
        }
    }
    return actions;
}

} // namespace tool
