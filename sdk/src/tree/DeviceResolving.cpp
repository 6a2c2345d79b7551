// SPDX-License-Identifier: MIT
#include "tree/Device.h"

#include <algorithm>

namespace mtpsdk {
namespace {

/// A way up that is longer than the tree is deep, or that comes back to itself, is made up.
bool isNewStep(const std::vector<ObjectEntry>& way, std::uint32_t handle) {
    return handle != 0 && handle != rootParent && way.size() < NodeTree::greatestDepth &&
           std::ranges::find(way, handle, &ObjectEntry::handle) == way.end();
}

} // namespace

DGSTATUS Device::resolve(std::uint32_t handle, NodeIndex& node) {
    std::vector<ObjectEntry> way; // from the object up
    NodeIndex above = _tree.object(handle);
    for (std::uint32_t next = handle; above == 0; above = _tree.object(next)) {
        if (!isNewStep(way, next)) {
            return DGSTATUS_NODE_IS_NOT_EXISTED;
        }
        ObjectEntry entry;
        const DGSTATUS status = session().objectEntry(next, entry);
        if (status != DGSTATUS_SUCCESS) {
            return status == DGSTATUS_INTERNAL_INVALIDOBJECTHANDLE ? DGSTATUS_NODE_IS_NOT_EXISTED : status;
        }
        entry.handle = next;
        next = entry.parent;
        way.push_back(std::move(entry));
        if (next == 0 || next == rootParent) {
            above = _tree.storage(way.back().storageId);
            break;
        }
    }
    return above == 0 ? DGSTATUS_NODE_IS_NOT_EXISTED : descend(above, way, node);
}

/// Takes the objects of a way into the tree, from the node that is known down.
DGSTATUS Device::descend(NodeIndex above, std::vector<ObjectEntry>& way, NodeIndex& node) {
    for (; !way.empty(); way.pop_back()) {
        const ObjectEntry& entry = way.back();
        const NodeIndex storage = _tree.storageOf(above);
        const bool strays = entry.storageId != 0 && entry.storageId != _tree.at(storage).handle;
        const bool isLast = way.size() == 1;
        if (_tree.at(above).kind == NodeKind::file || strays ||
            (!isLast && entry.format != raw(FormatCode::Association))) {
            return DGSTATUS_NODE_IS_NOT_EXISTED;
        }
        const std::uint32_t handle = entry.handle;
        // A second object of one folder: the rest of it is likely to be asked for, too.
        if (isLast && above == _resolvedIn) {
            const DGSTATUS status = load(above, true, true);
            if (status != DGSTATUS_SUCCESS) {
                return status;
            }
        }
        _resolvedIn = isLast ? above : _resolvedIn;
        const NodeIndex known = _tree.object(handle);
        above = known != 0 ? known : insert(above, entry);
        if (above == 0) {
            return DGSTATUS_NODE_IS_NOT_EXISTED;
        }
    }
    node = above;
    return DGSTATUS_SUCCESS;
}

} // namespace mtpsdk
