// SPDX-License-Identifier: MIT
#include "tools/Command.h"
#include "tools/CommandOptions.h"
#include "tools/DeviceTree.h"
#include "tools/EntryText.h"
#include "tools/Failure.h"
#include "tools/JsonValue.h"
#include "tools/ScreenText.h"
#include "tools/Table.h"

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>

namespace tool {
namespace {

/// What the service tells of an entry, asked anew.
platform::Dictionary informationOf(DeviceSession& session, const DeviceTree& tree, const DeviceEntry& entry) {
    if (tree.isStorage(entry)) {
        return *session.storages()[entry.storage].dictionary();
    }
    auto information =
        entry.isFolder ? std::nullopt : session.service().mediaFileInfoFromDevice(std::nullopt, entry.path);
    if (information) {
        information->remove("NodeID"); // means something within one program only
    }
    return information.value_or(entry.information);
}

/// What lies directly in a folder, and where the folder lies.
void addContent(Table& table, DeviceTree& tree, const DeviceEntry& folder) {
    std::size_t folders = 0;
    std::size_t files = 0;
    std::uint64_t bytes = 0;
    for (const DeviceEntry& entry : tree.list(folder)) {
        ++(entry.isFolder ? folders : files);
        bytes += entry.size;
    }
    table.addRow({"Storage", tree.storages()[folder.storage].path});
    table.addRow({"Folders in it", std::to_string(folders)});
    table.addRow({"Files in it", std::to_string(files)});
    table.addRow({"Their size", valueText("FileSize", bytes)});
}

void printInformation(Environment& environment, DeviceSession& session, DeviceTree& tree, const DeviceEntry& entry) {
    const platform::Dictionary information = informationOf(session, tree, entry);
    if (environment.options.json) {
        environment.console.print(jsonLine(information));
        return;
    }
    Table table({Table::text(safeText(entry.name)), Table::text("")});
    for (const auto& [key, value] : information) {
        table.addRow({*key, valueText(*key, value)});
    }
    if (entry.isFolder && !tree.isStorage(entry)) {
        addContent(table, tree, entry);
    }
    table.print(environment.console);
}

ExitStatus showInformation(Environment& environment, const std::vector<std::string>& paths) {
    const auto session = openDevice(environment.options, nullptr);
    DeviceTree tree(*session);
    ExitStatus status = ExitStatus::done;
    for (const std::string& path : paths) {
        std::string problem;
        try {
            for (const DeviceEntry& entry : tree.find(path, problem)) {
                printInformation(environment, *session, tree, entry);
            }
        } catch (const Failure& failure) {
            problem = failure.what(); // the other paths may lie in folders that can be listed
        }
        if (!problem.empty()) {
            environment.console.say(safeText(path) + ": " + problem);
            status = ExitStatus::someFailed;
        }
    }
    return status;
}

} // namespace

void addInfoCommand(Commands& commands) {
    CLI::App* command = commands.app().add_subcommand("info", "Show all that a device tells of a file");
    const auto paths = std::make_shared<std::vector<std::string>>();
    command->add_option("DEVICEPATH", *paths, "Files, folders or storages on the device")->required();
    command->footer("Examples:\n"
                    "  mtpservice info Phone/Sounds/song.mp3\n\n" +
                    devicePathHelp());
    commands.add(command, [paths](Environment& environment) { return showInformation(environment, *paths); });
}

} // namespace tool
