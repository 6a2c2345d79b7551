// SPDX-License-Identifier: MIT
#pragma once

#include <cstddef>
#include <span>
#include <string>
#include <string_view>
#include <system_error>

namespace platform {

/// A file that appears whole or not at all: written under a temporary name in the target's folder and renamed over the
/// target by commit(). Destroying an uncommitted file removes the temporary one; a file that was there is untouched.
class AtomicFile {
public:
    AtomicFile() = default;
    ~AtomicFile();
    AtomicFile(const AtomicFile&) = delete;
    AtomicFile& operator=(const AtomicFile&) = delete;

    [[nodiscard]] std::error_code open(const std::string& target);
    [[nodiscard]] std::error_code write(std::span<const std::byte> block);
    [[nodiscard]] std::error_code write(std::string_view text);
    enum class Sync { no, yes };
    /// Renames over the target; with Sync::yes the content is on the disk before the rename.
    [[nodiscard]] std::error_code commit(Sync sync = Sync::no);

private:
    void discard();
    int _descriptor = -1;
    std::string _target;
    std::string _temporary;
};

/// Writes `content` to `target` through an AtomicFile, synced.
[[nodiscard]] std::error_code writeFileAtomically(const std::string& target, std::string_view content);

} // namespace platform
