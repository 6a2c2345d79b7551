// SPDX-License-Identifier: MIT
#pragma once

#include "device/MTPService/MTPServicePrivate.h"

#include <cstdint>
#include <optional>
#include <string>
#include <unordered_map>
#include <vector>

/// A storage's default folder of the media type that is synchronised.
struct SyncFolder {
    std::string path; ///< device path
    std::string volumePath;
    std::uint32_t diskIndex = 0;

    [[nodiscard]] std::string fileNamed(const std::string& name) const;
};

/// The storages' default folders in the order in which files are offered to them: the storage with disk index `start`,
/// the others of its kind (internal memory, memory card), then the rest. Asks the device for its storages when they are
/// not known yet; empty when there is none with such a folder.
[[nodiscard]] std::vector<SyncFolder> syncFolders(MTPServicePrivate& service, std::uint32_t mediaType,
                                                  std::uint32_t start);

/// A file that lies in one of the folders.
struct PresentFile {
    const SyncFolder* folder;
    std::uint64_t size; ///< bytes
    std::string nodeID;
};

/// What lies directly in the folders, by name without regard to case. The folders must outlive it.
class PresentFiles {
public:
    PresentFiles(MTPServicePrivate& service, const std::vector<SyncFolder>& folders, std::uint32_t mediaType);

    /// The file of that name and size; without one of that size the first of that name; null when there is none.
    [[nodiscard]] const PresentFile* find(const std::string& name, std::optional<std::uint64_t> size) const;
    /// A file was sent to the storage with that disk index, in place of the one of its name there.
    void add(const std::string& name, std::uint32_t diskIndex, std::uint64_t size, const std::string& nodeID);

    /// Equal for names that a folder cannot hold both of.
    [[nodiscard]] static std::string key(const std::string& name);

private:
    void read(MTPServicePrivate& service, const SyncFolder& folder, std::uint32_t mediaType);

    const std::vector<SyncFolder>& _folders;
    std::unordered_map<std::string, std::vector<PresentFile>> _files;
};
