// SPDX-License-Identifier: MIT
#pragma once

#include "tree/Device.h"

#include <cstdint>
#include <memory>
#include <mutex>
#include <vector>

namespace mtpsdk {

/// The process's one device list, counted by reference; it exists from the first head() until the last release().
/// Thread-safe; its lock is never held while a device is asked for anything.
class DeviceList {
public:
    static DeviceList& shared();

    /// Brings the list up to date, adds a reference and yields its first node (null when no device is attached).
    [[nodiscard]] DGSTATUS head(_MTP_DEVICE_NODE** head);
    [[nodiscard]] DGSTATUS next(const _MTP_DEVICE_NODE* device, _MTP_DEVICE_NODE** next);
    /// Gives a reference back; with the last one all nodes die.
    [[nodiscard]] DGSTATUS release(const _MTP_DEVICE_NODE* device);
    /// Looks again which devices are attached. Devices that went leave the list; their nodes stay until it is released.
    void refresh();

    /// The device that a live node of any kind belongs to, or null. Any pointer may be asked about.
    [[nodiscard]] std::shared_ptr<Device> deviceOf(const void* record);
    /// The device that took this storage away while its list was in use, or null. Any pointer may be asked about.
    [[nodiscard]] std::shared_ptr<Device> deviceThatLost(const void* storage);
    /// For tests: the member of this location, or null.
    [[nodiscard]] std::shared_ptr<Device> at(std::uint32_t locationId);
    /// The device whose event callback was given this handle, or null.
    [[nodiscard]] std::shared_ptr<Device> deviceOfEvent(const void* handle);

private:
    struct Member {
        std::shared_ptr<Device> device;
        bool attached = true;
    };
    void update(const std::vector<vemomtpsdk::AttachedDevice>& attached);
    template <typename Matches>
    [[nodiscard]] std::shared_ptr<Device> find(const Matches& matches);

    std::mutex _mutex;
    std::vector<Member> _members;
    unsigned _references = 0;
};

} // namespace mtpsdk
