// SPDX-License-Identifier: MIT
#include "tools/Command.h"

#include <algorithm>

namespace tool {

void Commands::add(CLI::App* command, Action action) {
    for (CLI::Option* option : command->get_options()) {
        if (option->get_positional()) {
            option->check([](const std::string& text) {
                return text.empty() ? std::string("an empty text names nothing") : std::string();
            });
        }
    }
    _actions.emplace_back(command, std::move(action));
}

Action Commands::parsed() const {
    const auto found =
        std::find_if(_actions.begin(), _actions.end(), [](const auto& entry) { return entry.first->parsed(); });
    return found == _actions.end() ? Action() : found->second;
}

void addCommands(Commands& commands) {
    addDevicesCommand(commands);
    addDoctorCommand(commands);
    addStoragesCommand(commands);
    addDfCommand(commands);
    addLsCommand(commands);
    addTreeCommand(commands);
    addFindCommand(commands);
    addListCommand(commands);
    addInfoCommand(commands);
    addCatCommand(commands);
    addPutCommand(commands);
    addGetCommand(commands);
    addPlayCommand(commands);
    addRemoveCommand(commands);
    addPlaylistCommand(commands);
    addPodcastCommand(commands);
    addSyncCommand(commands);
    addCopyCommand(commands);
    addFolderCommands(commands);
    addBackupCommands(commands);
    addVirtualCommand(commands);
}

} // namespace tool
