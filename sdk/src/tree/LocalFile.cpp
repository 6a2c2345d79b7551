// SPDX-License-Identifier: MIT
#include "tree/LocalFile.h"

#include "platform/Dates.h"
#include "platform/Paths.h"
#include "platform/Strings.h"

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <dirent.h>
#include <fcntl.h>
#include <memory>
#include <sys/stat.h>
#include <unistd.h>

namespace mtpsdk {
namespace {

/// Smaller files are read at once.
constexpr std::uint64_t readAheadFrom = 1 << 20;

bool exists(const std::string& path) {
    struct stat found {};
    return lstat(path.c_str(), &found) == 0 || errno != ENOENT;
}

/// The entry of the folder that equals `name` when both are precomposed; `name` itself when there is none.
std::string entryLike(const std::string& folder, const std::string& name) {
    const std::unique_ptr<DIR, int (*)(DIR*)> directory(opendir(folder.empty() ? "." : folder.c_str()), closedir);
    const std::string wanted = platform::precomposed(name);
    while (const dirent* entry = directory == nullptr ? nullptr : readdir(directory.get())) {
        if (platform::precomposed(entry->d_name) == wanted) {
            return entry->d_name;
        }
    }
    return name;
}

/// The path as the disk spells it, for one that is there under another composition.
std::string pathOnDisk(const std::string& path) {
    std::string found;
    for (const std::string& component : platform::pathComponents(path)) {
        const std::string folder = found;
        if (!found.empty() && found.back() != '/') {
            found += '/';
        }
        found += exists(found + component) ? component : entryLike(folder, component);
    }
    return found;
}

} // namespace

DGSTATUS statusOfOpening(const std::error_code& error) {
    if (error == std::errc::permission_denied || error == std::errc::operation_not_permitted ||
        error == std::errc::read_only_file_system) {
        return DGSTATUS_FILE_ACCESS_DENIED;
    }
    if (error == std::errc::filename_too_long || error == std::errc::invalid_argument ||
        error == std::errc::illegal_byte_sequence) {
        return DGSTATUS_FILE_INVALID_CHAR;
    }
    if (error == std::errc::no_space_on_device) {
        return DGSTATUS_FILE_WRITE_FAILED;
    }
    return DGSTATUS_FILE_OPEN_FAILED;
}

LocalFile::~LocalFile() {
    if (_descriptor >= 0) {
        close(_descriptor);
    }
}

DGSTATUS LocalFile::open(const std::string& path) {
    // Not blocking, so that a pipe which nobody writes to is refused rather than waited for.
    constexpr int flags = O_RDONLY | O_CLOEXEC | O_NONBLOCK;
    _descriptor = ::open(path.c_str(), flags);
    if (_descriptor < 0 && !exists(path)) {
        _descriptor = ::open(pathOnDisk(path).c_str(), flags);
    }
    if (_descriptor < 0) {
        const DGSTATUS status = statusOfOpening({errno, std::generic_category()});
        return status == DGSTATUS_FILE_ACCESS_DENIED ? status : DGSTATUS_FILE_OPEN_FAILED;
    }
    struct stat found {};
    if (fstat(_descriptor, &found) != 0 || !S_ISREG(found.st_mode)) {
        return DGSTATUS_FILE_OPEN_FAILED;
    }
    _size = static_cast<std::uint64_t>(found.st_size);
    _modified = found.st_mtime;
    if (_size > readAheadFrom) {
        posix_fadvise(_descriptor, 0, 0, POSIX_FADV_SEQUENTIAL);
    }
    return DGSTATUS_SUCCESS;
}

std::u16string LocalFile::modified() const {
    const platform::Date date{std::chrono::sys_seconds(std::chrono::seconds(_modified))};
    const platform::CalendarDate local = platform::localCalendarFromDate(date);
    char text[64] = {};
    std::snprintf(text, sizeof text, "%04d%02d%02dT%02d%02d%02d.0", local.year, local.month, local.day, local.hour,
                  local.minute, local.second);
    return platform::toUtf16(text);
}

std::ptrdiff_t LocalFile::read(std::span<std::byte> block) {
    const std::size_t wanted = std::min<std::uint64_t>(block.size(), _size - _position);
    std::size_t filled = 0;
    while (filled < wanted) {
        const ssize_t count = ::read(_descriptor, block.data() + filled, wanted - filled);
        if (count < 0 && errno == EINTR) {
            continue;
        }
        if (count <= 0) {
            _failed = true;
            return -1;
        }
        filled += static_cast<std::size_t>(count);
    }
    _position += filled;
    if (_position == _size && grew()) {
        _failed = true;
        return -1;
    }
    return static_cast<std::ptrdiff_t>(filled);
}

bool LocalFile::grew() {
    char next = 0;
    return ::read(_descriptor, &next, 1) > 0;
}

} // namespace mtpsdk
