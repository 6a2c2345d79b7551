// SPDX-License-Identifier: MIT
#pragma once

#include "responder/FaultPlan.h"
#include "tests/device/service/World.h"
#include "vemomtpsdk/Devices.h"

#include <memory>
#include <string>
#include <vector>

namespace tests {

constexpr std::uint64_t mebibyte = 1024 * 1024;

/// A virtual device "Player" in a folder of its own, attached for as long as it lives.
class Device {
public:
    static constexpr std::uint32_t defaultLocation = 0xF1000001;
    static constexpr std::uint32_t hiddenStorageID = 0x00990001;

    /// Storages "Phone", "OSP" and "Card" of this capacity, and a hidden one.
    explicit Device(std::uint64_t capacity = 64 * mebibyte, std::uint32_t location = defaultLocation);
    ~Device();
    Device(const Device&) = delete;
    Device& operator=(const Device&) = delete;

    [[nodiscard]] std::string locationID() const;
    /// A place on the device as the person sees it who looks into its folder.
    [[nodiscard]] std::string path(const std::string& inside) const { return _folder.path("device/" + inside); }
    [[nodiscard]] mtpsdk::FaultPlan& faults() const;
    void pullOut();

private:
    TemporaryFolder _folder;
    std::uint32_t _location;
};

/// A service on such a device, with its storages listed.
class VirtualService : public ::testing::Test {
protected:
    explicit VirtualService(std::uint64_t capacity = 64 * mebibyte);
    ~VirtualService() override;

    /// A local file of the test's.
    std::string local(const std::string& name, std::size_t size, unsigned seed = 1);
    /// Lays a file, and the folders above it, into the device's folder from outside. What has looked there before may
    /// see it late.
    void put(const std::string& inside, const std::string& content) const;
    /// Copies the files as music onto the first storage and waits for the end.
    void copy(std::uint32_t id, const platform::Array& contents, std::uint32_t mediaType = 1);
    /// Whether the device's file holds what the local one holds.
    [[nodiscard]] bool arrived(const std::string& inside, const std::string& localPath) const;
    void waitUntilIdle();

    [[nodiscard]] std::vector<std::int64_t> resultStatuses(std::uint32_t id) const;

    TemporaryFolder files;
    std::unique_ptr<Device> device;
    Recorder recorder;
    std::unique_ptr<MTPService> service;
};

} // namespace tests
