// SPDX-License-Identifier: MIT
#include "device/MTPService/MTPControl.h"
#include "device/MTPService/MTPControlPath.h"
#include "device/MTPService/MTPControlRecords.h"
#include "platform/Log.h"
#include "platform/Paths.h"
#include "platform/Strings.h"
#include "vemomtpsdk/Functions.h"

#include <algorithm>
#include <iterator>
#include <utility>

using mtpcontrol::NameMatcher;
using mtpcontrol::setError;
using platform::Array;
using platform::Dictionary;

namespace {

/// The most often that a list is read again because it changed while it was read.
constexpr int patience = 3;

std::optional<std::string> nameOf(const _MTP_PLAYLIST_NODE& playlist) {
    return playlist.name.get() == nullptr
               ? std::nullopt
               : std::optional(mtpcontrol::textOf(mtpcontrol::labelUnits(playlist.name, playlist.nameSize)));
}

/// The playlists of a storage. A device that has none succeeds with none.
DGSTATUS playlistsOf(MtpControl& control, _MTP_DEVICE_NODE* device, _MTP_STORAGE_NODE* storage,
                     std::vector<_MTP_PLAYLIST_NODE*>& playlists) {
    if (device == nullptr || storage == nullptr) {
        QD_LOG(3, "Input parameter is invalid. device = %p, storage = %p", device, storage);
        return DGSTATUS_UNSUCCESSFUL;
    }
    _MTP_PLAYLIST_NODE* node = nullptr;
    DGSTATUS status = mtpGetPlaylistHead(storage, &node);
    while (status == DGSTATUS_SUCCESS && node != nullptr) {
        control.logMTPPlaylistNode(node);
        playlists.push_back(node);
        status = mtpGetNextPlaylistNode(node, &node);
    }
    if (status == DGSTATUS_NO_MORE_DATA) {
        return DGSTATUS_SUCCESS;
    }
    if (status != DGSTATUS_SUCCESS) {
        QD_LOG(3, "The list of playlists cannot be read. Storage Node = %p, status = %@", storage,
               control.statusString(status));
    }
    return status;
}

DGSTATUS findPlaylist(MtpControl& control, _MTP_DEVICE_NODE* device, _MTP_STORAGE_NODE* storage,
                      const std::string& name, _MTP_PLAYLIST_NODE*& playlist) {
    std::vector<_MTP_PLAYLIST_NODE*> playlists;
    const DGSTATUS status = playlistsOf(control, device, storage, playlists);
    if (status != DGSTATUS_SUCCESS) {
        return status;
    }
    const NameMatcher wanted(name);
    const auto found = std::ranges::find_if(playlists, [&](const _MTP_PLAYLIST_NODE* candidate) {
        return wanted.matches(mtpcontrol::labelUnits(candidate->name, candidate->nameSize));
    });
    playlist = found == playlists.end() ? nullptr : *found;
    return playlist == nullptr ? DGSTATUS_NODE_IS_NOT_EXISTED : DGSTATUS_SUCCESS;
}

/// By ID when that names a live playlist, else by name.
DGSTATUS findPlaylist(MtpControl& control, _MTP_DEVICE_NODE* device, _MTP_STORAGE_NODE* storage,
                      const MtpControl::NodeID& playlistID, const std::string& name, _MTP_PLAYLIST_NODE*& playlist) {
    _MTP_COMMON_NODE* node = MtpControl::nodeFromText(playlistID);
    if (node != nullptr && node->Signature == MTP_SIGNATURE_PLAYLIST) {
        playlist = reinterpret_cast<_MTP_PLAYLIST_NODE*>(node);
        control.logMTPPlaylistNode(playlist);
        return DGSTATUS_SUCCESS;
    }
    return findPlaylist(control, device, storage, name, playlist);
}

/// One entry of a playlist that is there.
struct Entry {
    std::uint32_t index = 0;
    _MTP_FILE_NODE* file = nullptr;
};

/// One pass over the list; what is gone is left out.
DGSTATUS readOnce(MtpControl& control, _MTP_PLAYLIST_NODE* playlist, std::vector<Entry>& entries) {
    for (std::uint32_t index = 0;; ++index) {
        _MTP_FILE_NODE* file = nullptr;
        const DGSTATUS status = mtpGetPlaylistMediaFileInfo(playlist, index, &file);
        if (status == DGSTATUS_SUCCESS) {
            control.logMTPFileNode(file);
            entries.push_back({index, file});
        } else if (status == DGSTATUS_NO_MORE_DATA) {
            return DGSTATUS_SUCCESS;
        } else if (!control.checkNodeExist(&playlist->header) ||
                   (status != DGSTATUS_NODE_IS_NOT_EXISTED && status != DGSTATUS_NOT_MATCHED_FILENODE)) {
            return status;
        } else {
            QD_LOG(6, "A file of the playlist is gone. Playlist Node = %p, index = %d", playlist, index);
        }
    }
}

/// The files of a playlist. Finding one may show that another is gone, which moves the places behind it: then the list
/// is read once more.
DGSTATUS readPlaylist(MtpControl& control, _MTP_PLAYLIST_NODE* playlist, std::vector<Entry>& entries) {
    DGSTATUS status = DGSTATUS_SUCCESS;
    for (int pass = 0; pass < patience; ++pass) {
        entries.clear();
        const std::uint32_t before = playlist->fileCount;
        status = readOnce(control, playlist, entries);
        if (status != DGSTATUS_SUCCESS || playlist->fileCount == before) {
            break;
        }
    }
    if (status != DGSTATUS_SUCCESS) {
        QD_LOG(3, "The playlist cannot be read. Playlist Node = %p, status = %@", playlist,
               control.statusString(status));
    }
    return status;
}

/// Finds a playlist and reads its files, in order; none when it cannot be read whole, since half a list is no list.
DGSTATUS readFiles(MtpControl& control, _MTP_DEVICE_NODE* device, _MTP_STORAGE_NODE* storage,
                   const MtpControl::NodeID& playlistID, const std::string& name, _MTP_PLAYLIST_NODE*& playlist,
                   std::vector<_MTP_FILE_NODE*>& files) {
    std::vector<Entry> entries;
    DGSTATUS status = findPlaylist(control, device, storage, playlistID, name, playlist);
    if (status == DGSTATUS_SUCCESS) {
        status = readPlaylist(control, playlist, entries);
    }
    if (status == DGSTATUS_SUCCESS) {
        std::ranges::transform(entries, std::back_inserter(files), &Entry::file);
    }
    return status;
}

Dictionary describe(const _MTP_PLAYLIST_NODE& playlist) {
    Dictionary info;
    info.set("PlaylistName", nameOf(playlist).value_or(""));
    info.set("NodeID", MtpControl::nodeIDText(&playlist));
    info.set("ObjectID", playlist.header.Id);
    info.set("FileCount", playlist.fileCount);
    return info;
}

/// "/label/folder/name" of an entry; missing when the library does not tell.
std::optional<std::string> pathOf(_MTP_PLAYLIST_NODE* playlist, std::uint32_t index) {
    std::uint32_t bytes = 0;
    if (mtpGetPlaylistMediaFilePath(playlist, index, nullptr, &bytes) != DGSTATUS_MORE_DATA) {
        return std::nullopt;
    }
    std::vector<std::uint16_t> units(bytes / sizeof(std::uint16_t) + 1);
    if (mtpGetPlaylistMediaFilePath(playlist, index, units.data(), &bytes) != DGSTATUS_SUCCESS) {
        return std::nullopt;
    }
    return mtpcontrol::textOf(mtpcontrol::boundedUnits(units.data(), static_cast<std::uint32_t>(units.size())));
}

Dictionary describe(_MTP_PLAYLIST_NODE* playlist, const Entry& entry, const MtpControl::Text& storagePath) {
    const _MTP_FILE_NODE& file = *entry.file;
    Dictionary info;
    info.set("FileName", mtpcontrol::nodeText(file.name, file.nameSize).value_or(""));
    info.set("NodeID", MtpControl::nodeIDText(&file));
    info.set("ObjectID", file.header.Id);
    info.set("FileSize", std::uint64_t{file.size});
    info.set("IsReadOnly", (file.protection & 0xFFU) != 0);
    // A playlist may name files of other storages than its own, so the label comes from the file.
    if (const auto path = storagePath ? pathOf(playlist, entry.index) : std::nullopt) {
        const std::string deviceName = platform::deletingLastPathComponent(*storagePath);
        info.set("FilePath", (deviceName == "/" ? "" : deviceName) + *path);
    }
    return info;
}

DGSTATUS write(MtpControl& control, _MTP_PLAYLIST_NODE* playlist, MtpControl::NodeList files) {
    std::vector<_MTP_FILE_NODE*> list(files.begin(), files.end());
    const DGSTATUS status = mtpUpdatePlaylistEx(playlist, list.data(), static_cast<std::uint32_t>(list.size()));
    if (status != DGSTATUS_SUCCESS) {
        QD_LOG(3, "mtpUpdatePlaylistEx is failed. Playlist Node = %p, status = %@", playlist,
               control.statusString(status));
    }
    return status;
}

/// The file that an ID names, or else a device path.
_MTP_FILE_NODE* mediaFile(MtpControl& control, _MTP_DEVICE_NODE* device, _MTP_STORAGE_NODE* storage,
                          const MtpControl::NodeID& mediaFileID, const MtpControl::Text& mediaFilePath) {
    _MTP_COMMON_NODE* node = mtpcontrol::fileNodeInStorage(control, device, storage, mediaFileID, mediaFilePath);
    if (node == nullptr || node->Signature != MTP_SIGNATURE_FILE) {
        QD_LOG(3, "The media file is not found. nodeID = %@, path = %@", mediaFileID, mediaFilePath);
        return nullptr;
    }
    return reinterpret_cast<_MTP_FILE_NODE*>(node);
}

bool answer(DGSTATUS status, std::uint32_t* error) {
    setError(error, status);
    return status == DGSTATUS_SUCCESS;
}

} // namespace

std::optional<Array> MtpControl::enumeratorPlaylistNames(_MTP_DEVICE_NODE* device, _MTP_STORAGE_NODE* currentStorage) {
    std::vector<_MTP_PLAYLIST_NODE*> playlists;
    if (playlistsOf(*this, device, currentStorage, playlists) != DGSTATUS_SUCCESS) {
        return std::nullopt;
    }
    Array names;
    for (const _MTP_PLAYLIST_NODE* playlist : playlists) {
        names.push_back(nameOf(*playlist).value_or(""));
    }
    return names;
}

std::optional<Array> MtpControl::enumeratorPlaylistNameInfo(_MTP_DEVICE_NODE* device, _MTP_STORAGE_NODE* currentStorage,
                                                            const Text& filePath) {
    std::vector<_MTP_PLAYLIST_NODE*> playlists;
    if (playlistsOf(*this, device, currentStorage, playlists) != DGSTATUS_SUCCESS) {
        return std::nullopt;
    }
    Array infos;
    for (const _MTP_PLAYLIST_NODE* playlist : playlists) {
        Dictionary info = describe(*playlist);
        if (filePath) {
            info.set("FilePath", *filePath + "/" + nameOf(*playlist).value_or("") + ".pla");
        }
        infos.push_back(std::move(info));
    }
    return infos;
}

std::optional<Array> MtpControl::enumeratorPlaylistInfo(_MTP_DEVICE_NODE* device, _MTP_STORAGE_NODE* currentStorage,
                                                        const std::string& playlistName, const Text& storagePath) {
    _MTP_PLAYLIST_NODE* playlist = searchPlaylistName(device, currentStorage, playlistName);
    std::vector<Entry> entries;
    if (playlist == nullptr || readPlaylist(*this, playlist, entries) != DGSTATUS_SUCCESS) {
        return std::nullopt;
    }
    Array children;
    for (const Entry& entry : entries) {
        children.push_back(describe(playlist, entry, storagePath));
    }
    Dictionary info = describe(*playlist);
    info.set("children", std::move(children));
    Array infos;
    infos.push_back(std::move(info));
    return infos;
}

std::vector<_MTP_FILE_NODE*> MtpControl::enumeratorFileNodeAtPlaylist(_MTP_DEVICE_NODE* device,
                                                                      _MTP_STORAGE_NODE* currentStorage,
                                                                      const std::string& playlistName,
                                                                      std::uint32_t* error) {
    _MTP_PLAYLIST_NODE* playlist = nullptr;
    std::vector<_MTP_FILE_NODE*> files;
    answer(readFiles(*this, device, currentStorage, std::nullopt, playlistName, playlist, files), error);
    return files;
}

_MTP_PLAYLIST_NODE* MtpControl::searchPlaylistName(_MTP_DEVICE_NODE* device, _MTP_STORAGE_NODE* currentStorage,
                                                   const std::string& playlistName) {
    _MTP_PLAYLIST_NODE* playlist = nullptr;
    (void) findPlaylist(*this, device, currentStorage, playlistName, playlist);
    return playlist;
}

DGSTATUS MtpControl::setPlayListInfo(_MTP_COMMON_NODE* parent, const std::string& listName, NodeList infoLists,
                                     _MTP_PLAYLIST_NODE** listNode) {
    const auto name = mtpcontrol::CallText::makePrecomposed(listName);
    if (parent == nullptr || listName.empty() || !name) {
        QD_LOG(3, "Input parameter is invalid. parent = %p, playlist Name = %@", parent, listName);
        return DGSTATUS_UNSUCCESSFUL;
    }
    std::vector<_MTP_FILE_NODE*> list(infoLists.begin(), infoLists.end());
    _MTP_PLAYLIST_NODE* playlist = nullptr;
    const DGSTATUS status = mtpSetNewPlaylist(parent, name->data(), name->bytesWithTerminator(), list.data(),
                                              static_cast<std::uint32_t>(list.size()), &playlist);
    if (status != DGSTATUS_SUCCESS) {
        QD_LOG(3, "mtpSetNewPlaylist is failed. Common Node = %p, status = %@", parent, statusString(status));
    }
    if (playlist != nullptr) {
        logMTPPlaylistNode(playlist);
    }
    if (listNode != nullptr) {
        *listNode = playlist;
    }
    return status;
}

bool MtpControl::updateMediaFileToPlaylist(_MTP_DEVICE_NODE* device, _MTP_STORAGE_NODE* currentStorage,
                                           const std::string& playlistName, NodeList nodeLists, std::uint32_t* error) {
    _MTP_PLAYLIST_NODE* playlist = nullptr;
    const DGSTATUS status = findPlaylist(*this, device, currentStorage, playlistName, playlist);
    return answer(status == DGSTATUS_SUCCESS ? write(*this, playlist, nodeLists) : status, error);
}

bool MtpControl::updateMediaFileToPlaylist(_MTP_DEVICE_NODE* device, _MTP_STORAGE_NODE* currentStorage,
                                           const std::string& playlistName, const NodeID& mediaFileID,
                                           const Text& mediaFilePath, std::uint32_t* error) {
    return updateMediaFileToPlaylist(device, currentStorage, std::nullopt, playlistName, mediaFileID, mediaFilePath,
                                     error);
}

bool MtpControl::updateMediaFileToPlaylist(_MTP_DEVICE_NODE* device, _MTP_STORAGE_NODE* currentStorage,
                                           const NodeID& playlistID, const std::string& playlistName,
                                           const NodeID& mediaFileID, const Text& mediaFilePath, std::uint32_t* error) {
    _MTP_PLAYLIST_NODE* playlist = nullptr;
    std::vector<_MTP_FILE_NODE*> files;
    if (!answer(readFiles(*this, device, currentStorage, playlistID, playlistName, playlist, files), error)) {
        return false;
    }
    files.push_back(mediaFile(*this, device, currentStorage, mediaFileID, mediaFilePath));
    return answer(files.back() == nullptr ? DGSTATUS_NODE_IS_NOT_EXISTED : write(*this, playlist, files), error);
}

bool MtpControl::deleteMediaFileAtPlaylist(_MTP_DEVICE_NODE* device, _MTP_STORAGE_NODE* currentStorage,
                                           const std::string& playlistName, const NodeID& mediaFileID,
                                           const Text& mediaFilePath, std::uint32_t* error) {
    return deleteMediaFileAtPlaylist(device, currentStorage, std::nullopt, playlistName, mediaFileID, mediaFilePath,
                                     error);
}

bool MtpControl::deleteMediaFileAtPlaylist(_MTP_DEVICE_NODE* device, _MTP_STORAGE_NODE* currentStorage,
                                           const NodeID& playlistID, const std::string& playlistName,
                                           const NodeID& mediaFileID, const Text& mediaFilePath, std::uint32_t* error) {
    _MTP_PLAYLIST_NODE* playlist = nullptr;
    std::vector<_MTP_FILE_NODE*> files;
    if (!answer(readFiles(*this, device, currentStorage, playlistID, playlistName, playlist, files), error)) {
        return false;
    }
    const _MTP_FILE_NODE* file = mediaFile(*this, device, currentStorage, mediaFileID, mediaFilePath);
    const auto place = std::ranges::find(files, file);
    if (file == nullptr || place == files.end()) {
        return answer(file == nullptr ? DGSTATUS_NODE_IS_NOT_EXISTED : DGSTATUS_NOT_MATCHED_FILENODE, error);
    }
    files.erase(place);
    return answer(write(*this, playlist, files), error);
}

void MtpControl::releaseMTPPlaylist(_MTP_PLAYLIST_NODE* head) {
    if (head != nullptr) {
        mtpReleasePlaylists(head);
    }
}
