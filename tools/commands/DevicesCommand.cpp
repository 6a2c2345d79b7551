// SPDX-License-Identifier: MIT
#include "tools/Command.h"
#include "tools/DeviceEvents.h"
#include "tools/DeviceReportText.h"
#include "tools/DeviceSelection.h"
#include "tools/JsonValue.h"
#include "tools/ScreenText.h"
#include "tools/StatusText.h"
#include "tools/Table.h"

#include <fmt/format.h>
#include <memory>
#include <optional>

namespace tool {
namespace {

using vemomtpsdk::AttachedDevice;
using vemomtpsdk::DeviceChange;

struct DevicesOptions {
    bool isVerbose = false;
    bool watches = false;
    bool showsEvents = false;
};

ExitStatus listDevices(Environment& environment) {
    const auto devices = findDevices(environment.options);
    if (environment.options.json) {
        for (const AttachedDevice& device : devices) {
            environment.console.print(jsonLine(deviceDictionary(device)));
        }
        return devices.empty() ? ExitStatus::noDevice : ExitStatus::done;
    }
    if (devices.empty()) {
        static_cast<void>(selectDevice(devices, "")); // says what to do
    }
    Table table(
        {{"LOCATION"}, Table::text("NAME"), Table::text("MODEL"), Table::text("SERIAL NUMBER"), Table::text("WHERE")});
    for (const AttachedDevice& device : devices) {
        table.addRow({locationText(device.locationId), device.friendlyName, device.model, device.serialNumber,
                      device.kind + " " + device.location});
    }
    table.print(environment.console);
    return ExitStatus::done;
}

/// All devices, or the one that was named.
ExitStatus describeDevices(Environment& environment) {
    auto devices = findDevices(environment.options);
    if (devices.empty() || !environment.options.device.empty()) {
        devices = {selectDevice(devices, environment.options.device)};
    }
    ExitStatus status = ExitStatus::done;
    for (const AttachedDevice& device : devices) {
        vemomtpsdk::DeviceReport report;
        const DGSTATUS asked = vemomtpsdk::describeDevice(device.locationId, report);
        if (environment.options.json) {
            environment.console.print(jsonLine(reportDictionary(report)));
        } else {
            printReport(report, environment.console);
        }
        if (asked != DGSTATUS_SUCCESS) {
            environment.console.say(fmt::format("{}: {}. `mtpservice doctor` looks for the reason.",
                                                safeText(device.friendlyName),
                                                statusText(static_cast<std::uint32_t>(asked))));
            status = ExitStatus::someFailed;
        }
    }
    return status;
}

void printChange(DeviceChange change, const AttachedDevice& device, Environment& environment) {
    const char* const what = change == DeviceChange::attached ? "attached" : "detached";
    if (environment.options.json) {
        platform::Dictionary dictionary{{"change", what}};
        dictionary.merge(deviceDictionary(device));
        environment.console.print(jsonLine(dictionary));
        return;
    }
    environment.console.print(fmt::format("{}  {}  {}, {} {}", what, locationText(device.locationId),
                                          safeText(device.friendlyName), device.kind, safeText(device.location)));
}

ExitStatus watchDevices(Environment& environment, bool showsEvents) {
    constexpr auto patience = std::chrono::seconds(1);
    static_cast<void>(findDevices(environment.options)); // attaches those of --virtual
    std::optional<DeviceEvents> events;
    if (showsEvents) {
        events.emplace(environment.console, environment.options.json);
    }
    const vemomtpsdk::DeviceWatch watch([&](DeviceChange change, const AttachedDevice& device) {
        // Opened first: whoever reads the line may count on the events from then on.
        if (events && change == DeviceChange::attached) {
            events->open(device);
        }
        if (events && change == DeviceChange::detached) {
            events->close(device);
        }
        printChange(change, device, environment);
    });
    while (!environment.interrupt.isRequested() && !environment.console.isBroken()) {
        environment.interrupt.wait(patience);
    }
    return ExitStatus::done;
}

ExitStatus run(Environment& environment, const DevicesOptions& options) {
    if (options.watches || options.showsEvents) {
        return watchDevices(environment, options.showsEvents);
    }
    return options.isVerbose ? describeDevices(environment) : listDevices(environment);
}

} // namespace

void addDevicesCommand(Commands& commands) {
    CLI::App* command = commands.app().add_subcommand("devices", "List the attached devices");
    const auto options = std::make_shared<DevicesOptions>();
    command->add_flag("-v,--verbose", options->isVerbose, "Show all that each device tells of itself (or --device)");
    command->add_flag("-w,--watch", options->watches, "Show devices as they come and go, until Ctrl-C")
        ->excludes("--verbose");
    command
        ->add_flag("--events", options->showsEvents,
                   "While watching, open each device and show what it tells of changes in itself")
        ->excludes("--verbose");
    command->footer("Examples:\n"
                    "  mtpservice devices                     all attached devices\n"
                    "  mtpservice devices --verbose           what they can do, fit for a report of a fault\n"
                    "  mtpservice devices --watch --json      one object a line for each that comes or goes\n"
                    "  mtpservice --virtual ~/player devices  and the virtual one in ~/player\n\n"
                    "LOCATION or NAME is what --device takes. Virtual devices that are always to be attached go into\n"
                    "the variable MTPSERVICE_VIRTUAL_DEVICES, folders separated by colons. Where a device is missing\n"
                    "or does not open, `mtpservice doctor` says why.");
    commands.add(command, [options](Environment& environment) { return run(environment, *options); });
}

} // namespace tool
