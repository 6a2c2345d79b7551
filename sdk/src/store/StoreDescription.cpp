// SPDX-License-Identifier: MIT
#include "store/StoreDescription.h"

#include "mtp/Codes.h"
#include "platform/AtomicFile.h"
#include "platform/Strings.h"
#include "store/StoreNames.h"

#include <nlohmann/json.hpp>

#include <algorithm>
#include <fstream>
#include <limits>
#include <set>

namespace mtpsdk {

namespace {

using nlohmann::json;

constexpr const char* fileName = "/device.json";
/// What stands in every storage ID as the logical part: the one volume of the physical store.
constexpr std::uint32_t logicalStore = 1;

std::string textOf(const json& object, const char* key) {
    const auto found = object.find(key);
    return found != object.end() && found->is_string() ? found->get<std::string>() : std::string();
}

std::uint64_t numberOf(const json& object, const char* key) {
    const auto found = object.find(key);
    return found != object.end() && found->is_number_unsigned() ? found->get<std::uint64_t>() : 0;
}

StorageDescription storageFrom(const json& object) {
    StorageDescription storage;
    storage.label = textOf(object, "label");
    storage.description = textOf(object, "description");
    storage.capacity = numberOf(object, "capacity");
    storage.storageId = platform::hexValue(textOf(object, "storageId"));
    const auto hidden = object.find("hidden");
    storage.hidden = hidden != object.end() && hidden->is_boolean() && hidden->get<bool>();
    return storage;
}

StoreDescription descriptionFrom(const json& document) {
    StoreDescription description;
    description.friendlyName = textOf(document, "name");
    description.model = textOf(document, "model");
    description.manufacturer = textOf(document, "maker");
    description.serialNumber = textOf(document, "serial");
    description.syncPartner = textOf(document, "syncPartner");
    description.locationId = platform::hexValue(textOf(document, "locationId"));
    const auto storages = document.find("storages");
    if (storages != document.end() && storages->is_array()) {
        for (const json& storage : *storages) {
            description.storages.push_back(storage.is_object() ? storageFrom(storage) : StorageDescription{});
        }
    }
    completeStorageIds(description);
    return description;
}

json jsonOf(const StoreDescription& description) {
    json storages = json::array();
    for (const StorageDescription& storage : description.storages) {
        storages.push_back({{"label", storage.label},
                            {"description", storage.description},
                            {"capacity", storage.capacity},
                            {"storageId", platform::upperHex(storage.storageId)},
                            {"hidden", storage.hidden}});
    }
    return {{"name", description.friendlyName},       {"model", description.model},
            {"maker", description.manufacturer},      {"serial", description.serialNumber},
            {"syncPartner", description.syncPartner}, {"locationId", platform::upperHex(description.locationId)},
            {"storages", std::move(storages)}};
}

std::string labelProblem(const std::string& label) {
    if (label.empty()) {
        return "A storage has no label.";
    }
    if (label.front() == '.' || label.find('/') != std::string::npos || label == "device.json" ||
        fileNameFrom(platform::toUtf16(label)) != label || !isTellableName(label)) {
        return "\"" + label + "\" cannot be a storage's label: it names the storage's folder.";
    }
    return {};
}

} // namespace

void completeStorageIds(StoreDescription& description) {
    std::set<std::uint32_t> taken;
    for (const StorageDescription& storage : description.storages) {
        taken.insert(storage.storageId);
    }
    std::uint32_t physicalStore = 1;
    for (StorageDescription& storage : description.storages) {
        while (storage.storageId == 0) {
            const std::uint32_t candidate = physicalStore++ << 16 | logicalStore;
            if (taken.insert(candidate).second) {
                storage.storageId = candidate;
            }
        }
    }
}

std::string describeProblem(const StoreDescription& description) {
    if (description.friendlyName.empty()) {
        return "The device has no name.";
    }
    if (description.storages.empty()) {
        return "The device has no storage.";
    }
    std::set<std::string> labels;
    std::set<std::uint32_t> ids;
    for (const StorageDescription& storage : description.storages) {
        if (std::string problem = labelProblem(storage.label); !problem.empty()) {
            return problem;
        }
        if (!labels.insert(platform::caseFolded(storage.label)).second) {
            return "Two storages are labelled \"" + storage.label + "\".";
        }
        if (storage.capacity == 0 || storage.capacity > std::uint64_t{std::numeric_limits<std::int64_t>::max()}) {
            return "The storage \"" + storage.label + "\" has no usable capacity.";
        }
        // 0 and 0xFFFFFFFF mean "any" and "all" in the protocol.
        if (storage.storageId == 0 || storage.storageId == allStorages || !ids.insert(storage.storageId).second) {
            return "The storage \"" + storage.label + "\" has a storage ID that is taken or means something else.";
        }
    }
    return {};
}

bool readDescription(const std::string& directory, StoreDescription& description, std::string& error) {
    std::ifstream file(directory + fileName, std::ios::binary);
    if (!file) {
        error = "There is no virtual device in \"" + directory + "\".";
        return false;
    }
    const json document = json::parse(file, nullptr, false);
    if (!document.is_object()) {
        error = "The device.json in \"" + directory + "\" is damaged.";
        return false;
    }
    description = descriptionFrom(document);
    error = describeProblem(description);
    return error.empty();
}

bool writeDescription(const std::string& directory, const StoreDescription& description, std::string& error) {
    const std::string text = jsonOf(description).dump(4, ' ', false, json::error_handler_t::replace) + "\n";
    if (const std::error_code failure = platform::writeFileAtomically(directory + fileName, text)) {
        error = "Cannot write device.json in \"" + directory + "\": " + failure.message() + ".";
        return false;
    }
    return true;
}

} // namespace mtpsdk
