// SPDX-License-Identifier: MIT
#include "tools/Playlists.h"

#include "platform/Strings.h"
#include "tools/ScreenText.h"

#include <algorithm>

namespace tool {
namespace {

/// Handles of nodes mean nothing outside the process.
platform::Dictionary withoutNode(platform::Dictionary information) {
    information.remove("NodeID");
    return information;
}

} // namespace

std::vector<Playlist> Playlists::all() const {
    const auto listed = _session.service().playlistNameInformation(0, MediaTypePlaylist);
    if (!listed) {
        throw Failure(ExitStatus::someFailed, "The device does not tell its playlists.");
    }
    std::vector<Playlist> playlists;
    for (const platform::Value& value : *listed) {
        const platform::Dictionary* information = value.dictionary();
        if (const auto name = information ? information->string("PlaylistName") : std::nullopt) {
            playlists.push_back({*name, information->uint32("FileCount").value_or(0), withoutNode(*information)});
        }
    }
    return playlists;
}

std::optional<Playlist> Playlists::find(const std::string& name) const {
    std::vector<Playlist> alike;
    const std::string folded = platform::caseFolded(name);
    for (Playlist& playlist : all()) {
        if (platform::caseFolded(playlist.name) == folded) {
            alike.push_back(std::move(playlist));
        }
    }
    if (alike.size() > 1) {
        // The service finds playlists by their names without regard to case, so it could take the other one.
        throw Failure(ExitStatus::someFailed,
                      "Several playlists are called " + safeText(name) + "; rename one on the device.");
    }
    return alike.empty() ? std::nullopt : std::optional(alike.front());
}

Playlist Playlists::get(const std::string& name) const {
    auto playlist = find(name);
    if (!playlist) {
        throw Failure(ExitStatus::someFailed, "There is no playlist " + safeText(name) + " on the device.");
    }
    return *std::move(playlist);
}

std::vector<PlaylistChild> Playlists::children(const Playlist& playlist) const {
    const auto listed = _session.service().playlistInformationList(0, MediaTypePlaylist, playlist.name);
    const platform::Dictionary* information = listed && !listed->empty() ? listed->front().dictionary() : nullptr;
    const platform::Value* entries = information ? information->find("children") : nullptr;
    if (!entries || !entries->array()) {
        throw Failure(ExitStatus::someFailed, "The device does not tell what is in " + safeText(playlist.name) + ".");
    }
    std::vector<PlaylistChild> children;
    for (const platform::Value& value : *entries->array()) {
        if (const platform::Dictionary* child = value.dictionary()) {
            const std::string name = child->string("FileName").value_or("");
            children.push_back(
                {child->string("FilePath").value_or(name), child->uint32("ObjectID").value_or(0), withoutNode(*child)});
        }
    }
    return children;
}

platform::Dictionary Playlists::described(const Playlist& playlist) const {
    platform::Array entries;
    for (const PlaylistChild& child : children(playlist)) {
        entries.emplace_back(child.information);
    }
    platform::Dictionary description = playlist.information;
    description.set("children", std::move(entries));
    return description;
}

} // namespace tool
