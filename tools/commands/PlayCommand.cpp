// SPDX-License-Identifier: MIT
#include "tools/ChosenEntries.h"
#include "tools/Command.h"
#include "tools/CommandOptions.h"
#include "tools/DeviceSession.h"
#include "tools/JsonValue.h"
#include "tools/ScreenText.h"
#include "tools/TransferRun.h"

#include <memory>

namespace tool {
namespace {

/// The file's local copy; fetched when there is none of its size.
ExitStatus play(Environment& environment, const std::string& path) {
    const auto session = openDevice(environment.options, nullptr);
    DeviceTree tree(*session);
    ChosenEntries entries(tree, ChosenEntries::Folders::noPart, [&] { return environment.interrupt.isRequested(); });
    entries.add(path);
    if (entries.chosen().size() != 1) {
        const bool isNone = entries.chosen().empty();
        throw Failure(isNone ? ExitStatus::someFailed : ExitStatus::usage,
                      safeText(path) + ": " + (isNone ? entries.leftOut().front().reason : "means several files"));
    }
    const DeviceEntry& entry = entries.chosen().front().entry;
    MTPService& service = session->service();
    const MediaType type = requestType(service, entry.name);
    const platform::Dictionary file{{"FilePath", entry.path}};

    if (!service.isExistContentFromMac(0, tree.diskIndex(entry), type, file, nullptr)) {
        TransferRun run(environment, "copied", TransferRun::Told::failuresOnly);
        run.begin({{entry.path, entry.path, entry.name, entry.size, type}});
        run.request(service, {0}, [&](std::uint32_t serviceID) {
            service.copyContentToPlay(serviceID, tree.diskIndex(entry), type, file);
        });
        if (const ExitStatus status = run.finish(); status != ExitStatus::done) {
            return status;
        }
    }
    // Answered at once, now that the copy is there.
    const auto localPath = service.copyContentToPlay(0, tree.diskIndex(entry), type, file);
    if (!localPath) {
        throw Failure(ExitStatus::someFailed, "The device holds another file by now.");
    }
    environment.console.print(environment.options.json ? jsonLine(platform::Dictionary{{"FilePath", *localPath}})
                                                       : *localPath);
    return ExitStatus::done;
}

} // namespace

void addPlayCommand(Commands& commands) {
    CLI::App* command = commands.app().add_subcommand("play", "Fetch a file to play it, and print where it is");
    const auto path = std::make_shared<std::string>();
    command->add_option("DEVICEPATH", *path, "The file on the device")->required();
    command->footer(
        "Examples:\n"
        "  xdg-open \"$(mtpservice play Phone/Videos/clip.mp4)\"\n\n" +
        devicePathHelp() +
        "\nCopies stay in ~/Tesvora/Lumo/Temp; one whose size is the device file's is used again. Only the path "
        "goes to\nstandard output.");
    commands.add(command, [path](Environment& environment) { return play(environment, *path); });
}

} // namespace tool
