// SPDX-License-Identifier: MIT
#include "platform/ScratchFolder.h"

#include "platform/Paths.h"
#include "platform/PosixFile.h"
#include "platform/TemporaryNames.h"

#include <cstdlib>
#include <fcntl.h>
#include <filesystem>
#include <sys/file.h>
#include <sys/stat.h>

namespace platform {
namespace {

namespace fs = std::filesystem;

constexpr int folderFlags = O_RDONLY | O_DIRECTORY;

/// Of a folder that several people share, only what is one's own.
bool isOwn(const std::string& path) {
    struct stat information {};
    return ::lstat(path.c_str(), &information) == 0 && S_ISDIR(information.st_mode) &&
           information.st_uid == ::geteuid();
}

void removeAbandonedFolders(const std::string& above, std::string_view prefix) {
    std::error_code error;
    for (fs::directory_iterator entry(above, error), end; !error && entry != end; entry.increment(error)) {
        const std::string path = entry->path().string();
        const auto owner = ownerOfTemporary(lastPathComponent(path), prefix);
        if (owner && isOwn(path) && isAbandoned(path, *owner, folderFlags)) {
            std::error_code ignored;
            fs::remove_all(path, ignored);
        }
    }
}

} // namespace

ScratchFolder::~ScratchFolder() {
    if (!_path.empty()) {
        std::error_code ignored;
        fs::remove_all(_path, ignored);
    }
    if (_descriptor >= 0) {
        ::close(_descriptor);
    }
}

std::error_code ScratchFolder::create(const std::string& above, std::string_view prefix) {
    removeAbandonedFolders(above, prefix);
    std::string path = above + "/" + ownTemporaryName(prefix) + "XXXXXX";
    if (::mkdtemp(path.data()) == nullptr) {
        return lastSystemError();
    }
    _path = path;
    _descriptor = ::open(path.c_str(), folderFlags | O_CLOEXEC);
    if (_descriptor >= 0) {
        (void) ::flock(_descriptor, LOCK_EX | LOCK_NB); // not all disks have locks
    }
    return {};
}

} // namespace platform
