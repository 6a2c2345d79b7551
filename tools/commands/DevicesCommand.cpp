// SPDX-License-Identifier: MIT
#include "tools/Command.h"
#include "tools/DeviceSelection.h"
#include "tools/JsonValue.h"
#include "tools/Table.h"

namespace tool {
namespace {

void printJson(const std::vector<vemomtpsdk::AttachedDevice>& devices, Console& console) {
    for (const auto& device : devices) {
        console.print(jsonLine(platform::Dictionary{{"locationId", locationText(device.locationId)},
                                                    {"name", device.friendlyName},
                                                    {"model", device.model},
                                                    {"manufacturer", device.manufacturer},
                                                    {"serialNumber", device.serialNumber},
                                                    {"kind", device.kind},
                                                    {"location", device.location}}));
    }
}

ExitStatus listDevices(Environment& environment) {
    const auto devices = findDevices(environment.options);
    if (environment.options.json) {
        printJson(devices, environment.console);
        return devices.empty() ? ExitStatus::noDevice : ExitStatus::done;
    }
    if (devices.empty()) {
        static_cast<void>(selectDevice(devices, "")); // says what to do
    }
    Table table(
        {{"LOCATION"}, Table::text("NAME"), Table::text("MODEL"), Table::text("SERIAL NUMBER"), Table::text("WHERE")});
    for (const auto& device : devices) {
        table.addRow({locationText(device.locationId), device.friendlyName, device.model, device.serialNumber,
                      device.kind + " " + device.location});
    }
    table.print(environment.console);
    return ExitStatus::done;
}

} // namespace

void addDevicesCommand(Commands& commands) {
    CLI::App* command = commands.app().add_subcommand("devices", "List the attached devices");
    command->footer("Examples:\n"
                    "  mtpservice devices                     all attached devices\n"
                    "  mtpservice --virtual ~/player devices  and the virtual one in ~/player\n\n"
                    "LOCATION or NAME is what --device takes. Virtual devices that are always to be attached go into\n"
                    "the variable MTPSERVICE_VIRTUAL_DEVICES, folders separated by colons.");
    commands.add(command, listDevices);
}

} // namespace tool
