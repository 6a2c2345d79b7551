// SPDX-License-Identifier: MIT
#include "tools/PlaylistFile.h"

#include "platform/Strings.h"
#include "tools/ScreenText.h"
#include "tools/UrlText.h"

#include <algorithm>
#include <cctype>

namespace tool {
namespace {

std::string fromLatin1(std::string_view text) {
    std::string result;
    for (const char byte : text) {
        const auto code = static_cast<unsigned char>(byte);
        if (code < 0x80) {
            result += byte;
        } else {
            result += static_cast<char>(0xC0U | (code >> 6U));
            result += static_cast<char>(0x80U | (code & 0x3FU));
        }
    }
    return result;
}

std::string_view trimmed(std::string_view text) {
    constexpr std::string_view blanks = " \t";
    const std::size_t start = text.find_first_not_of(blanks);
    return start == std::string_view::npos ? std::string_view()
                                           : text.substr(start, text.find_last_not_of(blanks) - start + 1);
}

bool startsWithIgnoringCase(std::string_view text, std::string_view lowerPrefix) {
    return text.size() >= lowerPrefix.size() &&
           std::equal(lowerPrefix.begin(), lowerPrefix.end(), text.begin(), [](char wanted, char character) {
               return wanted == static_cast<char>(std::tolower(static_cast<unsigned char>(character)));
           });
}

} // namespace

std::vector<std::string> parsePlaylist(std::string_view content) {
    constexpr std::string_view mark = "\xEF\xBB\xBF";
    if (content.starts_with(mark)) {
        content.remove_prefix(mark.size());
    }
    const bool isUtf8 = isValidUtf8(content);
    std::vector<std::string> entries;
    while (!content.empty()) {
        const std::size_t end = std::min(content.find_first_of("\r\n"), content.size());
        const std::string_view line = trimmed(content.substr(0, end));
        if (!line.empty() && line.front() != '#') {
            entries.push_back(isUtf8 ? std::string(line) : fromLatin1(line));
        }
        content.remove_prefix(std::min(end + 1, content.size()));
    }
    return entries;
}

std::string playlistText(const std::vector<std::string>& entries) {
    std::string text = "#EXTM3U\n";
    for (const std::string& entry : entries) {
        // A name that would read as a comment is told by a path.
        text += (entry.starts_with('#') ? "./" : "") + entry + "\n";
    }
    return text;
}

std::vector<std::string> entryComponents(std::string_view entry) {
    constexpr std::string_view fileScheme = "file://";
    std::string path(entry);
    if (startsWithIgnoringCase(entry, fileScheme)) {
        path = percentDecoded(entry.substr(fileScheme.size()));
    } else if (entry.find("://") != std::string_view::npos) {
        return {};
    }
    std::replace(path.begin(), path.end(), '\\', '/');
    std::vector<std::string> components;
    for (std::size_t start = 0; start <= path.size();) {
        const std::size_t end = std::min(path.find('/', start), path.size());
        std::string name = path.substr(start, end - start);
        const bool isDrive = components.empty() && name.size() == 2 && name[1] == ':';
        if (name == ".." && !components.empty()) {
            components.pop_back();
        } else if (!name.empty() && name != "." && name != ".." && !isDrive) {
            components.push_back(std::move(name));
        }
        start = end + 1;
    }
    return components;
}

bool isPlaylistFile(std::string_view path) {
    const std::string folded = platform::caseFolded(path);
    return folded.ends_with(".m3u") || folded.ends_with(".m3u8");
}

} // namespace tool
