// SPDX-License-Identifier: MIT
#include "tools/Command.h"
#include "tools/CommandOptions.h"
#include "tools/DeviceTree.h"
#include "tools/EntryText.h"
#include "tools/JsonValue.h"
#include "tools/ScreenText.h"
#include "tools/Table.h"
#include "tools/Units.h"

#include <memory>

namespace tool {
namespace {

struct LsOptions {
    bool isLong = false;
    bool isRecursive = false;
    std::vector<std::string> paths;
};

/// One run of `ls`.
class Ls {
public:
    Ls(Environment& environment, const LsOptions& options)
        : _environment(environment)
        , _options(options)
        , _session(openDevice(environment.options, nullptr))
        , _tree(*_session) {}

    ExitStatus run() {
        if (_options.paths.empty()) {
            showFolders(_tree.storages());
            return status();
        }
        std::vector<DeviceEntry> files;
        std::vector<DeviceEntry> folders;
        for (const std::string& path : _options.paths) {
            std::string problem;
            for (DeviceEntry& entry : _tree.find(path, problem)) {
                (entry.isFolder ? folders : files).push_back(std::move(entry));
            }
            if (!problem.empty()) {
                complain(safeText(path) + ": " + problem);
            }
        }
        if (!files.empty()) {
            show(files);
        }
        showFolders(folders);
        return status();
    }

private:
    ExitStatus status() { return tellLeftOut(_tree, _environment.console) ? ExitStatus::someFailed : _status; }
    void complain(const std::string& text) {
        _environment.console.say(text);
        _status = ExitStatus::someFailed;
    }

    /// Each folder's content, under its path unless it is the only one.
    void showFolders(const std::vector<DeviceEntry>& folders) {
        const bool hasHeading = folders.size() > 1 || _options.isRecursive || !_isFirst;
        for (const DeviceEntry& folder : folders) {
            if (_environment.interrupt.isRequested() || _environment.console.isBroken()) {
                _status = ExitStatus::someFailed;
                return;
            }
            if (folder.hasTwin) {
                complain(safeText(folder.path) + ": " + kTwinReason);
                continue;
            }
            showFolder(folder, hasHeading);
        }
    }

    void showFolder(const DeviceEntry& folder, bool hasHeading) {
        if (hasHeading && !_environment.options.json) {
            _environment.console.print((_isFirst ? "" : "\n") + safeText(folder.path) + ":");
        }
        const std::vector<DeviceEntry> entries = _tree.list(folder);
        show(entries);
        if (!_options.isRecursive) {
            return;
        }
        std::vector<DeviceEntry> folders;
        std::copy_if(entries.begin(), entries.end(), std::back_inserter(folders),
                     [](const DeviceEntry& entry) { return entry.isFolder; });
        showFolders(folders);
    }

    void show(const std::vector<DeviceEntry>& entries) {
        _isFirst = false;
        Table table({{"SIZE", Align::right}, {"MODIFIED"}, Table::text("NAME")});
        for (const DeviceEntry& entry : entries) {
            const std::string name = entry.name + (entry.isFolder ? "/" : "");
            if (_environment.options.json) {
                _environment.console.print(jsonLine(entry.information));
            } else if (_options.isLong) {
                table.addRow(
                    {entry.isFolder ? "-" : sizeText(entry.size), dateText(entry.information, "DateModified"), name});
            } else {
                _environment.console.print(safeText(name));
            }
        }
        if (_options.isLong && !entries.empty() && !_environment.options.json) {
            table.print(_environment.console);
        }
    }

    Environment& _environment;
    const LsOptions& _options;
    const std::unique_ptr<DeviceSession> _session;
    DeviceTree _tree;
    bool _isFirst = true;
    ExitStatus _status = ExitStatus::done;
};

} // namespace

void addLsCommand(Commands& commands) {
    CLI::App* command = commands.app().add_subcommand("ls", "List what is in folders of a device");
    const auto options = std::make_shared<LsOptions>();
    command->add_flag("-l,--long", options->isLong, "Show sizes and dates too");
    command->add_flag("-R,--recursive", options->isRecursive, "List the folders in the folders too");
    command->add_option("DEVICEPATH", options->paths, "Files and folders on the device; its storages by default");
    command->footer(
        "Examples:\n"
        "  mtpservice ls Phone/DCIM\n"
        "  mtpservice ls -l 'Phone/Sounds/*.mp3'\n"
        "  mtpservice ls -R --json Card     one object for each file and folder, with all that is known\n\n" +
        devicePathHelp());
    commands.add(command, [options](Environment& environment) { return Ls(environment, *options).run(); });
}

} // namespace tool
