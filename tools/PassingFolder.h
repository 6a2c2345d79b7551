// SPDX-License-Identifier: MIT
#pragma once

#include "platform/ScratchFolder.h"

#include <filesystem>

namespace tool {

/// A new local folder for files on their way, removed at the end with all that is in it.
class PassingFolder {
public:
    /// Throws Failure when none can be made in the folder `above`.
    explicit PassingFolder(const std::filesystem::path& above);
    [[nodiscard]] std::filesystem::path path() const { return _folder.path(); }

private:
    platform::ScratchFolder _folder;
};

} // namespace tool
