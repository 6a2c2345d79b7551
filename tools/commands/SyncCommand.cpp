// SPDX-License-Identifier: MIT
#include "tools/Command.h"
#include "tools/CommandOptions.h"
#include "tools/DeviceSession.h"
#include "tools/HostSetup.h"
#include "tools/JsonValue.h"
#include "tools/ScreenText.h"
#include "tools/SyncPlan.h"
#include "tools/TransferRun.h"
#include "tools/Units.h"

#include <algorithm>
#include <filesystem>
#include <fmt/format.h>
#include <memory>
#include <optional>

namespace tool {
namespace {

struct SyncOptions {
    std::optional<MediaType> type;
    std::string folder;
    bool isDryRun = false;
    bool startsOnCard = false;
    bool noMetadata = false;
};

constexpr const char* kKeptReason = "the same is there already";

/// One run of `sync`.
class Sync {
public:
    Sync(Environment& environment, const SyncOptions& options)
        : _environment(environment)
        , _options(options)
        , _run(environment, "copied") {}

    ExitStatus run() {
        std::error_code error;
        if (!std::filesystem::is_directory(_options.folder, error)) {
            throw Failure(ExitStatus::usage, safeText(_options.folder) + " is no folder.");
        }
        // Changed files are replaced: that is what synchronising is.
        const auto session = openDevice(_environment.options, _run.question(OverwriteMode::always, "on the device"));
        const auto isStopped = [this] { return _environment.interrupt.isRequested(); };
        MediaPlan plan = planMedia({_options.folder}, _options.type, isStopped);
        DeviceTree tree(*session);
        _actions = planSync(plan.files, tree, session->storages(), isStopped);
        if (isStopped()) { // half a plan is none
            throw Failure(ExitStatus::someFailed, "Stopped; nothing was changed.");
        }
        return _options.isDryRun ? tellPlan(plan) : carryOut(session->service(), std::move(plan));
    }

private:
    ExitStatus tellPlan(const MediaPlan& plan) {
        std::uint64_t bytes = 0;
        for (std::size_t file = 0; file < plan.files.size(); ++file) {
            bytes += _actions[file] == SyncAction::keep ? 0 : plan.files[file].size;
            tellAction(plan.files[file], _actions[file]);
        }
        for (const LeftOut& entry : plan.leftOut) {
            _environment.console.say(safeText(entry.shownPath) + ": " + entry.reason);
        }
        const std::string summary =
            fmt::format("{} to send, {} to replace, {} there already; {} to copy. Nothing was changed.",
                        count(SyncAction::send), count(SyncAction::replace), count(SyncAction::keep), sizeText(bytes));
        _environment.options.json ? _environment.console.say(summary) : _environment.console.print(summary);
        const bool hasFailures =
            std::any_of(plan.leftOut.begin(), plan.leftOut.end(), [](const LeftOut& entry) { return entry.isFailure; });
        return hasFailures ? ExitStatus::someFailed : ExitStatus::done;
    }

    void tellAction(const LocalFile& file, SyncAction action) {
        const char* word = action == SyncAction::send ? "send" : action == SyncAction::replace ? "replace" : "keep";
        if (_environment.options.json) {
            _environment.console.print(
                jsonLine(platform::Dictionary{{"FilePath", file.path}, {"FileSize", file.size}, {"Action", word}}));
        } else {
            _environment.console.print(fmt::format("{:7} {}", word, safeText(file.shownPath)));
        }
    }

    ExitStatus carryOut(MTPService& service, MediaPlan plan) {
        forgetRememberedOverwriteDecision();
        setUpMediaLibrary(!_options.noMetadata, [this](const std::string& path, const std::string& why) {
            _environment.console.say(safeText(path) + ": " + why);
        });
        _run.leaveOut(plan.leftOut);
        _run.begin(std::move(plan.files));
        for (std::size_t file = 0; file < _actions.size(); ++file) {
            if (_actions[file] == SyncAction::keep) {
                _run.keep(file, kKeptReason);
            }
        }
        for (const MediaType type : kMediaTypes) {
            const auto files = _run.filesWhere([&](const LocalFile& file) { return file.type == type; });
            _run.request(service, files, [&](std::uint32_t serviceID) {
                service.syncContents(serviceID, contentsOf(_run.files(), files), type, !_options.startsOnCard);
            });
        }
        return _run.finish();
    }

    [[nodiscard]] std::ptrdiff_t count(SyncAction action) const {
        return std::count(_actions.begin(), _actions.end(), action);
    }

    Environment& _environment;
    const SyncOptions& _options;
    TransferRun _run;
    std::vector<SyncAction> _actions; ///< of the files
};

} // namespace

void addSyncCommand(Commands& commands) {
    CLI::App* command =
        commands.app().add_subcommand("sync", "Bring the media folders of a device up to date with a local folder");
    const auto options = std::make_shared<SyncOptions>();
    addTypeOption(*command, options->type,
                  "Which files of the folder: auto (all known ones, the default), music, "
                  "image or video");
    command->add_flag("-n,--dry-run", options->isDryRun, "Tell what would be sent and replaced; change nothing");
    command->add_flag("--card-first", options->startsOnCard,
                      "Fill the memory card before the internal memory; the other way round by default");
    command->add_flag("--no-metadata", options->noMetadata, "Send without reading titles, sizes and lengths");
    command->add_option("FOLDER", options->folder, "The local folder")->required();
    command->footer(
        "Examples:\n"
        "  mtpservice sync --dry-run ~/Music\n"
        "  mtpservice sync --type music ~/Music\n\n"
        "Files whose name the device's folder of their kind does not hold are sent, to the first storage with "
        "room;\nthose of another size are replaced, those of the same name and size left alone. What the "
        "folder does not\nhold stays on the device.");
    commands.add(command, [options](Environment& environment) { return Sync(environment, *options).run(); });
}

} // namespace tool
