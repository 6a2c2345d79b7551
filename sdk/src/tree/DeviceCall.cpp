// SPDX-License-Identifier: MIT
#include "tree/DeviceCall.h"

#include "tree/DeviceList.h"

#include <algorithm>

namespace mtpsdk {

DGSTATUS DeviceCall::enter(Records records) {
    if (_device == nullptr) {
        return DGSTATUS_NODE_IS_NOT_EXISTED;
    }
    // The lock would let its holder in; a transfer under way must not find the tree changed.
    if (_device->lock().heldByCurrentThread()) {
        return DGSTATUS_ABNORMAL_STATUS;
    }
    _lock.emplace(_device->lock());
    if (records == Records::updated) {
        _ownCall.emplace(tree());
    }
    return _device->retired() ? DGSTATUS_NODE_IS_NOT_EXISTED : DGSTATUS_SUCCESS;
}

DeviceCall::DeviceCall(const void* record, std::initializer_list<NodeKind> kinds, Records records) {
    if (record == nullptr) {
        return;
    }
    _device = DeviceList::shared().deviceOf(record);
    _status = enter(records);
    if (_status != DGSTATUS_SUCCESS) {
        return;
    }
    const NodeIndex node = tree().nodeOf(record);
    if (node == 0) {
        const bool isDevice = record == _device->node();
        _status = isDevice ? DGSTATUS_INVALID_SIGNATURE : DGSTATUS_NODE_IS_NOT_EXISTED;
    } else if (std::ranges::find(kinds, tree().at(node).kind) == kinds.end()) {
        _status = DGSTATUS_INVALID_SIGNATURE;
    } else {
        _node = node;
        _status = _device->open();
    }
}

DeviceCall::DeviceCall(const _MTP_DEVICE_NODE* device, Records records) {
    if (device == nullptr) {
        return;
    }
    _device = DeviceList::shared().deviceOf(device);
    _status = enter(records);
    if (_status == DGSTATUS_SUCCESS) {
        _status = device == _device->node() ? _device->open() : DGSTATUS_INVALID_SIGNATURE;
    }
}

DeviceCall::DeviceCall(OfEvent event) {
    _device = DeviceList::shared().deviceOfEvent(event.handle);
    _status = _device == nullptr ? DGSTATUS_INVALID_PARAMETER : enter(Records::updated);
}

DeviceCall::DeviceCall(OfLost lost) {
    _device = DeviceList::shared().deviceThatLost(lost.storage);
    _status = enter(Records::updated);
}

NodeIndex DeviceCall::related(const void* record, NodeKind kind) const {
    const NodeIndex node = tree().nodeOf(record);
    return node != 0 && tree().at(node).kind == kind ? node : 0;
}

} // namespace mtpsdk
