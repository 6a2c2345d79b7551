// SPDX-License-Identifier: MIT
#pragma once

#include "transport/Transport.h"

#include <cstdint>
#include <istream>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace mtpsdk {

/// What has to be done another way with some models, because trying is not enough to find out: they announce it, and
/// then hang, lie or lose data. What a device merely refuses needs no quirk.
enum class Quirk : std::uint32_t {
    noPropertyLists = 1U << 0U,    ///< listing and describing objects by handles and object infos alone
    noFolderLists = 1U << 1U,      ///< the same for listing only
    noSendPropertyList = 1U << 2U, ///< announcing objects by an object info
    noPropertyWrites = 1U << 3U,   ///< leaving the properties of objects as the device made them
    noReferences = 1U << 4U,       ///< as a device without playlists
    resetAtOpening = 1U << 5U,     ///< a reset request, which clears halted endpoints too, before the session opens
};

class Quirks {
public:
    [[nodiscard]] bool has(Quirk quirk) const { return (_bits & static_cast<std::uint32_t>(quirk)) != 0; }
    void add(Quirk quirk) { _bits |= static_cast<std::uint32_t>(quirk); }
    void add(Quirks others) { _bits |= others._bits; }
    /// Their names as the quirk file spells them.
    [[nodiscard]] std::vector<std::string> names() const;
    bool operator==(const Quirks&) const = default;

private:
    std::uint32_t _bits = 0;
};

/// The models that have quirks, from files that a person may edit (docs/quirks.md). Immutable once read: any thread.
class QuirkTable {
public:
    /// The process's own, read once from the file that MTPSERVICE_QUIRKS names, or else from the installed one and the
    /// user's. Lines that make no sense are told in the log.
    static const QuirkTable& shared();

    /// Adds the lines of a file; those that make no sense are left out and told in problems().
    void read(std::istream& file, std::string_view name);
    /// What is known of a device by its USB ID, by what it calls itself, or both.
    [[nodiscard]] Quirks of(const std::optional<UsbId>& id) const;
    [[nodiscard]] Quirks of(std::u16string_view manufacturer, std::u16string_view model) const;
    /// In sentences, with file and line.
    [[nodiscard]] const std::vector<std::string>& problems() const { return _problems; }

private:
    struct Row {
        std::optional<UsbId> id; ///< missing: by names
        bool anyProduct = false;
        std::string manufacturer; ///< may end in "*"
        std::string model;        ///< may end in "*"
        Quirks quirks;
    };
    [[nodiscard]] static std::optional<Row> parse(std::string_view line, std::string& problem);

    std::vector<Row> _rows;
    std::vector<std::string> _problems;
};

} // namespace mtpsdk
