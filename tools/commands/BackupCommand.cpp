// SPDX-License-Identifier: MIT
#include "tools/Command.h"
#include "tools/DevicePath.h"
#include "tools/DeviceSession.h"
#include "tools/DeviceTree.h"
#include "tools/JsonValue.h"
#include "tools/ScreenText.h"
#include "tools/Units.h"

#include <algorithm>
#include <filesystem>
#include <fmt/format.h>
#include <memory>

namespace tool {
namespace {

namespace fs = std::filesystem;

/// The storage that is backed up: the internal one that is listed last, as the service takes it.
platform::Dictionary internalStorage(const DeviceSession& session) {
    std::optional<platform::Dictionary> internal;
    for (const platform::Value& value : session.storages()) {
        if (value.dictionary()->uint32("diskType") == 1U) {
            internal = *value.dictionary();
        }
    }
    if (!internal) {
        throw Failure(ExitStatus::someFailed, "The device has no internal storage.");
    }
    return *internal;
}

/// What both directions tell while they work through files, one by one.
class Run {
public:
    Run(Environment& environment, std::size_t total)
        : _environment(environment)
        , _total(total) {}

    [[nodiscard]] bool isOver() const {
        return _environment.interrupt.isRequested() || _environment.console.isBroken();
    }
    /// For the service, which asks it while a file is on its way.
    [[nodiscard]] MTPService::StopTest stopTest() const {
        return [this] { return isOver(); };
    }
    void begin(const std::string& name) {
        const std::string line = fmt::format("{}/{}  {}", _done + _failed + 1, _total, safeText(name));
        _environment.console.setStatus(
            _environment.console.hasStatusLine() ? fittedText(line, _environment.console.columns() - 1) : line);
    }
    void succeed(const platform::Dictionary& file, std::uint64_t bytes) {
        ++_done;
        _bytes += bytes;
        if (_environment.options.json) {
            _environment.console.print(jsonLine(file));
        }
    }
    void fail(const std::string& path, const std::string& reason) { fail(safeText(path) + ": " + reason); }
    /// For a file that was not brought over: since it did not work, or since it was stopped.
    void failFile(const std::string& path, const std::string& reason) { fail(path, isOver() ? "cancelled" : reason); }
    /// With a text that is safe to show.
    void fail(const std::string& text) {
        ++_failed;
        _environment.console.say(text);
    }
    ExitStatus finish(const char* doneWord) {
        _environment.console.clearStatus();
        _environment.console.say(
            fmt::format("{} files ({}) {}, {} failed", _done, sizeText(_bytes), doneWord, _failed));
        if (_environment.interrupt.isRequested()) {
            _environment.console.say("Stopped.");
        }
        return _failed == 0 && !isOver() ? ExitStatus::done : ExitStatus::someFailed;
    }

private:
    Environment& _environment;
    const std::size_t _total;
    std::size_t _done = 0;
    std::size_t _failed = 0;
    std::uint64_t _bytes = 0;
};

bool leadsOut(const fs::path& inside) {
    return std::ranges::any_of(inside, [](const fs::path& name) { return name == ".."; });
}

/// Makes the device's folders, also those without files, so that a restored device has them all. What could not be
/// looked into is told as failed: no file of it is copied either.
void keepFolders(Run& run, DeviceSession& session, const platform::Dictionary& storage, const fs::path& target) {
    DeviceTree tree(session);
    const std::string volume = storage.string("volumePath").value_or("");
    for (const DeviceEntry& top : tree.storages()) {
        if (top.path != volume) {
            continue;
        }
        tree.walk(
            top, [&] { return run.isOver(); },
            [&](const DeviceEntry& entry) {
                const std::string inside = entry.path.substr(volume.size() + 1);
                std::error_code error;
                if (entry.isFolder && !leadsOut(inside)) {
                    fs::create_directories(target / inside, error);
                }
                if (error) {
                    run.fail(entry.path, error.message());
                }
            },
            [&](const Failure& failure) { run.fail(failure.what()); });
    }
    for (const std::string& path : tree.leftOut()) {
        run.fail(path, "what is in it is left out, it lies too deep");
    }
}

ExitStatus backUp(Environment& environment, const std::string& folder) {
    const auto session = openDevice(environment.options, nullptr);
    const platform::Dictionary storage = internalStorage(*session);
    const fs::path target = fs::absolute(folder).lexically_normal();
    std::error_code error;
    fs::create_directories(target, error);
    if (error) {
        throw Failure(ExitStatus::someFailed, safeText(folder) + ": " + error.message());
    }
    const auto files = session->service().subpathsAtDisk(std::nullopt, storage.uint32("diskIndex").value_or(0));
    if (!files) {
        throw Failure(ExitStatus::noDevice, "The device cannot be listed.");
    }
    Run run(environment, files->size());
    keepFolders(run, *session, storage, target);
    for (const platform::Value& value : *files) {
        if (run.isOver()) {
            break;
        }
        platform::Dictionary file = *value.dictionary();
        const std::string path = file.string("FilePath").value_or("");
        run.begin(path);
        if (session->service().fileBackup(platform::Array{value}, target.string(), run.stopTest())) {
            file.remove("NodeID"); // means something within one program only
            run.succeed(file, file.uint64("FileSize").value_or(0));
        } else {
            run.failFile(path, "it could not be copied");
        }
    }
    return run.finish("backed up");
}

struct LocalEntry {
    fs::path path;
    std::string inside; ///< the path below the folder
    bool isFolder = false;
};

/// What lies below a folder, by path.
std::vector<LocalEntry> localEntries(const std::string& folder) {
    std::vector<LocalEntry> entries;
    std::error_code error;
    const fs::path top(folder);
    for (fs::recursive_directory_iterator place(top, error), end; !error && place != end; place.increment(error)) {
        const bool isFolder = place->is_directory(error) && !place->is_symlink(error);
        if (isFolder || place->is_regular_file(error)) {
            entries.push_back({place->path(), place->path().lexically_relative(top).string(), isFolder});
        }
    }
    if (error) {
        throw Failure(ExitStatus::someFailed, safeText(folder) + ": " + error.message());
    }
    std::ranges::sort(entries, {}, &LocalEntry::inside);
    return entries;
}

ExitStatus restore(Environment& environment, const std::string& folder) {
    const std::vector<LocalEntry> entries = localEntries(folder);
    const auto session = openDevice(environment.options, nullptr);
    const std::string volume = internalStorage(*session).string("volumePath").value_or("");
    const auto fileCount = static_cast<std::size_t>(
        std::ranges::count_if(entries, [](const LocalEntry& entry) { return !entry.isFolder; }));
    Run run(environment, fileCount);
    for (const LocalEntry& entry : entries) {
        if (run.isOver()) {
            break;
        }
        if (!entry.isFolder) {
            run.begin(entry.inside);
        }
        const platform::Dictionary file{{"FilePath", fs::absolute(entry.path).string()}, {"subFilePath", entry.inside}};
        if (!session->service().fileRestore(platform::Array{file}, run.stopTest())) {
            run.failFile(entry.inside, entry.isFolder ? "the folder could not be made" : "it could not be sent");
        } else if (!entry.isFolder) {
            std::error_code ignored;
            run.succeed(file, fs::file_size(entry.path, ignored));
        }
    }
    return run.finish("restored");
}

} // namespace

void addBackupCommands(Commands& commands) {
    CLI::App* backup = commands.app().add_subcommand("backup", "Copy the whole internal storage into a local folder");
    const auto target = std::make_shared<std::string>();
    backup->add_option("FOLDER", *target, "The local folder; made when it is missing")->required();
    backup->footer("Examples:\n"
                   "  mtpservice backup ~/backups/phone\n\n"
                   "Hidden files are copied too. Files that are there already are replaced; nothing is removed.\n"
                   "Ctrl-C stops the file on its way; nothing of it is kept.");
    commands.add(backup, [target](Environment& environment) { return backUp(environment, *target); });

    CLI::App* restoring = commands.app().add_subcommand("restore", "Copy a backup back to the internal storage");
    const auto source = std::make_shared<std::string>();
    restoring->add_option("FOLDER", *source, "The local folder")->required()->check(CLI::ExistingDirectory);
    restoring->footer("Examples:\n"
                      "  mtpservice restore ~/backups/phone\n\n"
                      "Files on the device are replaced by those of the backup; nothing is removed.\n"
                      "Ctrl-C stops the file on its way; nothing of it is kept, nor what it was to replace.");
    commands.add(restoring, [source](Environment& environment) { return restore(environment, *source); });
}

} // namespace tool
