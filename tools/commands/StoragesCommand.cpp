// SPDX-License-Identifier: MIT
#include "tools/Command.h"
#include "tools/DeviceSession.h"
#include "tools/JsonValue.h"
#include "tools/Table.h"
#include "tools/Units.h"

#include <memory>

namespace tool {
namespace {

constexpr const char* kDefaultFolders[][2] = {{"music", "DefaultMusicPath"},
                                              {"images", "DefaultImagePath"},
                                              {"videos", "DefaultMoviePath"},
                                              {"podcasts", "DefaultPodcastPath"},
                                              {"playlists", "DefaultPlaylistPath"}};

void printTable(const platform::Array& storages, Console& console) {
    Table table({{"STORAGE", Align::right},
                 Table::text("LABEL"),
                 {"KIND"},
                 {"SIZE", Align::right},
                 {"USED", Align::right},
                 {"FREE", Align::right}});
    for (const platform::Value& value : storages) {
        const platform::Dictionary& storage = *value.dictionary();
        const std::uint64_t total = storage.uint64("TotalSpace").value_or(0);
        const std::uint64_t used = storage.uint64("UsedSize").value_or(0);
        table.addRow({std::to_string(storage.uint32("diskIndex").value_or(0)), storageLabel(storage),
                      storage.uint32("diskType") == 2U ? "card" : "internal", sizeText(total), sizeText(used),
                      sizeText(total > used ? total - used : 0)});
    }
    table.print(console);
}

void printFolders(const platform::Array& storages, Console& console) {
    Table table({{"STORAGE", Align::right}, {"KIND"}, Table::text("DEFAULT FOLDER")});
    for (const platform::Value& value : storages) {
        const platform::Dictionary& storage = *value.dictionary();
        for (const auto& [kind, key] : kDefaultFolders) {
            table.addRow({std::to_string(storage.uint32("diskIndex").value_or(0)), kind,
                          storage.string(key).value_or("(none)")});
        }
    }
    console.print("");
    table.print(console);
}

ExitStatus listStorages(Environment& environment, bool isVerbose) {
    const auto session = openDevice(environment.options, nullptr);
    if (environment.options.json) {
        for (const platform::Value& storage : session->storages()) {
            environment.console.print(jsonLine(*storage.dictionary()));
        }
        return ExitStatus::done;
    }
    printTable(session->storages(), environment.console);
    if (isVerbose) {
        printFolders(session->storages(), environment.console);
    }
    return ExitStatus::done;
}

} // namespace

void addStoragesCommand(Commands& commands) {
    CLI::App* command = commands.app().add_subcommand("storages", "List the storages of a device");
    const auto isVerbose = std::make_shared<bool>(false);
    command->add_flag("-v,--verbose", *isVerbose, "Show the folder for each kind of media too");
    command->footer("Examples:\n"
                    "  mtpservice storages                    of the only device\n"
                    "  mtpservice storages -v --device Phone  with the default folders\n\n"
                    "The number or the label of a storage is what --storage of other commands takes.");
    commands.add(command, [isVerbose](Environment& environment) { return listStorages(environment, *isVerbose); });
}

} // namespace tool
