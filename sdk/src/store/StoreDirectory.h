// SPDX-License-Identifier: MIT
#pragma once

#include "store/StoreTree.h"

#include <cstdint>
#include <list>
#include <string>
#include <utility>
#include <vector>

namespace mtpsdk {

/// What a folder on disk holds under one name.
struct DirectoryEntry {
    std::string name;
    bool folder = false;
    bool readOnly = false;
    bool linked = false; ///< has other names too, so it was made whole
    std::uint64_t size = 0;
    std::int64_t modified = 0; ///< seconds
};

/// Regular files and folders with tellable names, sorted by name; links are not followed, everything else is left out.
/// false when the folder cannot be read.
[[nodiscard]] bool readDirectory(int descriptor, std::vector<DirectoryEntry>& entries);
/// One name of a folder; false when there is no regular file or folder of that name.
[[nodiscard]] bool readEntry(int descriptor, const std::string& name, DirectoryEntry& entry);
/// The folder's modification time in nanoseconds; 0 when it cannot be told.
[[nodiscard]] std::int64_t modificationTime(int descriptor);
/// Moves within one file system, never over something. Errors as the system's, 0 for success.
[[nodiscard]] int renameWithoutReplacing(int fromFolder, const std::string& from, int toFolder, const std::string& to);

/// Open descriptors of the folders lately used. A folder is reached from its storage's root name by name, so that no
/// link on the way is followed and no path is too long.
class FolderDescriptors {
public:
    FolderDescriptors() = default;
    ~FolderDescriptors();
    FolderDescriptors(const FolderDescriptors&) = delete;
    FolderDescriptors& operator=(const FolderDescriptors&) = delete;

    /// Opens a storage's folder. false when it is no folder.
    [[nodiscard]] bool addRoot(const StoreNode& root, const std::string& path);
    /// Valid until the next call; -1 when the folder is not there any more.
    [[nodiscard]] int descriptor(const StoreNode& folder);
    void forget(const StoreNode& folder);

private:
    using Entry = std::pair<const StoreNode*, int>;
    [[nodiscard]] int cached(const StoreNode& folder);
    void keep(const StoreNode& folder, int descriptor);

    std::vector<Entry> _roots;
    std::list<Entry> _recent; ///< the latest first
};

} // namespace mtpsdk
