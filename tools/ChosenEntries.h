// SPDX-License-Identifier: MIT
#pragma once

#include "tools/DeviceTree.h"
#include "tools/MediaPlan.h"

#include <functional>
#include <string>
#include <unordered_set>
#include <vector>

namespace tool {

/// Device files and folders named on the command line, each once however often it was named.
class ChosenEntries {
public:
    enum class Folders {
        refused, ///< unless the person says otherwise
        noPart,  ///< refused by what has no use for folders
        walked
    };

    /// Patterns pass over folders where those are refused.
    ChosenEntries(DeviceTree& tree, Folders folders, std::function<bool()> isStopped);
    void add(const std::string& path);

    struct Chosen {
        DeviceEntry entry;
        std::vector<std::string> folders; ///< the names from the folder that was named down to the entry's own
    };
    /// Files and, where they are walked, folders, each folder before what is in it. What a walk meets may have a twin.
    [[nodiscard]] const std::vector<Chosen>& chosen() const { return _chosen; }
    [[nodiscard]] const std::vector<LeftOut>& leftOut() const { return _leftOut; }

private:
    void take(const DeviceEntry& entry, std::vector<std::string> folders);
    void takeFolder(const DeviceEntry& folder);

    DeviceTree& _tree;
    const Folders _folders;
    const std::function<bool()> _isStopped;
    std::vector<Chosen> _chosen;
    std::vector<LeftOut> _leftOut;
    std::unordered_set<std::string> _taken; ///< paths
};

} // namespace tool
