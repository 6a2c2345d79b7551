// SPDX-License-Identifier: MIT
#include "tools/Command.h"
#include "tools/CommandOptions.h"
#include "tools/DeviceTree.h"
#include "tools/JsonValue.h"
#include "tools/ScreenText.h"

#include <algorithm>
#include <memory>

namespace tool {
namespace {

struct FindOptions {
    std::optional<MediaType> type;
    std::string name;
    std::vector<std::string> paths;
};

ExitStatus find(Environment& environment, const FindOptions& options) {
    const auto session = openDevice(environment.options, nullptr);
    DeviceTree tree(*session);
    ExitStatus status = ExitStatus::done;
    std::vector<DeviceEntry> tops = options.paths.empty() ? tree.storages() : std::vector<DeviceEntry>();
    for (const std::string& path : options.paths) {
        std::string problem;
        std::ranges::move(tree.find(path, problem), std::back_inserter(tops));
        if (!problem.empty()) {
            environment.console.say(safeText(path) + ": " + problem);
            status = ExitStatus::someFailed;
        }
    }
    const auto isStopped = [&] { return environment.interrupt.isRequested() || environment.console.isBroken(); };
    const auto tell = [&](const DeviceEntry& entry) {
        const bool isOfType =
            !options.type || (!entry.isFolder && session->service().checkMediaType(entry.name) == *options.type);
        if (isOfType && (options.name.empty() || matchesPattern(entry.name, options.name))) {
            environment.console.print(environment.options.json ? jsonLine(entry.information) : safeText(entry.path));
        }
    };
    for (const DeviceEntry& top : tops) {
        if (!tree.isStorage(top)) {
            tell(top);
        }
        if (top.isFolder && !top.hasTwin) {
            tree.walk(top, isStopped, tell);
        }
    }
    return isStopped() || tellLeftOut(tree, environment.console) ? ExitStatus::someFailed : status;
}

} // namespace

void addFindCommand(Commands& commands) {
    CLI::App* command = commands.app().add_subcommand("find", "Find files and folders on a device");
    const auto options = std::make_shared<FindOptions>();
    addTypeOption(*command, options->type, "Files of this kind only, by their name's extension: music, image or video");
    command->add_option("--name", options->name, "With this name; * and ? stand for any text and any character")
        ->type_name("PATTERN");
    command->add_option("DEVICEPATH", options->paths, "Where to look; the whole device by default");
    command->footer("Examples:\n"
                    "  mtpservice find --name '*.flac'\n"
                    "  mtpservice find --type video Phone/DCIM\n\n" +
                    devicePathHelp());
    commands.add(command, [options](Environment& environment) { return find(environment, *options); });
}

} // namespace tool
