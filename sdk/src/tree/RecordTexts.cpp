// SPDX-License-Identifier: MIT
#include "tree/RecordTexts.h"

#include "tree/RecordMemory.h"

#include <algorithm>
#include <cstring>

namespace mtpsdk {

std::uint16_t* copyText(std::u16string_view text, std::uint16_t* target) {
    std::copy(text.begin(), text.end(), target);
    target[text.size()] = 0;
    return target + text.size() + 1;
}

std::uint16_t* newRecordText(std::u16string_view text) {
    auto* copy = static_cast<std::uint16_t*>(mtpRecordAllocate((text.size() + 1) * sizeof(std::uint16_t)));
    if (copy != nullptr) {
        copyText(text, copy);
    }
    return copy;
}

std::u16string readText(const std::uint16_t* text, std::size_t units) {
    // A caller's pointer may lie at any address.
    const auto* const bytes = reinterpret_cast<const std::byte*>(text);
    const auto isEnd = [bytes](std::size_t i) {
        char16_t unit = 0;
        std::memcpy(&unit, bytes + i * sizeof unit, sizeof unit);
        return unit == 0;
    };
    std::size_t length = 0;
    while (text != nullptr && length < units && !isEnd(length)) {
        ++length;
    }
    std::u16string copy(length, u'\0');
    if (length != 0) {
        std::memcpy(copy.data(), bytes, length * sizeof(char16_t));
    }
    return copy;
}

std::u16string readRecordText(RecordText text) {
    const std::uint16_t* start = text.get();
    return readText(start, recordBytesFrom(start) / sizeof(std::uint16_t));
}

DGSTATUS handOut(const std::u16string& text, std::uint16_t* buffer, std::uint32_t* bytes) {
    const auto needed = static_cast<std::uint32_t>((text.size() + 1) * sizeof(char16_t));
    const bool fits = buffer != nullptr && *bytes >= needed;
    *bytes = needed;
    if (!fits) {
        return DGSTATUS_MORE_DATA;
    }
    std::memcpy(buffer, text.c_str(), needed);
    return DGSTATUS_SUCCESS;
}

} // namespace mtpsdk
