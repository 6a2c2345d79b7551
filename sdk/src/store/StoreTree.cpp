// SPDX-License-Identifier: MIT
#include "store/StoreTree.h"

#include <algorithm>
#include <utility>

namespace mtpsdk {

StoreNode& StoreTree::addRoot(std::uint32_t storageId) {
    auto node = std::make_unique<StoreNode>();
    node->storageId = storageId;
    node->format = FormatCode::Association;
    return *_roots.emplace_back(std::move(node));
}

StoreNode* StoreTree::root(std::uint32_t storageId) const {
    const auto found = std::find_if(_roots.begin(), _roots.end(),
                                    [storageId](const auto& root) { return root->storageId == storageId; });
    return found != _roots.end() ? found->get() : nullptr;
}

StoreNode* StoreTree::find(Handle handle) const {
    const auto found = _objects.find(handle);
    return found != _objects.end() ? found->second.get() : nullptr;
}

StoreNode& StoreTree::add(StoreNode& above, std::unique_ptr<StoreNode> node) {
    attach(above, *node);
    std::unique_ptr<StoreNode>& slot = _objects[node->handle];
    slot = std::move(node);
    return *slot;
}

void StoreTree::move(StoreNode& node, StoreNode& above, std::string name) {
    detach(node);
    node.name = std::move(name);
    attach(above, node);
}

void StoreTree::attach(StoreNode& above, StoreNode& node) {
    StoreFolder& folder = *above.folder;
    node.above = &above;
    node.parent = above.handle;
    node.position = static_cast<std::uint32_t>(folder.children.size());
    folder.children.push_back(&node);
    if (folder.indexed) {
        folder.names.emplace(node.name, &node);
    }
}

void StoreTree::detach(StoreNode& node) {
    StoreFolder& folder = *node.above->folder;
    folder.children[node.position] = folder.children.back();
    folder.children[node.position]->position = node.position;
    folder.children.pop_back();
    if (folder.indexed) {
        auto [first, last] = folder.names.equal_range(node.name);
        folder.names.erase(std::find_if(first, last, [&node](const auto& entry) { return entry.second == &node; }));
    }
}

void StoreTree::index(StoreFolder& folder) {
    if (folder.indexed) {
        return;
    }
    folder.names.reserve(folder.children.size());
    for (StoreNode* child : folder.children) {
        folder.names.emplace(child->name, child);
    }
    folder.indexed = true;
}

StoreNode* StoreTree::child(StoreNode& folder, std::string_view name) {
    index(*folder.folder);
    const auto found = folder.folder->names.find(name);
    return found != folder.folder->names.end() ? found->second : nullptr;
}

} // namespace mtpsdk
