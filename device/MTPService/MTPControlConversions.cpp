// SPDX-License-Identifier: MIT
#include "device/MTPService/MTPControl.h"
#include "device/MTPService/MTPControlRecords.h"
#include "platform/Strings.h"

#include <fmt/format.h>

#include <algorithm>
#include <cstdio>
#include <iterator>
#include <limits>

namespace {

struct StatusRow {
    DGSTATUS value;
    const char* name;
};
#define STATUS_ROW(value, name) StatusRow{value, #name},
constexpr StatusRow statuses[] = {VEMO_STATUS_TABLE(STATUS_ROW)};
#undef STATUS_ROW

const char* statusName(DGSTATUS status) {
    const auto* row = std::find_if(std::begin(statuses), std::end(statuses),
                                   [status](const StatusRow& each) { return each.value == status; });
    return row == std::end(statuses) ? "UNKNOWN" : row->name;
}

/// These two groups are printed with two blanks and no dash, which readers of the log rely on.
bool isPrintedWithoutDash(DGSTATUS status) {
    return (status >= DGSTATUS_INTERNAL_GETOBJECTPROPLIST_FAILED && status <= DGSTATUS_INTERNAL_DRIVER_READ_ERROR) ||
           (status >= DGSTATUS_INTERNAL_GENERALERROR && status <= DGSTATUS_INTERNAL_OBJECTTOOLARGE);
}

/// The leading digits of half an MTP date; a number that no date has stays one.
int dateNumber(std::string_view text) {
    return static_cast<int>(std::min<std::uint64_t>(platform::decimalValue(text), std::numeric_limits<int>::max()));
}

bool isAsciiLetterOrDigit(unsigned char byte) {
    return (byte >= '0' && byte <= '9') || (byte >= 'A' && byte <= 'Z') || (byte >= 'a' && byte <= 'z');
}

std::string printable(const void* buffer, std::size_t size) {
    constexpr std::size_t lineLength = 512;
    const auto* bytes = static_cast<const unsigned char*>(buffer);
    std::string dump;
    for (std::size_t i = 0; i < size; ++i) {
        dump.push_back(isAsciiLetterOrDigit(bytes[i]) ? static_cast<char>(bytes[i]) : '.');
        if (i != 0 && i % lineLength == 0) {
            dump.push_back('\n');
        }
    }
    return dump;
}

} // namespace

std::string MtpControl::statusString(DGSTATUS status) const {
    return platform::formatText(isPrintedWithoutDash(status) ? "%@  0x%08x" : "%@ - 0x%08x", statusName(status),
                                static_cast<std::uint32_t>(status));
}

std::optional<platform::Date> MtpControl::convertMtpToSystemDate(std::string_view text) const {
    const std::size_t separator = text.find('T');
    if (separator == std::string_view::npos || text.find('T', separator + 1) != std::string_view::npos) {
        return std::nullopt;
    }
    const int date = dateNumber(text.substr(0, separator));
    const int time = dateNumber(text.substr(separator + 1));
    return platform::dateFromLocalCalendar(
        {date / 10000, date % 10000 / 100, date % 100, time / 10000, time % 10000 / 100, time % 100});
}

MtpControl::Text MtpControl::convertSystemToMtpDate(std::string_view text) const {
    const std::optional<platform::Date> date = platform::parseDateDescription(text);
    if (!date) {
        return std::nullopt;
    }
    const platform::CalendarDate local = platform::localCalendarFromDate(*date);
    return fmt::format("{:04}{:02}{:02}T{:02}{:02}{:02}.0", local.year, local.month, local.day, local.hour,
                       local.minute, local.second);
}

void MtpControl::convertStringToMtpString(std::string_view text, std::uint16_t** retBuffer,
                                          std::uint8_t* retSize) const {
    const std::u16string units = platform::precomposed(platform::toUtf16(text));
    if (units.empty()) {
        return;
    }
    auto* buffer = static_cast<std::uint16_t*>(mtpRecordAllocate(2 * units.size() + 2));
    if (buffer == nullptr) {
        return;
    }
    std::copy(units.begin(), units.end(), buffer);
    *retBuffer = buffer;
    *retSize = static_cast<std::uint8_t>(units.size() + 1); // the record's size field is one byte wide
}

std::uint32_t MtpControl::wildcharLength(const std::uint16_t* buffer, std::uint32_t dataSize) const {
    return static_cast<std::uint32_t>(mtpcontrol::boundedUnits(buffer, dataSize).size());
}

std::uint32_t MtpControl::convertStringToInt(std::string_view text) const {
    std::uint32_t value = 0;
    for (const char byte : text) {
        value = value * 256 + static_cast<unsigned char>(byte);
    }
    return value;
}

void MtpControl::printBuffer(const char* title, const void* buffer, std::size_t bufferSize) const {
    std::fputs(title == nullptr ? "" : title, stdout);
    try {
        const std::string dump = buffer == nullptr ? std::string() : printable(buffer, bufferSize);
        std::fwrite(dump.data(), 1, dump.size(), stdout);
    } catch (const std::exception& exception) {
        mtpcontrol::logException(exception);
    }
    std::fputc('\n', stdout);
}
