// SPDX-License-Identifier: MIT
#include "tests/device/service/PlaylistService.h"

#include "platform/Strings.h"
#include "vemomtpsdk/Functions.h"

using platform::Array;
using platform::Dictionary;

namespace {

tests::PlaylistWrites* current = nullptr;

std::string nameOf(const _MTP_FILE_NODE& file) {
    return platform::toUtf8({reinterpret_cast<const char16_t*>(file.name.get()), file.nameSize - 1});
}

} // namespace

// The linker leads the service's calls here (--wrap) and the calls from here to the library.
extern "C" {
DGSTATUS __real_mtpUpdatePlaylistEx(_MTP_PLAYLIST_NODE* playlist, _MTP_FILE_NODE** files, std::uint32_t count);
DGSTATUS __wrap_mtpUpdatePlaylistEx(_MTP_PLAYLIST_NODE* playlist, _MTP_FILE_NODE** files, std::uint32_t count) {
    const auto answer = current == nullptr ? std::nullopt : current->note(files, count, true);
    return answer ? *answer : __real_mtpUpdatePlaylistEx(playlist, files, count);
}
DGSTATUS __real_mtpSetNewPlaylist(_MTP_COMMON_NODE* parent, const std::uint16_t* name, std::uint32_t nameBytes,
                                  _MTP_FILE_NODE** files, std::uint32_t count, _MTP_PLAYLIST_NODE** playlist);
DGSTATUS __wrap_mtpSetNewPlaylist(_MTP_COMMON_NODE* parent, const std::uint16_t* name, std::uint32_t nameBytes,
                                  _MTP_FILE_NODE** files, std::uint32_t count, _MTP_PLAYLIST_NODE** playlist) {
    if (current != nullptr) {
        current->note(files, count, false);
    }
    return __real_mtpSetNewPlaylist(parent, name, nameBytes, files, count, playlist);
}
}

namespace tests {

PlaylistWrites::PlaylistWrites() {
    current = this;
}

PlaylistWrites::~PlaylistWrites() {
    current = nullptr;
}

Names PlaylistWrites::take() {
    const std::scoped_lock lock(_mutex);
    return std::exchange(_noted, {});
}

void PlaylistWrites::answer(std::deque<DGSTATUS> statuses) {
    const std::scoped_lock lock(_mutex);
    _answers = std::move(statuses);
}

std::optional<DGSTATUS> PlaylistWrites::note(_MTP_FILE_NODE* const* files, std::uint32_t count, bool mayAnswer) {
    const std::scoped_lock lock(_mutex);
    std::string text;
    for (std::uint32_t i = 0; i < count; ++i) {
        text += (i == 0 ? "" : " ") + (files[i] == nullptr ? "-" : nameOf(*files[i]));
    }
    _noted.push_back(text);
    if (!mayAnswer || _answers.empty()) {
        return std::nullopt;
    }
    const DGSTATUS status = _answers.front();
    _answers.pop_front();
    return status == DGSTATUS_SUCCESS ? std::nullopt : std::optional(status);
}

void PlaylistService::putSongs(const Names& names, std::uint32_t storageIndex) {
    Array contents;
    for (const std::string& name : names) {
        contents.emplace_back(content(local(name, 100)));
    }
    service->copyContentsMacToDevice(99, contents, MediaTypeMusic, storageIndex);
    waitUntilIdle();
}

Array PlaylistService::songs(const Names& names) {
    Array contents;
    for (const std::string& name : names) {
        contents.emplace_back(Dictionary{{"FilePath", song(name)}});
    }
    return contents;
}

void PlaylistService::create(const std::string& playlist, const Names& names) {
    ASSERT_TRUE(service->createPlaylist(playlist, playlistType, songs(names)));
    ASSERT_EQ(listed(playlist), names);
    writes.take();
}

std::optional<Names> PlaylistService::listed(const std::string& playlist) {
    const auto lists = service->playlistInformationList(0, playlistType, playlist);
    if (!lists || lists->size() != 1) {
        return std::nullopt;
    }
    Names names;
    for (const platform::Value& child : *lists->front().dictionary()->array("children")) {
        names.push_back(child.dictionary()->string("FileName").value_or("(none)"));
    }
    return names;
}

bool PlaylistService::isOnDisk(const std::string& playlist, const Names& names) const {
    std::string expected;
    for (const std::string& name : names) {
        expected += "/Phone/Sounds/" + name + "\n";
    }
    return waitUntil([&] { return readFile(device->path("Phone/Playlists/" + playlist + ".pla")) == expected; });
}

bool PlaylistService::hasFile(const std::string& playlist) const {
    return std::filesystem::exists(device->path("Phone/Playlists/" + playlist + ".pla"));
}

void PlaylistService::add(std::uint32_t id, const std::string& playlist, const Array& contents) {
    EXPECT_TRUE(service->addContentsToPlaylist(id, contents, playlistType, playlist));
    waitUntilIdle();
}

void PlaylistService::remove(std::uint32_t id, const std::string& playlist, const Array& contents) {
    EXPECT_TRUE(service->deleteContentsAtPlaylist(id, contents, playlistType, playlist));
    waitUntilIdle();
}

Dictionary PlaylistService::entry(const std::string& playlist, const std::string& name) {
    const auto lists = service->playlistInformationList(0, playlistType, playlist);
    for (const platform::Value& child : *lists->front().dictionary()->array("children")) {
        if (child.dictionary()->string("FileName") == name) {
            return {{"FileName", song(name)}, {"ObjectID", child.dictionary()->uint32("ObjectID").value_or(0)}};
        }
    }
    ADD_FAILURE() << name << " is not in " << playlist;
    return {};
}

std::shared_ptr<MTPServicePrivate> PlaylistService::inside() const {
    return service->callbackObject().object<MTPServicePrivate>();
}

void PlaylistService::forgetInternalMemory() {
    for (const platform::Value& storage : service->storageInformation().value_or(Array())) {
        if (storage.dictionary()->uint32("diskType") == 1U) {
            service->removeDiskInformation(*storage.dictionary());
        }
    }
}

} // namespace tests
