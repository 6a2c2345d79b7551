// SPDX-License-Identifier: MIT
#pragma once

#include "tree/Device.h"

#include <initializer_list>
#include <memory>
#include <optional>

namespace mtpsdk {

/// The border of every entry point: finds the device that a node belongs to, waits for its lock, checks the node and
/// sees to it that the device is open.
/// Work on it only while status() is success; the device's lock is held as long as this value lives.
class DeviceCall {
public:
    /// What becomes of the device's records meanwhile: a call that hands nodes out or changes the device brings them up
    /// to date, one that fetches leaves them to those who are reading them.
    enum class Records { updated, left };

    /// For a node of the tree; `kinds` are those the call takes, another one is DGSTATUS_INVALID_SIGNATURE.
    DeviceCall(const void* record, std::initializer_list<NodeKind> kinds, Records records = Records::updated);
    /// For a device node.
    explicit DeviceCall(const _MTP_DEVICE_NODE* device, Records records = Records::updated);
    /// For the handle that an event callback was given.
    struct OfEvent {
        const void* handle;
    };
    explicit DeviceCall(OfEvent event);

    /// For the head of a storage list that the device took away meanwhile. The device may be gone, too.
    struct OfLost {
        const void* storage;
    };
    explicit DeviceCall(OfLost lost);

    /// Success, or why there is nothing to work on: DGSTATUS_INVALID_PARAMETER for null, DGSTATUS_NODE_IS_NOT_EXISTED,
    /// DGSTATUS_NO_DEVICE_ATTACHED, DGSTATUS_ABNORMAL_STATUS from within this device's progress callback.
    [[nodiscard]] DGSTATUS status() const { return _status; }
    [[nodiscard]] explicit operator bool() const { return _status == DGSTATUS_SUCCESS; }
    [[nodiscard]] Device& device() const { return *_device; }
    [[nodiscard]] NodeTree& tree() const { return _device->tree(); }
    [[nodiscard]] NodeIndex node() const { return _node; }
    /// Whether the node is there to be given back, even though its device may be gone.
    [[nodiscard]] bool live() const { return _node != 0; }
    /// Another node that has to be part of the same tree and of this kind, or 0.
    [[nodiscard]] NodeIndex related(const void* record, NodeKind kind) const;

private:
    [[nodiscard]] DGSTATUS enter(Records records);

    std::shared_ptr<Device> _device; ///< outlives the lock
    std::optional<platform::Synchronized> _lock;
    std::optional<NodeTree::OwnCall> _ownCall; ///< ends before the lock
    NodeIndex _node = 0;
    DGSTATUS _status = DGSTATUS_INVALID_PARAMETER;
};

} // namespace mtpsdk
