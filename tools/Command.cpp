// SPDX-License-Identifier: MIT
#include "tools/Command.h"

#include <algorithm>

namespace tool {

Action Commands::parsed() const {
    const auto found =
        std::find_if(_actions.begin(), _actions.end(), [](const auto& entry) { return entry.first->parsed(); });
    return found == _actions.end() ? Action() : found->second;
}

void addCommands(Commands& commands) {
    addDevicesCommand(commands);
    addStoragesCommand(commands);
    addPutCommand(commands);
    addGetCommand(commands);
    addPlayCommand(commands);
    addRemoveCommand(commands);
    addPlaylistCommand(commands);
    addPodcastCommand(commands);
    addSyncCommand(commands);
    addCopyCommand(commands);
    addVirtualCommand(commands);
}

} // namespace tool
