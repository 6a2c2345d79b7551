// SPDX-License-Identifier: MIT
#include "tests/device/service/VirtualService.h"

#include "devices/VirtualDevices.h"
#include "platform/Strings.h"

namespace tests {

Device::Device(std::uint64_t capacity, std::uint32_t location)
    : _location(location) {
    vemomtpsdk::VirtualDeviceDescription description;
    description.friendlyName = "Player";
    description.locationId = location;
    for (const char* label : {"Phone", "OSP", "Card"}) {
        vemomtpsdk::VirtualStorage storage;
        storage.label = label;
        storage.capacity = capacity;
        description.storages.push_back(storage);
    }
    vemomtpsdk::VirtualStorage hidden;
    hidden.label = "Vault";
    hidden.capacity = capacity;
    hidden.storageId = hiddenStorageID;
    hidden.hidden = true;
    description.storages.push_back(hidden);
    std::string error;
    EXPECT_TRUE(vemomtpsdk::createVirtualDevice(path(""), description, error)) << error;
    EXPECT_EQ(vemomtpsdk::addVirtualDevice(path("")), DGSTATUS_SUCCESS);
}

Device::~Device() {
    pullOut();
}

void Device::pullOut() {
    vemomtpsdk::removeVirtualDevice(path(""));
}

std::string Device::locationID() const {
    return platform::upperHex(_location);
}

mtpsdk::FaultPlan& Device::faults() const {
    return *mtpsdk::VirtualDevices::shared()->faults(_location);
}

VirtualService::VirtualService(std::uint64_t capacity)
    : device(std::make_unique<Device>(capacity)) {
    forgetPreferences();
    service = std::make_unique<MTPService>();
    service->setLocationID(device->locationID());
    service->setDeviceInformation(platform::Dictionary{{"MN", "Model"}, {"HVID", "Vault:10027009"}});
    EXPECT_TRUE(service->storageInfoLists());
    waitUntilIdle(); // the first request must find the worker waiting
}

VirtualService::~VirtualService() {
    if (service != nullptr) {
        service->releaseDeviceHeadNode();
    }
    service.reset();
}

std::string VirtualService::local(const std::string& name, std::size_t size, unsigned seed) {
    return makeFile(files.path(name), size, seed);
}

void VirtualService::put(const std::string& inside, const std::string& content) const {
    std::filesystem::create_directories(std::filesystem::path(device->path(inside)).parent_path());
    // The device waits with a file that may still be written: this one comes whole, and not written just now.
    const std::string aside = files.path(".arriving");
    writeFile(aside, content);
    std::filesystem::last_write_time(aside, std::filesystem::file_time_type::clock::now() - std::chrono::hours(1));
    std::filesystem::rename(aside, device->path(inside));
}

void VirtualService::copy(std::uint32_t id, const platform::Array& contents, std::uint32_t mediaType) {
    service->copyContentsMacToDevice(id, contents, mediaType, 0);
    waitUntilIdle();
}

bool VirtualService::arrived(const std::string& inside, const std::string& localPath) const {
    const std::string path = device->path(inside);
    return std::filesystem::exists(path) && readFile(path) == readFile(localPath);
}

void VirtualService::waitUntilIdle() {
    EXPECT_TRUE(waitUntil([&] { return service->isIdle(); }));
}

std::vector<std::int64_t> VirtualService::resultStatuses(std::uint32_t id) const {
    return numbers(recorder.results(id), "ResultStatus");
}

} // namespace tests
