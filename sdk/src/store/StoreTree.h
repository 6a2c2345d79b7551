// SPDX-License-Identifier: MIT
#pragma once

#include "store/StoreDatabase.h"
#include "store/StoreTypes.h"

#include <cstdint>
#include <memory>
#include <string_view>
#include <unordered_map>
#include <vector>

namespace mtpsdk {

struct StoreNode;

/// The content of a folder that has been read.
struct StoreFolder {
    std::vector<StoreNode*> children; ///< in no particular order
    /// By name (a damaged database may know one twice); built when first asked for.
    std::unordered_multimap<std::string_view, StoreNode*> names;
    bool indexed = false;
    bool looked = false;  ///< the files' sizes and times come from the disk rather than the database
    bool unsaved = false; ///< the database does not know yet that this is the folder's content
    int watch = -1;       ///< the watcher's number; -1: changes by others go unnoticed, so it is read again each time
};

/// An object in memory. A storage's root is a node too, with handle 0.
struct StoreNode : StoreObject {
    StoreNode* above = nullptr;          ///< the folder that holds it; null for a root
    std::uint32_t position = 0;          ///< in `above`'s children
    std::unique_ptr<StoreFolder> folder; ///< null until a folder is read

    [[nodiscard]] FolderKey key() const { return handle != 0 ? FolderKey{handle} : -FolderKey{storageId}; }
};

/// The part of the device's content that is in memory: objects by handle, and by name within folders. Knows nothing of
/// files or the database. Node addresses are stable. Not thread-safe.
class StoreTree {
public:
    StoreNode& addRoot(std::uint32_t storageId);
    [[nodiscard]] StoreNode* root(std::uint32_t storageId) const;
    [[nodiscard]] const std::vector<std::unique_ptr<StoreNode>>& roots() const { return _roots; }
    [[nodiscard]] StoreNode* find(Handle handle) const;

    /// Adds an object to a folder that has been read.
    StoreNode& add(StoreNode& above, std::unique_ptr<StoreNode> node);
    /// Takes an object, and all below it, out of memory; `leaving` is called for each folder that goes.
    template <typename Leaving>
    void remove(StoreNode& node, const Leaving& leaving) {
        while (node.folder && !node.folder->children.empty()) {
            remove(*node.folder->children.back(), leaving);
        }
        if (node.folder) {
            leaving(node);
        }
        detach(node);
        _objects.erase(node.handle);
    }
    /// Moves to another folder that has been read, or to another name, or both.
    void move(StoreNode& node, StoreNode& above, std::string name);

    /// The child of exactly this name.
    [[nodiscard]] StoreNode* child(StoreNode& folder, std::string_view name);

private:
    static void index(StoreFolder& folder);
    static void attach(StoreNode& above, StoreNode& node);
    static void detach(StoreNode& node);

    std::vector<std::unique_ptr<StoreNode>> _roots;
    std::unordered_map<Handle, std::unique_ptr<StoreNode>> _objects;
};

} // namespace mtpsdk
