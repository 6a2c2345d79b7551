// SPDX-License-Identifier: MIT
#include "vemomtpsdk/DeviceReport.h"

#include "devices/DeviceRegistry.h"
#include "mtp/Session.h"
#include "platform/Strings.h"

#include <algorithm>
#include <array>
#include <fmt/format.h>
#include <string_view>

namespace vemomtpsdk {
namespace {

using platform::toUtf8;

/// The name of a number that stands for one of few things, from 0 on.
template <std::size_t count>
std::string choice(const std::array<std::string_view, count>& names, std::uint16_t number) {
    return number < count ? std::string(names[number]) : fmt::format("unknown (0x{:04X})", number);
}

std::string version(std::uint16_t hundredths) {
    return fmt::format("{}.{:02}", hundredths / 100, hundredths % 100);
}

template <typename Code>
std::vector<NamedCode> named(const std::vector<std::uint16_t>& codes) {
    std::vector<NamedCode> all;
    all.reserve(codes.size());
    for (const std::uint16_t code : codes) {
        all.push_back({code, std::string(mtpsdk::codeName(static_cast<Code>(code)))});
    }
    return all;
}

void describeIdentity(mtpsdk::Session& session, DeviceReport& report) {
    const mtpsdk::DeviceInfo& info = session.deviceInfo();
    report.identity = {{"manufacturer", toUtf8(info.manufacturer)},
                       {"model", toUtf8(info.model)},
                       {"device version", toUtf8(info.deviceVersion)},
                       {"serial number", toUtf8(info.serialNumber)},
                       {"standard version", version(info.standardVersion)},
                       {"vendor extension",
                        fmt::format("{} version {}: {}", info.vendorExtensionId, version(info.vendorExtensionVersion),
                                    toUtf8(info.vendorExtensionDescription))}};
    for (const auto& [code, name] : {std::pair{mtpsdk::DevicePropertyCode::DeviceFriendlyName, "friendly name"},
                                     std::pair{mtpsdk::DevicePropertyCode::SynchronizationPartner, "sync partner"}}) {
        std::u16string value;
        if (session.deviceProperty(code, value) == DGSTATUS_SUCCESS) {
            report.identity.push_back({name, toUtf8(value)});
        }
    }
}

void describeCapabilities(mtpsdk::Session& session, DeviceReport& report) {
    const mtpsdk::DeviceInfo& info = session.deviceInfo();
    report.operations = named<mtpsdk::OperationCode>(info.operations);
    report.events = named<mtpsdk::EventCode>(info.events);
    report.deviceProperties = named<mtpsdk::DevicePropertyCode>(info.deviceProperties);
    report.captureFormats = named<mtpsdk::FormatCode>(info.captureFormats);
    for (const NamedCode& format : named<mtpsdk::FormatCode>(info.playbackFormats)) {
        report.playbackFormats.push_back(
            {format, named<mtpsdk::ObjectPropertyCode>(session.supportedProperties(format.code))});
    }
}

DGSTATUS describeStorages(mtpsdk::Session& session, DeviceReport& report) {
    constexpr std::array<std::string_view, 5> types = {"undefined", "fixed, read-only", "removable, read-only",
                                                       "fixed memory", "removable memory"};
    constexpr std::array<std::string_view, 4> filesystems = {"undefined", "flat", "hierarchical", "camera folders"};
    constexpr std::array<std::string_view, 3> accesses = {"read and write", "read and nothing else", "read and delete"};
    std::vector<std::uint32_t> ids;
    DGSTATUS status = session.storageIds(ids);
    for (const std::uint32_t id : ids) {
        mtpsdk::StorageInfo info;
        const DGSTATUS asked = session.storageInfo(id, info);
        if (asked != DGSTATUS_SUCCESS) {
            status = asked;
            continue;
        }
        report.storages.push_back({id, toUtf8(info.description), toUtf8(info.volumeIdentifier),
                                   choice(types, info.storageType), choice(filesystems, info.filesystemType),
                                   choice(accesses, info.accessCapability), info.maxCapacity, info.freeSpace});
    }
    return status;
}

} // namespace

DGSTATUS describeDevice(std::uint32_t locationId, DeviceReport& report) {
    auto& registry = mtpsdk::DeviceRegistry::shared();
    report = {};
    const std::vector<AttachedDevice> attached = registry.devices();
    const auto device = std::ranges::find(attached, locationId, &AttachedDevice::locationId);
    if (device == attached.end()) {
        return DGSTATUS_NO_DEVICE_ATTACHED;
    }
    report.device = *device;
    report.line = registry.describeLine(locationId);
    std::unique_ptr<mtpsdk::Transport> transport;
    std::unique_ptr<mtpsdk::Session> session;
    DGSTATUS status = registry.openTransport(locationId, transport);
    if (status == DGSTATUS_SUCCESS) {
        status = mtpsdk::Session::open(std::move(transport), session);
    }
    if (status != DGSTATUS_SUCCESS) {
        return status;
    }
    report.quirks = session->quirks().names();
    describeIdentity(*session, report);
    describeCapabilities(*session, report);
    return describeStorages(*session, report);
}

} // namespace vemomtpsdk
