// SPDX-License-Identifier: MIT
#include "tools/Command.h"
#include "tools/DeviceSession.h"
#include "tools/EntryText.h"
#include "tools/JsonValue.h"
#include "tools/ScreenText.h"
#include "tools/Table.h"
#include "tools/Units.h"

#include <algorithm>
#include <map>
#include <memory>

namespace tool {
namespace {

const std::map<std::string, std::uint32_t> kinds = {{"music", MediaTypeMusic},
                                                    {"image", MediaTypeImage},
                                                    {"video", MediaTypeMovie},
                                                    {"podcast", MediaTypePodcast},
                                                    {"playlist", MediaTypePlaylist}};

struct ListOptions {
    std::optional<std::uint32_t> type;
    bool isCsv = false;
};

std::string kindName(std::uint32_t type) {
    const auto found = std::ranges::find(kinds, type, [](const auto& kind) { return kind.second; });
    return found == kinds.end() ? "" : found->first;
}

/// Every file, podcast and playlist, with its "ContentMediaType" and "DiskIndex".
std::vector<platform::Dictionary> everything(DeviceSession& session) {
    std::vector<platform::Dictionary> contents;
    const auto groups = session.service().fileInformationListForAllMediaType(std::nullopt);
    if (!groups) {
        throw Failure(ExitStatus::noDevice, "The device cannot be listed.");
    }
    for (const platform::Value& group : *groups) {
        const platform::Array* entries = group.dictionary()->array("ContentMediaTag");
        for (const platform::Value& entry : entries != nullptr ? *entries : platform::Array()) {
            platform::Dictionary content = *entry.dictionary();
            content.set("ContentMediaType", group.dictionary()->uint32("ContentMediaType").value_or(0));
            content.set("DiskIndex", group.dictionary()->uint32("DiskIndex").value_or(0));
            contents.push_back(std::move(content));
        }
    }
    return contents;
}

std::vector<platform::Dictionary> ofType(DeviceSession& session, std::uint32_t type) {
    std::vector<platform::Dictionary> contents;
    const auto add = [&](const std::optional<platform::Array>& entries) {
        for (const platform::Value& entry : entries.value_or(platform::Array())) {
            contents.push_back(*entry.dictionary());
            contents.back().set("ContentMediaType", type);
        }
    };
    if (type == MediaTypePlaylist) {
        add(session.service().playlistNameInformation(0, type));
        return contents;
    }
    for (const platform::Value& storage : session.storages()) {
        const std::uint32_t diskIndex = storage.dictionary()->uint32("diskIndex").value_or(0);
        add(session.service().fileInformationList(std::nullopt, type, diskIndex));
    }
    return contents;
}

/// The first of these keys that holds a text.
std::string textOf(const platform::Dictionary& content, std::initializer_list<const char*> keys) {
    for (const char* key : keys) {
        if (const auto text = content.string(key)) {
            return *text;
        }
    }
    return "";
}

void printTable(const std::vector<platform::Dictionary>& contents, Console& console) {
    Table table({{"KIND"},
                 {"SIZE", Align::right},
                 {"LENGTH", Align::right},
                 Table::text("TITLE"),
                 Table::text("ARTIST"),
                 Table::text("ALBUM"),
                 Table::text("PATH")});
    for (const platform::Dictionary& content : contents) {
        const auto size = content.uint64("FileSize");
        table.addRow({kindName(content.uint32("ContentMediaType").value_or(0)), size ? sizeText(*size) : "",
                      lengthText(content), textOf(content, {"Title", "PlaylistName"}),
                      textOf(content, {"Artist", "Author"}), textOf(content, {"Album"}),
                      textOf(content, {"FilePath"})});
    }
    table.print(console);
}

/// A column for each key that any of them has, in the order in which they come up.
void printCsv(const std::vector<platform::Dictionary>& contents, Console& console) {
    std::vector<std::string> keys;
    for (const platform::Dictionary& content : contents) {
        for (const auto& [key, value] : content) {
            const bool isList = value.array() != nullptr || value.dictionary() != nullptr;
            if (!isList && std::ranges::count(keys, *key) == 0) {
                keys.push_back(*key);
            }
        }
    }
    console.print(csvLine(keys));
    for (const platform::Dictionary& content : contents) {
        std::vector<std::string> fields;
        for (const std::string& key : keys) {
            const platform::Value* value = content.find(key);
            fields.push_back(value == nullptr || value->isNull() ? "" : safeText(value->description()));
        }
        console.print(csvLine(fields));
    }
}

ExitStatus list(Environment& environment, const ListOptions& options) {
    const auto session = openDevice(environment.options, nullptr);
    std::vector<platform::Dictionary> contents = options.type ? ofType(*session, *options.type) : everything(*session);
    for (platform::Dictionary& content : contents) {
        content.remove("NodeID"); // means something within one program only
    }
    if (environment.options.json) {
        for (const platform::Dictionary& content : contents) {
            environment.console.print(jsonLine(content));
        }
    } else if (options.isCsv) {
        printCsv(contents, environment.console);
    } else {
        printTable(contents, environment.console);
    }
    return environment.console.isBroken() ? ExitStatus::someFailed : ExitStatus::done;
}

} // namespace

void addListCommand(Commands& commands) {
    CLI::App* command = commands.app().add_subcommand("list", "List the media on a device by kind");
    const auto options = std::make_shared<ListOptions>();
    command
        ->add_option_function<std::string>(
            "--type", [options](const std::string& text) { options->type = kinds.at(text); },
            "One kind only: music, image, video, podcast or playlist")
        ->check(CLI::IsMember({"music", "image", "video", "podcast", "playlist"}))
        ->type_name("TYPE");
    command->add_flag("--csv", options->isCsv, "Print comma-separated values, with a column for all that is known");
    command->footer("Examples:\n"
                    "  mtpservice list --type music\n"
                    "  mtpservice list --csv > inventory.csv\n"
                    "  mtpservice list --json --type podcast\n\n"
                    "Files are told apart by their names' extensions; those in the podcast folder belong to podcasts.");
    commands.add(command, [options](Environment& environment) { return list(environment, *options); });
}

} // namespace tool
