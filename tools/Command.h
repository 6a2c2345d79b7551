// SPDX-License-Identifier: MIT
#pragma once

#include "tools/Console.h"
#include "tools/Failure.h"
#include "tools/Interrupt.h"

#include <CLI/CLI.hpp>
#include <functional>
#include <string>
#include <utility>
#include <vector>

namespace tool {

/// The options that every command takes, before or after its name.
struct GlobalOptions {
    std::string device; ///< location ID or name; empty: the only one attached
    std::vector<std::string> virtualDevices;
    std::vector<std::string> profiles;
    bool json = false;
    int debugLevel = 0;
};

/// What a command works with.
struct Environment {
    const GlobalOptions& options;
    Console& console;
    Interrupt& interrupt;
};

using Action = std::function<ExitStatus(Environment&)>;

/// The commands that there are. A command's file declares its subcommand with its options on app() and adds the action
/// that carries it out; addCommands calls them all.
class Commands {
public:
    explicit Commands(CLI::App& app)
        : _app(app) {}

    [[nodiscard]] CLI::App& app() { return _app; }
    /// Once the command's options are declared: an argument that names something must not be empty.
    void add(CLI::App* command, Action action);
    /// The action of the command that was given; empty when there is none.
    [[nodiscard]] Action parsed() const;

private:
    CLI::App& _app;
    std::vector<std::pair<const CLI::App*, Action>> _actions;
};

void addCommands(Commands& commands);
void addVirtualCommand(Commands& commands);
void addDevicesCommand(Commands& commands);
void addDoctorCommand(Commands& commands);
void addStoragesCommand(Commands& commands);
void addDfCommand(Commands& commands);
void addLsCommand(Commands& commands);
void addTreeCommand(Commands& commands);
void addFindCommand(Commands& commands);
void addListCommand(Commands& commands);
void addInfoCommand(Commands& commands);
void addCatCommand(Commands& commands);
/// mkdir and mv.
void addFolderCommands(Commands& commands);
/// backup and restore.
void addBackupCommands(Commands& commands);
void addPutCommand(Commands& commands);
void addGetCommand(Commands& commands);
void addPlayCommand(Commands& commands);
void addRemoveCommand(Commands& commands);
void addSyncCommand(Commands& commands);
void addCopyCommand(Commands& commands);
void addPlaylistCommand(Commands& commands);
void addPodcastCommand(Commands& commands);
/// What changes a playlist's content: part of the playlist command.
void addPlaylistEditCommands(Commands& commands, CLI::App& group);

} // namespace tool
