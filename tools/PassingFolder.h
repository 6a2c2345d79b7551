// SPDX-License-Identifier: MIT
#pragma once

#include <filesystem>

namespace tool {

/// A new local folder for files on their way, removed at the end with all that is in it.
class PassingFolder {
public:
    /// Throws Failure when none can be made in the folder `above`.
    explicit PassingFolder(const std::filesystem::path& above);
    ~PassingFolder();
    PassingFolder(const PassingFolder&) = delete;
    PassingFolder& operator=(const PassingFolder&) = delete;
    [[nodiscard]] const std::filesystem::path& path() const { return _path; }

private:
    std::filesystem::path _path;
};

} // namespace tool
