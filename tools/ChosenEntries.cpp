// SPDX-License-Identifier: MIT
#include "tools/ChosenEntries.h"

#include <string_view>
#include <utility>

namespace tool {

ChosenEntries::ChosenEntries(DeviceTree& tree, Folders folders, std::function<bool()> isStopped)
    : _tree(tree)
    , _folders(folders)
    , _isStopped(std::move(isStopped)) {}

void ChosenEntries::add(const std::string& path) {
    std::string problem;
    const std::vector<DeviceEntry> entries = _tree.find(path, problem);
    if (entries.empty()) {
        _leftOut.push_back({path, problem, true});
    }
    const bool isOneOfMany = entries.size() > 1;
    for (const DeviceEntry& entry : entries) {
        if (entry.hasTwin) {
            _leftOut.push_back({entry.path, kTwinReason, true});
        } else if (!entry.isFolder) {
            take(entry, {});
        } else if (_folders == Folders::walked) {
            takeFolder(entry);
        } else {
            const char* reason = _folders == Folders::refused ? "it is a folder, and those are taken with -r only"
                                                              : "it is a folder; name the files in it, say with /*";
            _leftOut.push_back({entry.path, reason, !isOneOfMany});
        }
    }
}

void ChosenEntries::takeFolder(const DeviceEntry& folder) {
    take(folder, {});
    const std::size_t above = folder.path.size() - folder.name.size();
    _tree.walk(folder, _isStopped, [&](const DeviceEntry& entry) {
        // Names hold no "/", so the path's components are the names above the entry.
        std::vector<std::string> folders;
        const std::string_view between =
            std::string_view(entry.path).substr(above, entry.path.size() - above - entry.name.size());
        for (std::size_t start = 0; start < between.size();) {
            const std::size_t end = between.find('/', start);
            folders.emplace_back(between.substr(start, end - start));
            start = end + 1;
        }
        take(entry, std::move(folders));
    });
}

void ChosenEntries::take(const DeviceEntry& entry, std::vector<std::string> folders) {
    if (_taken.insert(entry.path).second) {
        _chosen.push_back({entry, std::move(folders)});
    } else if (!entry.isFolder) {
        _leftOut.push_back({entry.path, "named twice, taken once", false});
    }
}

} // namespace tool
