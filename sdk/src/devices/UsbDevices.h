// SPDX-License-Identifier: MIT
#pragma once

#include "devices/DeviceRegistry.h"
#include "transport/usb/UsbDeviceFinder.h"

#include <cstdint>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

namespace mtpsdk {

/// The MTP devices on the USB buses, looked for at every question after something was plugged in or out; none while the
/// variable MTPSERVICE_NO_USB is set.
class UsbDevices final : public DeviceSource {
public:
    [[nodiscard]] std::vector<vemomtpsdk::AttachedDevice> devices() override;
    /// What keeps a device from being opened is said in the log in words for a person, whatever the log's level, and
    /// once: nobody but the person can do anything about it.
    [[nodiscard]] DGSTATUS openTransport(std::uint32_t locationId, std::unique_ptr<Transport>& transport) override;
    [[nodiscard]] std::vector<vemomtpsdk::NamedText> describeLine(std::uint32_t locationId) override;
    [[nodiscard]] std::shared_ptr<void> watch(std::function<void()> changed) override;

private:
    enum class Look { share, take };
    /// The devices attached now. Who takes them has their context to itself.
    [[nodiscard]] std::vector<UsbDevice> attached(Look look);
    void tell(std::uint32_t locationId, const std::string& reason);

    std::mutex _lookMutex;
    std::vector<UsbDevice> _found; ///< at the last look, unless it was taken
    std::string _surveyed;         ///< what was attached then
    std::mutex _mutex;
    std::map<std::uint32_t, std::string> _told; ///< by location, until the device opens
};

} // namespace mtpsdk
