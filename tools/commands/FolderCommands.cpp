// SPDX-License-Identifier: MIT
#include "tools/Command.h"
#include "tools/CommandOptions.h"
#include "tools/DeviceTree.h"
#include "tools/ScreenText.h"

#include <memory>
#include <thread>

namespace tool {
namespace {

std::string withoutSlashesBehind(const std::string& path) {
    return path.substr(0, path.find_last_not_of('/') + 1);
}

std::string lastName(const std::string& path) {
    const std::string trimmed = withoutSlashesBehind(path);
    return trimmed.substr(trimmed.rfind('/') + 1);
}

/// Empty for a single name.
std::string withoutLastName(const std::string& path) {
    const std::string trimmed = withoutSlashesBehind(path);
    const std::size_t slash = trimmed.rfind('/');
    return slash == std::string::npos ? std::string() : trimmed.substr(0, slash);
}

/// One run of `mkdir`.
class MakeFolders {
public:
    MakeFolders(Environment& environment, bool makesParents)
        : _environment(environment)
        , _makesParents(makesParents)
        , _session(openDevice(environment.options, nullptr)) {}

    ExitStatus run(const std::vector<std::string>& paths) {
        ExitStatus status = ExitStatus::done;
        for (const std::string& path : paths) {
            const std::string problem = make(path);
            if (!problem.empty()) {
                _environment.console.say(safeText(path) + ": " + problem);
                status = ExitStatus::someFailed;
            }
        }
        return status;
    }

private:
    /// Why the folder could not be made; empty when it is there now.
    std::string make(const std::string& path) {
        DeviceTree tree(*_session); // anew: folders were made since the last look
        std::string problem;
        const std::vector<DeviceEntry> present = tree.find(path, problem);
        if (!present.empty()) {
            return _makesParents && present.size() == 1 && present.front().isFolder ? "" : "it is there already";
        }
        // What is missing from the end of the path on.
        std::vector<std::string> missing;
        std::string above = path;
        std::vector<DeviceEntry> found;
        while (found.empty()) {
            missing.push_back(lastName(above));
            above = withoutLastName(above);
            if (missing.back().empty() || missing.back() == ".." || (missing.size() > 1 && !_makesParents)) {
                return problem;
            }
            found = above.empty() && tree.storages().size() == 1 ? tree.storages() : tree.find(above, problem);
        }
        if (found.size() != 1 || !found.front().isFolder || found.front().hasTwin) {
            return found.front().hasTwin ? kTwinReason : "it cannot be told in which folder";
        }
        std::string whole = found.front().path;
        for (auto name = missing.rbegin(); name != missing.rend(); ++name) {
            whole += "/" + *name;
            if (!_session->service().createFolder(whole)) {
                return "the device does not make " + safeText(whole);
            }
        }
        return "";
    }

    Environment& _environment;
    const bool _makesParents;
    const std::unique_ptr<DeviceSession> _session;
};

DeviceEntry entryAt(DeviceTree& tree, const std::string& path) {
    std::string problem;
    const std::vector<DeviceEntry> found = tree.find(path, problem);
    if (found.size() != 1) {
        throw Failure(ExitStatus::someFailed,
                      safeText(path) + ": " + (problem.empty() ? "means several files" : problem));
    }
    if (tree.isStorage(found.front())) {
        throw Failure(ExitStatus::usage, safeText(path) + " is a whole storage.");
    }
    if (found.front().hasTwin) {
        throw Failure(ExitStatus::someFailed, safeText(path) + ": " + kTwinReason);
    }
    return found.front();
}

void waitUntilIdle(Environment& environment, const MTPService& service) {
    while (!service.isIdle() && !environment.interrupt.isRequested()) {
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
}

ExitStatus renameEntry(Environment& environment, const std::string& path, const std::string& newName) {
    if (newName.empty() || newName.find('/') != std::string::npos) {
        throw Failure(ExitStatus::usage, "The new name is a name without \"/\"; files stay in their folder.");
    }
    const auto session = openDevice(environment.options, nullptr);
    DeviceTree tree(*session);
    const DeviceEntry entry = entryAt(tree, path);
    const std::string target = withoutLastName(entry.path) + "/" + newName;
    const auto taken = tree.findWhole(target);
    if (taken && taken->path != entry.path) {
        throw Failure(ExitStatus::someFailed, safeText(taken->path) + " exists already.");
    }
    constexpr std::uint32_t serviceID = 1;
    waitUntilIdle(environment, session->service());
    session->service().renameContent(serviceID, entry.path, newName);
    waitUntilIdle(environment, session->service());
    const auto renamed = DeviceTree(*session).findWhole(target);
    if (!renamed || renamed->name != newName) {
        throw Failure(ExitStatus::someFailed, "The device does not take the name " + safeText(newName) + ".");
    }
    return ExitStatus::done;
}

} // namespace

void addFolderCommands(Commands& commands) {
    struct MakeOptions {
        bool makesParents = false;
        std::vector<std::string> paths;
    };
    CLI::App* making = commands.app().add_subcommand("mkdir", "Make folders on a device");
    const auto made = std::make_shared<MakeOptions>();
    making->add_flag("-p,--parents", made->makesParents, "Make what is missing above too; no error if it is there");
    making->add_option("DEVICEPATH", made->paths, "The folders to make")->required();
    making->footer("Examples:\n"
                   "  mtpservice mkdir Phone/Books\n"
                   "  mtpservice mkdir -p Card/Travel/2026/Maps");
    commands.add(making, [made](Environment& environment) {
        return MakeFolders(environment, made->makesParents).run(made->paths);
    });

    CLI::App* renaming = commands.app().add_subcommand("mv", "Rename a file or folder on a device");
    const auto names = std::make_shared<std::pair<std::string, std::string>>();
    renaming->add_option("DEVICEPATH", names->first, "The file or folder")->required();
    renaming->add_option("NEWNAME", names->second, "Its new name; it stays in its folder")->required();
    renaming->footer("Examples:\n"
                     "  mtpservice mv Phone/Sounds/song.mp3 \"A better name.mp3\"\n\n" +
                     devicePathHelp());
    commands.add(renaming,
                 [names](Environment& environment) { return renameEntry(environment, names->first, names->second); });
}

} // namespace tool
