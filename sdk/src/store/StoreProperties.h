// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace mtpsdk {

/// The descriptive properties of one object (artist, duration, …), each with its code, its data type and its value in
/// wire form. They are held packed in one string, so that a hundred thousand objects stay small, the database keeps
/// them as they are and a property list copies them out without translation.
class StoreProperties {
public:
    struct Entry {
        std::uint16_t code = 0;
        std::uint16_t type = 0;
        std::string_view value; ///< valid until the properties change
    };

    StoreProperties() = default;
    /// Takes over packed bytes; anything that is not well formed gives no properties at all.
    [[nodiscard]] static StoreProperties fromPacked(std::string packed);

    /// Replaces or adds one property. Values over 65,535 bytes are left out.
    void set(std::uint16_t code, std::uint16_t type, std::string_view value);
    void remove(std::uint16_t code);
    /// Takes every property of `other`, replacing those of the same code.
    void merge(const StoreProperties& other);
    /// An entry with type 0 when there is none.
    [[nodiscard]] Entry find(std::uint16_t code) const;
    [[nodiscard]] bool empty() const { return _packed.empty(); }
    [[nodiscard]] const std::string& packed() const { return _packed; }

    template <typename Visitor>
    void forEach(const Visitor& visitor) const {
        for (std::size_t offset = 0; offset < _packed.size();) {
            const Entry entry = entryAt(offset);
            visitor(entry);
            offset += headerSize + entry.value.size();
        }
    }

private:
    static constexpr std::size_t headerSize = 6;
    [[nodiscard]] Entry entryAt(std::size_t offset) const;
    [[nodiscard]] std::size_t offsetOf(std::uint16_t code) const;

    std::string _packed; ///< per property: code, type, length (16 bits each, little-endian), value
};

} // namespace mtpsdk
