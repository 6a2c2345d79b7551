// SPDX-License-Identifier: MIT
#include "FaultySource.h"

namespace mtpsdk::test {

void FaultySource::plugIn(std::vector<TransportFault> plan, std::uint32_t seed) {
    const std::lock_guard lock(_mutex);
    _plan = std::move(plan);
    _seed = seed;
}

void FaultySource::pullOut() {
    const std::lock_guard lock(_mutex);
    _plan.reset();
}

std::vector<vemomtpsdk::AttachedDevice> FaultySource::devices() {
    const std::lock_guard lock(_mutex);
    if (!_plan) {
        return {};
    }
    vemomtpsdk::AttachedDevice device = _real;
    device.locationId = location;
    device.kind = "faulty";
    device.location = std::to_string(_seed);
    return {device};
}

DGSTATUS FaultySource::openTransport(std::uint32_t locationId, std::unique_ptr<Transport>& transport) {
    const std::lock_guard lock(_mutex);
    if (!_plan || locationId != location) {
        return DGSTATUS_NO_DEVICE_ATTACHED;
    }
    std::unique_ptr<Transport> line;
    const DGSTATUS status = DeviceRegistry::shared().openTransport(_real.locationId, line);
    if (status == DGSTATUS_SUCCESS) {
        transport = std::make_unique<FaultyTransport>(std::move(line), *_plan, _seed);
    }
    return status;
}

} // namespace mtpsdk::test
