// SPDX-License-Identifier: MIT
#include "platform/Paths.h"
#include "platform/Strings.h"
#include "tools/ChosenEntries.h"
#include "tools/Command.h"
#include "tools/CommandOptions.h"
#include "tools/DeviceSession.h"
#include "tools/MusicFinder.h"
#include "tools/PlaylistAdding.h"
#include "tools/PlaylistFile.h"
#include "tools/Playlists.h"
#include "tools/ScreenText.h"
#include "tools/TransferRun.h"

#include <algorithm>
#include <fmt/format.h>
#include <fstream>
#include <iterator>
#include <memory>
#include <set>

namespace tool {
namespace {

struct EditOptions {
    std::string name;
    std::vector<std::string> sources; ///< device paths, and playlist files of the computer
};

std::vector<std::string> readPlaylistFile(const std::string& path) {
    std::ifstream stream(path, std::ios::binary);
    const std::string content{std::istreambuf_iterator<char>(stream), {}};
    if (!stream) {
        throw Failure(ExitStatus::usage, safeText(path) + " cannot be read.");
    }
    return parsePlaylist(content);
}

/// The files on the device that the sources mean, in order, and what they name in vain.
class Sources {
public:
    Sources(Environment& environment, DeviceSession& session)
        : _environment(environment)
        , _session(session)
        , _tree(session) {}

    void add(const std::string& source) {
        if (isPlaylistFile(source)) {
            addPlaylistFile(source);
            return;
        }
        ChosenEntries entries(_tree, ChosenEntries::Folders::noPart, [this] { return isStopped(); });
        entries.add(source);
        leftOut.insert(leftOut.end(), entries.leftOut().begin(), entries.leftOut().end());
        for (const ChosenEntries::Chosen& chosen : entries.chosen()) {
            files.push_back(chosen.entry);
        }
    }
    void addPlaylistFile(const std::string& path) {
        if (!_music) {
            _music = std::make_unique<MusicFinder>(_tree, _session.storages(), [this] { return isStopped(); });
        }
        for (const std::string& entry : readPlaylistFile(path)) {
            const auto found = _music->find(entry);
            if (!found) {
                leftOut.push_back({entry, "not in the device's music folders", true});
            } else if (found->hasTwin) {
                leftOut.push_back({found->path, kTwinReason, true});
            } else {
                files.push_back(*found);
            }
        }
    }

    std::vector<DeviceEntry> files;
    std::vector<LeftOut> leftOut;

private:
    [[nodiscard]] bool isStopped() const { return _environment.interrupt.isRequested(); }

    Environment& _environment;
    DeviceSession& _session;
    DeviceTree _tree;
    std::unique_ptr<MusicFinder> _music;
};

std::string leftOutText(const LeftOut& entry) {
    return safeText(entry.shownPath) + ": " + entry.reason;
}

bool hasFailure(const std::vector<LeftOut>& entries) {
    return std::any_of(entries.begin(), entries.end(), [](const LeftOut& entry) { return entry.isFailure; });
}

void sayLeftOut(Environment& environment, const std::vector<LeftOut>& entries) {
    for (const LeftOut& entry : entries) {
        environment.console.say(leftOutText(entry));
    }
}

ExitStatus createPlaylist(Environment& environment, const EditOptions& options) {
    const auto session = openDevice(environment.options, nullptr);
    if (const auto taken = Playlists(*session).find(options.name)) {
        throw Failure(ExitStatus::someFailed,
                      "A playlist " + safeText(taken->name) + " exists already; add to it with `playlist add`.");
    }
    Sources sources(environment, *session);
    for (const std::string& source : options.sources) {
        sources.add(source);
    }
    sayLeftOut(environment, sources.leftOut);
    if (environment.interrupt.isRequested() || (sources.files.empty() && hasFailure(sources.leftOut))) {
        throw Failure(ExitStatus::someFailed, "No playlist is made.");
    }
    platform::Array contents;
    for (const DeviceEntry& entry : sources.files) {
        contents.emplace_back(platform::Dictionary{{"FilePath", entry.path}, {"FileName", entry.name}});
    }
    if (!session->service().createPlaylist(options.name, MediaTypePlaylist, contents)) {
        throw Failure(ExitStatus::someFailed, "The device does not take the playlist " + safeText(options.name) + ".");
    }
    environment.console.say(
        fmt::format("Made the playlist {} of {} files.", safeText(options.name), sources.files.size()));
    return hasFailure(sources.leftOut) ? ExitStatus::someFailed : ExitStatus::done;
}

ExitStatus addToPlaylist(Environment& environment, const EditOptions& options) {
    const auto session = openDevice(environment.options, nullptr);
    const Playlist playlist = Playlists(*session).get(options.name);
    Sources sources(environment, *session);
    for (const std::string& source : options.sources) {
        sources.add(source);
    }
    TransferRun run(environment, "added");
    run.leaveOut(sources.leftOut);
    addToPlaylist(run, *session, playlist, sources.files);
    return run.finish();
}

/// The entry of a playlist that a person names: by its device path, whole or from the storage on, or by the file's name
/// alone. Nothing, with the reason, when there is none or several files fit.
const PlaylistChild* childCalled(const std::vector<PlaylistChild>& children, const std::string& name,
                                 std::string& problem) {
    const std::string wanted = platform::caseFolded(name);
    const PlaylistChild* found = nullptr;
    for (const PlaylistChild& child : children) {
        const std::string path = platform::caseFolded(child.path);
        const bool fits = path == wanted || (path.ends_with("/" + wanted) && !wanted.starts_with('/'));
        if (fits && found && found->objectID != child.objectID) {
            problem = "several files of the playlist are called so; give more of the path";
            return nullptr;
        }
        found = fits && !found ? &child : found;
    }
    problem = found ? "" : "not in the playlist";
    return found;
}

ExitStatus removeEntries(Environment& environment, const EditOptions& options) {
    const auto session = openDevice(environment.options, nullptr);
    const Playlists playlists(*session);
    const Playlist playlist = playlists.get(options.name);
    std::vector<PlaylistChild> children = playlists.children(playlist);
    TransferRun run(environment, "removed");
    std::vector<LocalFile> files;
    std::vector<std::uint32_t> objectIDs;
    for (const std::string& name : options.sources) {
        std::string problem;
        const PlaylistChild* child = childCalled(children, name, problem);
        if (!child) {
            run.leaveOut({name, problem, true});
            continue;
        }
        files.push_back(asRunFile(child->path, platform::lastPathComponent(child->path)));
        objectIDs.push_back(child->objectID);
        children.erase(children.begin() + (child - children.data())); // an entry goes once
    }
    run.begin(std::move(files));
    for (std::size_t file = 0; file < run.files().size(); ++file) {
        // A request for each: within one, the service takes an entry too many from the second on.
        run.request(session->service(), {file}, [&](std::uint32_t serviceID) {
            const platform::Array contents{
                platform::Dictionary{{"FileName", run.files()[file].path}, {"ObjectID", objectIDs[file]}}};
            session->service().deleteContentsAtPlaylist(serviceID, contents, MediaTypePlaylist, playlist.name);
        });
    }
    return run.finish();
}

/// What a synchronised playlist lacks: the service looks for its files in the music folders themselves, not below.
std::vector<LeftOut> missingIn(const Playlists& playlists, const std::string& name,
                               const std::vector<DeviceEntry>& wanted) {
    const auto playlist = playlists.find(name);
    std::multiset<std::string> held;
    for (const PlaylistChild& child : playlist ? playlists.children(*playlist) : std::vector<PlaylistChild>()) {
        held.insert(child.path);
    }
    std::vector<LeftOut> missing;
    for (const DeviceEntry& entry : wanted) {
        const auto found = held.find(entry.path);
        if (found == held.end()) {
            missing.push_back({entry.path,
                               playlist
                                   ? "the service takes another file of this name, or none: it lies in a folder of "
                                     "its own; `playlist add` takes it"
                                   : "the device did not take the playlist",
                               true});
        } else {
            held.erase(found);
        }
    }
    return missing;
}

ExitStatus syncPlaylists(Environment& environment, const std::vector<std::string>& paths) {
    const auto session = openDevice(environment.options, nullptr);
    const Playlists playlists(*session);
    bool isAllDone = true;
    for (const std::string& path : paths) {
        if (environment.interrupt.isRequested()) {
            isAllDone = false;
            break;
        }
        std::string name = platform::lastPathComponent(path);
        name.resize(std::min(name.rfind('.'), name.size()));
        const auto known = playlists.find(name);
        const std::string onDevice = known ? known->name : name;
        Sources sources(environment, *session);
        sources.addPlaylistFile(path);
        if (environment.interrupt.isRequested()) {
            isAllDone = false; // the music folders were not looked through to the end: the playlist stays as it is
            break;
        }
        platform::Array children;
        for (const DeviceEntry& entry : sources.files) {
            children.emplace_back(platform::Dictionary{{"FilePath", entry.path}, {"FileName", entry.name}});
        }
        // The answer is no success for lists that are new, so what the device holds then tells.
        session->service().syncPlaylistContents(
            platform::Array{platform::Dictionary{{"PlaylistName", onDevice}, {"children", std::move(children)}}},
            MediaTypePlaylist, false);
        const std::vector<LeftOut> missing = missingIn(playlists, onDevice, sources.files);
        sayLeftOut(environment, sources.leftOut);
        sayLeftOut(environment, missing);
        const bool isThere = playlists.find(onDevice).has_value();
        isAllDone = isAllDone && isThere && sources.leftOut.empty() && missing.empty();
        environment.console.say(
            isThere ? fmt::format("{}: {} files", safeText(onDevice), sources.files.size() - missing.size())
                    : safeText(onDevice) + ": the device did not take it");
    }
    return isAllDone ? ExitStatus::done : ExitStatus::someFailed;
}

std::shared_ptr<EditOptions> addNameAndSources(CLI::App& command, const std::string& sourceHelp, bool isRequired) {
    const auto options = std::make_shared<EditOptions>();
    command.add_option("NAME", options->name, "The playlist")->required();
    command.add_option("FILE", options->sources, sourceHelp)->required(isRequired);
    return options;
}

} // namespace

void addPlaylistEditCommands(Commands& commands, CLI::App& group) {
    const std::string sourceHelp = "Device paths, and .m3u and .m3u8 files of the computer";
    const std::string footer =
        "Entries of .m3u and .m3u8 files mean the files of their names in the device's music folders; where several "
        "have the\nname, the one whose folders agree most with the entry's. Those that are not there are told, and the "
        "exit status is 1.\n\n" +
        devicePathHelp();

    CLI::App* creating = group.add_subcommand("create", "Make a playlist");
    const auto created = addNameAndSources(*creating, sourceHelp, false);
    creating->footer("Examples:\n"
                     "  mtpservice playlist create \"Road trip\" trip.m3u8\n"
                     "  mtpservice playlist create Empty\n\n" +
                     footer);
    commands.add(creating, [created](Environment& environment) { return createPlaylist(environment, *created); });

    CLI::App* adding = group.add_subcommand("add", "Add files at the end of a playlist; each is in it once");
    const auto added = addNameAndSources(*adding, sourceHelp, true);
    adding->footer("Examples:\n  mtpservice playlist add \"Road trip\" Phone/Sounds/song.mp3\n\n" + footer);
    commands.add(adding, [added](Environment& environment) { return addToPlaylist(environment, *added); });

    CLI::App* removing = group.add_subcommand("remove", "Take files out of a playlist; they stay on the device");
    const auto removed = addNameAndSources(*removing, "Names or device paths, as `playlist show` tells them", true);
    removing->footer("Examples:\n  mtpservice playlist remove \"Road trip\" song.mp3");
    commands.add(removing, [removed](Environment& environment) { return removeEntries(environment, *removed); });

    CLI::App* syncing =
        group.add_subcommand("sync", "Make playlists of .m3u and .m3u8 files, or what they hold now of existing ones");
    const auto paths = std::make_shared<std::vector<std::string>>();
    syncing->add_option("FILE", *paths, "The files; their names without extension are the playlists'")->required();
    syncing->footer("Examples:\n  mtpservice playlist sync ~/Music/*.m3u8\n\n" + footer);
    commands.add(syncing, [paths](Environment& environment) { return syncPlaylists(environment, *paths); });
}

} // namespace tool
