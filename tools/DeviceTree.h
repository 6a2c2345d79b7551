// SPDX-License-Identifier: MIT
#pragma once

#include "tools/Console.h"
#include "tools/DevicePath.h"
#include "tools/DeviceSession.h"
#include "tools/Failure.h"

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <unordered_map>
#include <vector>

namespace tool {

/// Why an entry with a twin is left alone.
inline constexpr const char* kTwinReason =
    "another name beside it differs in upper and lower case only, so the two cannot be told apart; rename one";

/// A file or folder on the device.
struct DeviceEntry {
    std::string path; ///< whole, as the device spells it
    std::string name;
    std::uint64_t size = 0;
    bool isFolder = false;
    std::size_t storage = 0; ///< position in the list of storages
    /// Another name in the folder equals this one but for case. The service cannot tell the two apart, so nothing that
    /// reads, replaces or removes may be done by this path.
    bool hasTwin = false;
    platform::Dictionary information = {}; ///< what the service tells of it; empty for a storage
};

/// What a person means by device paths, looked up component by component in the listings of the folders, so that never
/// something else is taken for what is not there. Listing a folder also makes the service remember its objects, through
/// which its requests then reach exactly those. Listings are kept for as long as the tree lives.
class DeviceTree {
public:
    explicit DeviceTree(DeviceSession& session);

    /// The entries that a path means; a * or ? in its last component may mean several. Empty, with the reason in
    /// `problem`, when there is none or it cannot be told which.
    [[nodiscard]] std::vector<DeviceEntry> find(const std::string& path, std::string& problem);
    /// The entry of exactly this path of the service's own spelling (a default folder, a playlist's file).
    [[nodiscard]] std::optional<DeviceEntry> findWhole(const std::string& path);

    /// The storages themselves, as folders.
    [[nodiscard]] std::vector<DeviceEntry> storages() const;
    /// What lies directly in a folder: folders, then files, each by name. Nothing of a folder that lies deeper than the
    /// service goes (see leftOut).
    [[nodiscard]] const std::vector<DeviceEntry>& list(const DeviceEntry& folder);
    /// Every entry below a folder, folders before what is in them. Ends early when `isStopped` says so; a folder that
    /// cannot be listed is told to `onFailure`, or ends it with a Failure without one.
    void walk(const DeviceEntry& top, const std::function<bool()>& isStopped,
              const std::function<void(const DeviceEntry&)>& visit,
              const std::function<void(const Failure&)>& onFailure = {});
    /// The folders whose content was left out since they lie too deep.
    [[nodiscard]] const std::vector<std::string>& leftOut() const { return _leftOut; }

    [[nodiscard]] bool isStorage(const DeviceEntry& entry) const { return entry.path == _volumes[entry.storage]; }
    /// The storage's "diskIndex".
    [[nodiscard]] std::uint32_t diskIndex(const DeviceEntry& entry) const;

private:
    [[nodiscard]] DeviceEntry root(std::size_t storage) const;
    std::vector<DeviceEntry> descend(const DevicePath& path, std::string& problem);
    std::vector<DeviceEntry> childrenCalled(const DeviceEntry& folder, const std::string& name, bool allowsPattern,
                                            std::string& problem);
    void markTwins(std::vector<DeviceEntry>& entries) const;

    DeviceSession& _session;
    std::vector<std::string> _volumes;
    std::unordered_map<std::string, std::vector<DeviceEntry>> _listings; ///< by path
    std::vector<std::string> _leftOut;
};

/// Tells the person which folders were left out; whether there were any.
bool tellLeftOut(const DeviceTree& tree, Console& console);

} // namespace tool
