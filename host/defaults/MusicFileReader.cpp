// SPDX-License-Identifier: MIT
#include "host/defaults/MusicFileReader.h"

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <fileref.h>
#include <tag.h>
#include <tfilestream.h>
#include <tpropertymap.h>

namespace host {
namespace {

/// A file that seems to end once the time is over, which ends whatever search it is read for.
class TimedStream : public TagLib::FileStream {
public:
    TimedStream(const std::string& path, std::chrono::milliseconds limit)
        : FileStream(path.c_str(), true)
        , _deadline(std::chrono::steady_clock::now() + limit) {}

    TagLib::ByteVector readBlock(unsigned long length) override {
        _isLate = _isLate || std::chrono::steady_clock::now() >= _deadline;
        return _isLate ? TagLib::ByteVector() : FileStream::readBlock(length);
    }
    [[nodiscard]] bool isLate() const { return _isLate; }

private:
    const std::chrono::steady_clock::time_point _deadline;
    bool _isLate = false;
};

std::string firstValue(const TagLib::PropertyMap& properties, const char* key) {
    const auto found = properties.find(key);
    return found == properties.end() || found->second.isEmpty() ? std::string()
                                                                : found->second.front().stripWhiteSpace().to8Bit(true);
}

void addText(platform::Dictionary& information, std::string_view key, const std::string& text) {
    if (!text.empty()) {
        information.set(key, text);
    }
}

void addNumber(platform::Dictionary& information, std::string_view key, unsigned number) {
    if (number > 0) {
        information.set(key, number);
    }
}

void addTags(const TagLib::FileRef& file, platform::Dictionary& information) {
    const TagLib::PropertyMap properties = file.file()->properties();
    addText(information, "Title", firstValue(properties, "TITLE"));
    addText(information, "Artist", firstValue(properties, "ARTIST"));
    addText(information, "Album", firstValue(properties, "ALBUM"));
    addText(information, "AlbumArtist", firstValue(properties, "ALBUMARTIST"));
    addText(information, "Composer", firstValue(properties, "COMPOSER"));
    addText(information, "Genre", firstValue(properties, "GENRE"));
    if (const TagLib::Tag* tag = file.tag()) {
        addNumber(information, "TrackNo", std::min(tag->track(), 0xFFFFU)); // 16 bits wide where it is sent
    }
    if (const platform::Value date = releaseDate(firstValue(properties, "DATE")); !date.isNull()) {
        information.set("DateReleased", date);
    }
}

} // namespace

platform::Value releaseDate(const std::string& text) {
    using namespace std::chrono;
    int year = 0;
    unsigned month = 1;
    unsigned day = 1;
    if (std::sscanf(text.c_str(), "%4d-%2u-%2u", &year, &month, &day) < 1 || year < 1) { // NOLINT(cert-err34-c)
        return nullptr;
    }
    const year_month_day date{std::chrono::year(year), std::chrono::month(month), std::chrono::day(day)};
    const sys_days start = date.ok() ? sys_days(date) : sys_days(std::chrono::year(year) / January / 1);
    return platform::Date{start + hours(12)};
}

std::optional<platform::Dictionary> musicFileInformation(const std::string& path, std::chrono::milliseconds limit) {
    platform::Dictionary information;
    TimedStream stream(path, limit);
    const TagLib::FileRef file(&stream, true, TagLib::AudioProperties::Average);
    if (stream.isLate()) {
        return std::nullopt;
    }
    if (file.isNull()) {
        return information;
    }
    addTags(file, information);
    if (const TagLib::AudioProperties* properties = file.audioProperties()) {
        addNumber(information, "PlayLength", static_cast<unsigned>(std::max(properties->lengthInSeconds(), 0)));
        // Kilobits per second as TagLib has it; 4,000,000 of them would be past 32 bits.
        addNumber(information, "Bitrate", static_cast<unsigned>(std::clamp(properties->bitrate(), 0, 4000000)) * 1000);
    }
    return information;
}

} // namespace host
