// SPDX-License-Identifier: MIT
#include "tools/Command.h"
#include "tools/ScreenText.h"
#include "tools/Units.h"
#include "vemomtpsdk/Devices.h"
#include "vemomtpsdk/Gadget.h"

#include <charconv>
#include <fmt/format.h>
#include <memory>

namespace tool {
namespace {

constexpr const char* kDefaultStorage = "Phone:8G";
constexpr const char* kDefaultFunctionFs = "/dev/ffs-mtp";

struct CreateOptions {
    std::string directory;
    std::string name;
    std::string model;
    std::vector<std::string> storages;
    std::vector<std::string> hidden;
};

[[noreturn]] void refuse(const std::string& option, const std::string& text, const char* form) {
    throw Failure(ExitStatus::usage,
                  fmt::format("{} {}: not of the form {}, as in {}", option, safeText(text), form,
                              option == "--hidden" ? "--hidden System:131073:64M" : "--storage Phone:4G"));
}

/// Cuts the text behind the last ":" off.
std::string takeLast(std::string& text) {
    const std::size_t colon = text.rfind(':');
    std::string last = colon == std::string::npos ? std::string() : text.substr(colon + 1);
    text.resize(colon == std::string::npos ? 0 : colon);
    return last;
}

vemomtpsdk::VirtualStorage parseStorage(const std::string& text) {
    vemomtpsdk::VirtualStorage storage;
    storage.label = text;
    const auto size = parseSize(takeLast(storage.label));
    if (!size || *size == 0 || storage.label.empty()) {
        refuse("--storage", text, "LABEL:SIZE");
    }
    storage.capacity = *size;
    return storage;
}

vemomtpsdk::VirtualStorage parseHidden(const std::string& text) {
    vemomtpsdk::VirtualStorage storage;
    storage.label = text;
    storage.hidden = true;
    const auto size = parseSize(takeLast(storage.label));
    const std::string id = takeLast(storage.label);
    const auto [end, error] = std::from_chars(id.data(), id.data() + id.size(), storage.storageId);
    const bool hasId = error == std::errc() && end == id.data() + id.size() && storage.storageId != 0;
    // The service is told of hidden volumes in a list that has no way to write these characters.
    const bool hasName = !storage.label.empty() && storage.label.find_first_of(":,") == std::string::npos;
    if (!size || *size == 0 || !hasId || !hasName) {
        refuse("--hidden", text, "NAME:ID:SIZE (ID a decimal number)");
    }
    storage.capacity = *size;
    return storage;
}

ExitStatus create(Environment& environment, const CreateOptions& options) {
    vemomtpsdk::VirtualDeviceDescription description;
    description.friendlyName = options.name;
    if (!options.model.empty()) {
        description.model = options.model;
    }
    for (const std::string& text : options.storages) {
        description.storages.push_back(parseStorage(text));
    }
    if (description.storages.empty()) {
        description.storages.push_back(parseStorage(kDefaultStorage));
    }
    for (const std::string& text : options.hidden) {
        description.storages.push_back(parseHidden(text));
    }
    std::string error;
    if (!vemomtpsdk::createVirtualDevice(options.directory, description, error)) {
        throw Failure(ExitStatus::someFailed, "The virtual device could not be made: " + safeText(error));
    }
    environment.console.say(fmt::format("Made the virtual device {} in {}. Use it with --virtual {}",
                                        safeText(options.name), safeText(options.directory),
                                        safeText(options.directory)));
    return ExitStatus::done;
}

struct ServeOptions {
    std::string directory;
    std::string functionFs = kDefaultFunctionFs;
};

ExitStatus serve(Environment& environment, const ServeOptions& options) {
    const std::string device = safeText(options.directory);
    environment.console.say(fmt::format("Serving {} at {}. Ctrl-C ends it.", device, safeText(options.functionFs)));
    std::string error;
    const bool served = vemomtpsdk::serveVirtualDevice(
        options.directory, options.functionFs, environment.interrupt.descriptor(),
        [&](bool connected) {
            environment.console.say(device + (connected ? ": a computer is connected" : ": disconnected"));
        },
        error);
    if (!served) {
        throw Failure(ExitStatus::someFailed, "The virtual device could not be served: " + safeText(error));
    }
    return ExitStatus::done;
}

void addCreateCommand(Commands& commands, CLI::App& group) {
    CLI::App* command = group.add_subcommand("create", "Make a virtual device in a new or empty folder");
    const auto options = std::make_shared<CreateOptions>();
    command->add_option("DIR", options->directory, "The folder")->required();
    command->add_option("--name", options->name, "The device's name")->required();
    command->add_option("--model", options->model, "The device's model, which chooses its profile");
    command
        ->add_option("--storage", options->storages,
                     "A storage and its capacity (repeatable; else " + std::string(kDefaultStorage) + ")")
        ->type_name("LABEL:SIZE")
        ->allow_extra_args(false);
    command->add_option("--hidden", options->hidden, "A storage reached by its ID only (repeatable)")
        ->type_name("NAME:ID:SIZE")
        ->allow_extra_args(false);
    command->footer("Examples:\n"
                    "  mtpservice virtual create ~/player --name \"My Player\"\n"
                    "  mtpservice virtual create ~/phone --name Phone --storage Phone:4G --storage Card:512M\n\n"
                    "Each storage is a folder in DIR that holds plain files: look inside, add and delete as you like.\n"
                    "Sizes take the units K, M, G and T (powers of 1024). A storage labelled Card is a memory card.");
    commands.add(command, [options](Environment& environment) { return create(environment, *options); });
}

void addServeCommand(Commands& commands, CLI::App& group) {
    CLI::App* command = group.add_subcommand(
        "serve", "Let this computer be a virtual device, for whoever is at the other end of the cable");
    const auto options = std::make_shared<ServeOptions>();
    command->add_option("DIR", options->directory, "The virtual device's folder")->required();
    command->add_option("--functionfs", options->functionFs, "Where the FunctionFS instance is mounted")
        ->type_name("FOLDER")
        ->capture_default_str();
    command->footer(
        "Examples:\n"
        "  mtpservice virtual serve ~/player\n"
        "  mtpservice virtual serve ~/player --functionfs /run/ffs-player\n\n"
        "For computers with a USB port that can be a device's. The gadget is made beforehand with configfs;\n"
        "docs/virtual-device.md shows how. Ctrl-C ends it; hosts may come and go meanwhile.");
    commands.add(command, [options](Environment& environment) { return serve(environment, *options); });
}

} // namespace

void addVirtualCommand(Commands& commands) {
    CLI::App* group = commands.app().add_subcommand("virtual", "Make devices that live in a folder, and serve them");
    group->require_subcommand(1);
    addCreateCommand(commands, *group);
    addServeCommand(commands, *group);
}

} // namespace tool
