// SPDX-License-Identifier: MIT
#include "tree/Device.h"

namespace mtpsdk {

DGSTATUS Device::createFolder(NodeIndex parent, const std::u16string& name, NodeIndex& folder) {
    if (!takesName(name)) {
        return DGSTATUS_FILE_INVALID_CHAR;
    }
    DGSTATUS status = checkFree(parent, name, 0, folder);
    if (status != DGSTATUS_SUCCESS) {
        return status;
    }
    const NodeIndex storage = _tree.storageOf(parent);
    ObjectEntry created;
    status = session().createFolder(_tree.at(storage).handle, parent == storage ? 0 : _tree.at(parent).handle, name,
                                    created);
    if (status != DGSTATUS_SUCCESS) {
        return status;
    }
    created.format = raw(FormatCode::Association);
    created.name = created.name.empty() ? name : created.name;
    _ownChanges.added(created.handle);
    folder = insert(parent, created);
    if (folder == 0) {
        return DGSTATUS_INTERNAL_INVALIDOBJECTHANDLE;
    }
    // Nothing is in it yet, so there is nothing to ask for.
    _tree.setLoaded(folder, NodeKind::folder, true);
    _tree.setLoaded(folder, NodeKind::file, true);
    return DGSTATUS_SUCCESS;
}

DGSTATUS Device::deleteNode(NodeIndex node) {
    if (_tree.at(node).kind == NodeKind::playlist) {
        return deletePlaylist(node);
    }
    if (complete(node) == DGSTATUS_NODE_IS_NOT_EXISTED) {
        return DGSTATUS_NODE_IS_NOT_EXISTED;
    }
    const std::uint32_t handle = _tree.at(node).handle;
    const DGSTATUS status = session().deleteObject(handle);
    const bool isFolder = _tree.at(node).kind == NodeKind::folder;
    const NodeIndex storage = _tree.storageOf(node);
    if (status == DGSTATUS_INTERNAL_PARTIALDELETION && isFolder) {
        // Only the device knows what is left.
        leaveLists(node, NodeTree::Texts::freed);
        _tree.forget(node, NodeKind::folder, NodeTree::Texts::freed);
        _tree.forget(node, NodeKind::file, NodeTree::Texts::freed);
        refreshCapacity(storage);
    }
    if (status != DGSTATUS_SUCCESS && status != DGSTATUS_INTERNAL_INVALIDOBJECTHANDLE) {
        return status;
    }
    if (status == DGSTATUS_SUCCESS) {
        _ownChanges.removed(handle);
    }
    const std::uint64_t size = isFolder ? 0 : _tree.known<_MTP_FILE_NODE>(node).size;
    _media.erase(handle);
    leaveLists(node, NodeTree::Texts::freed);
    _tree.remove(node, NodeTree::Texts::freed);
    if (isFolder) {
        refreshCapacity(storage);
    } else if (status == DGSTATUS_SUCCESS) {
        countUsed(storage, -static_cast<std::int64_t>(size));
    }
    return status;
}

DGSTATUS Device::renameNode(NodeIndex node, const std::u16string& name) {
    if (_tree.at(node).kind == NodeKind::playlist) {
        return renamePlaylist(node, name);
    }
    if (!takesName(name)) {
        return DGSTATUS_FILE_INVALID_CHAR;
    }
    if (_tree.name(node) == name) {
        return DGSTATUS_SUCCESS;
    }
    NodeIndex existing = 0;
    DGSTATUS status = checkFree(_tree.at(node).parent, name, node, existing);
    if (status != DGSTATUS_SUCCESS) {
        return status;
    }
    status = session().renameObject(_tree.at(node).handle, name);
    if (status == DGSTATUS_SUCCESS) {
        _tree.rename(node, name);
        renamedFile(node);
    }
    return status;
}

DGSTATUS Device::media(NodeIndex file, MediaProperties& media) {
    DGSTATUS status = complete(file);
    if (status != DGSTATUS_SUCCESS) {
        return status;
    }
    const Node& node = _tree.at(file);
    if (auto known = _media.find(node.handle)) {
        media = *std::move(known);
        return DGSTATUS_SUCCESS;
    }
    status = session().mediaProperties(node.handle, node.format, media);
    if (status == DGSTATUS_SUCCESS) {
        _media.put(node.handle, media);
    }
    return status;
}

DGSTATUS Device::setMedia(NodeIndex file, const MediaProperties& media) {
    const Node& node = _tree.at(file);
    _media.erase(node.handle);
    return session().setMediaProperties(node.handle, node.format, media);
}

} // namespace mtpsdk
