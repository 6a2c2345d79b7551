// SPDX-License-Identifier: MIT
#pragma once

#include "device/MTPService/MTPServicePrivate.h"
#include "tests/device/service/VirtualService.h"

#include <map>
#include <optional>
#include <set>
#include <string>

namespace tests {

using Text = std::optional<std::string>;
using Names = std::set<std::string>;

/// A service whose operations on files and folders are tested.
class FileService : public VirtualService {
protected:
    /// A new service, which knows nothing yet of the device.
    void reopen() {
        close();
        open();
    }
    void close() {
        service->releaseDeviceHeadNode();
        service.reset();
    }
    void open() {
        service = std::make_unique<MTPService>();
        service->setLocationID(device->locationID());
        service->setDeviceInformation(platform::Dictionary{{"MN", "Model"}, {"HVID", "Vault:10027009"}});
        ASSERT_TRUE(service->storageInfoLists());
    }
    [[nodiscard]] bool isOnDevice(const std::string& inside) const {
        return std::filesystem::exists(device->path(inside));
    }
    [[nodiscard]] std::string onDevice(const std::string& inside) const { return readFile(device->path(inside)); }
    /// A local file.
    std::string write(const std::string& name, const std::string& content) const {
        std::filesystem::create_directories(std::filesystem::path(files.path(name)).parent_path());
        writeFile(files.path(name), content);
        return files.path(name);
    }
    [[nodiscard]] std::shared_ptr<MTPServicePrivate> inside() const {
        return service->callbackObject().object<MTPServicePrivate>();
    }
    [[nodiscard]] Text indexed(const std::string& path) const { return inside()->indexedNode(path); }

    std::uint32_t error = 0xEE;
};

/// One key's values over several dictionaries; "(none)" where it is absent.
inline Names values(const std::optional<platform::Array>& entries, const char* key) {
    Names found;
    for (const auto& entry : entries.value_or(platform::Array())) {
        found.insert(entry.dictionary()->string(key).value_or("(none)"));
    }
    return found;
}

/// Relative path to content of every file below a folder.
inline std::map<std::string, std::string> tree(const std::string& folder) {
    std::map<std::string, std::string> found;
    for (const auto& entry : std::filesystem::recursive_directory_iterator(folder)) {
        if (entry.is_regular_file()) {
            found[std::filesystem::relative(entry.path(), folder).string()] = readFile(entry.path().string());
        }
    }
    return found;
}

} // namespace tests
