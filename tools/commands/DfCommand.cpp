// SPDX-License-Identifier: MIT
#include "tools/Command.h"
#include "tools/DeviceSession.h"
#include "tools/JsonValue.h"
#include "tools/Table.h"
#include "tools/Units.h"

#include <fmt/format.h>

namespace tool {
namespace {

/// Rounded up, as 100 % means full.
std::string share(std::uint64_t used, std::uint64_t total) {
    const double percent = total == 0 ? 0 : 100.0 * static_cast<double>(used) / static_cast<double>(total);
    return total == 0 ? "-" : fmt::format("{}%", static_cast<unsigned>(percent + 0.999));
}

ExitStatus showFreeSpace(Environment& environment) {
    const auto session = openDevice(environment.options, nullptr);
    Table table({Table::text("STORAGE"),
                 {"SIZE", Align::right},
                 {"USED", Align::right},
                 {"FREE", Align::right},
                 {"USE", Align::right}});
    for (const platform::Value& value : session->storages()) {
        const platform::Dictionary& storage = *value.dictionary();
        if (environment.options.json) {
            environment.console.print(jsonLine(storage));
        }
        const std::uint64_t total = storage.uint64("TotalSpace").value_or(0);
        const std::uint64_t used = storage.uint64("UsedSize").value_or(0);
        table.addRow({storage.string("volumePath").value_or(""), sizeText(total), sizeText(used),
                      sizeText(total > used ? total - used : 0), share(used, total)});
    }
    if (!environment.options.json) {
        table.print(environment.console);
    }
    return ExitStatus::done;
}

} // namespace

void addDfCommand(Commands& commands) {
    CLI::App* command = commands.app().add_subcommand("df", "Show how full a device is");
    commands.add(command, showFreeSpace);
}

} // namespace tool
