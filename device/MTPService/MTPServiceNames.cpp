// SPDX-License-Identifier: MIT
#include "device/MTPService/MTPServicePrivate.h"

#include "platform/Log.h"
#include "platform/Paths.h"

#include <algorithm>
#include <string_view>

namespace {

/// Characters that no file name takes, and the one that stands in for them.
constexpr std::string_view unsafeCharacters = "/:*?\"\\<>|\r\n";
constexpr char substitute = '_';

char asciiLower(char character) {
    return character >= 'A' && character <= 'Z' ? static_cast<char>(character - 'A' + 'a') : character;
}

} // namespace

std::string MTPServicePrivate::convertAvailableFileName(const std::string& name) const {
    constexpr std::string_view scheme = "http://";
    std::string converted = name;
    const auto found = std::search(converted.begin(), converted.end(), scheme.begin(), scheme.end(),
                                   [](char character, char wanted) { return asciiLower(character) == wanted; });
    if (found != converted.end()) {
        converted.erase(found, found + scheme.size());
    }
    std::ranges::replace_if(
        converted, [](char character) { return unsafeCharacters.find(character) != std::string_view::npos; },
        substitute);
    QD_LOG(6, "Convert %@ to %@", name, converted);
    return converted;
}

std::string MTPServicePrivate::convertAvailableString(const std::string& path) const {
    std::string converted;
    for (const std::string& component : platform::pathComponents(path)) {
        if (component != "/") {
            converted += "/" + convertAvailableFileName(component);
        }
    }
    return converted;
}
