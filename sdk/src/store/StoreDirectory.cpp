// SPDX-License-Identifier: MIT
#include "store/StoreDirectory.h"

#include "platform/PosixFile.h"
#include "store/StoreNames.h"

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <dirent.h>
#include <fcntl.h>
#include <memory>
#include <sys/stat.h>
#include <unistd.h>

namespace mtpsdk {

namespace {

constexpr std::size_t keptDescriptors = 16;
constexpr int folderFlags = O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC;

bool fillEntry(int descriptor, DirectoryEntry& entry) {
    struct stat information {};
    if (::fstatat(descriptor, entry.name.c_str(), &information, AT_SYMLINK_NOFOLLOW) != 0) {
        return false;
    }
    entry.folder = S_ISDIR(information.st_mode);
    if (!entry.folder && !S_ISREG(information.st_mode)) {
        return false;
    }
    entry.readOnly = (information.st_mode & S_IWUSR) == 0;
    entry.linked = information.st_nlink > 1;
    entry.size = entry.folder ? 0 : static_cast<std::uint64_t>(information.st_size);
    entry.modified = information.st_mtim.tv_sec;
    return true;
}

bool mayBeShown(const dirent& entry) {
    const bool rightKind = entry.d_type == DT_REG || entry.d_type == DT_DIR || entry.d_type == DT_UNKNOWN;
    return rightKind && std::strcmp(entry.d_name, ".") != 0 && std::strcmp(entry.d_name, "..") != 0 &&
           isTellableName(entry.d_name);
}

} // namespace

bool readEntry(int descriptor, const std::string& name, DirectoryEntry& entry) {
    entry.name = name;
    return isTellableName(name) && fillEntry(descriptor, entry);
}

bool readDirectory(int descriptor, std::vector<DirectoryEntry>& entries) {
    // A descriptor of its own: the stream's position and closing are no business of the one given.
    const int own = ::openat(descriptor, ".", folderFlags);
    if (own < 0) {
        return false;
    }
    const std::unique_ptr<DIR, int (*)(DIR*)> stream(::fdopendir(own), ::closedir);
    if (!stream) {
        ::close(own);
        return false;
    }
    errno = 0;
    while (const dirent* const found = ::readdir(stream.get())) {
        if (mayBeShown(*found)) {
            DirectoryEntry entry;
            entry.name = found->d_name;
            if (fillEntry(descriptor, entry)) {
                entries.push_back(std::move(entry));
            }
        }
        errno = 0;
    }
    std::sort(entries.begin(), entries.end(),
              [](const DirectoryEntry& left, const DirectoryEntry& right) { return left.name < right.name; });
    return errno == 0;
}

std::int64_t modificationTime(int descriptor) {
    struct stat information {};
    if (::fstat(descriptor, &information) != 0) {
        return 0;
    }
    return std::int64_t{information.st_mtim.tv_sec} * 1'000'000'000 + information.st_mtim.tv_nsec;
}

int renameWithoutReplacing(int fromFolder, const std::string& from, int toFolder, const std::string& to) {
    if (::renameat2(fromFolder, from.c_str(), toFolder, to.c_str(), RENAME_NOREPLACE) == 0) {
        return 0;
    }
    if (errno != EINVAL && errno != ENOSYS) {
        return errno;
    }
    // File systems that do not know the flag: files by a second name, folders by asking first.
    if (::linkat(fromFolder, from.c_str(), toFolder, to.c_str(), 0) == 0) {
        return ::unlinkat(fromFolder, from.c_str(), 0) == 0 ? 0 : errno;
    }
    if (errno == EEXIST) {
        return EEXIST;
    }
    struct stat information {};
    if (::fstatat(toFolder, to.c_str(), &information, AT_SYMLINK_NOFOLLOW) == 0) {
        return EEXIST;
    }
    return ::renameat(fromFolder, from.c_str(), toFolder, to.c_str()) == 0 ? 0 : errno;
}

FolderDescriptors::~FolderDescriptors() {
    for (const auto& [node, descriptor] : _roots) {
        ::close(descriptor);
    }
    for (const auto& [node, descriptor] : _recent) {
        ::close(descriptor);
    }
}

bool FolderDescriptors::addRoot(const StoreNode& root, const std::string& path) {
    const int descriptor = ::open(path.c_str(), folderFlags);
    if (descriptor < 0) {
        return false;
    }
    _roots.emplace_back(&root, descriptor);
    return true;
}

int FolderDescriptors::cached(const StoreNode& folder) {
    const auto matches = [&folder](const Entry& entry) { return entry.first == &folder; };
    if (folder.above == nullptr) {
        const auto root = std::find_if(_roots.begin(), _roots.end(), matches);
        return root != _roots.end() ? root->second : -1;
    }
    const auto found = std::find_if(_recent.begin(), _recent.end(), matches);
    if (found == _recent.end()) {
        return -1;
    }
    _recent.splice(_recent.begin(), _recent, found);
    return found->second;
}

void FolderDescriptors::keep(const StoreNode& folder, int descriptor) {
    _recent.emplace_front(&folder, descriptor);
    if (_recent.size() > keptDescriptors) {
        ::close(_recent.back().second);
        _recent.pop_back();
    }
}

int FolderDescriptors::descriptor(const StoreNode& folder) {
    std::vector<const StoreNode*> missing;
    const StoreNode* node = &folder;
    int current = cached(*node);
    while (current < 0 && node->above != nullptr) {
        missing.push_back(node);
        node = node->above;
        current = cached(*node);
    }
    for (auto below = missing.rbegin(); below != missing.rend() && current >= 0; ++below) {
        current = ::openat(current, (*below)->name.c_str(), folderFlags);
        if (current >= 0) {
            keep(**below, current);
        }
    }
    return current;
}

void FolderDescriptors::forget(const StoreNode& folder) {
    const auto found =
        std::find_if(_recent.begin(), _recent.end(), [&folder](const Entry& entry) { return entry.first == &folder; });
    if (found != _recent.end()) {
        ::close(found->second);
        _recent.erase(found);
    }
}

} // namespace mtpsdk
