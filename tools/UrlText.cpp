// SPDX-License-Identifier: MIT
#include "tools/UrlText.h"

#include <charconv>

namespace tool {

std::string percentDecoded(std::string_view text) {
    std::string decoded;
    for (std::size_t at = 0; at < text.size(); ++at) {
        const std::string_view digits = text.substr(at + 1, 2);
        unsigned char byte = 0;
        if (text[at] == '%' && digits.size() == 2 &&
            std::from_chars(digits.begin(), digits.end(), byte, 16).ptr == digits.end()) {
            decoded += static_cast<char>(byte);
            at += digits.size();
        } else {
            decoded += text[at];
        }
    }
    return decoded;
}

} // namespace tool
