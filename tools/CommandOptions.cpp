// SPDX-License-Identifier: MIT
#include "tools/CommandOptions.h"

#include <map>

namespace tool {

void addTypeOption(CLI::App& command, std::optional<MediaType>& type, const std::string& help) {
    static const std::map<std::string, std::optional<MediaType>> types = {
        {"auto", std::nullopt}, {"music", MediaTypeMusic}, {"image", MediaTypeImage}, {"video", MediaTypeMovie}};
    command
        .add_option_function<std::string>(
            "--type", [&type](const std::string& text) { type = types.at(text); }, help)
        ->check(CLI::IsMember({"auto", "music", "image", "video"}))
        ->type_name("TYPE");
}

void addOverwriteOption(CLI::App& command, OverwriteMode& mode) {
    static const std::map<std::string, OverwriteMode> modes = {
        {"ask", OverwriteMode::ask}, {"always", OverwriteMode::always}, {"never", OverwriteMode::never}};
    command
        .add_option_function<std::string>(
            "--overwrite", [&mode](const std::string& text) { mode = modes.at(text); },
            "What to do with files that exist: ask (the default), always or never")
        ->check(CLI::IsMember({"ask", "always", "never"}))
        ->type_name("WHEN");
}

void addStorageOption(CLI::App& command, std::string& storage, const std::string& help) {
    command.add_option("--storage", storage, help)->type_name("STORAGE");
}

const std::string& devicePathHelp() {
    static const std::string help = "A device path is \"STORAGE/FOLDER/FILE\"; where the device has one storage only, "
                                    "its label may be left out. With "
                                    "a\n\"/\" in front it is whole: \"/DEVICE/STORAGE/FOLDER/FILE\". Each name must be "
                                    "there as it is spelt, upper and "
                                    "lower\ncase aside; * and ? in the last one stand for any text and any character.";
    return help;
}

} // namespace tool
