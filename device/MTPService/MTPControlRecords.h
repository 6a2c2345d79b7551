// SPDX-License-Identifier: MIT
#pragma once

#include "device/MTPService/MTPControl.h"
#include "platform/Log.h"

#include <cstdint>
#include <exception>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

/// What MtpControl's source files share: texts of records and calls, owners of what one call needs, walks over lists.
namespace mtpcontrol {

/// Codes of the service's own, beside the library's statuses.
constexpr std::uint32_t noFolderReached = 0x20000002; ///< invalid input, or no storage or folder reached
constexpr std::uint32_t invalidSendInput = 0x23000001;
constexpr std::uint32_t invalidReceiveInput = 0x23000002;

/// Bits of a "MediaType" that mark its kind.
constexpr std::uint32_t musicBit = 0x1000000;
constexpr std::uint32_t videoBit = 0x2000000;
constexpr std::uint32_t imageBit = 0x4000000;

/// Writes an error argument, which may be null.
inline void setError(std::uint32_t* error, std::uint32_t value) {
    if (error != nullptr) {
        *error = value;
    }
}
inline void setError(std::uint32_t* error, DGSTATUS status) {
    setError(error, static_cast<std::uint32_t>(status));
}

inline bool isDuplicateName(DGSTATUS status) {
    return status == DGSTATUS_NODE_FILE_DUPNAME_EXISTED || status == DGSTATUS_NODE_FOLDER_DUPNAME_EXISTED;
}

/// Whether a node ID was given (reads as non-zero) that names no live node any more.
[[nodiscard]] bool isStale(const MtpControl::NodeID& nodeID);

void logException(const std::exception& exception);

/// At most `limit` code units of a text, up to its terminator: sizes in records are not trusted to match the text.
[[nodiscard]] std::span<const std::uint16_t> boundedUnits(const std::uint16_t* text, std::uint32_t limit);
/// The units of a node's text whose size counts the terminator.
[[nodiscard]] inline std::span<const std::uint16_t> nameUnits(const RecordText& text, std::uint32_t size) {
    return boundedUnits(text.get(), size == 0 ? 0 : size - 1);
}
/// The units of a storage's or playlist's name, whose size may or may not count a terminator.
[[nodiscard]] inline std::span<const std::uint16_t> labelUnits(const RecordText& text, std::uint32_t size) {
    return boundedUnits(text.get(), size);
}
[[nodiscard]] std::string textOf(std::span<const std::uint16_t> units);
/// The name of a file or folder node.
template <typename Node>
[[nodiscard]] std::string nameOf(const Node& node) {
    return textOf(nameUnits(node.name, node.nameSize));
}
/// As UTF-8; missing when the pointer is null or the conversion fails.
[[nodiscard]] std::optional<std::string> nodeText(const RecordText& text, std::uint32_t size);

/// Adds what a file's own record says: "FileSize", "IsReadOnly", "DateCreated", "DateModified".
void describeFile(const MtpControl& control, const _MTP_FILE_NODE& file, platform::Dictionary& info);

/// Compares record texts with one wanted name without regard to case. ASCII names, the usual ones, are compared where
/// they lie.
class NameMatcher {
public:
    explicit NameMatcher(std::string_view wanted);
    /// A text that cannot be converted is logged and matches nothing.
    [[nodiscard]] bool matches(std::span<const std::uint16_t> units) const;

private:
    [[nodiscard]] bool matchesAscii(std::span<const std::uint16_t> units) const;
    std::string _folded;
    bool _ascii = false;
};

/// A zero-terminated UTF-16 copy of a text, for one call of the library.
class CallText {
public:
    /// nullopt when memory runs out.
    [[nodiscard]] static std::optional<CallText> make(std::string_view text) noexcept;
    [[nodiscard]] static std::optional<CallText> makePrecomposed(std::string_view text) noexcept;

    [[nodiscard]] const std::uint16_t* data() const { return _units.data(); }
    [[nodiscard]] std::uint32_t unitsWithTerminator() const { return static_cast<std::uint32_t>(_units.size()); }
    [[nodiscard]] std::uint32_t bytesWithTerminator() const { return 2 * unitsWithTerminator(); }
    [[nodiscard]] std::uint32_t bytes() const { return bytesWithTerminator() - 2; }
    /// For the log.
    [[nodiscard]] std::string text() const;

private:
    explicit CallText(std::u16string_view text);
    std::vector<std::uint16_t> _units;
};

/// The first node from `node` on that matches; null at the end of the list or when a step fails.
template <typename Node, typename Next, typename Matches>
[[nodiscard]] Node* findNode(Node* node, Next&& next, Matches&& matches) {
    while (node != nullptr && !matches(*node)) {
        Node* following = nullptr;
        if (next(node, &following) != DGSTATUS_SUCCESS) {
            return nullptr;
        }
        node = following;
    }
    return node;
}

/// A storage list for one call: the caller's, or one that is fetched on the way and given back at the end.
class StorageHead {
public:
    StorageHead(MtpControl& control, _MTP_STORAGE_NODE* head)
        : _control(control)
        , _given(head)
        , _head(head) {}
    ~StorageHead() {
        if (_given == nullptr) {
            _control.releaseMTPStorageList(_head);
        }
    }
    StorageHead(const StorageHead&) = delete;
    StorageHead& operator=(const StorageHead&) = delete;

    [[nodiscard]] _MTP_STORAGE_NODE** address() { return &_head; }

private:
    MtpControl& _control;
    _MTP_STORAGE_NODE* _given;
    _MTP_STORAGE_NODE* _head;
};

/// A metadata record built for one send; goes back to the library when the send is over.
class MediaRecord {
public:
    /// The record of the dictionary's "MediaType" with its format; none when the type has no kind or memory runs out.
    MediaRecord(MtpControl& control, const platform::Dictionary& data);
    ~MediaRecord();
    MediaRecord(const MediaRecord&) = delete;
    MediaRecord& operator=(const MediaRecord&) = delete;

    [[nodiscard]] _MTP_MEDIA_FILE_INFO* get() const { return _record; }

private:
    MtpControl& _control;
    _MTP_MEDIA_FILE_INFO* _record = nullptr;
    std::uint16_t* _description = nullptr;
};

} // namespace mtpcontrol
