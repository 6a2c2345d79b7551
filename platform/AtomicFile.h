// SPDX-License-Identifier: MIT
#pragma once

#include "platform/Export.h"

#include <cstddef>
#include <span>
#include <string>
#include <string_view>
#include <system_error>

namespace platform {

/// A file that appears whole or not at all: written under a temporary name in the target's folder and renamed over the
/// target by commit(). Destroying an uncommitted file removes the temporary one; a file that was there is untouched.
class MTPSERVICE_EXPORT AtomicFile {
public:
    AtomicFile() = default;
    ~AtomicFile();
    AtomicFile(const AtomicFile&) = delete;
    AtomicFile& operator=(const AtomicFile&) = delete;

    /// Starts anew; what was written before without commit() is given up.
    [[nodiscard]] std::error_code open(const std::string& target);
    /// Writes all of the block. After a failure commit() fails with the same error, so a short file never appears.
    [[nodiscard]] std::error_code write(std::span<const std::byte> block);
    [[nodiscard]] std::error_code write(std::string_view text);
    enum class Sync { no, yes };
    /// Renames over the target; with Sync::yes the content is on the disk before the rename.
    [[nodiscard]] std::error_code commit(Sync sync = Sync::no);
    /// The temporary file's descriptor, for kernel copies into it; -1 when none is open. Still owned by this object.
    [[nodiscard]] int descriptor() const { return _descriptor; }

private:
    void discard();
    std::error_code createTemporary(const std::string& folder);
    std::error_code finishContent(Sync sync);
    int _descriptor = -1;
    std::error_code _failure;
    std::string _target;
    std::string _temporary;
};

/// Writes `content` to `target` through an AtomicFile, synced.
[[nodiscard]] MTPSERVICE_EXPORT std::error_code writeFileAtomically(const std::string& target,
                                                                    std::string_view content);

/// Removes the temporary files that killed processes have left directly in a folder; those still written stay.
MTPSERVICE_EXPORT void removeAbandonedTemporaries(const std::string& folder);

} // namespace platform
