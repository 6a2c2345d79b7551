// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace mtpsdk {

/// Whether a file name found on disk can be told over the protocol: valid UTF-8 and at most 254 UTF-16 units. Files
/// with other names stay invisible rather than showing under a name that leads nowhere.
[[nodiscard]] bool isTellableName(std::string_view name);

/// The file name for a name that an initiator gives; empty when no file may have it: "", ".", "..", with "/" or NUL,
/// with an unpaired surrogate, or longer than a file system takes.
[[nodiscard]] std::string fileNameFrom(std::u16string_view name);

} // namespace mtpsdk
