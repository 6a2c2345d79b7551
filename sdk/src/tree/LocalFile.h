// SPDX-License-Identifier: MIT
#pragma once

#include "vemomtpsdk/Status.h"

#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <system_error>

namespace mtpsdk {

/// A local regular file that is read once from its beginning, expected not to change meanwhile.
class LocalFile {
public:
    LocalFile() = default;
    ~LocalFile();
    LocalFile(const LocalFile&) = delete;
    LocalFile& operator=(const LocalFile&) = delete;

    /// A path that does not exist as it stands is looked for under names that differ in composition only, since callers
    /// pass precomposed paths and disks may hold decomposed ones. DGSTATUS_FILE_ACCESS_DENIED, or
    /// DGSTATUS_FILE_OPEN_FAILED when it is missing or not a regular file.
    [[nodiscard]] DGSTATUS open(const std::string& path);
    [[nodiscard]] std::uint64_t size() const { return _size; } ///< bytes, at the time of opening
    /// MTP date text of the last modification, in local time.
    [[nodiscard]] std::u16string modified() const;

    /// Fills the block as far as the file's announced size reaches. Negative when the file cannot be read or is no
    /// longer as long as it was.
    [[nodiscard]] std::ptrdiff_t read(std::span<std::byte> block);
    [[nodiscard]] bool failed() const { return _failed; }

private:
    [[nodiscard]] bool grew();

    int _descriptor = -1;
    std::uint64_t _size = 0;
    std::uint64_t _position = 0;
    std::int64_t _modified = 0; ///< seconds since 1970
    bool _failed = false;
};

/// What a failure to open or create a local file is called.
[[nodiscard]] DGSTATUS statusOfOpening(const std::error_code& error);

} // namespace mtpsdk
