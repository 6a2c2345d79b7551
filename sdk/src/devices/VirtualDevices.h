// SPDX-License-Identifier: MIT
#pragma once

#include "devices/DeviceRegistry.h"
#include "responder/FaultPlan.h"
#include "store/Store.h"
#include "transport/LoopbackTransport.h"

#include <cstdint>
#include <map>
#include <memory>
#include <mutex>
#include <set>
#include <string>
#include <vector>

namespace mtpsdk {

/// The virtual devices attached to this process: those of MTPSERVICE_VIRTUAL_DEVICES, read at every question, and those
/// added by hand; each directory once. A device's store is open while a transport, or a test, holds it.
class VirtualDevices final : public DeviceSource {
public:
    /// The process's own; part of DeviceRegistry::shared().
    static const std::shared_ptr<VirtualDevices>& shared();

    [[nodiscard]] std::vector<vemomtpsdk::AttachedDevice> devices() override;
    [[nodiscard]] DGSTATUS openTransport(std::uint32_t locationId, std::unique_ptr<Transport>& transport) override;

    /// DGSTATUS_NO_DEVICE_ATTACHED when there is no device in the directory. `isNew` says whether it was not there yet.
    [[nodiscard]] DGSTATUS add(const std::string& directory, std::uint32_t& locationId, bool& isNew);
    /// Closes every transport to it. A directory of the environment variable stays out until it is added again. false
    /// when it was not attached.
    bool remove(const std::string& directory, std::uint32_t& locationId);

    /// For tests: what the device does wrong, for as long as it is attached, and its store, opened if need be. Null
    /// when no such device is attached or its store cannot be opened.
    [[nodiscard]] std::shared_ptr<FaultPlan> faults(std::uint32_t locationId);
    [[nodiscard]] std::shared_ptr<Store> store(std::uint32_t locationId);

private:
    struct Device {
        std::uint32_t locationId = 0;
        std::uint32_t plugging = 0;
        std::shared_ptr<FaultPlan> faults = std::make_shared<FaultPlan>();
        std::weak_ptr<Store> store;
        std::vector<std::weak_ptr<LoopbackTransport::Plug>> lines;
    };

    void attachFromEnvironment();
    [[nodiscard]] bool attach(const std::string& directory);
    [[nodiscard]] std::uint32_t freeLocation(std::uint32_t wanted, const std::string& directory) const;
    [[nodiscard]] Device* find(std::uint32_t locationId, std::string* directory = nullptr);
    [[nodiscard]] std::shared_ptr<Store> openStore(const std::string& directory, Device& device);

    std::mutex _mutex;
    std::map<std::string, Device> _devices; ///< by canonical directory
    std::uint32_t _pluggings = 0;
    std::set<std::string> _removed; ///< of the environment variable's, pulled out by hand
};

/// The directories of MTPSERVICE_VIRTUAL_DEVICES, by their one names, devices or not.
[[nodiscard]] std::vector<std::string> listedVirtualDevices();
/// The location that a virtual device gets from its directory: in a range that no bus has.
[[nodiscard]] std::uint32_t locationOfDirectory(const std::string& directory);
/// The directory's one name, however it was spelt.
[[nodiscard]] std::string canonicalDirectory(const std::string& directory);

} // namespace mtpsdk
