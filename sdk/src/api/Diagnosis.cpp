// SPDX-License-Identifier: MIT
#include "vemomtpsdk/Diagnosis.h"

#include "devices/DeviceRegistry.h"
#include "devices/UsbInspection.h"
#include "devices/VirtualDevices.h"
#include "mtp/Session.h"
#include "store/StoreDescription.h"
#include "transport/usb/UsbAdvice.h"

#include <algorithm>
#include <cstdlib>
#include <fmt/format.h>
#include <iterator>

namespace vemomtpsdk {
namespace {

using mtpsdk::Advice;
using Kind = Finding::Kind;

constexpr bool hasUsb =
#ifdef MTPSERVICE_HAS_USB
    true;
#else
    false;
#endif

void add(std::vector<Finding>& findings, Kind kind, const Advice& advice) {
    findings.push_back({kind, advice.problem, advice.remedy});
}

void examineSetup(std::vector<Finding>& findings) {
    if (!hasUsb) {
        findings.push_back({Kind::problem, "This build has no support for USB devices, only for virtual ones.",
                            "Install libusb-1.0 with its development files (libusb-1.0-0-dev), and build again."});
    } else if (std::getenv("MTPSERVICE_NO_USB") != nullptr) {
        findings.push_back({Kind::problem, "USB devices are left alone, since the variable MTPSERVICE_NO_USB is set.",
                            "Run without it: env -u MTPSERVICE_NO_USB mtpservice doctor"});
    }
    for (const std::string& problem : mtpsdk::QuirkTable::shared().problems()) {
        findings.push_back({Kind::note, problem, ""});
    }
    for (const std::string& directory : mtpsdk::listedVirtualDevices()) {
        mtpsdk::StoreDescription description;
        std::string error;
        if (!mtpsdk::readDescription(directory, description, error)) {
            findings.push_back({Kind::problem, "MTPSERVICE_VIRTUAL_DEVICES: " + error,
                                "Correct the variable, or make the device: mtpservice virtual create DIR --name NAME"});
        }
    }
}

/// Opens the device as any command does.
void examineDevice(const AttachedDevice& device, std::vector<Finding>& findings) {
    const std::string name = mtpsdk::nameInSentence(device.friendlyName, device.location);
    std::unique_ptr<mtpsdk::Transport> transport;
    std::unique_ptr<mtpsdk::Session> session;
    std::vector<std::uint32_t> storages;
    DGSTATUS status = mtpsdk::DeviceRegistry::shared().openTransport(device.locationId, transport);
    if (status == DGSTATUS_SUCCESS) {
        status = mtpsdk::Session::open(std::move(transport), session);
        status = status == DGSTATUS_SUCCESS ? session->storageIds(storages) : status;
    }
    if (status == DGSTATUS_SUCCESS && storages.empty()) {
        add(findings, Kind::problem, mtpsdk::lockedAdvice(name));
    } else if (status == DGSTATUS_SUCCESS) {
        findings.push_back({Kind::fine, fmt::format("{} works ({} {}).", name, device.kind, device.location), ""});
    } else if (device.kind == "virtual") {
        findings.push_back({Kind::problem, fmt::format("{} in {} cannot be opened.", name, device.location),
                            "Another program may have it open: end that. With --debug 3 the log says more."});
    } else {
        add(findings, Kind::problem,
            mtpsdk::silentAdvice(
                name, fmt::format("it does not answer as it should (0x{:08X})", static_cast<std::uint32_t>(status))));
    }
}

void examineNothing(std::size_t usbDevices, std::vector<Finding>& findings) {
    const std::string seen =
        usbDevices == 0
            ? "No USB device is attached, and no virtual one."
            : fmt::format("None of the attached USB devices ({}) speaks MTP, and there is no virtual one.", usbDevices);
    findings.push_back({Kind::problem, seen,
                        "Plug the device in with a cable that carries data, not one for charging alone. " +
                            mtpsdk::unlockRemedy() +
                            " Or make a virtual one: mtpservice virtual create ~/player "
                            "--name Player"});
}

} // namespace

std::vector<Finding> diagnose() {
    std::vector<Finding> findings;
    examineSetup(findings);
    const mtpsdk::UsbSystem system = mtpsdk::UsbSystem::here();
    std::size_t usbDevices = 0;
    std::vector<std::string> blocked;
    const auto suspects = mtpsdk::usbSuspects(system, usbDevices);
    for (const mtpsdk::UsbSuspect& suspect : suspects) {
        std::vector<Finding> found = mtpsdk::examine(suspect, system);
        if (std::ranges::count(found, Kind::problem, &Finding::kind) != 0) {
            blocked.push_back(suspect.port);
        }
        std::ranges::move(found, std::back_inserter(findings));
    }
    const std::vector<AttachedDevice> attached = attachedDevices();
    for (const AttachedDevice& device : attached) {
        if (std::ranges::count(blocked, device.location) == 0) {
            examineDevice(device, findings);
        }
    }
    const bool isAnySeen =
        !attached.empty() || std::ranges::any_of(suspects, [](const auto& suspect) { return suspect.isCertain; });
    if (!isAnySeen) {
        examineNothing(usbDevices, findings);
    }
    return findings;
}

std::string unlockAdvice() {
    return mtpsdk::unlockRemedy();
}

} // namespace vemomtpsdk
