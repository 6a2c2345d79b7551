// SPDX-License-Identifier: MIT
#pragma once

#include "devices/DeviceRegistry.h"
#include "transport/FaultyTransport.h"

#include <cstdint>
#include <memory>
#include <mutex>
#include <optional>
#include <vector>

namespace mtpsdk::test {

/// The same device a second time, at a location of its own and over a line that misbehaves. Each plan is another
/// plug-in: the library takes the device for a new one.
class FaultySource final : public DeviceSource {
public:
    static constexpr std::uint32_t location = 0x0BAD0001;

    explicit FaultySource(vemomtpsdk::AttachedDevice real)
        : _real(std::move(real)) {}

    void plugIn(std::vector<TransportFault> plan, std::uint32_t seed);
    void pullOut();

    [[nodiscard]] std::vector<vemomtpsdk::AttachedDevice> devices() override;
    [[nodiscard]] DGSTATUS openTransport(std::uint32_t locationId, std::unique_ptr<Transport>& transport) override;

private:
    const vemomtpsdk::AttachedDevice _real;
    std::mutex _mutex;
    std::optional<std::vector<TransportFault>> _plan; ///< nothing: not plugged in
    std::uint32_t _seed = 0;
};

} // namespace mtpsdk::test
