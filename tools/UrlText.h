// SPDX-License-Identifier: MIT
#pragma once

#include <string>
#include <string_view>

namespace tool {

/// Each "%" before two hexadecimal digits becomes the byte that these say; all else stays as it is.
[[nodiscard]] std::string percentDecoded(std::string_view text);

} // namespace tool
