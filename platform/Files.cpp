// SPDX-License-Identifier: MIT
#include "platform/Files.h"

#include "platform/AtomicFile.h"
#include "platform/PosixFile.h"

#include <fcntl.h>
#include <linux/fs.h>
#include <sys/ioctl.h>
#include <sys/stat.h>
#include <sys/statvfs.h>

#include <algorithm>
#include <filesystem>
#include <vector>

namespace platform {

namespace {

std::error_code regularFileError(const struct stat& information) {
    if (S_ISREG(information.st_mode)) {
        return {};
    }
    return std::make_error_code(S_ISDIR(information.st_mode) ? std::errc::is_a_directory : std::errc::invalid_argument);
}

std::error_code openRegularFile(const Descriptor& source, std::uint64_t& size) {
    struct stat information {};
    if (!source || ::fstat(source.get(), &information) != 0) {
        return lastSystemError();
    }
    size = static_cast<std::uint64_t>(information.st_size);
    return regularFileError(information);
}

/// Copies in the kernel for as long as the file systems go along; what is left, or goes wrong, is copyBlocks' affair.
void copyRanges(int from, int to, std::uint64_t size, const std::stop_token& stop) {
    constexpr std::uint64_t longest = std::uint64_t{8} << 20; // a few milliseconds: a stop is soon seen
    while (size > 0 && !stop.stop_requested()) {
        const auto wanted = static_cast<std::size_t>(std::min(size, longest));
        const ssize_t copied =
            retryInterrupted([&] { return ::copy_file_range(from, nullptr, to, nullptr, wanted, 0); });
        if (copied <= 0) {
            return;
        }
        size -= static_cast<std::uint64_t>(copied);
    }
}

/// Copies from the current position to the end, which the file may have moved meanwhile.
std::error_code copyBlocks(int from, AtomicFile& to, const std::stop_token& stop) {
    constexpr std::size_t smallest = 4096;
    constexpr std::size_t largest = std::size_t{256} * 1024;
    std::vector<std::byte> block(smallest); // mostly all that is left is the end
    for (;;) {
        if (stop.stop_requested()) {
            return std::make_error_code(std::errc::operation_canceled);
        }
        const ssize_t size = retryInterrupted([&] { return ::read(from, block.data(), block.size()); });
        if (size < 0) {
            return lastSystemError();
        }
        if (size == 0) {
            return {};
        }
        if (const auto error = to.write(std::span(block).first(static_cast<std::size_t>(size)))) {
            return error;
        }
        block.resize(largest);
    }
}

} // namespace

bool fileExists(const std::string& path) {
    struct stat information {};
    return isPath(path) && ::stat(path.c_str(), &information) == 0;
}

std::optional<std::uint64_t> fileSize(const std::string& path, std::error_code* error) {
    struct stat information {};
    std::error_code reason;
    if (!isPath(path)) {
        reason = std::make_error_code(std::errc::invalid_argument);
    } else if (::stat(path.c_str(), &information) != 0) {
        reason = lastSystemError();
    } else {
        reason = regularFileError(information);
    }
    if (error) {
        *error = reason;
    }
    return reason ? std::nullopt : std::optional(static_cast<std::uint64_t>(information.st_size));
}

std::optional<std::uint64_t> fileSystemFreeSize(const std::string& path) {
    struct statvfs information {};
    if (!isPath(path) || retryInterrupted([&] { return ::statvfs(path.c_str(), &information); }) != 0) {
        return std::nullopt;
    }
    return std::uint64_t{information.f_bavail} * information.f_frsize;
}

std::error_code createFolders(const std::string& path) {
    if (!isPath(path)) {
        return std::make_error_code(std::errc::invalid_argument);
    }
    std::error_code error;
    std::filesystem::create_directories(path, error);
    return error;
}

std::error_code copyFile(const std::string& from, const std::string& to) {
    AtomicFile copy;
    const auto error = copyFile(from, to, copy, {});
    return error ? error : copy.commit();
}

std::error_code copyFile(const std::string& from, const std::string& to, AtomicFile& copy,
                         const std::stop_token& stop) {
    if (!isPath(from)) {
        return std::make_error_code(std::errc::invalid_argument);
    }
    // Not blocking: a pipe must be refused, not waited for.
    const Descriptor source(
        retryInterrupted([&] { return ::open(from.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK | O_NOCTTY); }));
    std::uint64_t size = 0;
    if (const auto error = openRegularFile(source, size)) {
        return error;
    }
    if (const auto error = copy.open(to)) {
        return error;
    }
    if (::ioctl(copy.descriptor(), FICLONE, source.get()) == 0) {
        return {};
    }
    copyRanges(source.get(), copy.descriptor(), size, stop);
    return copyBlocks(source.get(), copy, stop);
}

std::error_code removeFile(const std::string& path) {
    if (!isPath(path)) {
        return std::make_error_code(std::errc::invalid_argument);
    }
    return ::unlink(path.c_str()) == 0 ? std::error_code() : lastSystemError();
}

} // namespace platform
