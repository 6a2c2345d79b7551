// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <optional>
#include <stop_token>
#include <string>
#include <system_error>

/// Local files. Nothing here throws; failures come back as an error code or as missing.
namespace platform {

class AtomicFile;

[[nodiscard]] bool fileExists(const std::string& path);
/// Size of a regular file in bytes; nullopt (and the reason in `error` when given) when it cannot be read.
[[nodiscard]] std::optional<std::uint64_t> fileSize(const std::string& path, std::error_code* error = nullptr);
/// Free bytes for this user on the file system that holds `path`; nullopt when there is none.
[[nodiscard]] std::optional<std::uint64_t> fileSystemFreeSize(const std::string& path);
/// Makes the folder and all that is missing above it. Succeeds when it is there already.
[[nodiscard]] std::error_code createFolders(const std::string& path);
/// A copy with content of its own: a reflink where the file system can, else a kernel copy, never a hard link. Written
/// aside and renamed, so `to` is whole or untouched.
[[nodiscard]] std::error_code copyFile(const std::string& from, const std::string& to);
/// The first half of copyFile: the content lies in `copy`, which becomes `to` when it is committed. A stop that is
/// asked for on another thread ends it between two blocks with std::errc::operation_canceled.
[[nodiscard]] std::error_code copyFile(const std::string& from, const std::string& to, AtomicFile& copy,
                                       const std::stop_token& stop);
[[nodiscard]] std::error_code removeFile(const std::string& path);

} // namespace platform
