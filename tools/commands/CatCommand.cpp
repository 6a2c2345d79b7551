// SPDX-License-Identifier: MIT
#include "tools/Command.h"
#include "tools/CommandOptions.h"
#include "tools/DeviceTree.h"
#include "tools/Output.h"
#include "tools/PassingFolder.h"
#include "tools/ScreenText.h"
#include "tools/StatusText.h"

#include <filesystem>
#include <fstream>
#include <memory>
#include <unistd.h>

namespace tool {
namespace {

/// Writes a local file to standard output; false when nobody reads it to the end.
bool writeOut(const std::filesystem::path& path, Output& output, Console& console) {
    std::ifstream file(path, std::ios::binary);
    if (output.isTerminal()) {
        for (std::string line; std::getline(file, line);) {
            console.print(safeText(line));
        }
        return !console.isBroken();
    }
    std::string block(1U << 20U, '\0');
    bool isWritten = true;
    while (isWritten && file) {
        file.read(block.data(), static_cast<std::streamsize>(block.size()));
        isWritten = output.write(std::string_view(block).substr(0, static_cast<std::size_t>(file.gcount())));
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

ExitStatus printFile(Environment& environment, const std::vector<std::string>& paths) {
    const auto session = openDevice(environment.options, nullptr);
    DeviceTree tree(*session);
    DescriptorOutput output(STDOUT_FILENO);
    for (const std::string& path : paths) {
        const DeviceEntry entry = fileAt(tree, path);
        // Received whole before any of it is printed: a reader is not given half a file.
        const PassingFolder folder(std::filesystem::temp_directory_path());
        const std::string local = (folder.path() / "file").string();
        std::uint32_t status = 0;
        if (!session->service().readFileFromDevice(platform::Dictionary{{"FilePath", entry.path}}, local, 0, 0, true,
                                                   nullptr, nullptr, &status)) {
            throw Failure(ExitStatus::someFailed, safeText(path) + ": " + statusText(status));
        }
        if (!writeOut(local, output, environment.console)) {
            return ExitStatus::someFailed;
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
    commands.add(command, [paths](Environment& environment) { return printFile(environment, *paths); });
}

} // namespace tool
