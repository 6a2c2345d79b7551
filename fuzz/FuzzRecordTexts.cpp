// SPDX-License-Identifier: MIT
// Texts and dates of records whose sizes need not match: whatever a device's answers put there must come through the
// conversions and into a dictionary.
#include "device/MTPService/MTPControl.h"
#include "device/MTPService/MTPControlRecords.h"
#include "platform/Strings.h"
#include "tests/device/control/FakeLibrary.h"

#include <cstdlib>
#include <cstring>
#include <fuzzer/FuzzedDataProvider.h>

namespace {

void require(bool holds) {
    if (!holds) {
        std::abort();
    }
}

/// A terminated text in record memory made of the input's bytes, with whatever size the input claims.
class ClaimedText {
public:
    explicit ClaimedText(FuzzedDataProvider& input)
        : _units(input.ConsumeRandomLengthString(600))
        , _memory(static_cast<std::uint16_t*>(mtpRecordAllocate(_units.size() / 2 * 2 + 2)))
        , _size(input.ConsumeIntegral<std::uint32_t>()) {
        std::memcpy(_memory, _units.data(), _units.size() / 2 * 2);
    }
    ~ClaimedText() { mtpRecordFree(_memory); }
    ClaimedText(const ClaimedText&) = delete;
    ClaimedText& operator=(const ClaimedText&) = delete;

    [[nodiscard]] std::uint16_t* units() const { return _memory; }
    [[nodiscard]] std::uint32_t size() const { return _size; }
    [[nodiscard]] std::uint32_t capacity() const { return static_cast<std::uint32_t>(_units.size() / 2); }

private:
    std::string _units;
    std::uint16_t* _memory;
    std::uint32_t _size;
};

void convert(const MtpControl& control, const ClaimedText& text, const std::string& wanted) {
    const std::uint32_t length = control.wildcharLength(text.units(), text.size());
    require(length <= text.capacity() && length <= text.size());
    const RecordText field = text.units();
    const std::string name = mtpcontrol::nodeText(field, text.size()).value();
    const auto units = mtpcontrol::nameUnits(field, text.size());
    require(mtpcontrol::NameMatcher(wanted).matches(units) == platform::equalIgnoringCase(wanted, name));
    require(mtpcontrol::NameMatcher(name).matches(units));

    if (const auto date = control.convertMtpToSystemDate(name)) {
        (void) control.convertSystemToMtpDate(platform::dateDescription(*date));
    }
    (void) control.convertSystemToMtpDate(name);
    (void) MtpControl::nodeFromText(name);
    std::uint16_t* buffer = nullptr;
    std::uint8_t size = 0;
    control.convertStringToMtpString(name, &buffer, &size);
    mtpRecordFree(buffer);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t length) {
    static FakeLibrary library;
    static const MtpControl control;
    FuzzedDataProvider input(data, length);

    _MTP_MEDIA_FILE_INFO media{};
    media.file.header.Signature = input.ConsumeIntegralInRange<std::int32_t>(3, 9);
    media.format = input.ConsumeIntegral<std::uint16_t>();
    const ClaimedText first(input);
    const ClaimedText second(input);
    convert(control, first, input.ConsumeRandomLengthString(60));

    media.file.name = media.title = first.units();
    media.file.nameSize = first.size();
    media.titleSize = static_cast<std::uint8_t>(first.size());
    media.file.creationDate = media.file.modificationDate = second.units();
    media.file.creationDateSize = media.file.modificationDateSize = second.size();
    if (media.file.header.Signature == MTP_SIGNATURE_MUSIC_INFO) {
        media.audio.artist = media.audio.description = first.units();
        media.audio.artistSize = static_cast<std::uint8_t>(first.size());
        media.audio.descriptionSize = first.size();
        media.audio.releaseDate = second.units();
        media.audio.releaseDateSize = static_cast<std::uint8_t>(second.size());
    }
    require(control.mediaInfoContents(&media, std::nullopt, std::nullopt).has_value());
    require(library.takeCalls().empty());
    return 0;
}
