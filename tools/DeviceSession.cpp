// SPDX-License-Identifier: MIT
#include "tools/DeviceSession.h"

#include "platform/Paths.h"
#include "platform/Strings.h"
#include "tools/DeviceSelection.h"
#include "tools/ScreenText.h"
#include "vemomtpsdk/Diagnosis.h"

#include <algorithm>
#include <fmt/format.h>

namespace tool {
namespace {

/// "MN" and "HVID" as the service takes them. A hidden volume whose name holds a separator cannot be told.
platform::Dictionary deviceInformation(const vemomtpsdk::AttachedDevice& device) {
    std::string volumes;
    for (const vemomtpsdk::HiddenStorage& storage : device.hiddenStorages) {
        if (storage.name.find_first_of(":,") == std::string::npos) {
            volumes += fmt::format("{}{}:{}", volumes.empty() ? "" : ",", storage.name, storage.storageId);
        }
    }
    platform::Dictionary information{{"MN", device.model}};
    if (!volumes.empty()) {
        information.set("HVID", volumes);
    }
    return information;
}

} // namespace

DeviceSession::DeviceSession(const vemomtpsdk::AttachedDevice& device,
                             std::shared_ptr<VXDeviceConfirmDelegate> delegate)
    : _delegate(std::move(delegate))
    , _service(std::make_shared<MTPService>()) {
    _service->setDeviceInformation(deviceInformation(device));
    _service->setLocationID(locationText(device.locationId));
    _service->setConfirmDelegate(_delegate);
    _service->registerNotifyEvent();
    readStorages();
    if (_storages.empty()) {
        throw Failure(ExitStatus::noDevice,
                      fmt::format("{} does not answer or has no storage. {} `mtpservice doctor` looks for the reason.",
                                  safeText(device.friendlyName), vemomtpsdk::unlockAdvice()));
    }
}

DeviceSession::~DeviceSession() {
    _service->exitServiceThread();
    _service->releaseDeviceHeadNode();
}

void DeviceSession::readStorages() {
    const auto listed = _service->storageInfoLists();
    const auto completed = _service->storageInformation();
    if (!listed || !completed || listed->size() != completed->size()) {
        return;
    }
    for (std::size_t index = 0; index < listed->size(); ++index) {
        const auto* capacities = (*listed)[index].dictionary();
        const auto* folders = (*completed)[index].dictionary();
        if (capacities && folders) {
            platform::Dictionary storage = *capacities;
            storage.merge(*folders);
            _storages.emplace_back(std::move(storage));
        }
    }
}

std::uint32_t DeviceSession::storageIndex(const std::string& wanted) const {
    std::string known;
    for (const platform::Value& value : _storages) {
        const platform::Dictionary& storage = *value.dictionary();
        const std::uint32_t index = storage.uint32("diskIndex").value_or(0);
        const std::string label = storageLabel(storage);
        if (wanted == std::to_string(index) || platform::caseFolded(wanted) == platform::caseFolded(label)) {
            return index;
        }
        known += fmt::format("\n  --storage {}  {}", index, safeText(label));
    }
    throw Failure(ExitStatus::usage, fmt::format("The device has no storage {}. It has:{}", safeText(wanted), known));
}

const platform::Dictionary& DeviceSession::storage(std::uint32_t index) const {
    const auto found = std::find_if(_storages.begin(), _storages.end(), [index](const platform::Value& storage) {
        return storage.dictionary()->uint32("diskIndex").value_or(0) == index;
    });
    return *(found == _storages.end() ? _storages.front() : *found).dictionary();
}

std::unique_ptr<DeviceSession> openDevice(const GlobalOptions& options,
                                          std::shared_ptr<VXDeviceConfirmDelegate> delegate) {
    return std::make_unique<DeviceSession>(selectDevice(findDevices(options), options.device), std::move(delegate));
}

std::string storageLabel(const platform::Dictionary& storage) {
    return platform::lastPathComponent(storage.string("volumePath").value_or(""));
}

} // namespace tool
