// SPDX-License-Identifier: MIT
#pragma once

#include "transport/Transport.h"
#include "vemomtpsdk/DeviceReport.h"
#include "vemomtpsdk/Devices.h"

#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <vector>

namespace mtpsdk {

/// Where devices come from: the virtual devices of this process, or a bus. Every method may be called from any thread.
class DeviceSource {
public:
    virtual ~DeviceSource() = default;
    [[nodiscard]] virtual std::vector<vemomtpsdk::AttachedDevice> devices() = 0;
    /// Opens the line to one of its devices. DGSTATUS_NO_DEVICE_ATTACHED when it has none of this location ID,
    /// DGSTATUS_DEVICE_OPEN_FAILED when the device cannot be opened (another program holds it, its directory is
    /// damaged); `transport` is null then.
    [[nodiscard]] virtual DGSTATUS openTransport(std::uint32_t locationId, std::unique_ptr<Transport>& transport) = 0;
    /// What a person would want to know of how the device is connected; empty when it is none of the source's.
    [[nodiscard]] virtual std::vector<vemomtpsdk::NamedText> describeLine(std::uint32_t locationId);
    /// Calls `changed`, on any thread, when a device may have come or gone, for as long as the result is kept. Null
    /// from a source that does not notice by itself: it has to be asked from time to time.
    [[nodiscard]] virtual std::shared_ptr<void> watch(std::function<void()> changed);
};

/// Every device of every source, and the news of those that come and go. Thread-safe.
class DeviceRegistry {
public:
    enum class Change { attached, removed };
    /// Called on the thread that noticed the change, one at a time; must neither add nor remove listeners.
    using Listener = std::function<void(std::uint32_t locationId, Change change)>;

    /// The process's registry; it holds the virtual devices from the start.
    static DeviceRegistry& shared();

    void addSource(std::shared_ptr<DeviceSource> source);
    /// All attached devices, in the order of their sources.
    [[nodiscard]] std::vector<vemomtpsdk::AttachedDevice> devices();
    /// Opens the line to a device; statuses as DeviceSource::openTransport.
    [[nodiscard]] DGSTATUS openTransport(std::uint32_t locationId, std::unique_ptr<Transport>& transport);

    /// The number identifies the listener for removeListener, which returns when no call to it is under way.
    std::uint64_t addListener(Listener listener);
    void removeListener(std::uint64_t listener);
    [[nodiscard]] std::vector<vemomtpsdk::NamedText> describeLine(std::uint32_t locationId);
    /// What the sources notice by themselves (see DeviceSource::watch).
    [[nodiscard]] std::vector<std::shared_ptr<void>> watch(const std::function<void()>& changed);
    /// For sources: tells the listeners.
    void announce(std::uint32_t locationId, Change change);

private:
    [[nodiscard]] std::vector<std::shared_ptr<DeviceSource>> sources();

    std::mutex _mutex;
    std::vector<std::shared_ptr<DeviceSource>> _sources;
    /// Held while listeners run, so that a removed one is never called again.
    std::mutex _listenerMutex;
    std::map<std::uint64_t, Listener> _listeners;
    std::uint64_t _nextListener = 1;
};

} // namespace mtpsdk
