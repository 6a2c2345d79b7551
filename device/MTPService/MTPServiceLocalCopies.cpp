// SPDX-License-Identifier: MIT
#include "device/MTPService/LocalCopy.h"
#include "device/MTPService/MethodTrace.h"
#include "platform/Files.h"
#include "platform/Log.h"
#include "platform/Paths.h"

#include <algorithm>
#include <filesystem>

namespace {

constexpr const char* temporaryFolder = "~/Tesvora/Lumo/Temp";
/// Bytes that a local copy leaves free: copies are a convenience, a full disk is none.
constexpr std::uint64_t freeSpaceReserve = 256ULL << 20U;

/// What is copied into a folder before its disk is asked again how much space it has.
constexpr std::uint64_t roomAtOnce = 64ULL << 20U;

/// Whether the copy has the source's size and is not older.
bool isUpToDate(const std::string& copy, const std::string& source, std::optional<std::uint64_t> sourceSize) {
    const auto size = platform::fileSize(copy);
    if (!size || size != sourceSize) {
        return false;
    }
    std::error_code copyError;
    std::error_code sourceError;
    const auto copyTime = std::filesystem::last_write_time(copy, copyError);
    const auto sourceTime = std::filesystem::last_write_time(source, sourceError);
    return !copyError && !sourceError && copyTime >= sourceTime;
}

} // namespace

MTPServicePrivate::Text MTPServicePrivate::localCopyPath(const std::string& devicePath) const {
    if (std::ranges::count(platform::pathComponents(devicePath), "..") != 0 ||
        devicePath.find('\0') != std::string::npos) {
        return std::nullopt;
    }
    return platform::expandingTilde(temporaryFolder) + devicePath;
}

bool MTPServicePrivate::copyMediaFileToLocalTempPath(const std::string& sourcePath, const std::string& targetPath,
                                                     std::uint32_t /*mediaType*/) const {
    const MethodTrace trace(6);
    LocalFolders folders;
    LocalCopy copy;
    return copy.prepare(*this, folders, sourcePath, targetPath, {}) && copy.keep();
}

bool LocalFolders::prepare(const MTPServicePrivate& service, const std::string& folder, std::uint64_t size) {
    if (folder == _folder && size <= _room) {
        _room -= size;
        return true;
    }
    _folder.clear();
    if (const std::error_code error = platform::createFolders(folder)) {
        QD_LOG(3, "Create %@ folder is fail. Error = %@", folder, error.message());
        return false;
    }
    const std::uint64_t free =
        std::min(service.volumeFreeSpace(folder), platform::fileSystemFreeSize(folder).value_or(0));
    if (free < size + freeSpaceReserve) {
        return false;
    }
    _folder = folder;
    _room = std::min(free - size - freeSpaceReserve, roomAtOnce);
    return true;
}

bool LocalCopy::prepare(const MTPServicePrivate& service, LocalFolders& folders, const std::string& source,
                        const std::string& target, const std::stop_token& stop) {
    const std::optional<std::string> copy = target.starts_with('/') ? service.localCopyPath(target) : std::nullopt;
    if (!copy) {
        QD_LOG(3, "%@ has no local temp file.", target);
        return false;
    }
    _path = *copy;
    const std::optional<std::uint64_t> size = platform::fileSize(source);
    _isThere = isUpToDate(_path, source, size);
    if (_isThere) {
        QD_LOG(5, "Already exist local temp file : %@", _path);
        return true;
    }
    if (!folders.prepare(service, platform::deletingLastPathComponent(_path), size.value_or(0))) {
        QD_LOG(5, "No space for local temp file : %@", _path);
        return false;
    }
    const std::error_code error = platform::copyFile(source, _path, _file, stop);
    if (error && !stop.stop_requested()) {
        folders = LocalFolders(); // the next file looks for itself whether the folder is there
        QD_LOG(3, "Copy %@ to %@ is fail. Error = %@", source, _path, error.message());
    }
    return !error;
}

bool LocalCopy::keep() {
    if (_isThere) {
        return true;
    }
    if (const std::error_code error = _file.commit()) {
        QD_LOG(3, "Write %@ is fail. Error = %@", _path, error.message());
        return false;
    }
    return true;
}
