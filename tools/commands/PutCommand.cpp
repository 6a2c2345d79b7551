// SPDX-License-Identifier: MIT
#include "tools/Command.h"
#include "tools/CommandOptions.h"
#include "tools/DeviceSession.h"
#include "tools/HostSetup.h"
#include "tools/MediaPlan.h"
#include "tools/PlaylistAdding.h"
#include "tools/Playlists.h"
#include "tools/ScreenText.h"
#include "tools/SyncPlan.h"
#include "tools/TransferRun.h"

#include <memory>
#include <optional>

namespace tool {
namespace {

struct PutOptions {
    std::optional<MediaType> type;
    OverwriteMode overwrite = OverwriteMode::ask;
    std::string storage = "0";
    bool noMetadata = false;
    std::string playlist;
    std::vector<std::string> paths;
};

/// One run of `put`, from the paths to the summary.
class Put {
public:
    Put(Environment& environment, const PutOptions& options)
        : _environment(environment)
        , _options(options)
        , _run(environment, "copied") {}

    ExitStatus run() {
        const auto session = openDevice(_environment.options, _run.question(_options.overwrite, "on the device"));
        const std::uint32_t storage = session->storageIndex(_options.storage);
        const MTPService::Text playlist = readyPlaylist(*session);
        plan();
        forgetRememberedOverwriteDecision();
        setUpMediaLibrary(!_options.noMetadata, [this](const std::string& path, const std::string& why) {
            _environment.console.say(safeText(path) + ": " + why);
        });
        send(session->service(), storage, playlist);
        const ExitStatus status = _run.finish();
        const bool isListed = !playlist || listKept(*session, storage, *playlist) == ExitStatus::done;
        return _isNothingKnown || !isListed ? ExitStatus::someFailed : status;
    }

private:
    void plan() {
        MediaPlan plan =
            planMedia(_options.paths, _options.type, [this] { return _environment.interrupt.isRequested(); });
        _run.leaveOut(plan.leftOut);
        if (plan.hiddenCount > 0) {
            _environment.console.say(std::to_string(plan.hiddenCount) +
                                     " hidden files and folders left out; name one to send it.");
        }
        _isNothingKnown = plan.files.empty() && _run.skippedCount() > 0;
        if (_isNothingKnown && !_options.type) {
            _environment.console.say("Nothing to copy. Other audio, image and video formats: give --type.");
        }
        _run.begin(std::move(plan.files));
    }

    /// The playlist that the files are to be in, as the device spells it; made where there is none.
    MTPService::Text readyPlaylist(DeviceSession& session) {
        if (_options.playlist.empty()) {
            return std::nullopt;
        }
        if (const auto playlist = Playlists(session).find(_options.playlist)) {
            return playlist->name;
        }
        if (!session.service().createPlaylist(_options.playlist, MediaTypePlaylist, platform::Array())) {
            throw Failure(ExitStatus::someFailed,
                          "The device does not take the playlist " + safeText(_options.playlist) + ".");
        }
        return _options.playlist;
    }

    /// One request for each kind of media, since the service keeps each in a folder of its own.
    void send(MTPService& service, std::uint32_t storage, const MTPService::Text& playlist) {
        for (const MediaType type : kMediaTypes) {
            const auto files = _run.filesWhere([&](const LocalFile& file) { return file.type == type; });
            _run.request(service, files, [&](std::uint32_t serviceID) {
                service.copyContentsMacToDevice(serviceID, contentsOf(_run.files(), files), type, storage, playlist);
            });
        }
    }

    /// The service puts into the playlist what it sends; what stayed as it was on the device belongs there as well.
    ExitStatus listKept(DeviceSession& session, std::uint32_t storage, const std::string& playlist) {
        const std::vector<std::size_t> kept = _run.keptFiles();
        if (kept.empty() || _run.isOver()) {
            return ExitStatus::done;
        }
        TransferRun run(_environment, "added", TransferRun::Told::failuresOnly);
        DeviceTree tree(session);
        std::vector<DeviceEntry> entries;
        for (const std::size_t file : kept) {
            const LocalFile& local = _run.files()[file];
            const std::string folder = session.storage(storage).string(defaultFolderKey(local.type)).value_or("");
            if (auto entry = tree.findWhole(folder + "/" + local.name)) {
                entries.push_back(*std::move(entry));
            } else {
                run.leaveOut({local.shownPath, "cannot be found on the device for the playlist", true});
            }
        }
        addToPlaylist(run, session, Playlists(session).get(playlist), entries);
        return run.finish();
    }

    Environment& _environment;
    const PutOptions& _options;
    TransferRun _run;
    bool _isNothingKnown = false;
};

constexpr const char* kFooter =
    "Examples:\n"
    "  mtpservice put ~/Music/album                    mp3 files, pictures and videos, each to its folder\n"
    "  mtpservice put --type music *.flac              other formats, as music\n"
    "  mtpservice put --overwrite never --storage Card ~/Videos\n"
    "  mtpservice put --json song.mp3                  one JSON object for each notification\n\n"
    "Folders are walked; hidden files and folders in them are left out, and so are links to folders. With --type auto\n"
    "music is mp3; images are bmp gif jpg jpeg png wbmp; videos are asf avi flv k3g mkv mp4 m4v mov mpg mpeg rm rmvb\n"
    "skm svi wmv 3gp. All files of a kind go into one folder of the device. A file whose name is there already is\n"
    "overwritten or kept as --overwrite says; kept files do not count as failed. Ctrl-C stops in good order.";

} // namespace

void addPutCommand(Commands& commands) {
    CLI::App* command = commands.app().add_subcommand("put", "Copy music, images and videos onto a device");
    const auto options = std::make_shared<PutOptions>();
    addTypeOption(*command, options->type, "What the files are: auto (the default), music, image or video");
    addOverwriteOption(*command, options->overwrite);
    addStorageOption(*command, options->storage, "The storage, by number or label (0 by default)");
    command
        ->add_option("--playlist", options->playlist,
                     "Have all of them in this playlist, also those kept; made when missing")
        ->type_name("NAME");
    command->add_flag("--no-metadata", options->noMetadata, "Send without reading titles, sizes and lengths");
    command->add_option("FILE", options->paths, "Files and folders")->required();
    command->footer(kFooter);
    commands.add(command, [options](Environment& environment) { return Put(environment, *options).run(); });
}

} // namespace tool
