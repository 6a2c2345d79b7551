// SPDX-License-Identifier: MIT
#include "device/MTPService/MTPServicePrivate.h"

#include "device/MTPService/ApplicationCall.h"
#include "device/MTPService/MediaTypeTable.h"
#include "device/MTPService/MethodTrace.h"
#include "platform/Log.h"
#include "platform/Paths.h"
#include "platform/Strings.h"

#include <algorithm>
#include <array>

using platform::Array;
using platform::Dictionary;
using platform::Synchronized;
using platform::Value;
using Text = std::optional<std::string>;

namespace {

/// The kinds that lists tell apart by extension, in the order of their groups.
constexpr std::array listedTypes{MediaTypeMusic, MediaTypeImage, MediaTypeMovie, MediaTypePodcast};

void addExtensions(std::uint32_t mediaType, std::vector<std::string>& extensions) {
    if (const MediaTypeEntry* media = findMediaType(mediaType)) {
        extensions.insert(extensions.end(), media->extensions.begin(), media->extensions.end());
    }
}

/// A dictionary's text where it lies; null when there is none.
const std::string* textIn(const Dictionary& dictionary, std::string_view key) {
    const Value* value = dictionary.find(key);
    return value == nullptr ? nullptr : value->string();
}

/// A storage's podcast folder, asked about for every file: checkMediaContent with what does not change done once.
class PodcastFolder {
public:
    explicit PodcastFolder(Text path)
        : _path(std::move(path)) {
        if (!_path) {
            QD_LOG(3, "Get Default Path is failed.");
        }
    }

    [[nodiscard]] bool holds(const std::string* filePath) const {
        return _path && filePath != nullptr && platform::containsIgnoringCase(*filePath, *_path);
    }

private:
    Text _path;
};

Dictionary contentGroup(std::uint32_t diskIndex, std::uint32_t mediaType, Array contents) {
    Dictionary group{{"DiskIndex", diskIndex}, {"ContentMediaType", mediaType}};
    if (!contents.empty()) {
        group.set("ContentMediaTag", std::move(contents));
    }
    return group;
}

} // namespace

// One kind on one storage

std::optional<Array> MTPServicePrivate::fileInformationList(std::uint32_t mediaType, std::uint32_t diskIndex) {
    const MethodTrace trace(6);
    return mediaList(mediaType, diskIndex, &MtpControl::enumeratorMediaFiles);
}

std::optional<Array> MTPServicePrivate::fileNameList(std::uint32_t mediaType, std::uint32_t diskIndex) {
    const MethodTrace trace(6);
    return mediaList(mediaType, diskIndex, &MtpControl::enumeratorMediaFileNames);
}

std::optional<Array> MTPServicePrivate::mediaList(std::uint32_t mediaType, std::uint32_t diskIndex,
                                                  MediaEnumeration enumeration) {
    if (std::ranges::count(listedTypes, mediaType) == 0) {
        QD_LOG(3, "Do not support media type. Media Type = %d", mediaType);
        return std::nullopt;
    }
    const auto storage = storageInfoFromIndex(diskIndex);
    if (!storage) {
        QD_LOG(3, "Storage Info is nil");
        return std::nullopt;
    }
    const Text source =
        mediaType == MediaTypePodcast ? defaultMediaPath(diskIndex, MediaTypePodcast) : storage->string("volumePath");
    std::vector<std::string> extensions;
    addExtensions(mediaType, extensions);
    const Transferring transferring(*this);
    return consistOfMediaContents(diskIndex, source, storage->uint32("diskType").value_or(0), mediaType,
                                  enumerated(enumeration, source, extensions));
}

std::optional<Array> MTPServicePrivate::enumerated(MediaEnumeration enumeration, const Text& source,
                                                   const std::vector<std::string>& extensions) {
    std::optional<Array> files;
    const Synchronized library(MtpControl::classMonitor());
    callApplication(
        [&] { files = ((*_mtpControl).*enumeration)(_currentDeviceNode, _storageHeadNode, source, extensions); });
    return files;
}

std::optional<Array> MTPServicePrivate::consistOfMediaContents(std::uint32_t diskIndex, const Text& /*sourcePath*/,
                                                               std::uint32_t /*diskType*/, std::uint32_t mediaType,
                                                               std::optional<Array> mediaLists) {
    if (!mediaLists || mediaLists->empty()) {
        QD_LOG(3, "Input Parameters is error. Media Lists : %p",
               static_cast<const void*>(mediaLists ? mediaLists->data() : nullptr));
        return std::nullopt;
    }
    indexNodes(*mediaLists);
    const PodcastFolder podcastFolder(defaultMediaPath(diskIndex, MediaTypePodcast));
    Array contents;
    contents.reserve(mediaLists->size());
    for (Value& value : *mediaLists) {
        if (getReleaseState() == 1) {
            QD_LOG(3, "Device is not disconnected. Processing is Stop");
            return std::nullopt;
        }
        const Dictionary* file = value.dictionary();
        if (file == nullptr) {
            QD_LOG(3, "Data is nil. Next Data Dictionary search");
            continue;
        }
        if (mediaType == MediaTypePodcast) {
            if (auto podcast = podcastOfDocument(*file)) {
                contents.emplace_back(*std::move(podcast));
            }
        } else if (!podcastFolder.holds(textIn(*file, "FilePath"))) {
            Dictionary* content = value.ownDictionary();
            content->reserve(content->size() + 1);
            content->set("diskIndex", diskIndex);
            contents.push_back(std::move(value));
        }
    }
    return contents;
}

std::optional<Dictionary> MTPServicePrivate::podcastOfDocument(const Dictionary& file) {
    const Text path = file.string("FilePath");
    if (!path || !platform::equalIgnoringCase(platform::pathExtension(*path), "XML")) {
        return std::nullopt;
    }
    const Text localPath = localCopyPath(*path);
    if (!localPath) {
        QD_LOG(3, "Download Default Path is nil");
        return std::nullopt;
    }
    return mtpPodcastXmlData(path, localPath, file.string("NodeID"));
}

// All kinds on all storages

std::optional<Array> MTPServicePrivate::fileInformationListForAllMediaType() {
    const MethodTrace trace(6);
    std::vector<std::string> extensions;
    for (const MediaType mediaType : listedTypes) {
        addExtensions(mediaType, extensions);
    }
    _mediaContentInfoLists.with([](ContentIndex& index) {
        if (index) {
            index->clear();
        }
    });
    const Transferring transferring(*this);
    Array groups;
    bool isListed = false;
    for (std::uint32_t diskIndex = 0;; ++diskIndex) {
        const auto storage = storageInfoFromIndex(diskIndex);
        if (!storage) {
            QD_LOG(diskIndex == 0 ? 3 : 5,
                   diskIndex == 0 ? "Storage Info is nil" : "Storage Info is nil. End of file enumeration");
            break;
        }
        if (!addContentGroups(*storage, extensions, groups, isListed)) {
            return std::nullopt;
        }
    }
    // One storage that cannot be listed hides no other; without any there is nothing to tell.
    return isListed ? std::optional(std::move(groups)) : std::nullopt;
}

bool MTPServicePrivate::addContentGroups(const Dictionary& storage, const std::vector<std::string>& extensions,
                                         Array& groups, bool& isListed) {
    if (getReleaseState() == 1) {
        QD_LOG(3, "Device is not connected. Processing is Stop");
        return false;
    }
    const std::uint32_t diskIndex = storage.uint32("diskIndex").value_or(0);
    const Text volumePath = storage.string("volumePath");
    std::optional<Array> files = enumerated(&MtpControl::enumeratorMediaFiles, volumePath, extensions);
    isListed = isListed || files;
    std::optional<Array> playlists = storagePlaylists(storage);
    std::optional<Array> separated =
        seperateMediaFiles(diskIndex, volumePath, storage.uint32("diskType").value_or(0), std::move(files));
    if (!separated) {
        return false;
    }
    std::ranges::move(*separated, std::back_inserter(groups));
    if (playlists && !playlists->empty()) {
        groups.emplace_back(contentGroup(diskIndex, MediaTypePlaylist, *std::move(playlists)));
    }
    return true;
}

/// A storage with "Card" anywhere in its path has no playlists, also when only the device is called so.
std::optional<Array> MTPServicePrivate::storagePlaylists(const Dictionary& storage) {
    const Text volumePath = storage.string("volumePath");
    const Text folder = storage.string("DefaultPlaylistPath");
    if (!folder || !volumePath || volumePath->find("Card") != std::string::npos) {
        return std::nullopt;
    }
    std::optional<Array> playlists;
    const Synchronized library(MtpControl::classMonitor());
    callApplication([&] {
        if (_MTP_STORAGE_NODE* node = currentStorageNode(volumePath)) {
            playlists = _mtpControl->enumeratorPlaylistNameInfo(_currentDeviceNode, node, folder);
        }
    });
    return playlists;
}

std::optional<Array> MTPServicePrivate::seperateMediaFiles(std::uint32_t diskIndex, const Text& /*storagePath*/,
                                                           std::uint32_t /*diskType*/,
                                                           std::optional<Array> mediaLists) {
    Array files = std::move(mediaLists).value_or(Array());
    indexNodes(files);
    const PodcastFolder podcastFolder(defaultMediaPath(diskIndex, MediaTypePodcast));
    std::array<Array, listedTypes.size()> lists;
    for (Value& value : files) {
        if (getReleaseState() == 1) {
            break;
        }
        const Dictionary* file = value.dictionary();
        const std::string* path = file == nullptr ? nullptr : textIn(*file, "FilePath");
        if (path == nullptr) {
            QD_LOG(3, "Media File Path is nil");
            continue;
        }
        const std::string* told = textIn(*file, "FileName");
        std::string name = told != nullptr ? *told : platform::lastPathComponent(*path);
        if (name.empty()) {
            QD_LOG(3, "Media Name Value is not exist");
            continue;
        }
        const std::uint32_t mediaType = checkMediaType(std::move(name));
        const auto* const listed = std::ranges::find(listedTypes, mediaType);
        if (listed == listedTypes.end()) {
            QD_LOG(1, "Do not support Media Type.");
            continue;
        }
        Array& list = lists[static_cast<std::size_t>(listed - listedTypes.begin())];
        if (mediaType == MediaTypePodcast) {
            if (auto podcast = podcastOfDocument(*file)) {
                list.emplace_back(*std::move(podcast));
            }
        } else if (!podcastFolder.holds(path)) {
            list.push_back(std::move(value));
        }
    }
    if (getReleaseState() == 1) {
        QD_LOG(3, "Device is not connected. Processing is Stop");
        return std::nullopt;
    }
    Array groups;
    for (std::size_t i = 0; i < listedTypes.size(); ++i) {
        groups.emplace_back(contentGroup(diskIndex, listedTypes[i], std::move(lists[i])));
    }
    return groups;
}
