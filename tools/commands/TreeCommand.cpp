// SPDX-License-Identifier: MIT
#include "tools/Command.h"
#include "tools/CommandOptions.h"
#include "tools/DeviceTree.h"
#include "tools/JsonValue.h"
#include "tools/ScreenText.h"

#include <fmt/format.h>
#include <limits>
#include <memory>

namespace tool {
namespace {

struct TreeOptions {
    bool hasFoldersOnly = false;
    unsigned depth = std::numeric_limits<unsigned>::max();
    std::string path;
};

/// One run of `tree`.
class TreePrinter {
public:
    TreePrinter(Environment& environment, const TreeOptions& options)
        : _environment(environment)
        , _options(options)
        , _session(openDevice(environment.options, nullptr))
        , _tree(*_session) {}

    ExitStatus run() {
        for (const DeviceEntry& top : tops()) {
            if (!_environment.options.json) {
                _environment.console.print(safeText(top.path));
            }
            print(top, "", 1);
        }
        if (isStopped()) {
            return ExitStatus::someFailed;
        }
        if (!_environment.options.json) {
            _environment.console.print(_options.hasFoldersOnly
                                           ? fmt::format("\n{} folders", _folders)
                                           : fmt::format("\n{} folders, {} files", _folders, _files));
        }
        return tellLeftOut(_tree, _environment.console) ? ExitStatus::someFailed : ExitStatus::done;
    }

private:
    std::vector<DeviceEntry> tops() {
        if (_options.path.empty()) {
            return _tree.storages();
        }
        std::string problem;
        std::vector<DeviceEntry> found = _tree.find(_options.path, problem);
        if (found.size() != 1 || !found.front().isFolder || found.front().hasTwin) {
            throw Failure(ExitStatus::someFailed, safeText(_options.path) + ": " +
                                                      (!problem.empty()                              ? problem
                                                       : found.size() == 1 && found.front().isFolder ? kTwinReason
                                                       : found.size() > 1 ? "means several files"
                                                                          : "is no folder"));
        }
        return found;
    }

    [[nodiscard]] bool isStopped() const {
        return _environment.interrupt.isRequested() || _environment.console.isBroken();
    }

    void print(const DeviceEntry& folder, const std::string& indent, unsigned depth) {
        if (depth > _options.depth || folder.hasTwin) {
            return;
        }
        std::vector<DeviceEntry> entries = _tree.list(folder);
        if (_options.hasFoldersOnly) {
            std::erase_if(entries, [](const DeviceEntry& entry) { return !entry.isFolder; });
        }
        for (const DeviceEntry& entry : entries) {
            if (isStopped()) {
                return;
            }
            const bool isLast = &entry == &entries.back();
            _environment.console.print(_environment.options.json
                                           ? jsonLine(entry.information)
                                           : indent + (isLast ? "└── " : "├── ") + safeText(entry.name) +
                                                 (entry.isFolder ? "/" : ""));
            ++(entry.isFolder ? _folders : _files);
            if (entry.isFolder) {
                print(entry, indent + (isLast ? "    " : "│   "), depth + 1);
            }
        }
    }

    Environment& _environment;
    const TreeOptions& _options;
    const std::unique_ptr<DeviceSession> _session;
    DeviceTree _tree;
    std::size_t _folders = 0;
    std::size_t _files = 0;
};

} // namespace

void addTreeCommand(Commands& commands) {
    CLI::App* command = commands.app().add_subcommand("tree", "Show the folders of a device as a tree");
    const auto options = std::make_shared<TreeOptions>();
    command->add_flag("-d,--folders", options->hasFoldersOnly, "Show folders only");
    command->add_option("-L,--depth", options->depth, "Go so many folders deep")->type_name("COUNT");
    command->add_option("DEVICEPATH", options->path, "A folder on the device; all storages by default");
    command->footer(
        "Examples:\n"
        "  mtpservice tree -d -L 2\n"
        "  mtpservice tree Phone/Sounds\n"
        "  mtpservice --json tree Card     one object for each file and folder, those of a folder behind it\n\n" +
        devicePathHelp());
    commands.add(command, [options](Environment& environment) { return TreePrinter(environment, *options).run(); });
}

} // namespace tool
