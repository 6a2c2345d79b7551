// SPDX-License-Identifier: MIT
#pragma once

#include "platform/Export.h"

#include <string>
#include <string_view>
#include <system_error>

namespace platform {

/// A local folder for files on their way, removed at the end with all that is in it.
class MTPSERVICE_EXPORT ScratchFolder {
public:
    ScratchFolder() = default;
    ~ScratchFolder();
    ScratchFolder(const ScratchFolder&) = delete;
    ScratchFolder& operator=(const ScratchFolder&) = delete;

    /// Makes the folder within `above`, which is there, under a new name that begins with the prefix. Folders that
    /// killed processes have left there by the same prefix are removed before. Once only.
    [[nodiscard]] std::error_code create(const std::string& above, std::string_view prefix);
    /// Empty until it is made.
    [[nodiscard]] const std::string& path() const { return _path; }

private:
    std::string _path;
    int _descriptor = -1; ///< holds the lock that tells others that the folder is in use
};

} // namespace platform
