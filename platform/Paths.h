// SPDX-License-Identifier: MIT
#pragma once

#include "platform/Export.h"

#include <string>
#include <string_view>
#include <vector>

/// Path rules of desktop file interfaces, for device paths and local paths alike. Text only; nothing touches a disk.
namespace platform {

/// The components of a path. A leading "/" is a component of its own ("/"); repeated and trailing slashes add none.
[[nodiscard]] MTPSERVICE_EXPORT std::vector<std::string> pathComponents(std::string_view path);
/// The last component; "/" for "/", empty for an empty path.
[[nodiscard]] MTPSERVICE_EXPORT std::string lastPathComponent(std::string_view path);
/// What follows the last "." of the last component, without the dot; empty when there is none or the name only begins
/// with it (".nomedia" has no extension).
[[nodiscard]] MTPSERVICE_EXPORT std::string pathExtension(std::string_view path);
/// The path without its last component; "/" stays "/", a single relative component gives "".
[[nodiscard]] MTPSERVICE_EXPORT std::string deletingLastPathComponent(std::string_view path);
/// A leading "~" or "~/" becomes the home folder ($HOME, else the password database); other paths come back as is.
[[nodiscard]] MTPSERVICE_EXPORT std::string expandingTilde(std::string_view path);

} // namespace platform
