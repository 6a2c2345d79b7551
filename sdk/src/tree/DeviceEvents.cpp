// SPDX-License-Identifier: MIT
#include "tree/Device.h"
#include "tree/SafeNames.h"

namespace mtpsdk {

/// Callbacks run without the device's lock: they may call the library. What the application does not apply itself (or
/// nobody, when none is registered) is applied here, so that the tree stays true.
void Device::handleEvent(const Session::Event& event) {
    PendingEvent pending;
    pending.event = event;
    _MTP_COMMON_NODE* target = nullptr;
    {
        const platform::Synchronized locked(_lock);
        if (_retired || _session == nullptr || !prepare(pending, target)) {
            return;
        }
    }
    _announced = &pending;
    _callbacks.call(raw(event.code));
    _callbacks.callEx(raw(event.code), target, &pending);
    const platform::Synchronized locked(_lock);
    _announced = nullptr;
    if (!_retired && !pending.applied) {
        apply(pending);
    }
}

/// Finds the node that the event is about. false: no news, since the change was made here.
bool Device::prepare(PendingEvent& pending, _MTP_COMMON_NODE*& target) {
    const std::uint32_t subject = pending.event.parameters[0];
    _storageListing.reset();
    switch (pending.event.code) {
    case EventCode::ObjectAdded:
        return prepareAdded(pending, target);
    case EventCode::ObjectRemoved:
        if (_ownChanges.takeRemoved(subject)) {
            return false;
        }
        target = _tree.record<_MTP_COMMON_NODE>(_tree.object(subject));
        return true;
    case EventCode::StoreRemoved:
    case EventCode::StoreAdded:
    case EventCode::StorageInfoChanged:
        target = _tree.record<_MTP_COMMON_NODE>(_tree.storage(subject));
        return true;
    case EventCode::ObjectInfoChanged:
    case EventCode::ObjectPropChanged:
    case EventCode::ObjectReferencesChanged:
        target = _tree.record<_MTP_COMMON_NODE>(_tree.object(subject));
        return true;
    default:
        return true;
    }
}

bool Device::prepareAdded(PendingEvent& pending, _MTP_COMMON_NODE*& target) {
    const std::uint32_t handle = pending.event.parameters[0];
    if (_ownChanges.takeAdded(handle)) {
        return false;
    }
    NodeIndex parent = _tree.at(_tree.object(handle)).parent;
    if (parent == 0) {
        pending.status = session().objectEntry(handle, pending.entry);
        if (pending.status == DGSTATUS_SUCCESS) {
            const bool inRoot = pending.entry.parent == 0 || pending.entry.parent == rootParent;
            parent = inRoot ? _tree.storage(pending.entry.storageId) : _tree.object(pending.entry.parent);
        }
    }
    target = _tree.record<_MTP_COMMON_NODE>(parent);
    return true;
}

DGSTATUS Device::applyAnnounced(NodeIndex& parent, NodeIndex& updated) {
    PendingEvent* pending = _announced;
    if (pending == nullptr) {
        return DGSTATUS_INVALID_PARAMETER;
    }
    apply(*pending);
    parent = pending->parent;
    updated = pending->updated;
    return pending->status;
}

void Device::apply(PendingEvent& pending) {
    if (pending.applied) {
        return;
    }
    pending.applied = true;
    _storageListing.reset(); // a callback may have listed them since
    if (_session == nullptr) {
        pending.status = DGSTATUS_NO_DEVICE_ATTACHED;
        return;
    }
    const std::uint32_t subject = pending.event.parameters[0];
    switch (pending.event.code) {
    case EventCode::ObjectAdded:
        applyAdded(pending);
        break;
    case EventCode::ObjectRemoved:
        applyRemoved(pending);
        break;
    case EventCode::ObjectInfoChanged:
    case EventCode::ObjectPropChanged:
        applyChanged(subject);
        break;
    case EventCode::ObjectReferencesChanged:
        _references.erase(subject);
        break;
    case EventCode::StoreRemoved:
        if (const NodeIndex storage = _tree.storage(subject)) {
            _tree.remove(storage, NodeTree::Texts::kept);
        }
        break;
    case EventCode::StorageInfoChanged:
        if (const NodeIndex storage = _tree.storage(subject)) {
            refreshCapacity(storage);
        }
        break;
    case EventCode::DeviceReset:
        dropTree();
        break;
    case EventCode::DevicePropChanged:
        _friendlyName.reset();
        break;
    default: // an added storage is found by the next storage listing
        break;
    }
}

/// Resolves again rather than trusting what was found when the event was announced: a callback may have changed the
/// tree since.
void Device::applyAdded(PendingEvent& pending) {
    const std::uint32_t handle = pending.event.parameters[0];
    if (const NodeIndex known = _tree.object(handle)) {
        pending.updated = known;
        pending.parent = _tree.at(known).parent;
        pending.status = DGSTATUS_SUCCESS;
        return;
    }
    if (pending.status != DGSTATUS_SUCCESS || pending.entry.handle == 0) {
        return;
    }
    const bool inRoot = pending.entry.parent == 0 || pending.entry.parent == rootParent;
    pending.parent = inRoot ? _tree.storage(pending.entry.storageId) : _tree.object(pending.entry.parent);
    if (pending.parent == 0 || _tree.at(pending.parent).kind == NodeKind::file) {
        noticePlaylist(_tree.storage(pending.entry.storageId), pending.entry);
        pending.parent = 0; // below a folder that was never listed: there is nothing to keep true
        return;
    }
    pending.updated = insert(pending.parent, pending.entry);
    if (_tree.at(pending.updated).kind == NodeKind::file) {
        countUsed(_tree.storageOf(pending.parent), static_cast<std::int64_t>(pending.entry.size));
    }
}

void Device::applyRemoved(PendingEvent& pending) {
    const std::uint32_t handle = pending.event.parameters[0];
    const NodeIndex node = _tree.object(handle);
    if (node == 0) {
        dropObject(handle, NodeTree::Texts::kept);
        return;
    }
    pending.parent = _tree.at(node).parent;
    if (_tree.brief(pending.parent)) {
        refreshCapacity(_tree.storageOf(node)); // its size was never told
    } else if (_tree.at(node).kind == NodeKind::file) {
        const std::uint64_t size = _tree.known<_MTP_FILE_NODE>(node).size;
        countUsed(_tree.storageOf(node), -static_cast<std::int64_t>(size));
    }
    _media.erase(_tree.at(node).handle);
    leaveLists(node, NodeTree::Texts::kept);
    _tree.remove(node, NodeTree::Texts::kept);
}

void Device::applyChanged(std::uint32_t handle) {
    _media.erase(handle);
    _references.erase(handle);
    const NodeIndex node = _tree.object(handle);
    const NodeIndex playlist = _tree.playlist(handle);
    ObjectEntry entry;
    if ((node == 0 && playlist == 0) || session().objectEntry(handle, entry) != DGSTATUS_SUCCESS) {
        return;
    }
    if (node != 0) {
        refresh(node, entry);
    } else {
        nameAfter(playlist, safeName(entry.name)); // its file's list was given back
    }
}

/// After a reset nothing that was known of folders holds; storages are looked at again when they are listed.
void Device::dropTree() {
    _media.clear();
    _friendlyName.reset();
    _references.clear();
    for (const NodeIndex storage : _tree.storages()) {
        _tree.forget(storage, NodeKind::folder, NodeTree::Texts::kept);
        _tree.forget(storage, NodeKind::file, NodeTree::Texts::kept);
        _tree.forget(storage, NodeKind::playlist, NodeTree::Texts::kept);
    }
}

} // namespace mtpsdk
