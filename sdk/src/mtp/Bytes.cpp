// SPDX-License-Identifier: MIT
#include "mtp/Bytes.h"

namespace mtpsdk {

void ByteReader::fail() {
    _failed = true;
    _rest = {};
}

Integer128 ByteReader::u128() {
    Integer128 value;
    value.low = u64();
    value.high = u64();
    return value;
}

std::span<const std::byte> ByteReader::bytes(std::size_t count) {
    if (_failed || count > _rest.size()) {
        fail();
        return {};
    }
    const auto taken = _rest.first(count);
    _rest = _rest.subspan(count);
    return taken;
}

std::u16string ByteReader::string() {
    const auto units = bytes(std::size_t{2} * u8());
    std::u16string text;
    text.reserve(units.size() / 2);
    for (std::size_t i = 0; i + 1 < units.size(); i += 2) {
        const auto unit =
            static_cast<char16_t>(static_cast<unsigned>(units[i]) | static_cast<unsigned>(units[i + 1]) << 8);
        if (unit == 0 || text.size() == maximumTextUnits) {
            break; // behind the longest text only a terminator has a place
        }
        text.push_back(unit);
    }
    return text;
}

void ByteWriter::u128(const Integer128& value) {
    u64(value.low);
    u64(value.high);
}

void ByteWriter::bytes(std::span<const std::byte> values) {
    _bytes.insert(_bytes.end(), values.begin(), values.end());
}

void ByteWriter::string(std::u16string_view text) {
    if (text.empty()) {
        u8(0);
        return;
    }
    if (text.size() > maximumTextUnits) {
        const bool splitsPair = text[maximumTextUnits - 1] >= 0xD800 && text[maximumTextUnits - 1] <= 0xDBFF;
        text = text.substr(0, splitsPair ? maximumTextUnits - 1 : maximumTextUnits);
    }
    u8(static_cast<std::uint8_t>(text.size() + 1));
    std::size_t place = _bytes.size();
    _bytes.resize(place + 2 * (text.size() + 1)); // the terminator included
    for (const char16_t unit : text) {
        _bytes[place++] = static_cast<std::byte>(unit);
        _bytes[place++] = static_cast<std::byte>(unit >> 8);
    }
}

} // namespace mtpsdk
