// SPDX-License-Identifier: MIT
#include "device/MTPService/MTPServicePrivate.h"

#include "device/MTPService/MethodTrace.h"
#include "platform/Files.h"
#include "platform/Log.h"
#include "platform/Paths.h"

using platform::Array;
using platform::Dictionary;
using platform::Synchronized;

namespace {

_MTP_FILE_NODE* asFile(_MTP_COMMON_NODE* node) {
    const bool isFile = node != nullptr && node->Signature == MTP_SIGNATURE_FILE;
    return isFile ? reinterpret_cast<_MTP_FILE_NODE*>(node) : nullptr;
}

/// Makes room for a file at a local path; false (logged) when its folder cannot be made.
bool clearLocalPath(const std::string& path) {
    if (platform::fileExists(path)) {
        if (const std::error_code error = platform::removeFile(path)) {
            QD_LOG(3, "Remove %@ is fail. Error = %@", path, error.message());
        }
        return true;
    }
    const std::string folder = platform::deletingLastPathComponent(path);
    if (folder.empty()) {
        QD_LOG(3, "Get folder name is fail");
        return false;
    }
    if (platform::createFolders(folder)) {
        QD_LOG(3, "Create %@ folder is fail", folder);
        return false;
    }
    return true;
}

} // namespace

// Where the playlists are

std::optional<MTPServicePrivate::PlaylistStorage> MTPServicePrivate::playlistStorage() {
    PlaylistStorage storage;
    const Text path = storagePathWithOption(true, &storage.index);
    if (!path) {
        QD_LOG(3, "Get Storage Path is failed.");
        return std::nullopt;
    }
    storage.volumePath = *path;
    storage.node = currentStorageNode(path);
    return storage;
}

_MTP_STORAGE_NODE* MTPServicePrivate::playlistStorageNode(PlaylistStorage& storage) {
    if (storage.node == nullptr || !_mtpControl->checkNodeExist(&storage.node->header)) {
        storage.node = currentStorageNode(storage.volumePath);
    }
    return storage.node;
}

MTPServicePrivate::Text MTPServicePrivate::playlistFolderPath(const PlaylistStorage& storage,
                                                              std::uint32_t mediaType) const {
    Text path = defaultMediaPath(storage.index, mediaType);
    if (!path) {
        QD_LOG(3, "Get Default Path is failed");
    }
    return path;
}

_MTP_COMMON_NODE* MTPServicePrivate::playlistFolderNode(const PlaylistStorage& storage, const std::string& folderPath,
                                                        std::uint32_t mediaType) {
    const Synchronized library(MtpControl::classMonitor());
    if (_MTP_COMMON_NODE* known = MtpControl::nodeFromText(mediaDefaultNode(folderPath, mediaType))) {
        return known;
    }
    _MTP_FOLDER_NODE* folder = _mtpControl->lastFolderNode(_currentDeviceNode, storage.node, folderPath);
    return folder == nullptr ? nullptr : &folder->header;
}

_MTP_FILE_NODE* MTPServicePrivate::mediaFileNode(const std::string& devicePath) {
    if (_MTP_FILE_NODE* known = asFile(MtpControl::nodeFromText(indexedNode(devicePath)))) {
        return known;
    }
    return asFile(_mtpControl->fileNodeAtPath(_currentDeviceNode, _storageHeadNode, devicePath, nullptr));
}

// What is there

std::optional<Array> MTPServicePrivate::playlistNameInformation(std::uint32_t mediaType) {
    const MethodTrace trace(6);
    if (mediaType != MediaTypePlaylist) {
        QD_LOG(3, "Input parameter is invalid. mediaType = %d", mediaType);
        return std::nullopt;
    }
    const auto storage = playlistStorage();
    const Text folder = storage ? playlistFolderPath(*storage, mediaType) : std::nullopt;
    if (!folder) {
        return std::nullopt;
    }
    const Transferring transferring(*this);
    const Synchronized library(MtpControl::classMonitor());
    auto names = _mtpControl->enumeratorPlaylistNameInfo(_currentDeviceNode, storage->node, folder);
    QD_LOG(6, "playlist Name Info = %@", platform::Value(names.value_or(Array())));
    return names;
}

std::optional<Array> MTPServicePrivate::playlistInformationList(std::uint32_t mediaType, const Text& playlistName) {
    const MethodTrace trace(6);
    if (mediaType != MediaTypePlaylist) {
        QD_LOG(3, "Input parameter is invalid. mediaType = %d", mediaType);
        return std::nullopt;
    }
    if (!playlistName) {
        QD_LOG(3, "Playlist Name is nil");
        return std::nullopt;
    }
    const auto storage = playlistStorage();
    if (!storage) {
        return std::nullopt;
    }
    const Transferring transferring(*this);
    const Synchronized library(MtpControl::classMonitor());
    auto playlist =
        _mtpControl->enumeratorPlaylistInfo(_currentDeviceNode, storage->node, *playlistName, storage->volumePath);
    QD_LOG(6, "playlist Name Info = %@", platform::Value(playlist.value_or(Array())));
    return playlist;
}

bool MTPServicePrivate::readPlaylistFromDevice(const Text& name, const Text& destFolder, std::uint32_t mediaType) {
    const MethodTrace trace(6);
    // A "/" would lead to another place on either side; no object's name has one.
    const bool isName = name && name->find('/') == std::string::npos;
    if (!isName || !destFolder || mediaType != MediaTypePlaylist) {
        QD_LOG(3, "Input parameter is invalid. playlistName = %@, destFolder = %@, mediaType = %d", name, destFolder,
               mediaType);
        return false;
    }
    const auto storage = playlistStorage();
    const Text folder = storage ? playlistFolderPath(*storage, mediaType) : std::nullopt;
    if (!folder) {
        return false;
    }
    const std::string source = platform::formatText("%@/%@.pla", *folder, *name);
    const std::string destination = platform::formatText("%@/%@.pla", *destFolder, *name);
    if (!clearLocalPath(destination)) {
        return false;
    }
    const Synchronized library(MtpControl::classMonitor());
    std::uint32_t error = 0;
    return _mtpControl->uploadFileFromMTPEx(_currentDeviceNode, _storageHeadNode, indexedNode(source), source,
                                            destination, nullptr, nullptr, &error);
}

// Completing what was told

namespace {

using PathsOfNodes = std::unordered_map<std::string, std::string>;

/// One of possibly several paths of each node; always the same one.
PathsOfNodes pathsOfNodes(const MTPServicePrivate::ContentIndex& index) {
    PathsOfNodes paths;
    if (index) {
        for (const auto& [path, node] : *index) {
            const auto [known, isNew] = paths.try_emplace(node, path);
            if (!isNew && path < known->second) {
                known->second = path;
            }
        }
    }
    return paths;
}

platform::Value withPath(const platform::Value& child, const PathsOfNodes& paths,
                         const std::optional<std::string>& playlistName) {
    const Dictionary* file = child.dictionary();
    if (file == nullptr) {
        QD_LOG(3, "Media File Data at %@ Playlsit is nil.", playlistName);
        return child;
    }
    const auto fileName = file->string("FileName");
    const auto nodeID = file->string("NodeID");
    if (!fileName || !nodeID) {
        QD_LOG(3, "Playlist Media File Information is error. fileName = %@, nodeID = %@", fileName, nodeID);
        return child;
    }
    const auto found = paths.find(*nodeID);
    if (found == paths.end()) {
        return child;
    }
    Dictionary completed = *file;
    completed.set("FilePath", found->second);
    return completed;
}

} // namespace

void MTPServicePrivate::addMediaFullPathToPlaylistInfo(std::optional<Array>& playlists) const {
    if (!playlists) {
        QD_LOG(3, "Input parameter is invalid");
        return;
    }
    const PathsOfNodes paths = _mediaContentInfoLists.with(pathsOfNodes);
    for (platform::Value& entry : *playlists) {
        const Dictionary* playlist = entry.dictionary();
        if (playlist == nullptr) {
            QD_LOG(3, "Playlist Inforamtion Data is nil. Next Playlist Search.");
            continue;
        }
        const Array* children = playlist->array("children");
        if (children == nullptr) {
            QD_LOG(3, "Playlist Media file is nil. Search next playlist");
            continue;
        }
        Array completed;
        completed.reserve(children->size());
        for (const platform::Value& child : *children) {
            completed.push_back(withPath(child, paths, playlist->string("PlaylistName")));
        }
        Dictionary replaced = *playlist;
        replaced.set("children", std::move(completed));
        entry = std::move(replaced);
    }
}
