// SPDX-License-Identifier: MIT
#include "platform/AtomicFile.h"
#include "tools/Command.h"
#include "tools/CommandOptions.h"
#include "tools/DeviceSession.h"
#include "tools/JsonValue.h"
#include "tools/MusicFinder.h"
#include "tools/PassingFolder.h"
#include "tools/PlaylistFile.h"
#include "tools/Playlists.h"
#include "tools/ScreenText.h"
#include "tools/SyncPlan.h"
#include "tools/Table.h"
#include "tools/TransferRun.h"

#include <filesystem>
#include <fmt/format.h>
#include <memory>

namespace tool {
namespace {

namespace fs = std::filesystem;

ExitStatus listPlaylists(Environment& environment) {
    const auto session = openDevice(environment.options, nullptr);
    Table table({Table::text("PLAYLIST"), {"FILES", Align::right}});
    for (const Playlist& playlist : Playlists(*session).all()) {
        if (environment.options.json) {
            environment.console.print(jsonLine(playlist.information));
        }
        table.addRow({playlist.name, std::to_string(playlist.fileCount)});
    }
    if (!environment.options.json) {
        table.print(environment.console);
    }
    return ExitStatus::done;
}

ExitStatus showPlaylist(Environment& environment, const std::string& name) {
    const auto session = openDevice(environment.options, nullptr);
    const Playlists playlists(*session);
    const Playlist playlist = playlists.get(name);
    if (environment.options.json) {
        environment.console.print(jsonLine(playlists.described(playlist)));
        return ExitStatus::done;
    }
    Table table({{"", Align::right}, Table::text(safeText(playlist.name))});
    std::size_t number = 0;
    for (const PlaylistChild& child : playlists.children(playlist)) {
        table.addRow({std::to_string(++number), child.path});
    }
    table.print(environment.console);
    return ExitStatus::done;
}

ExitStatus renamePlaylist(Environment& environment, const std::string& name, const std::string& newName) {
    const auto session = openDevice(environment.options, nullptr);
    const Playlists playlists(*session);
    const Playlist playlist = playlists.get(name);
    const auto taken = playlists.find(newName);
    if (taken && taken->name != playlist.name) {
        throw Failure(ExitStatus::someFailed, "A playlist " + safeText(taken->name) + " exists already.");
    }
    if (!session->service().renamePlaylist(playlist.name, newName, MediaTypePlaylist)) {
        throw Failure(ExitStatus::someFailed, "The device does not take the name " + safeText(newName) + ".");
    }
    environment.console.say(safeText(playlist.name) + " is called " + safeText(newName) + " now.");
    return ExitStatus::done;
}

ExitStatus deletePlaylists(Environment& environment, const std::vector<std::string>& names) {
    const auto session = openDevice(environment.options, nullptr);
    const Playlists playlists(*session);
    ExitStatus status = ExitStatus::done;
    for (const std::string& name : names) {
        const auto playlist = playlists.find(name);
        const bool isDeleted = playlist && session->service().deletePlaylist(playlist->name, MediaTypePlaylist);
        if (!isDeleted) {
            status = ExitStatus::someFailed;
        }
        const char* told = isDeleted  ? "deleted; its files stay"
                           : playlist ? "the device refused it"
                                      : "no such playlist";
        environment.console.say(safeText(name) + ": " + told);
    }
    return status;
}

/// The playlist's own file, received like any other file, so that a person can stop it.
ExitStatus exportOwnFile(Environment& environment, DeviceSession& session, const Playlist& playlist,
                         const fs::path& target) {
    DeviceTree tree(session);
    const platform::Dictionary& storage = *session.storages().front().dictionary();
    const std::string path =
        playlist.information.string("FilePath")
            .value_or(storage.string(defaultFolderKey(MediaTypePlaylist)).value_or("") + "/" + playlist.name + ".pla");
    const auto file = tree.findWhole(path);
    if (!file) {
        throw Failure(ExitStatus::someFailed, "The device does not show the file of " + safeText(playlist.name) + ".");
    }
    const PassingFolder passing(target.has_parent_path() ? target.parent_path() : fs::path("."));
    const std::string name = "playlist"; // the device's name for it need not be one for this disk
    const MediaType type = requestType(session.service(), file->name);
    TransferRun run(environment, "written", TransferRun::Told::failuresOnly);
    run.begin({{file->path, file->path, name, file->size, type}});
    run.request(session.service(), {0}, [&](std::uint32_t serviceID) {
        session.service().copyContentsDeviceToMac(serviceID, contentsOf(run.files(), {0}), passing.path().string(),
                                                  type, std::nullopt);
    });
    if (const ExitStatus status = run.finish(); status != ExitStatus::done) {
        return status;
    }
    std::error_code error;
    fs::rename(passing.path() / name, target, error);
    if (error) {
        throw Failure(ExitStatus::someFailed, safeText(target.string()) + " cannot be written: " + error.message());
    }
    return ExitStatus::done;
}

ExitStatus exportEntries(Environment& environment, DeviceSession& session, const Playlist& playlist,
                         const std::string& target) {
    DeviceTree tree(session);
    const MusicFinder music(tree, session.storages(), [&] { return environment.interrupt.isRequested(); });
    std::vector<std::string> entries;
    for (const PlaylistChild& child : Playlists(session).children(playlist)) {
        entries.push_back(music.entryFor(child.path));
    }
    if (environment.interrupt.isRequested()) {
        throw Failure(ExitStatus::someFailed, "Stopped; " + safeText(target) + " is not written.");
    }
    if (const std::error_code error = platform::writeFileAtomically(target, playlistText(entries))) {
        throw Failure(ExitStatus::someFailed, safeText(target) + " cannot be written: " + error.message());
    }
    return ExitStatus::done;
}

ExitStatus exportTo(Environment& environment, OverwriteMode mode, const std::string& name, const std::string& target) {
    const auto session = openDevice(environment.options, nullptr);
    const Playlist playlist = Playlists(*session).get(name);
    std::error_code error;
    if (fs::exists(target, error)) {
        TransferRun run(environment, "written");
        bool isNotAsk = false;
        if (!run.question(mode, "here")->confirmOverwrite(target, isNotAsk)) {
            environment.console.say(safeText(target) + " stays as it is.");
            return environment.interrupt.isRequested() ? ExitStatus::someFailed : ExitStatus::done;
        }
    }
    const ExitStatus status = target.ends_with(".pla") ? exportOwnFile(environment, *session, playlist, target)
                                                       : exportEntries(environment, *session, playlist, target);
    if (status == ExitStatus::done) {
        environment.console.say(safeText(playlist.name) + " is written to " + safeText(target) + ".");
    }
    return status;
}

void addQueries(Commands& commands, CLI::App& group) {
    CLI::App* listing = group.add_subcommand("list", "List the playlists");
    commands.add(listing, [](Environment& environment) { return listPlaylists(environment); });

    CLI::App* showing = group.add_subcommand("show", "Show the files of a playlist in order");
    const auto name = std::make_shared<std::string>();
    showing->add_option("NAME", *name, "The playlist")->required();
    commands.add(showing, [name](Environment& environment) { return showPlaylist(environment, *name); });
}

void addExport(Commands& commands, CLI::App& group) {
    struct ExportOptions {
        std::string name;
        std::string target;
        OverwriteMode overwrite = OverwriteMode::ask;
    };
    CLI::App* command = group.add_subcommand("export", "Write a playlist to a file on the computer");
    const auto options = std::make_shared<ExportOptions>();
    addOverwriteOption(*command, options->overwrite);
    command->add_option("NAME", options->name, "The playlist")->required();
    command->add_option("FILE", options->target, "An .m3u8 file of names, or an .pla file as the device keeps it")
        ->required();
    commands.add(command, [options](Environment& environment) {
        return exportTo(environment, options->overwrite, options->name, options->target);
    });
}

void addChangesOfName(Commands& commands, CLI::App& group) {
    CLI::App* renaming = group.add_subcommand("rename", "Give a playlist another name");
    const auto names = std::make_shared<std::pair<std::string, std::string>>();
    renaming->add_option("NAME", names->first, "The playlist")->required();
    renaming->add_option("NEWNAME", names->second, "Its new name")->required();
    commands.add(renaming, [names](Environment& environment) {
        return renamePlaylist(environment, names->first, names->second);
    });

    CLI::App* deleting = group.add_subcommand("delete", "Delete playlists; their files stay");
    const auto deleted = std::make_shared<std::vector<std::string>>();
    deleting->add_option("NAME", *deleted, "The playlists")->required();
    commands.add(deleting, [deleted](Environment& environment) { return deletePlaylists(environment, *deleted); });
}

} // namespace

void addPlaylistCommand(Commands& commands) {
    CLI::App* group = commands.app().add_subcommand("playlist", "List, make and change the playlists of a device");
    group->require_subcommand(1);
    addQueries(commands, *group);
    addPlaylistEditCommands(commands, *group);
    addChangesOfName(commands, *group);
    addExport(commands, *group);
    group->footer(
        "Examples:\n"
        "  mtpservice playlist create \"Road trip\" trip.m3u8\n"
        "  mtpservice playlist add \"Road trip\" 'Phone/Sounds/*.mp3'\n"
        "  mtpservice playlist show \"Road trip\"\n"
        "  mtpservice playlist export \"Road trip\" trip.m3u8\n\n"
        "Playlists lie on the internal memory. Names are taken as they are spelt, upper and lower case aside.");
}

} // namespace tool
