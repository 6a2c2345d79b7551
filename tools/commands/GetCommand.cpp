// SPDX-License-Identifier: MIT
#include "platform/AtomicFile.h"
#include "tools/ChosenEntries.h"
#include "tools/Command.h"
#include "tools/CommandOptions.h"
#include "tools/DeviceSession.h"
#include "tools/ScreenText.h"
#include "tools/TransferRun.h"

#include <filesystem>
#include <map>
#include <memory>
#include <unordered_map>

namespace tool {
namespace {

namespace fs = std::filesystem;

struct GetOptions {
    OverwriteMode overwrite = OverwriteMode::ask;
    std::string folder = ".";
    bool isRecursive = false;
    std::vector<std::string> paths;
};

/// One run of `get`: what is asked for, where each file goes, then one request for each local folder and kind of media.
class Get {
public:
    Get(Environment& environment, const GetOptions& options)
        : _environment(environment)
        , _options(options)
        , _run(environment, "copied")
        , _question(_run.question(options.overwrite, "here")) {}

    ExitStatus run() {
        const auto session = openDevice(_environment.options, nullptr);
        plan(*session);
        _run.begin(std::move(_files));
        askAboutExisting();
        for (const auto& [place, files] : _requests) {
            const auto& [folder, type] = place;
            const auto waiting = withoutKept(files);
            _run.request(session->service(), waiting, [&, to = folder, kind = type](std::uint32_t serviceID) {
                session->service().copyContentsDeviceToMac(serviceID, contentsOf(_run.files(), waiting), to, kind,
                                                           std::nullopt);
            });
        }
        return _run.finish();
    }

private:
    void plan(DeviceSession& session) {
        DeviceTree tree(session);
        const auto isStopped = [this] { return _environment.interrupt.isRequested(); };
        ChosenEntries entries(
            tree, _options.isRecursive ? ChosenEntries::Folders::walked : ChosenEntries::Folders::refused, isStopped);
        for (const std::string& path : _options.paths) {
            entries.add(path);
        }
        _run.leaveOut(entries.leftOut());
        for (const ChosenEntries::Chosen& chosen : entries.chosen()) {
            addEntry(session.service(), chosen);
        }
    }

    void addEntry(const MTPService& service, const ChosenEntries::Chosen& chosen) {
        const DeviceEntry& entry = chosen.entry;
        std::string folder = _options.folder;
        for (const std::string& name : chosen.folders) {
            folder += "/" + localName(service.convertAvailableFileName(name));
        }
        const std::string name = localName(service.convertAvailableFileName(entry.name));
        if (entry.hasTwin) {
            _run.leaveOut({entry.path, kTwinReason, true});
            return;
        }
        if (entry.isFolder) {
            makeFolder(folder + "/" + name, entry.path);
            return;
        }
        if (!makeFolder(folder, entry.path)) {
            return;
        }
        const std::string target = folder + "/" + name;
        const auto [other, isNew] = _targets.emplace(target, entry.path);
        std::error_code error;
        if (!isNew) {
            _run.leaveOut({entry.path, "would get the same name here as " + safeText(other->second), true});
        } else if (fs::is_directory(target, error)) {
            _run.leaveOut({entry.path, "a folder of that name is in its place here", true});
        } else {
            _requests[{folder, requestType(service, entry.name)}].push_back(_files.size());
            _files.push_back({entry.path, entry.path, name, entry.size, MediaTypeNone});
            _localPaths.push_back(target);
        }
    }

    /// The folder, which is made where it is missing, without what a killed run has left in it.
    bool makeFolder(const std::string& folder, const std::string& devicePath) {
        const auto known = _folders.find(folder);
        if (known != _folders.end()) {
            return known->second;
        }
        std::error_code error;
        fs::create_directories(folder, error);
        _folders[folder] = !error;
        if (error) {
            _run.leaveOut({devicePath, "its folder cannot be made here: " + error.message(), true});
        } else {
            platform::removeAbandonedTemporaries(folder);
        }
        return !error;
    }

    /// Before anything is received, so that a person is not called back to the keyboard in the middle.
    void askAboutExisting() {
        for (std::size_t file = 0; file < _localPaths.size() && !_environment.interrupt.isRequested(); ++file) {
            std::error_code error;
            if (fs::exists(fs::symlink_status(_localPaths[file], error))) {
                bool isNotAsk = false;
                if (!_question->confirmOverwrite(_run.files()[file].name, isNotAsk)) {
                    _run.keep(file, "exists already");
                    _kept.insert(file);
                }
            }
        }
    }

    [[nodiscard]] std::vector<std::size_t> withoutKept(const std::vector<std::size_t>& files) const {
        std::vector<std::size_t> waiting;
        for (const std::size_t file : files) {
            if (!_kept.contains(file)) {
                waiting.push_back(file);
            }
        }
        return waiting;
    }

    Environment& _environment;
    const GetOptions& _options;
    TransferRun _run;
    const std::shared_ptr<OverwriteQuestion> _question;
    std::vector<LocalFile> _files;
    std::vector<std::string> _localPaths; ///< of the files
    std::unordered_set<std::size_t> _kept;
    std::map<std::pair<std::string, MediaType>, std::vector<std::size_t>> _requests; ///< by local folder and kind
    std::unordered_map<std::string, std::string> _targets; ///< local path to the device path that goes there
    std::unordered_map<std::string, bool> _folders;        ///< whether the folder could be made
};

} // namespace

void addGetCommand(Commands& commands) {
    CLI::App* command = commands.app().add_subcommand("get", "Copy files from a device");
    const auto options = std::make_shared<GetOptions>();
    command->add_option("-o,--output", options->folder, "The folder to copy into (the current one by default)")
        ->type_name("FOLDER");
    command->add_flag("-r,--recursive", options->isRecursive, "Copy folders with all that is in them");
    addOverwriteOption(*command, options->overwrite);
    command->add_option("DEVICEPATH", options->paths, "Files and folders on the device")->required();
    command->footer(
        "Examples:\n"
        "  mtpservice get Phone/Sounds/song.mp3\n"
        "  mtpservice get -o ~/Music 'Phone/Sounds/*.mp3'\n"
        "  mtpservice get -r Phone/DCIM -o ~/Pictures        makes ~/Pictures/DCIM\n"
        "  mtpservice get -r Phone -o backup --overwrite never   goes on after an interruption\n\n" +
        devicePathHelp() +
        "\nA file appears here when it is whole; a run that is interrupted and started again ends complete.\n"
        "Characters that names cannot have everywhere become \"_\".");
    commands.add(command, [options](Environment& environment) { return Get(environment, *options).run(); });
}

} // namespace tool
