// SPDX-License-Identifier: MIT
#pragma once

#include "devices/DeviceRegistry.h"

#include <cstdint>
#include <memory>
#include <vector>

namespace mtpsdk {

/// The MTP devices on the USB buses, looked for at every question; none while the variable MTPSERVICE_NO_USB is set.
class UsbDevices final : public DeviceSource {
public:
    [[nodiscard]] std::vector<vemomtpsdk::AttachedDevice> devices() override;
    /// What keeps a device from being opened is logged in words for a person.
    [[nodiscard]] DGSTATUS openTransport(std::uint32_t locationId, std::unique_ptr<Transport>& transport) override;
};

} // namespace mtpsdk
