// SPDX-License-Identifier: MIT
#include "devices/DeviceRegistry.h"

#include "devices/VirtualDevices.h"

#ifdef MTPSERVICE_HAS_USB
#include "devices/UsbDevices.h"
#endif

#include <utility>

namespace mtpsdk {

std::vector<vemomtpsdk::NamedText> DeviceSource::describeLine(std::uint32_t /*locationId*/) {
    return {};
}

// By value, since a source that watches keeps it. NOLINTNEXTLINE(performance-unnecessary-value-param)
std::shared_ptr<void> DeviceSource::watch(std::function<void()> /*changed*/) {
    return nullptr;
}

DeviceRegistry& DeviceRegistry::shared() {
    // Never destroyed: threads of an application may still ask while the process ends.
    static auto& registry = *[] {
        auto* const made = new DeviceRegistry;
        made->addSource(VirtualDevices::shared());
#ifdef MTPSERVICE_HAS_USB
        made->addSource(std::make_shared<UsbDevices>());
#endif
        return made;
    }();
    return registry;
}

void DeviceRegistry::addSource(std::shared_ptr<DeviceSource> source) {
    const std::lock_guard lock(_mutex);
    _sources.push_back(std::move(source));
}

std::vector<std::shared_ptr<DeviceSource>> DeviceRegistry::sources() {
    const std::lock_guard lock(_mutex);
    return _sources;
}

std::vector<vemomtpsdk::AttachedDevice> DeviceRegistry::devices() {
    std::vector<vemomtpsdk::AttachedDevice> all;
    for (const auto& source : sources()) {
        for (vemomtpsdk::AttachedDevice& device : source->devices()) {
            all.push_back(std::move(device));
        }
    }
    return all;
}

DGSTATUS DeviceRegistry::openTransport(std::uint32_t locationId, std::unique_ptr<Transport>& transport) {
    for (const auto& source : sources()) {
        const DGSTATUS status = source->openTransport(locationId, transport);
        if (status != DGSTATUS_NO_DEVICE_ATTACHED) {
            return status;
        }
    }
    return DGSTATUS_NO_DEVICE_ATTACHED;
}

std::vector<vemomtpsdk::NamedText> DeviceRegistry::describeLine(std::uint32_t locationId) {
    std::vector<vemomtpsdk::NamedText> described;
    for (const auto& source : sources()) {
        for (vemomtpsdk::NamedText& row : source->describeLine(locationId)) {
            described.push_back(std::move(row));
        }
    }
    return described;
}

std::vector<std::shared_ptr<void>> DeviceRegistry::watch(const std::function<void()>& changed) {
    std::vector<std::shared_ptr<void>> watches;
    for (const auto& source : sources()) {
        watches.push_back(source->watch(changed));
    }
    return watches;
}

std::uint64_t DeviceRegistry::addListener(Listener listener) {
    const std::lock_guard lock(_listenerMutex);
    _listeners.emplace(_nextListener, std::move(listener));
    return _nextListener++;
}

void DeviceRegistry::removeListener(std::uint64_t listener) {
    const std::lock_guard lock(_listenerMutex);
    _listeners.erase(listener);
}

void DeviceRegistry::announce(std::uint32_t locationId, Change change) {
    const std::lock_guard lock(_listenerMutex);
    for (const auto& [number, listener] : _listeners) {
        listener(locationId, change);
    }
}

} // namespace mtpsdk
