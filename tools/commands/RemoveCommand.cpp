// SPDX-License-Identifier: MIT
#include "tools/ChosenEntries.h"
#include "tools/Command.h"
#include "tools/CommandOptions.h"
#include "tools/DeviceSession.h"
#include "tools/ScreenText.h"
#include "tools/TransferRun.h"

#include <fmt/format.h>
#include <map>
#include <memory>

namespace tool {
namespace {

struct RemoveOptions {
    bool isRecursive = false;
    bool isConfirmed = false;
    std::vector<std::string> paths;
};

/// One run of `rm`: files first, then the emptied folders, innermost first, so that a run that is stopped leaves whole
/// what it did not come to.
class Remove {
public:
    Remove(Environment& environment, const RemoveOptions& options)
        : _environment(environment)
        , _options(options)
        , _run(environment, "deleted") {}

    ExitStatus run() {
        const auto session = openDevice(_environment.options, nullptr);
        plan(*session);
        if (!_folders.empty() && !_options.isConfirmed && !isConfirmed()) {
            throw Failure(ExitStatus::someFailed, "Nothing is deleted.");
        }
        const std::size_t fileCount = _files.size();
        _files.insert(_files.end(), _folders.rbegin(), _folders.rend());
        _disks.insert(_disks.end(), _folderDisks.rbegin(), _folderDisks.rend());
        _run.begin(std::move(_files));
        removeAll(session->service(), 0, fileCount);
        removeAll(session->service(), fileCount, _run.files().size());
        return _run.finish();
    }

private:
    void plan(DeviceSession& session) {
        DeviceTree tree(session);
        ChosenEntries entries(tree,
                              _options.isRecursive ? ChosenEntries::Folders::walked : ChosenEntries::Folders::refused,
                              [this] { return _environment.interrupt.isRequested(); });
        for (const std::string& path : _options.paths) {
            entries.add(path);
        }
        _run.leaveOut(entries.leftOut());
        for (const ChosenEntries::Chosen& chosen : entries.chosen()) {
            const DeviceEntry& entry = chosen.entry;
            if (tree.isStorage(entry)) {
                throw Failure(ExitStatus::usage, safeText(entry.path) + " is a whole storage; name what is in it.");
            }
            if (entry.hasTwin) {
                continue; // below a folder that goes, with all that is in it
            }
            // Bytes are not counted: deleting takes its time by the file.
            const LocalFile file{entry.path, entry.path, entry.name, 0, requestType(session.service(), entry.name)};
            (entry.isFolder ? _folders : _files).push_back(file);
            (entry.isFolder ? _folderDisks : _disks).push_back(tree.diskIndex(entry));
        }
        if (_environment.interrupt.isRequested()) {
            throw Failure(ExitStatus::someFailed, "Stopped; nothing is deleted.");
        }
    }

    bool isConfirmed() {
        if (!_run.canAsk()) {
            throw Failure(ExitStatus::usage, "There is no terminal to confirm on; to delete folders give --yes.");
        }
        return _run.confirms(
            fmt::format("Delete {} folders and {} files in and beside them?", _folders.size(), _files.size()));
    }

    /// One request for each storage and kind among these entries.
    void removeAll(MTPService& service, std::size_t begin, std::size_t end) {
        std::map<std::pair<std::uint32_t, MediaType>, std::vector<std::size_t>> requests;
        for (std::size_t index = begin; index < end; ++index) {
            requests[{_disks[index], _run.files()[index].type}].push_back(index);
        }
        for (const auto& [place, files] : requests) {
            const auto& [disk, type] = place;
            _run.request(service, files, [&, chosen = &files, diskIndex = disk, kind = type](std::uint32_t serviceID) {
                service.deleteContents(serviceID, contentsOf(_run.files(), *chosen), kind, diskIndex);
            });
        }
    }

    Environment& _environment;
    const RemoveOptions& _options;
    TransferRun _run;
    std::vector<LocalFile> _files;
    std::vector<LocalFile> _folders; ///< each before those in it
    std::vector<std::uint32_t> _disks;
    std::vector<std::uint32_t> _folderDisks;
};

} // namespace

void addRemoveCommand(Commands& commands) {
    CLI::App* command = commands.app().add_subcommand("rm", "Delete files from a device");
    const auto options = std::make_shared<RemoveOptions>();
    command->add_flag("-r,--recursive", options->isRecursive, "Delete folders with all that is in them");
    command->add_flag("-y,--yes", options->isConfirmed, "Do not ask before folders are deleted");
    command->add_option("DEVICEPATH", options->paths, "Files and folders on the device")->required();
    command->footer("Examples:\n"
                    "  mtpservice rm Phone/Sounds/song.mp3\n"
                    "  mtpservice rm 'Card/DCIM/Camera/IMG_20*.jpg'\n"
                    "  mtpservice rm -r Phone/Videos/holiday\n\n" +
                    devicePathHelp() + "\nThere is no way back. Ctrl-C stops after the file under way.");
    commands.add(command, [options](Environment& environment) { return Remove(environment, *options).run(); });
}

} // namespace tool
