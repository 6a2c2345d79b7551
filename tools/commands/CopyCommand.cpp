// SPDX-License-Identifier: MIT
#include "host/defaults/MediaKinds.h"
#include "platform/Strings.h"
#include "tools/ChosenEntries.h"
#include "tools/Command.h"
#include "tools/CommandOptions.h"
#include "tools/DeviceSelection.h"
#include "tools/DeviceSession.h"
#include "tools/HostSetup.h"
#include "tools/ScreenText.h"
#include "tools/TransferRun.h"

#include <map>
#include <memory>
#include <optional>

namespace tool {
namespace {

struct CopyOptions {
    std::string target;
    std::optional<MediaType> type;
    OverwriteMode overwrite = OverwriteMode::ask;
    std::string storage = "0";
    bool isRecursive = false;
    std::vector<std::string> paths;
};

/// One run of `copy`: two devices opened side by side, one request for each kind of media.
class Copy {
public:
    Copy(Environment& environment, const CopyOptions& options)
        : _environment(environment)
        , _options(options)
        , _run(environment, "copied") {}

    ExitStatus run() {
        std::vector<vemomtpsdk::AttachedDevice> devices = findDevices(_environment.options);
        const vemomtpsdk::AttachedDevice to = selectDevice(devices, _options.target);
        const vemomtpsdk::AttachedDevice from = sourceAmong(devices, to);
        const auto question = _run.question(_options.overwrite, "on the device");
        DeviceSession target(to, question);
        DeviceSession source(from, question);
        question->offerService(locationText(to.locationId), target.sharedService());
        const std::uint32_t storage = target.storageIndex(_options.storage);
        plan(source);
        forgetRememberedOverwriteDecision();
        setUpMediaLibrary(true, [this](const std::string& path, const std::string& why) {
            _environment.console.say(safeText(path) + ": " + why);
        });
        for (const MediaType type : kMediaTypes) {
            const auto files = _run.filesWhere([&](const LocalFile& file) { return file.type == type; });
            _run.request(source.service(), files, [&](std::uint32_t serviceID) {
                source.service().copyContentsDeviceToDevice(serviceID, contentsOf(_run.files(), files),
                                                            locationText(from.locationId), locationText(to.locationId),
                                                            type, storage);
            });
        }
        const ExitStatus status = _run.finish();
        return _run.files().empty() && _run.skippedCount() > 0 ? ExitStatus::someFailed : status;
    }

private:
    /// The device that --device names, or the only other one.
    vemomtpsdk::AttachedDevice sourceAmong(std::vector<vemomtpsdk::AttachedDevice> devices,
                                           const vemomtpsdk::AttachedDevice& target) {
        std::erase_if(devices, [&](const auto& device) { return device.locationId == target.locationId; });
        if (devices.empty()) {
            throw Failure(ExitStatus::noDevice, "There is no other device to copy from.");
        }
        return selectDevice(devices, _environment.options.device);
    }

    void plan(DeviceSession& source) {
        DeviceTree tree(source);
        ChosenEntries entries(tree,
                              _options.isRecursive ? ChosenEntries::Folders::walked : ChosenEntries::Folders::refused,
                              [this] { return _environment.interrupt.isRequested(); });
        for (const std::string& path : _options.paths) {
            entries.add(path);
        }
        _run.leaveOut(entries.leftOut());
        std::vector<LocalFile> files;
        for (const ChosenEntries::Chosen& chosen : entries.chosen()) {
            if (!chosen.entry.isFolder) {
                addFile(chosen.entry, files);
            } else if (chosen.entry.hasTwin) {
                _run.leaveOut({chosen.entry.path, kTwinReason, true});
            }
        }
        _run.begin(std::move(files));
    }

    void addFile(const DeviceEntry& entry, std::vector<LocalFile>& files) {
        const MediaType type = _options.type.value_or(host::classifiedMediaType(entry.name));
        if (entry.hasTwin) {
            _run.leaveOut({entry.path, kTwinReason, true});
            return;
        }
        if (type == MediaTypeNone) {
            _run.leaveOut({entry.path, "not a kind of media that is known", false});
            return;
        }
        // All files of a kind go into one folder.
        const auto [other, isNew] = _names.emplace(std::pair(type, platform::caseFolded(entry.name)), entry.path);
        if (isNew) {
            files.push_back({entry.path, entry.path, entry.name, entry.size, type});
        } else {
            _run.leaveOut({entry.path,
                           "has the same name on the other device as " + safeText(other->second) + ", which is sent",
                           true});
        }
    }

    Environment& _environment;
    const CopyOptions& _options;
    TransferRun _run;
    std::map<std::pair<MediaType, std::string>, std::string> _names;
};

} // namespace

void addCopyCommand(Commands& commands) {
    CLI::App* command = commands.app().add_subcommand("copy", "Copy media files from one device to another");
    const auto options = std::make_shared<CopyOptions>();
    command->add_option("--to", options->target, "The device to copy to, by location ID or name")
        ->type_name("LOCATION|NAME")
        ->required();
    command->add_flag("-r,--recursive", options->isRecursive, "Copy the media files in folders too");
    addTypeOption(*command, options->type, "What the files are: auto (the default), music, image or video");
    addOverwriteOption(*command, options->overwrite);
    addStorageOption(*command, options->storage, "The storage to copy to, by number or label (0 by default)");
    command->add_option("DEVICEPATH", options->paths, "Files and folders on the device to copy from")->required();
    command->footer(
        "Examples:\n"
        "  mtpservice copy --to \"New Phone\" 'Phone/Sounds/*.mp3'\n"
        "  mtpservice copy --device \"Old Phone\" --to \"New Phone\" --storage Card -r Phone/DCIM\n\n"
        "The files are read from the device that --device names, or the only other one, and go to the other "
        "device's\nfolder for their kind. " +
        devicePathHelp());
    commands.add(command, [options](Environment& environment) { return Copy(environment, *options).run(); });
}

} // namespace tool
