// SPDX-License-Identifier: MIT
#include "tools/MusicFinder.h"

#include "platform/Strings.h"
#include "tools/PlaylistFile.h"
#include "tools/SyncPlan.h"

#include <algorithm>
#include <utility>

namespace tool {
namespace {

std::vector<std::string> foldedComponents(const std::string& path) {
    std::vector<std::string> components = entryComponents(path);
    for (std::string& name : components) {
        name = platform::caseFolded(name);
    }
    return components;
}

std::ptrdiff_t commonEnd(const std::vector<std::string>& left, const std::vector<std::string>& right) {
    return std::mismatch(left.rbegin(), left.rend(), right.rbegin(), right.rend()).first - left.rbegin();
}

} // namespace

MusicFinder::MusicFinder(DeviceTree& tree, const platform::Array& storages, const std::function<bool()>& isStopped) {
    for (const platform::Value& storage : storages) {
        const auto path = storage.dictionary()->string(defaultFolderKey(MediaTypeMusic));
        const auto folder = path ? tree.findWhole(*path) : std::nullopt;
        if (!folder) {
            continue;
        }
        _folders.push_back(folder->path);
        tree.walk(*folder, isStopped, [this](const DeviceEntry& entry) {
            if (!entry.isFolder) {
                _files[platform::caseFolded(entry.name)].push_back({entry, foldedComponents(entry.path)});
            }
        });
    }
}

std::optional<DeviceEntry> MusicFinder::find(const std::string& playlistEntry) const {
    const std::vector<std::string> wanted = foldedComponents(playlistEntry);
    const auto named = wanted.empty() ? _files.end() : _files.find(wanted.back());
    if (named == _files.end()) {
        return std::nullopt;
    }
    const auto best =
        std::max_element(named->second.begin(), named->second.end(), [&](const File& left, const File& right) {
            return std::pair(commonEnd(left.components, wanted), right.components.size()) <
                   std::pair(commonEnd(right.components, wanted), left.components.size());
        });
    return best->entry;
}

std::string MusicFinder::entryFor(const std::string& devicePath) const {
    for (const std::string& folder : _folders) {
        if (devicePath.starts_with(folder + "/")) {
            return devicePath.substr(folder.size() + 1);
        }
    }
    return devicePath;
}

} // namespace tool
