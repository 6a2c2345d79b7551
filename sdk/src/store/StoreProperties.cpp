// SPDX-License-Identifier: MIT
#include "store/StoreProperties.h"

#include <limits>
#include <utility>

namespace mtpsdk {

namespace {

std::uint16_t read16(std::string_view bytes, std::size_t offset) {
    return static_cast<std::uint16_t>(static_cast<std::uint8_t>(bytes[offset]) |
                                      static_cast<std::uint8_t>(bytes[offset + 1]) << 8);
}

void append16(std::string& bytes, std::uint16_t value) {
    bytes.push_back(static_cast<char>(value & 0xFF));
    bytes.push_back(static_cast<char>(value >> 8));
}

} // namespace

StoreProperties StoreProperties::fromPacked(std::string packed) {
    for (std::size_t offset = 0; offset < packed.size();) {
        if (packed.size() - offset < headerSize || packed.size() - offset - headerSize < read16(packed, offset + 4)) {
            return {};
        }
        offset += headerSize + read16(packed, offset + 4);
    }
    StoreProperties properties;
    properties._packed = std::move(packed);
    return properties;
}

StoreProperties::Entry StoreProperties::entryAt(std::size_t offset) const {
    const std::size_t length = read16(_packed, offset + 4);
    return {read16(_packed, offset), read16(_packed, offset + 2),
            std::string_view(_packed).substr(offset + headerSize, length)};
}

std::size_t StoreProperties::offsetOf(std::uint16_t code) const {
    for (std::size_t offset = 0; offset < _packed.size();) {
        if (read16(_packed, offset) == code) {
            return offset;
        }
        offset += headerSize + read16(_packed, offset + 4);
    }
    return std::string::npos;
}

StoreProperties::Entry StoreProperties::find(std::uint16_t code) const {
    const std::size_t offset = offsetOf(code);
    return offset == std::string::npos ? Entry{} : entryAt(offset);
}

void StoreProperties::remove(std::uint16_t code) {
    const std::size_t offset = offsetOf(code);
    if (offset != std::string::npos) {
        _packed.erase(offset, headerSize + entryAt(offset).value.size());
    }
}

void StoreProperties::set(std::uint16_t code, std::uint16_t type, std::string_view value) {
    if (value.size() > std::numeric_limits<std::uint16_t>::max()) {
        return;
    }
    remove(code);
    append16(_packed, code);
    append16(_packed, type);
    append16(_packed, static_cast<std::uint16_t>(value.size()));
    _packed.append(value);
}

void StoreProperties::merge(const StoreProperties& other) {
    other.forEach([this](const Entry& entry) { set(entry.code, entry.type, entry.value); });
}

} // namespace mtpsdk
