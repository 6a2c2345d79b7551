// SPDX-License-Identifier: MIT
#pragma once

#include "tools/DeviceTree.h"
#include "tools/MediaPlan.h"

#include <vector>

namespace tool {

/// What synchronising does with a local file.
enum class SyncAction {
    send,    ///< no default folder of its kind has the name
    replace, ///< one has, with another size
    keep,    ///< one has, with this size
};

/// For each file, by the name (whatever its case) and size of what the storages' default folders hold now. When
/// `isStopped` says so the plan ends early and means nothing.
[[nodiscard]] std::vector<SyncAction> planSync(const std::vector<LocalFile>& files, DeviceTree& tree,
                                               const platform::Array& storages, const std::function<bool()>& isStopped);

/// The key of a storage's dictionary that holds the default folder of a kind of media.
[[nodiscard]] const char* defaultFolderKey(MediaType type);

} // namespace tool
