// SPDX-License-Identifier: MIT
#pragma once

#include <array>
#include <concepts>
#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace mtpsdk {

/// A 128-bit integer in two halves; the wire carries the low half first.
struct Integer128 {
    std::uint64_t low = 0;
    std::uint64_t high = 0;
    bool operator==(const Integer128&) const = default;
};

/// The longest text that a counted string holds, terminator not counted.
inline constexpr std::size_t maximumTextUnits = 254;

/// Reads little-endian values from bytes that nobody vouches for. It never reads past the end: a read that would
/// answers zero (or an empty text or array) and marks the reader as failed for good. Nothing is allocated by a size
/// that the bytes claim, only by what is really there.
class ByteReader {
public:
    explicit ByteReader(std::span<const std::byte> bytes)
        : _rest(bytes) {}

    [[nodiscard]] bool failed() const { return _failed; }
    [[nodiscard]] std::size_t remaining() const { return _rest.size(); }
    /// Everything was read, and nothing but what was there.
    [[nodiscard]] bool finished() const { return !_failed && _rest.empty(); }
    /// Marks the bytes as not what they claim to be.
    void fail();

    [[nodiscard]] std::uint8_t u8() { return integer<std::uint8_t>(); }
    [[nodiscard]] std::uint16_t u16() { return integer<std::uint16_t>(); }
    [[nodiscard]] std::uint32_t u32() { return integer<std::uint32_t>(); }
    [[nodiscard]] std::uint64_t u64() { return integer<std::uint64_t>(); }
    [[nodiscard]] Integer128 u128();

    /// A view of the next bytes.
    [[nodiscard]] std::span<const std::byte> bytes(std::size_t count);
    /// A counted string (one byte of count, terminator included, then UTF-16 units). The count rules: a missing
    /// terminator is forgiven, since devices leave it out; what follows an early one is dropped.
    [[nodiscard]] std::u16string string();
    /// An array with a 32-bit count in front.
    template <std::unsigned_integral T>
    [[nodiscard]] std::vector<T> array() {
        const std::uint32_t count = u32();
        if (count > remaining() / sizeof(T)) {
            fail();
            return {};
        }
        std::vector<T> values(count);
        for (T& value : values) {
            value = integer<T>();
        }
        return values;
    }

private:
    template <std::unsigned_integral T>
    T integer() {
        T value = 0;
        const auto taken = bytes(sizeof(T));
        for (std::size_t i = 0; i < taken.size(); ++i) {
            value = static_cast<T>(value | static_cast<T>(static_cast<T>(taken[i]) << (8 * i)));
        }
        return value;
    }

    std::span<const std::byte> _rest;
    bool _failed = false;
};

/// Appends little-endian values to bytes of its own.
class ByteWriter {
public:
    void u8(std::uint8_t value) { integer(value); }
    void u16(std::uint16_t value) { integer(value); }
    void u32(std::uint32_t value) { integer(value); }
    void u64(std::uint64_t value) { integer(value); }
    void u128(const Integer128& value);
    void bytes(std::span<const std::byte> values);
    /// A counted string. A text that is too long is cut at maximumTextUnits, never within a surrogate pair.
    void string(std::u16string_view text);
    template <std::unsigned_integral T>
    void array(std::span<const T> values) {
        u32(static_cast<std::uint32_t>(values.size()));
        for (const T value : values) {
            integer(value);
        }
    }
    template <std::unsigned_integral T>
    void array(const std::vector<T>& values) {
        array(std::span<const T>(values));
    }

    [[nodiscard]] std::size_t size() const { return _bytes.size(); }
    [[nodiscard]] std::vector<std::byte> take() { return std::move(_bytes); }

private:
    template <std::unsigned_integral T>
    void integer(T value) {
        std::array<std::byte, sizeof(T)> bytes;
        for (std::size_t i = 0; i < sizeof(T); ++i) {
            bytes[i] = static_cast<std::byte>(value >> (8 * i));
        }
        _bytes.insert(_bytes.end(), bytes.begin(), bytes.end());
    }

    std::vector<std::byte> _bytes;
};

} // namespace mtpsdk
