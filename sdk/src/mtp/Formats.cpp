// SPDX-License-Identifier: MIT
#include "mtp/Formats.h"

#include "platform/Paths.h"
#include "platform/Strings.h"
#include "vemomtpsdk/Records.h"

#include <algorithm>
#include <iterator>

namespace mtpsdk {
namespace {

struct Extension {
    std::string_view text; ///< lower case
    FormatCode format;
};

constexpr Extension extensions[] = {
    {"3g2", FormatCode::ThreeGP},     {"3gp", FormatCode::ThreeGP},  {"3gpp", FormatCode::ThreeGP},
    {"aac", FormatCode::AAC},         {"aif", FormatCode::AIFF},     {"aiff", FormatCode::AIFF},
    {"asf", FormatCode::ASF},         {"avi", FormatCode::AVI},      {"bmp", FormatCode::BMP},
    {"exe", FormatCode::Executable},  {"flac", FormatCode::FLAC},    {"gif", FormatCode::GIF},
    {"htm", FormatCode::HTML},        {"html", FormatCode::HTML},    {"jp2", FormatCode::JP2},
    {"jpeg", FormatCode::EXIFJPEG},   {"jpg", FormatCode::EXIFJPEG}, {"jpx", FormatCode::JPX},
    {"m3u", FormatCode::M3UPlaylist}, {"m4a", FormatCode::AAC},      {"m4v", FormatCode::MP4},
    {"mov", FormatCode::QuickTime},   {"mp2", FormatCode::MP2},      {"mp3", FormatCode::MP3},
    {"mp4", FormatCode::MP4},         {"mpeg", FormatCode::MPEG},    {"mpg", FormatCode::MPEG},
    {"oga", FormatCode::OGG},         {"ogg", FormatCode::OGG},      {"pla", FormatCode::AbstractAudioVideoPlaylist},
    {"png", FormatCode::PNG},         {"qt", FormatCode::QuickTime}, {"tif", FormatCode::TIFF},
    {"tiff", FormatCode::TIFF},       {"txt", FormatCode::Text},     {"wav", FormatCode::WAV},
    {"wma", FormatCode::WMA},         {"wmv", FormatCode::WMV},      {"wpl", FormatCode::WPLPlaylist},
    {"xml", FormatCode::XMLDocument},
};
static_assert(std::ranges::is_sorted(extensions, {}, &Extension::text));

bool isMusic(FormatCode format) {
    switch (format) {
    case FormatCode::AIFF:
    case FormatCode::WAV:
    case FormatCode::MP3:
    case FormatCode::UndefinedAudio:
    case FormatCode::WMA:
    case FormatCode::OGG:
    case FormatCode::AAC:
    case FormatCode::FLAC:
        return true;
    default:
        return false;
    }
}

bool isVideo(FormatCode format) {
    switch (format) {
    case FormatCode::AVI:
    case FormatCode::MPEG:
    case FormatCode::ASF:
    case FormatCode::UndefinedVideo:
    case FormatCode::WMV:
    case FormatCode::MP4:
    case FormatCode::MP2:
    case FormatCode::ThreeGP:
    case FormatCode::QuickTime:
        return true;
    default:
        return false;
    }
}

/// All image formats of the still-image standard share a range.
bool isImage(FormatCode format) {
    return (raw(format) & 0xFF00U) == 0x3800U || format == FormatCode::WindowsImage;
}

} // namespace

FormatCode formatOfName(std::u16string_view name) {
    const std::string extension = platform::lowerCased(platform::pathExtension(platform::toUtf8(name)));
    const auto* row = std::ranges::lower_bound(extensions, std::string_view(extension), {}, &Extension::text);
    return row != std::end(extensions) && row->text == extension ? row->format : FormatCode::Undefined;
}

std::int32_t mediaSignature(std::uint16_t format, std::u16string_view name) {
    const auto known = static_cast<FormatCode>(format);
    const FormatCode code = known == FormatCode::Undefined ? formatOfName(name) : known;
    if (isMusic(code)) {
        return MTP_SIGNATURE_MUSIC_INFO;
    }
    if (isVideo(code)) {
        return MTP_SIGNATURE_VIDEO_INFO;
    }
    return isImage(code) ? MTP_SIGNATURE_IMAGE_INFO : MTP_SIGNATURE_FILE;
}

} // namespace mtpsdk
