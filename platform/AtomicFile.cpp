// SPDX-License-Identifier: MIT
#include "platform/AtomicFile.h"

#include "platform/Paths.h"
#include "platform/PosixFile.h"
#include "platform/TemporaryNames.h"

#include <fcntl.h>
#include <fmt/format.h>
#include <sys/file.h>
#include <sys/stat.h>

#include <algorithm>
#include <atomic>
#include <cstdio>
#include <filesystem>
#include <optional>

namespace platform {

namespace {

/// The folder part of a path as it is passed to the system; "." for a bare name.
std::string folderOf(const std::string& path) {
    const std::string folder = deletingLastPathComponent(path);
    return folder.empty() ? "." : folder;
}

constexpr std::string_view temporaryPrefix = ".mtpservice-";
constexpr std::string_view temporarySuffix = ".tmp";

/// The process that writes, or wrote, a temporary file; nothing for a file of another name.
std::optional<pid_t> writerOf(std::string_view name) {
    return name.ends_with(temporarySuffix) ? ownerOfTemporary(name, temporaryPrefix) : std::nullopt;
}

/// Refuses what the rename at the end would refuse, before anything is written: a folder, a name too long.
std::error_code checkTarget(const std::string& target) {
    if (!isPath(target)) {
        return std::make_error_code(std::errc::invalid_argument);
    }
    struct stat information {};
    if (::lstat(target.c_str(), &information) == 0) {
        return S_ISDIR(information.st_mode) ? std::make_error_code(std::errc::is_a_directory) : std::error_code();
    }
    return errno == ENOENT && target.back() != '/' ? std::error_code() : lastSystemError();
}

std::error_code syncFolder(const std::string& folder) {
    const Descriptor descriptor(::open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    // Not every file system lets a folder be opened or synced; the content is on the disk either way.
    if (descriptor && ::fsync(descriptor.get()) != 0 && errno == EIO) {
        return lastSystemError();
    }
    return {};
}

} // namespace

AtomicFile::~AtomicFile() {
    discard();
}

void AtomicFile::discard() {
    if (_descriptor >= 0) {
        ::close(_descriptor);
        _descriptor = -1;
    }
    if (!_temporary.empty()) {
        ::unlink(_temporary.c_str());
        _temporary.clear();
    }
    _failure.clear();
}

std::error_code AtomicFile::open(const std::string& target) {
    discard();
    if (const auto error = checkTarget(target)) {
        return error;
    }
    _target = target;
    return createTemporary(folderOf(target));
}

std::error_code AtomicFile::createTemporary(const std::string& folder) {
    // The name does not hold the target's, which may already be as long as a name can be.
    static std::atomic<unsigned> counter{0};
    constexpr int attempts = 1000; // left-overs of a crashed process with the same number
    for (int i = 0; i < attempts; ++i) {
        std::string name =
            fmt::format("{}/{}{:x}{}", folder, ownTemporaryName(temporaryPrefix), counter++, temporarySuffix);
        _descriptor = retryInterrupted(
            [&] { return ::open(name.c_str(), O_RDWR | O_CREAT | O_EXCL | O_CLOEXEC | O_NOFOLLOW, 0666); });
        if (_descriptor >= 0) {
            _temporary = std::move(name);
            (void) ::flock(_descriptor, LOCK_EX | LOCK_NB); // tells others that it is written; not all disks have locks
            return {};
        }
        if (errno != EEXIST) {
            break;
        }
    }
    return lastSystemError();
}

std::error_code AtomicFile::write(std::span<const std::byte> block) {
    if (_descriptor < 0) {
        return std::make_error_code(std::errc::bad_file_descriptor);
    }
    while (!_failure && !block.empty()) {
        const ssize_t written = retryInterrupted([&] { return ::write(_descriptor, block.data(), block.size()); });
        if (written < 0) {
            _failure = lastSystemError();
        } else {
            block = block.subspan(static_cast<std::size_t>(written));
        }
    }
    return _failure;
}

std::error_code AtomicFile::write(std::string_view text) {
    return write(std::as_bytes(std::span(text)));
}

std::error_code AtomicFile::finishContent(Sync sync) {
    if (_descriptor < 0) {
        return std::make_error_code(std::errc::bad_file_descriptor);
    }
    if (_failure) {
        return _failure;
    }
    if (sync == Sync::yes && retryInterrupted([this] { return ::fsync(_descriptor); }) != 0) {
        return lastSystemError();
    }
    // Some file systems report a full disk only here.
    const int closed = ::close(_descriptor);
    _descriptor = -1;
    return closed == 0 || errno == EINTR ? std::error_code() : lastSystemError();
}

std::error_code AtomicFile::commit(Sync sync) {
    std::error_code error = finishContent(sync);
    if (!error && std::rename(_temporary.c_str(), _target.c_str()) != 0) {
        error = lastSystemError();
    }
    if (error) {
        discard();
        return error;
    }
    _temporary.clear();
    return sync == Sync::yes ? syncFolder(folderOf(_target)) : std::error_code();
}

std::error_code writeFileAtomically(const std::string& target, std::string_view content) {
    AtomicFile file;
    if (const auto error = file.open(target)) {
        return error;
    }
    if (const auto error = file.write(content)) {
        return error;
    }
    return file.commit(AtomicFile::Sync::yes);
}

void removeAbandonedTemporaries(const std::string& folder) {
    namespace fs = std::filesystem;
    std::error_code error;
    for (fs::directory_iterator entry(folder, error), end; !error && entry != end; entry.increment(error)) {
        const std::string path = entry->path().string();
        const auto writer = writerOf(lastPathComponent(path));
        if (writer && isAbandoned(path, *writer, O_RDWR)) {
            ::unlink(path.c_str());
        }
    }
}

} // namespace platform
