// SPDX-License-Identifier: MIT
#include "host/defaults/MediaKinds.h"

#include <algorithm>
#include <array>
#include <cctype>

namespace host {
namespace {

struct MediaKind {
    std::string_view extension;
    MediaType type;
    std::uint32_t bits;
    bool classified; ///< the service takes the file as this type by itself
};

constexpr std::array kMediaKinds = {
    MediaKind{"mp3", MediaTypeMusic, kMusicBit | 1, true},  MediaKind{"bmp", MediaTypeImage, kImageBit | 2, true},
    MediaKind{"gif", MediaTypeImage, kImageBit | 4, true},  MediaKind{"jpg", MediaTypeImage, kImageBit | 1, true},
    MediaKind{"jpeg", MediaTypeImage, kImageBit | 1, true}, MediaKind{"png", MediaTypeImage, kImageBit | 8, true},
    MediaKind{"wbmp", MediaTypeImage, kImageBit, true},     MediaKind{"asf", MediaTypeMovie, kVideoBit, true},
    MediaKind{"avi", MediaTypeMovie, kVideoBit | 2, true},  MediaKind{"flv", MediaTypeMovie, kVideoBit, true},
    MediaKind{"k3g", MediaTypeMovie, kVideoBit, true},      MediaKind{"mkv", MediaTypeMovie, kVideoBit, true},
    MediaKind{"mp4", MediaTypeMovie, kVideoBit, true},      MediaKind{"m4v", MediaTypeMovie, kVideoBit, true},
    MediaKind{"mov", MediaTypeMovie, kVideoBit, true},      MediaKind{"mpg", MediaTypeMovie, kVideoBit | 1, true},
    MediaKind{"mpeg", MediaTypeMovie, kVideoBit | 1, true}, MediaKind{"rm", MediaTypeMovie, kVideoBit, true},
    MediaKind{"rmvb", MediaTypeMovie, kVideoBit, true},     MediaKind{"skm", MediaTypeMovie, kVideoBit, true},
    MediaKind{"svi", MediaTypeMovie, kVideoBit, true},      MediaKind{"wmv", MediaTypeMovie, kVideoBit | 8, true},
    MediaKind{"3gp", MediaTypeMovie, kVideoBit, true},      MediaKind{"aac", MediaTypeMusic, kMusicBit, false},
    MediaKind{"aif", MediaTypeMusic, kMusicBit, false},     MediaKind{"aiff", MediaTypeMusic, kMusicBit, false},
    MediaKind{"ape", MediaTypeMusic, kMusicBit, false},     MediaKind{"flac", MediaTypeMusic, kMusicBit, false},
    MediaKind{"m4a", MediaTypeMusic, kMusicBit, false},     MediaKind{"m4b", MediaTypeMusic, kMusicBit, false},
    MediaKind{"mka", MediaTypeMusic, kMusicBit, false},     MediaKind{"mpc", MediaTypeMusic, kMusicBit, false},
    MediaKind{"oga", MediaTypeMusic, kMusicBit, false},     MediaKind{"ogg", MediaTypeMusic, kMusicBit, false},
    MediaKind{"opus", MediaTypeMusic, kMusicBit, false},    MediaKind{"wav", MediaTypeMusic, kMusicBit, false},
    MediaKind{"wma", MediaTypeMusic, kMusicBit, false},     MediaKind{"wv", MediaTypeMusic, kMusicBit, false},
    MediaKind{"avif", MediaTypeImage, kImageBit, false},    MediaKind{"heic", MediaTypeImage, kImageBit, false},
    MediaKind{"heif", MediaTypeImage, kImageBit, false},    MediaKind{"tif", MediaTypeImage, kImageBit, false},
    MediaKind{"tiff", MediaTypeImage, kImageBit, false},    MediaKind{"webp", MediaTypeImage, kImageBit, false},
    MediaKind{"3g2", MediaTypeMovie, kVideoBit, false},     MediaKind{"ogv", MediaTypeMovie, kVideoBit, false},
    MediaKind{"ts", MediaTypeMovie, kVideoBit, false},      MediaKind{"vob", MediaTypeMovie, kVideoBit, false},
    MediaKind{"webm", MediaTypeMovie, kVideoBit, false},
};

bool equalsIgnoringAsciiCase(std::string_view left, std::string_view right) {
    return std::equal(left.begin(), left.end(), right.begin(), right.end(),
                      [](unsigned char a, unsigned char b) { return std::tolower(a) == std::tolower(b); });
}

const MediaKind* kindOf(std::string_view path) {
    const std::string_view extension = extensionOf(path);
    const auto* found = std::find_if(kMediaKinds.begin(), kMediaKinds.end(), [&](const MediaKind& kind) {
        return equalsIgnoringAsciiCase(kind.extension, extension);
    });
    return found == kMediaKinds.end() ? nullptr : found;
}

} // namespace

std::string_view extensionOf(std::string_view path) {
    const std::string_view name = path.substr(path.find_last_of('/') + 1);
    const std::size_t dot = name.find_last_of('.');
    return dot == std::string_view::npos || dot == 0 ? std::string_view() : name.substr(dot + 1);
}

MediaType classifiedMediaType(std::string_view path) {
    const MediaKind* kind = kindOf(path);
    return kind && kind->classified ? kind->type : MediaTypeNone;
}

MediaType naturalMediaType(std::string_view path) {
    const MediaKind* kind = kindOf(path);
    return kind ? kind->type : MediaTypeNone;
}

std::uint32_t mediaTypeBits(std::string_view path) {
    const MediaKind* kind = kindOf(path);
    return kind ? kind->bits : 0;
}

} // namespace host
