// SPDX-License-Identifier: MIT
#include "platform/NotificationCenter.h"
#include "tools/Command.h"
#include "tools/DeviceSession.h"
#include "tools/HostSetup.h"
#include "tools/MediaPlan.h"
#include "tools/OverwriteQuestion.h"
#include "tools/RequestRunner.h"
#include "tools/ScreenText.h"
#include "tools/TransferPrinters.h"
#include "tools/TransferProgress.h"

#include <algorithm>
#include <array>
#include <map>
#include <memory>
#include <optional>

namespace tool {
namespace {

struct PutOptions {
    std::optional<MediaType> type;
    OverwriteMode overwrite = OverwriteMode::ask;
    std::string storage = "0";
    bool noMetadata = false;
    std::vector<std::string> paths;
};

/// One run of `put`, from the paths to the summary.
class Put {
public:
    Put(Environment& environment, const PutOptions& options)
        : _environment(environment)
        , _options(options)
        , _printer((environment.options.json ? makeJsonPrinter : makeTextPrinter)(environment.console,
                                                                                  std::chrono::steady_clock::now))
        , _answers(environment.interrupt) {}

    ExitStatus run() {
        const auto question = std::make_shared<OverwriteQuestion>(
            _options.overwrite, _environment.console, _answers.isThere() ? &_answers : nullptr,
            [this](const std::string& name) { _progress->noteKept(name); });
        const auto session = openDevice(_environment.options, question);
        const std::uint32_t storage = session->storageIndex(_options.storage);
        plan();
        forgetRememberedOverwriteDecision();
        setUpMediaLibrary(!_options.noMetadata, [this](const std::string& path, const std::string& why) {
            _environment.console.say(safeText(path) + ": " + why);
        });
        send(session->service(), storage);
        return finish();
    }

private:
    void plan() {
        MediaPlan plan =
            planMedia(_options.paths, _options.type, [this] { return _environment.interrupt.isRequested(); });
        for (const LeftOut& entry : plan.leftOut) {
            ++(entry.isFailure ? _failedInPlan : _skippedInPlan);
            _printer->leftOut(entry);
        }
        if (plan.hiddenCount > 0) {
            _environment.console.say(std::to_string(plan.hiddenCount) +
                                     " hidden files and folders left out; name one to send it.");
        }
        _progress = std::make_unique<TransferProgress>(std::move(plan.files), *_printer);
    }

    /// One request for each kind of media, since the service keeps each in a folder of its own.
    void send(MTPService& service, std::uint32_t storage) {
        const platform::Observation observation(
            "", [this](const platform::Notification& notification) { _progress->handle(notification); });
        std::uint32_t serviceID = 0;
        for (const MediaType type : {MediaTypeMusic, MediaTypeImage, MediaTypeMovie}) {
            const std::vector<std::size_t> files = filesOfType(type);
            if (files.empty() || _environment.interrupt.isRequested() || _progress->isDeviceGone()) {
                continue;
            }
            sendRequest(service, ++serviceID, files, type, storage);
        }
        _progress->settleRest();
    }

    void sendRequest(MTPService& service, std::uint32_t serviceID, const std::vector<std::size_t>& files,
                     MediaType type, std::uint32_t storage) {
        platform::Array contents;
        for (const std::size_t file : files) {
            // Without "FileSize", which the service reads with 32 bits only: it measures the files itself.
            const LocalFile& local = _progress->files()[file];
            contents.emplace_back(platform::Dictionary{{"FilePath", local.path}, {"FileName", local.name}});
        }
        _progress->beginRequest(serviceID, files);
        RequestRunner runner(service, _environment.interrupt);
        RequestRunner::Request request;
        request.serviceID = serviceID;
        request.enqueue = [&] { service.copyContentsMacToDevice(serviceID, contents, type, storage); };
        request.hasStarted = [this] { return _progress->hasRequestStarted(); };
        request.restart = [this] { _progress->restartRequest(); };
        request.isHopeless = [this] { return _progress->isDeviceGone(); };
        request.tick = [this] { tick(); };
        const auto end = runner.run(request);
        if (end == RequestRunner::End::lost) {
            _environment.console.say("The service does not take the request; its queue stays busy.");
        }
        _progress->endRequest();
    }

    /// While a request runs: the clock of the progress bar, and what makes the run end early.
    void tick() {
        if (_environment.console.isBroken()) {
            _environment.interrupt.request(); // nobody reads on
        }
        if (_environment.interrupt.isRequested() && !_saidStopping) {
            _saidStopping = true;
            _progress->noteCancelled();
            _environment.console.say("Stopping after what is on the wire; Ctrl-C again quits at once.");
        }
        _progress->tick();
    }

    ExitStatus finish() {
        const TransferSnapshot snapshot = _progress->snapshot();
        _printer->summarise(snapshot, _skippedInPlan, _failedInPlan);
        const bool isNothingKnown = snapshot.filesTotal == 0 && _skippedInPlan > 0;
        if (isNothingKnown && !_options.type) {
            _environment.console.say("Nothing to copy. Other audio, image and video formats: give --type.");
        }
        return snapshot.failed + _failedInPlan > 0 || isNothingKnown ? ExitStatus::someFailed : ExitStatus::done;
    }

    [[nodiscard]] std::vector<std::size_t> filesOfType(MediaType type) const {
        std::vector<std::size_t> files;
        for (std::size_t file = 0; file < _progress->files().size(); ++file) {
            if (_progress->files()[file].type == type) {
                files.push_back(file);
            }
        }
        return files;
    }

    Environment& _environment;
    const PutOptions& _options;
    const std::unique_ptr<TransferPrinter> _printer;
    TerminalAnswers _answers;
    std::unique_ptr<TransferProgress> _progress;
    std::size_t _skippedInPlan = 0;
    std::size_t _failedInPlan = 0;
    bool _saidStopping = false;
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
    const std::map<std::string, std::optional<MediaType>> types = {
        {"auto", std::nullopt}, {"music", MediaTypeMusic}, {"image", MediaTypeImage}, {"video", MediaTypeMovie}};
    const std::map<std::string, OverwriteMode> modes = {
        {"ask", OverwriteMode::ask}, {"always", OverwriteMode::always}, {"never", OverwriteMode::never}};
    command
        ->add_option_function<std::string>(
            "--type", [options, types](const std::string& text) { options->type = types.at(text); },
            "What the files are: auto (the default), music, image or video")
        ->check(CLI::IsMember({"auto", "music", "image", "video"}))
        ->type_name("TYPE");
    command
        ->add_option_function<std::string>(
            "--overwrite", [options, modes](const std::string& text) { options->overwrite = modes.at(text); },
            "What to do with files that exist: ask (the default), always or never")
        ->check(CLI::IsMember({"ask", "always", "never"}))
        ->type_name("WHEN");
    command->add_option("--storage", options->storage, "The storage, by number or label (0 by default)")
        ->type_name("STORAGE");
    command->add_flag("--no-metadata", options->noMetadata, "Send without reading titles, sizes and lengths");
    command->add_option("FILE", options->paths, "Files and folders")->required();
    command->footer(kFooter);
    commands.add(command, [options](Environment& environment) { return Put(environment, *options).run(); });
}

} // namespace tool
