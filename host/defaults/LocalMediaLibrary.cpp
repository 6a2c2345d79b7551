// SPDX-License-Identifier: MIT
#include "host/defaults/LocalMediaLibrary.h"

#include "host/defaults/MediaKinds.h"
#include "host/defaults/MusicFileReader.h"
#include "platform/Paths.h"

#include <filesystem>
#include <nlohmann/json.hpp>

namespace host {
namespace {

constexpr const char* kProbeName = "mtpservice-mediaprobe";
constexpr const char* kTooLong = "sent without metadata: reading it took too long";

std::string titleFromName(const std::string& name) {
    const std::size_t extension = extensionOf(name).size();
    return extension == 0 ? name : name.substr(0, name.size() - extension - 1);
}

/// Takes over the texts and numbers of the helper's answer; anything else in it is nothing that we asked for.
bool addJson(const std::string& text, platform::Dictionary& answer) {
    const auto object = nlohmann::json::parse(text, nullptr, false);
    if (!object.is_object()) {
        return false;
    }
    for (const char* key : {"Title", "Artist", "Album", "Genre", "VCodec"}) {
        const auto found = object.find(key);
        if (found != object.end() && found->is_string()) {
            answer.set(key, found->get<std::string>());
        }
    }
    for (const char* key : {"PlayLength", "Bitrate", "Width", "Height"}) {
        const auto found = object.find(key);
        if (found != object.end() && found->is_number_unsigned()) {
            answer.set(key, found->get<std::uint64_t>());
        }
    }
    return true;
}

} // namespace

LocalMediaLibrary::LocalMediaLibrary(Options options)
    : _options(std::move(options))
    , _probe(_options.probe, _options.readingLimit) {}

std::optional<platform::Dictionary> LocalMediaLibrary::getMediaInfo(const std::string& filePath,
                                                                    const platform::Dictionary& info) {
    const std::string name = info.string("FileName").value_or(platform::lastPathComponent(filePath));
    platform::Dictionary answer{{"FilePath", filePath}, {"FileName", name}, {"MediaType", mediaTypeBits(filePath)}};
    answer.set("Title", titleFromName(name));
    if (!_options.readsMetadata) {
        return answer;
    }
    const MediaType type = naturalMediaType(filePath);
    if (type == MediaTypeMusic) {
        if (const auto read = musicFileInformation(filePath, _options.readingLimit)) {
            answer.merge(*read);
        } else {
            warn(filePath, kTooLong);
        }
    } else if (type != MediaTypeNone) {
        addProbedInformation(filePath, answer);
    }
    return answer;
}

void LocalMediaLibrary::addProbedInformation(const std::string& filePath, platform::Dictionary& answer) {
    const std::lock_guard lock(_mutex);
    const MediaProbe::Answer probed = _probe.read(filePath);
    switch (probed.outcome) {
    case MediaProbe::Outcome::read:
        if (!addJson(probed.json, answer)) {
            warn(filePath, "sent without metadata: its reader answered nonsense");
        }
        return;
    case MediaProbe::Outcome::timedOut:
        return warn(filePath, kTooLong);
    case MediaProbe::Outcome::died:
        return warn(filePath, "sent without metadata: reading it made the reader end");
    case MediaProbe::Outcome::unavailable:
        if (!std::exchange(_saidUnavailable, true)) {
            warn(filePath, "sent without metadata, like all videos and images: the program " + _options.probe +
                               " cannot be started");
        }
        return;
    }
}

void LocalMediaLibrary::warn(const std::string& filePath, const std::string& reason) {
    if (_options.warning) {
        _options.warning(filePath, reason);
    }
}

std::string LocalMediaLibrary::findProbe() {
    std::error_code error;
    const auto folder = std::filesystem::read_symlink("/proc/self/exe", error).parent_path();
    for (const auto& candidate : {folder / kProbeName, folder.parent_path() / "libexec" / "mtpservice" / kProbeName}) {
        if (std::filesystem::exists(candidate, error)) {
            return candidate.string();
        }
    }
    return (folder / kProbeName).string();
}

} // namespace host
