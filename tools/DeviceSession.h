// SPDX-License-Identifier: MIT
#pragma once

#include "device/MTPService/MTPService.h"
#include "host/VXDeviceConfirmDelegate.h"
#include "platform/Value.h"
#include "tools/Command.h"
#include "vemomtpsdk/Devices.h"

#include <cstdint>
#include <memory>
#include <string>

namespace tool {

/// One device opened through the service, as an application does it.
class DeviceSession {
public:
    /// Selects the device and reads its storages; throws Failure when it does not answer. `delegate` may be null.
    DeviceSession(const vemomtpsdk::AttachedDevice& device, std::shared_ptr<VXDeviceConfirmDelegate> delegate);
    ~DeviceSession();
    DeviceSession(const DeviceSession&) = delete;
    DeviceSession& operator=(const DeviceSession&) = delete;

    [[nodiscard]] MTPService& service() { return *_service; }
    [[nodiscard]] const std::shared_ptr<MTPService>& sharedService() const { return _service; }
    /// The storages with their capacities and default folders (docs/storages.md).
    [[nodiscard]] const platform::Array& storages() const { return _storages; }
    /// The "diskIndex" of the storage that a person names by index or label; throws Failure when there is none.
    [[nodiscard]] std::uint32_t storageIndex(const std::string& wanted) const;
    /// The storage of a "diskIndex" that storageIndex has answered.
    [[nodiscard]] const platform::Dictionary& storage(std::uint32_t index) const;

private:
    void readStorages();

    const std::shared_ptr<VXDeviceConfirmDelegate> _delegate;
    const std::shared_ptr<MTPService> _service;
    platform::Array _storages;
};

/// The attached device that the options mean, opened.
[[nodiscard]] std::unique_ptr<DeviceSession> openDevice(const GlobalOptions& options,
                                                        std::shared_ptr<VXDeviceConfirmDelegate> delegate);

/// Label of a storage: the last component of its "volumePath".
[[nodiscard]] std::string storageLabel(const platform::Dictionary& storage);

} // namespace tool
