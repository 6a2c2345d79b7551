// SPDX-License-Identifier: MIT
#include "tools/Command.h"
#include "tools/CommandOptions.h"
#include "tools/DeviceSession.h"
#include "tools/HostSetup.h"
#include "tools/JsonValue.h"
#include "tools/PodcastFeed.h"
#include "tools/Podcasts.h"
#include "tools/ScreenText.h"
#include "tools/Table.h"
#include "tools/TransferRun.h"

#include <algorithm>
#include <filesystem>
#include <fmt/format.h>
#include <fstream>
#include <iterator>
#include <memory>
#include <set>

namespace tool {
namespace {

using platform::Dictionary;

struct PodcastOptions {
    std::vector<std::string> feeds;
    std::optional<std::size_t> episodes;
    std::string mediaFolder; ///< empty: each feed's own folder
    OverwriteMode overwrite = OverwriteMode::ask;
    std::string storage;
    bool startsOnCard = false;
    bool noMetadata = false;
    std::string channel;
    std::vector<std::string> chosen;
    bool isConfirmed = false;
};

/// "feed.rss: no media file in Podcasts: a.mp3, b.mp3, c.mp3 and 17 more."
void tellOfMissing(Environment& environment, const std::string& what, const std::vector<std::string>& names) {
    constexpr std::size_t maxNames = 3;
    if (names.empty()) {
        return;
    }
    std::string listed;
    for (std::size_t i = 0; i < std::min(names.size(), maxNames); ++i) {
        listed += (i == 0 ? "" : ", ") + safeText(names[i]);
    }
    const std::string rest = names.size() > maxNames ? fmt::format(" and {} more", names.size() - maxNames) : "";
    environment.console.say(fmt::format("{}: {}{}.", what, listed, rest));
}

/// The podcast of a local feed, as the service takes it.
Dictionary readFeed(Environment& environment, const std::string& path, const PodcastOptions& options) {
    std::error_code none;
    std::ifstream file(path, std::ios::binary);
    if (!file || std::filesystem::is_directory(path, none)) { // a folder can be opened, and then throws
        throw Failure(ExitStatus::usage, safeText(path) + " cannot be read.");
    }
    const std::string bytes{std::istreambuf_iterator<char>(file), {}};
    const std::filesystem::path above = std::filesystem::path(path).parent_path();
    const std::string folder = !options.mediaFolder.empty() ? options.mediaFolder
                               : above.empty()              ? "."
                                                            : above.string();
    std::string error;
    auto feed = readPodcastFeed(bytes, folder, options.episodes, error);
    if (!feed) {
        throw Failure(ExitStatus::usage, safeText(path) + " is no podcast feed: " + safeText(error) + ".");
    }
    tellOfMissing(environment, safeText(path) + ": no media file in " + safeText(folder), feed->missingFiles);
    tellOfMissing(environment, safeText(path) + ": without any media file", feed->withoutMedia);
    if (feed->podcast.array("children")->empty()) {
        throw Failure(ExitStatus::someFailed, safeText(path) + ": there is no episode to send.");
    }
    return feed->podcast;
}

/// The files of podcasts in the order in which a job goes through them.
std::vector<LocalFile> filesOf(const platform::Array& podcasts) {
    std::vector<LocalFile> files;
    for (const platform::Value& podcast : podcasts) {
        for (const platform::Value& entry : *podcast.dictionary()->array("children")) {
            const Dictionary& episode = *entry.dictionary();
            const std::string path = episode.string("FilePath").value_or("");
            files.push_back({.path = path,
                             .shownPath = path,
                             .name = std::filesystem::path(path).filename().string(),
                             .size = episode.uint64("Length").value_or(0),
                             .type = MediaTypePodcast});
        }
    }
    return files;
}

/// `put` and `sync`: reads the feeds, and gives them to the service in one request.
template <typename Enqueue>
ExitStatus sendFeeds(Environment& environment, const PodcastOptions& options, OverwriteMode mode, Enqueue&& enqueue) {
    platform::Array podcasts;
    for (const std::string& path : options.feeds) {
        podcasts.emplace_back(readFeed(environment, path, options));
    }
    TransferRun run(environment, "copied");
    const auto session = openDevice(environment.options, run.question(mode, "on the device"));
    const std::uint32_t storage = options.storage.empty() ? 0 : session->storageIndex(options.storage);
    forgetRememberedOverwriteDecision();
    setUpMediaLibrary(!options.noMetadata, [&](const std::string& path, const std::string& why) {
        environment.console.say(safeText(path) + ": " + why);
    });
    run.begin(filesOf(podcasts));
    run.request(session->service(), run.filesWhere([](const LocalFile&) { return true; }),
                [&](std::uint32_t serviceID) { enqueue(session->service(), serviceID, podcasts, storage); });
    return run.finish();
}

ExitStatus put(Environment& environment, const PodcastOptions& options) {
    return sendFeeds(
        environment, options, options.overwrite,
        [](MTPService& service, std::uint32_t serviceID, const platform::Array& podcasts, std::uint32_t storage) {
            service.copyContentsMacToDevice(serviceID, podcasts, MediaTypePodcast, storage);
        });
}

ExitStatus syncPodcasts(Environment& environment, const PodcastOptions& options) {
    return sendFeeds(
        environment, options, OverwriteMode::always,
        [&options](MTPService& service, std::uint32_t serviceID, const platform::Array& podcasts, std::uint32_t) {
            service.syncContents(serviceID, podcasts, MediaTypePodcast, !options.startsOnCard);
        });
}

Dictionary described(const PodcastOnDevice& channel) {
    return {{"Title", channel.title},
            {"Folder", channel.name},
            {"Storage", channel.storage},
            {"diskIndex", channel.diskIndex},
            {"children", channel.episodes}};
}

ExitStatus listPodcasts(Environment& environment) {
    const auto session = openDevice(environment.options, nullptr);
    Table table({Table::text("PODCAST"), {"EPISODES", Align::right}, Table::text("STORAGE")});
    for (const PodcastOnDevice& channel : podcastsOn(*session)) {
        if (environment.options.json) {
            environment.console.print(jsonLine(described(channel)));
        }
        table.addRow({safeText(channel.title), std::to_string(channel.episodes.size()), safeText(channel.storage)});
    }
    if (!environment.options.json) {
        table.print(environment.console);
    }
    return ExitStatus::done;
}

ExitStatus showPodcast(Environment& environment, const std::string& name) {
    const auto session = openDevice(environment.options, nullptr);
    for (const PodcastOnDevice& channel : podcastsNamed(*session, name)) {
        if (environment.options.json) {
            environment.console.print(jsonLine(described(channel)));
            continue;
        }
        Table table({{"", Align::right}, Table::text(safeText(channel.title)), {"PUBLISHED"}, Table::text("FILE")});
        std::size_t number = 0;
        for (const platform::Value& entry : channel.episodes) {
            const Dictionary& episode = *entry.dictionary();
            table.addRow({std::to_string(++number), safeText(episode.string("Title").value_or("")),
                          safeText(episode.string("PublishDate").value_or("").substr(0, 10)),
                          safeText(episode.string("FilePath").value_or(""))});
        }
        table.print(environment.console);
    }
    return ExitStatus::done;
}

/// One run of `remove`.
class RemoveEpisodes {
public:
    RemoveEpisodes(Environment& environment, const PodcastOptions& options)
        : _environment(environment)
        , _options(options)
        , _run(environment, "deleted") {}

    ExitStatus run() {
        const auto session = openDevice(_environment.options, nullptr);
        std::vector<PodcastOnDevice> channels = podcastsNamed(*session, _options.channel);
        if (!_options.chosen.empty()) {
            choose(channels);
        } else if (!_options.isConfirmed && !isConfirmed(channels)) {
            throw Failure(ExitStatus::someFailed, "Nothing is deleted.");
        }
        std::vector<LocalFile> files;
        for (const PodcastOnDevice& channel : channels) {
            for (const platform::Value& episode : channel.episodes) {
                const std::string name = episode.dictionary()->string("FilePath").value_or("");
                files.push_back({.path = name, .shownPath = name, .name = name, .size = 0, .type = MediaTypePodcast});
            }
        }
        _run.begin(std::move(files));
        std::size_t begin = 0;
        for (const PodcastOnDevice& channel : channels) {
            remove(session->service(), channel, begin);
            begin += channel.episodes.size();
        }
        return _run.finish();
    }

private:
    /// Leaves the chosen episodes in the channels; one that several storages have is taken from the first.
    void choose(std::vector<PodcastOnDevice>& channels) {
        std::vector<platform::Array> taken(channels.size());
        std::vector<std::set<std::size_t>> chosen(channels.size());
        for (const std::string& wanted : _options.chosen) {
            bool isFound = false;
            for (std::size_t i = 0; i < channels.size() && !isFound; ++i) {
                const std::size_t index = episodeMeant(channels[i].episodes, wanted);
                isFound = index < channels[i].episodes.size();
                if (isFound && chosen[i].insert(index).second) { // one may be named twice
                    taken[i].push_back(channels[i].episodes[index]);
                }
            }
            if (!isFound) {
                _run.leaveOut({wanted, "no such episode", true});
            }
        }
        for (std::size_t i = 0; i < channels.size(); ++i) {
            channels[i].episodes = std::move(taken[i]);
        }
    }

    bool isConfirmed(const std::vector<PodcastOnDevice>& channels) {
        if (!_run.canAsk()) {
            throw Failure(ExitStatus::usage,
                          "There is no terminal to confirm on; to delete a whole podcast give --yes.");
        }
        std::size_t count = 0;
        for (const PodcastOnDevice& channel : channels) {
            count += channel.episodes.size();
        }
        return _run.confirms(fmt::format("Delete {} with {} episodes?", safeText(channels.front().title), count));
    }

    void remove(MTPService& service, const PodcastOnDevice& channel, std::size_t begin) {
        std::vector<std::size_t> files(channel.episodes.size());
        for (std::size_t& file : files) {
            file = begin++;
        }
        _run.request(service, files, [&](std::uint32_t serviceID) {
            service.deleteContents(serviceID,
                                   platform::Array{Dictionary{{"Title", channel.name}, {"children", channel.episodes}}},
                                   MediaTypePodcast, channel.diskIndex);
        });
    }

    Environment& _environment;
    const PodcastOptions& _options;
    TransferRun _run;
};

void addFeedOptions(CLI::App& command, PodcastOptions& options) {
    command.add_option("-n,--episodes", options.episodes, "Only that many episodes of each feed, the newest")
        ->check(CLI::PositiveNumber); // a minus sign would wrap around
    command.add_option("--media", options.mediaFolder,
                       "Folder with the episodes' media files; the feed's own by default");
    command.add_flag("--no-metadata", options.noMetadata, "Send without reading titles, sizes and lengths");
}

void addPut(Commands& commands, CLI::App& group, const std::shared_ptr<PodcastOptions>& options) {
    CLI::App* command = group.add_subcommand("put", "Send the episodes of a feed");
    addFeedOptions(*command, *options);
    addStorageOption(*command, options->storage, "Where to put them; the first storage by default");
    addOverwriteOption(*command, options->overwrite);
    command->add_option("FEED", options->feeds, "RSS 2.0 file")->required()->expected(1);
    commands.add(command, [options](Environment& environment) { return put(environment, *options); });
}

void addSync(Commands& commands, CLI::App& group, const std::shared_ptr<PodcastOptions>& options) {
    CLI::App* command = group.add_subcommand("sync", "Send the episodes of feeds that the device does not have");
    addFeedOptions(*command, *options);
    command->add_flag("--card-first", options->startsOnCard,
                      "Fill the memory card before the internal memory; the other way round by default");
    command->add_option("FEED", options->feeds, "RSS 2.0 files")->required();
    commands.add(command, [options](Environment& environment) { return syncPodcasts(environment, *options); });
}

void addRemove(Commands& commands, CLI::App& group, const std::shared_ptr<PodcastOptions>& options) {
    CLI::App* command = group.add_subcommand("remove", "Delete episodes, or a podcast with all of them");
    command->add_flag("-y,--yes", options->isConfirmed, "Do not ask before a whole podcast is deleted");
    command->add_option("PODCAST", options->channel, "Title or folder")->required();
    command->add_option("EPISODE", options->chosen, "Number (see show), title or file name; all when none is given");
    commands.add(command, [options](Environment& environment) { return RemoveEpisodes(environment, *options).run(); });
}

} // namespace

void addPodcastCommand(Commands& commands) {
    CLI::App* group = commands.app().add_subcommand("podcast", "Podcasts on a device: send, list, delete");
    group->require_subcommand(1);
    const auto options = std::make_shared<PodcastOptions>();
    group->footer("Examples:\n"
                  "  mtpservice podcast put --media ~/Podcasts news.rss\n"
                  "  mtpservice podcast sync --episodes 5 *.rss\n"
                  "  mtpservice podcast show 'The News'\n"
                  "  mtpservice podcast remove 'The News' 1 3\n\n"
                  "An episode's media file is looked up by the file name at the end of its address in the feed.\n"
                  "Nothing is downloaded."); // the subcommands take it over
    addPut(commands, *group, options);
    CLI::App* listing = group->add_subcommand("list", "List the podcasts");
    commands.add(listing, [](Environment& environment) { return listPodcasts(environment); });
    CLI::App* showing = group->add_subcommand("show", "List a podcast's episodes");
    showing->add_option("PODCAST", options->channel, "Title or folder")->required();
    commands.add(showing, [options](Environment& environment) { return showPodcast(environment, options->channel); });
    addSync(commands, *group, options);
    addRemove(commands, *group, options);
}

} // namespace tool
