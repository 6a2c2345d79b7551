// SPDX-License-Identifier: MIT
#include "device/MTPService/MTPControlRecords.h"

#include "platform/Strings.h"

#include <algorithm>
#include <new>
#include <typeinfo>

namespace mtpcontrol {

namespace {

constexpr char16_t firstNonAscii = 0x80;

bool isAscii(std::span<const std::uint16_t> units) {
    return std::all_of(units.begin(), units.end(), [](std::uint16_t unit) { return unit < firstNonAscii; });
}

char asciiLower(std::uint16_t unit) {
    return static_cast<char>(unit >= 'A' && unit <= 'Z' ? unit - 'A' + 'a' : unit);
}

} // namespace

bool isStale(const MtpControl::NodeID& nodeID) {
    return nodeID && platform::hexValue(*nodeID) != 0 && MtpControl::nodeFromText(nodeID) == nullptr;
}

void logException(const std::exception& exception) {
    QD_LOG(3, "Name : %@", typeid(exception).name());
    QD_LOG(3, "Reason :%@", exception.what());
}

std::span<const std::uint16_t> boundedUnits(const std::uint16_t* text, std::uint32_t limit) {
    if (text == nullptr) {
        return {};
    }
    return {text, std::find(text, text + limit, std::uint16_t{0})};
}

std::string textOf(std::span<const std::uint16_t> units) {
    return isAscii(units) ? std::string(units.begin(), units.end())
                          : platform::toUtf8(std::u16string(units.begin(), units.end()));
}

std::optional<std::string> nodeText(const RecordText& text, std::uint32_t size) {
    if (text.get() == nullptr) {
        return std::nullopt;
    }
    try {
        return textOf(nameUnits(text, size));
    } catch (const std::exception& exception) {
        logException(exception);
        return std::nullopt;
    }
}

NameMatcher::NameMatcher(std::string_view wanted)
    : _folded(platform::caseFolded(wanted))
    , _ascii(std::all_of(_folded.begin(), _folded.end(),
                         [](char byte) { return static_cast<unsigned char>(byte) < firstNonAscii; })) {}

bool NameMatcher::matchesAscii(std::span<const std::uint16_t> units) const {
    return _ascii && std::equal(units.begin(), units.end(), _folded.begin(), _folded.end(),
                                [](std::uint16_t unit, char wanted) { return asciiLower(unit) == wanted; });
}

bool NameMatcher::matches(std::span<const std::uint16_t> units) const {
    if (isAscii(units)) {
        return matchesAscii(units);
    }
    try {
        return platform::caseFolded(textOf(units)) == _folded;
    } catch (const std::exception& exception) {
        logException(exception);
        return false;
    }
}

CallText::CallText(std::u16string_view text)
    : _units(text.begin(), text.end()) {
    _units.push_back(0);
}

std::optional<CallText> CallText::make(std::string_view text) noexcept {
    try {
        return CallText(platform::toUtf16(text));
    } catch (const std::bad_alloc&) {
        return std::nullopt;
    }
}

std::optional<CallText> CallText::makePrecomposed(std::string_view text) noexcept {
    try {
        return CallText(platform::precomposed(platform::toUtf16(text)));
    } catch (const std::bad_alloc&) {
        return std::nullopt;
    }
}

std::string CallText::text() const {
    return textOf(std::span(_units).first(_units.size() - 1));
}

MediaRecord::MediaRecord(MtpControl& control, const platform::Dictionary& data)
    : _control(control) {
    const std::uint32_t mediaType = data.uint32("MediaType").value_or(0);
    // A type with several kinds counts as the first of music, image and video.
    if ((mediaType & musicBit) != 0) {
        _record = control.consistOfMusicData(data, &_description);
    } else if ((mediaType & imageBit) != 0) {
        _record = control.consistOfImageData(data);
    } else if ((mediaType & videoBit) != 0) {
        _record = control.consistOfVideoData(data);
    }
    if (_record != nullptr) {
        _record->format = control.setMediaFileFormat(mediaType);
    }
}

MediaRecord::~MediaRecord() {
    _control.releaseMTPMediaFileInfo(_record);
    // The record cannot give its description text back: only part of the pointer to it is there.
    mtpRecordFree(_description);
}

} // namespace mtpcontrol
