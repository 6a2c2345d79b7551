// SPDX-License-Identifier: MIT
#include "tools/Command.h"
#include "tools/CommandOptions.h"
#include "tools/DeviceTree.h"
#include "tools/Output.h"
#include "tools/PassingFolder.h"
#include "tools/ScreenText.h"
#include "tools/TransferRun.h"

#include <filesystem>
#include <fstream>
#include <memory>
#include <unistd.h>

namespace tool {
namespace {

/// Writes a local file to standard output; false when it was stopped, or nobody reads it to the end.
bool writeOut(const std::filesystem::path& path, Output& output, const Environment& environment) {
    std::ifstream file(path, std::ios::binary);
    const auto isStopped = [&] { return environment.interrupt.isRequested() || environment.console.isBroken(); };
    if (output.isTerminal()) {
        for (std::string line; !isStopped() && std::getline(file, line);) {
            environment.console.print(safeText(line));
        }
        return !isStopped();
    }
    std::string block(1U << 20U, '\0');
    bool isWritten = true;
    while (isWritten && file) {
        file.read(block.data(), static_cast<std::streamsize>(block.size()));
        isWritten =
            !isStopped() && output.write(std::string_view(block).substr(0, static_cast<std::size_t>(file.gcount())));
    }
    return isWritten;
}

DeviceEntry fileAt(DeviceTree& tree, const std::string& path) {
    std::string problem;
    const std::vector<DeviceEntry> found = tree.find(path, problem);
    if (found.size() != 1) {
        throw Failure(ExitStatus::someFailed,
                      safeText(path) + ": " + (problem.empty() ? "means several files" : problem));
    }
    if (found.front().isFolder || found.front().hasTwin) {
        throw Failure(ExitStatus::someFailed,
                      safeText(path) + ": " + (found.front().isFolder ? "it is a folder" : kTwinReason));
    }
    return found.front();
}

/// Receives a file into an empty folder, under whatever name the service gives it there.
ExitStatus receive(Environment& environment, MTPService& service, const DeviceEntry& entry, const std::string& folder) {
    TransferRun run(environment, "printed", TransferRun::Told::failuresOnly);
    run.begin({{entry.path, entry.path, entry.name, entry.size, MediaTypeNone}});
    run.request(service, {0}, [&](std::uint32_t serviceID) {
        service.copyContentsDeviceToMac(serviceID, contentsOf(run.files(), {0}), folder,
                                        requestType(service, entry.name), std::nullopt);
    });
    return run.finish();
}

ExitStatus printFiles(Environment& environment, const std::vector<std::string>& paths) {
    // Standard output is the files' own: no notification is told there.
    GlobalOptions options = environment.options;
    options.json = false;
    Environment quiet{options, environment.console, environment.interrupt};
    const auto session = openDevice(options, nullptr);
    DeviceTree tree(*session);
    DescriptorOutput output(STDOUT_FILENO);
    for (const std::string& path : paths) {
        const DeviceEntry entry = fileAt(tree, path);
        // Received whole before any of it is printed: a reader is not given half a file.
        const PassingFolder folder(std::filesystem::temp_directory_path());
        if (const ExitStatus status = receive(quiet, session->service(), entry, folder.path().string());
            status != ExitStatus::done) {
            return status;
        }
        for (const auto& received : std::filesystem::directory_iterator(folder.path())) {
            if (!writeOut(received.path(), output, quiet)) {
                return ExitStatus::someFailed;
            }
        }
    }
    return ExitStatus::done;
}

} // namespace

void addCatCommand(Commands& commands) {
    CLI::App* command = commands.app().add_subcommand("cat", "Print a file of a device");
    const auto paths = std::make_shared<std::vector<std::string>>();
    command->add_option("DEVICEPATH", *paths, "The files on the device")->required();
    command->footer("Examples:\n"
                    "  mtpservice cat Phone/notes.txt\n"
                    "  mtpservice cat Phone/Sounds/song.mp3 | mpv -\n\n" +
                    devicePathHelp() + "\nOn a terminal, what it would act upon shows as escapes.");
    commands.add(command, [paths](Environment& environment) { return printFiles(environment, *paths); });
}

} // namespace tool
