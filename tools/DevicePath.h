// SPDX-License-Identifier: MIT
#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

/// Device paths as a person writes them. Text only; DeviceTree looks at the device.
namespace tool {

/// A path within one storage.
struct DevicePath {
    std::size_t storage = 0;             ///< position in the list of storages
    std::vector<std::string> components; ///< below the storage; empty for the storage itself
    /// The first component could as well be meant to be a folder in the only storage's root.
    bool namesOnlyStorage = false;
};

/// What a text means on a device with these storages ("/friendly name/label" each): with a "/" in front the whole path,
/// else a path that begins with a storage's label or, where there is one storage only, lies below that. Nothing, and
/// the reason in `problem`, when it means none; "." is left out, ".." is no name on a device.
[[nodiscard]] std::optional<DevicePath> parseDevicePath(std::string_view text, const std::vector<std::string>& volumes,
                                                        std::string& problem);

/// The form under which the service remembers a device path: names that are equal in it cannot be told apart there.
[[nodiscard]] std::string indexKey(std::string_view path);

[[nodiscard]] bool isPattern(std::string_view name);
/// Whether the whole name fits a pattern with * (any text) and ? (one character). Letters must agree in case too. As
/// in a shell, a dot in front of the name must be written out.
[[nodiscard]] bool matchesPattern(std::string_view name, std::string_view pattern);

/// The name without what would be unsafe in a local file name; `converted` is what the service makes of it.
[[nodiscard]] std::string localName(std::string converted);

} // namespace tool
