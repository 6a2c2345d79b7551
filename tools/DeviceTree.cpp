// SPDX-License-Identifier: MIT
#include "tools/DeviceTree.h"

#include "platform/Strings.h"
#include "tools/Failure.h"
#include "tools/ScreenText.h"

#include <algorithm>
#include <utility>

namespace tool {
namespace {

/// Folders in folders: as deep as the service's own walks go.
constexpr int greatestDepth = 1000;

void addEntries(std::vector<DeviceEntry>& entries, const platform::Array& listed, const DeviceEntry& folder,
                bool isFolder) {
    for (const platform::Value& value : listed) {
        const platform::Dictionary* file = value.dictionary();
        const auto name = file ? file->string("FileName") : std::nullopt;
        if (name && !name->empty()) {
            entries.push_back({.path = folder.path + "/" + *name,
                               .name = *name,
                               .size = file->uint64("FileSize").value_or(0),
                               .isFolder = isFolder,
                               .storage = folder.storage,
                               .information = *file});
        }
    }
}

} // namespace

DeviceTree::DeviceTree(DeviceSession& session)
    : _session(session) {
    for (const platform::Value& storage : session.storages()) {
        _volumes.push_back(storage.dictionary()->string("volumePath").value_or(""));
    }
}

DeviceEntry DeviceTree::root(std::size_t storage) const {
    return {.path = _volumes[storage],
            .name = storageLabel(*_session.storages()[storage].dictionary()),
            .isFolder = true,
            .storage = storage};
}

std::vector<DeviceEntry> DeviceTree::storages() const {
    std::vector<DeviceEntry> entries;
    for (std::size_t storage = 0; storage < _volumes.size(); ++storage) {
        entries.push_back(root(storage));
    }
    return entries;
}

std::uint32_t DeviceTree::diskIndex(const DeviceEntry& entry) const {
    return _session.storages()[entry.storage].dictionary()->uint32("diskIndex").value_or(0);
}

std::vector<DeviceEntry> DeviceTree::find(const std::string& path, std::string& problem) {
    const auto parsed = parseDevicePath(path, _volumes, problem);
    if (!parsed) {
        return {};
    }
    const bool isDoubtful = parsed->namesOnlyStorage && !parsed->components.empty();
    if (isDoubtful) {
        std::string ignored;
        if (!childrenCalled(root(parsed->storage), root(parsed->storage).name, false, ignored).empty()) {
            problem = "the storage and a folder in it are called so; give the whole path: " +
                      safeText(root(parsed->storage).path) + "/…";
            return {};
        }
    }
    return descend(*parsed, problem);
}

std::optional<DeviceEntry> DeviceTree::findWhole(const std::string& path) {
    std::string problem;
    const auto parsed = parseDevicePath(path, _volumes, problem);
    if (!parsed) {
        return std::nullopt;
    }
    DeviceEntry entry = root(parsed->storage);
    for (const std::string& name : parsed->components) {
        auto children = childrenCalled(entry, name, false, problem);
        if (children.size() != 1) {
            return std::nullopt;
        }
        entry = std::move(children.front());
    }
    return entry;
}

std::vector<DeviceEntry> DeviceTree::descend(const DevicePath& path, std::string& problem) {
    std::vector<DeviceEntry> entries{root(path.storage)};
    for (std::size_t depth = 0; depth < path.components.size(); ++depth) {
        const DeviceEntry folder = entries.front();
        if (!folder.isFolder) {
            problem = safeText(folder.path) + " is no folder";
            return {};
        }
        entries = childrenCalled(folder, path.components[depth], depth + 1 == path.components.size(), problem);
        if (entries.empty()) {
            return {};
        }
    }
    return entries;
}

/// The entries of a folder that a component means; empty, with the reason, when there is none.
std::vector<DeviceEntry> DeviceTree::childrenCalled(const DeviceEntry& folder, const std::string& name,
                                                    bool allowsPattern, std::string& problem) {
    std::vector<DeviceEntry> exact;
    std::vector<DeviceEntry> alike;
    std::vector<DeviceEntry> fitting;
    const std::string folded = platform::caseFolded(name);
    for (const DeviceEntry& entry : list(folder)) {
        if (entry.name == name) {
            exact.push_back(entry);
        } else if (platform::caseFolded(entry.name) == folded) {
            alike.push_back(entry);
        } else if (allowsPattern && isPattern(name) && matchesPattern(entry.name, name)) {
            fitting.push_back(entry);
        }
    }
    std::vector<DeviceEntry>& named = exact.empty() ? alike : exact;
    if (named.size() > 1 || (named.size() == 1 && named.front().hasTwin)) {
        problem = kTwinReason;
        return {};
    }
    if (named.empty() && fitting.empty()) {
        problem = "there is no " + safeText(name) + " in " + safeText(folder.path);
    }
    return named.empty() ? fitting : named;
}

const std::vector<DeviceEntry>& DeviceTree::list(const DeviceEntry& folder) {
    const auto known = _listings.find(folder.path);
    if (known != _listings.end()) {
        return known->second;
    }
    std::vector<DeviceEntry> entries;
    const auto depth = std::count(folder.path.begin() + static_cast<std::ptrdiff_t>(_volumes[folder.storage].size()),
                                  folder.path.end(), '/');
    if (depth > greatestDepth) {
        _leftOut.push_back(folder.path);
        return _listings.emplace(folder.path, std::move(entries)).first->second;
    }
    const auto folders = _session.service().folderLists(folder.path);
    const auto files = _session.service().fileLists(folder.path);
    if (!folders || !files) {
        // Taken for empty, it would look as if all in it had been fetched, or were to be forgotten.
        throw Failure(ExitStatus::someFailed, safeText(folder.path) + " cannot be listed: the device does not answer");
    }
    addEntries(entries, *folders, folder, true);
    addEntries(entries, *files, folder, false);
    std::sort(entries.begin(), entries.end(), [](const DeviceEntry& left, const DeviceEntry& right) {
        return std::pair(!left.isFolder, left.name) < std::pair(!right.isFolder, right.name);
    });
    markTwins(entries);
    return _listings.emplace(folder.path, std::move(entries)).first->second;
}

void DeviceTree::markTwins(std::vector<DeviceEntry>& entries) const {
    std::unordered_map<std::string, DeviceEntry*> byKey;
    for (DeviceEntry& entry : entries) {
        const auto [other, isNew] = byKey.emplace(indexKey(entry.name), &entry);
        if (!isNew) {
            entry.hasTwin = other->second->hasTwin = true;
        }
    }
}

void DeviceTree::walk(const DeviceEntry& top, const std::function<bool()>& isStopped,
                      const std::function<void(const DeviceEntry&)>& visit,
                      const std::function<void(const Failure&)>& onFailure) {
    const auto listed = [&](const DeviceEntry& folder) -> const std::vector<DeviceEntry>& {
        static const std::vector<DeviceEntry> nothing;
        try {
            return list(folder);
        } catch (const Failure& failure) {
            if (!onFailure) {
                throw;
            }
            onFailure(failure);
            return nothing;
        }
    };
    std::vector<DeviceEntry> waiting{top};
    while (!waiting.empty() && !isStopped()) {
        const DeviceEntry folder = std::move(waiting.back());
        waiting.pop_back();
        std::vector<DeviceEntry> inner;
        for (const DeviceEntry& entry : listed(folder)) {
            visit(entry);
            if (entry.isFolder && !entry.hasTwin) {
                inner.push_back(entry);
            }
        }
        waiting.insert(waiting.end(), inner.rbegin(), inner.rend());
    }
}

bool tellLeftOut(const DeviceTree& tree, Console& console) {
    for (const std::string& path : tree.leftOut()) {
        console.say(safeText(path) + ": what is in it is left out, it lies too deep");
    }
    return !tree.leftOut().empty();
}

} // namespace tool
