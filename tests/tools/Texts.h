// SPDX-License-Identifier: MIT
#pragma once

#include <string>
#include <string_view>
#include <vector>

using Texts = std::vector<std::string>;

inline bool contains(std::string_view text, std::string_view part) {
    return text.find(part) != std::string_view::npos;
}
