// SPDX-License-Identifier: MIT
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <sys/types.h>

/// Names of temporary files and folders tell whose they are, so that what killed processes have left can be removed.
namespace platform {

/// "<prefix><this process in hexadecimal>-"
[[nodiscard]] std::string ownTemporaryName(std::string_view prefix);
/// The process that a temporary name is of; nothing for a name of another kind.
[[nodiscard]] std::optional<pid_t> ownerOfTemporary(std::string_view name, std::string_view prefix);
/// Whether nobody uses the file or folder: its process is gone on this computer, and its lock (flock) on all that share
/// the disk. `flags` are those to open it with.
[[nodiscard]] bool isAbandoned(const std::string& path, pid_t owner, int flags);

} // namespace platform
