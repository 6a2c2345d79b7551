// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace mtpsdk {

struct StorageDescription {
    std::string label; ///< also the name of its folder
    std::string description;
    std::uint64_t capacity = 0; ///< bytes
    std::uint32_t storageId = 0;
    bool hidden = false;
};

/// What `device.json` says of a virtual device.
struct StoreDescription {
    std::string friendlyName;
    std::string model;
    std::string manufacturer;
    std::string serialNumber;
    std::string syncPartner;
    std::uint32_t locationId = 0;
    std::vector<StorageDescription> storages;
};

/// Gives storages without an ID the first free one of their position (0x00010001, 0x00020001, …).
void completeStorageIds(StoreDescription& description);
/// One sentence that says what is wrong; empty when the description can be a device.
[[nodiscard]] std::string describeProblem(const StoreDescription& description);

/// Reads and checks `directory`/device.json. false, and the reason in `error`, when it is missing or damaged.
[[nodiscard]] bool readDescription(const std::string& directory, StoreDescription& description, std::string& error);
/// Writes it whole or not at all.
[[nodiscard]] bool writeDescription(const std::string& directory, const StoreDescription& description,
                                    std::string& error);

} // namespace mtpsdk
