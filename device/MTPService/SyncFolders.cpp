// SPDX-License-Identifier: MIT
#include "device/MTPService/SyncFolders.h"

#include "device/MTPService/MTPControlRecords.h"
#include "device/MTPService/MediaTypeTable.h"
#include "platform/Strings.h"

#include <algorithm>

using platform::Synchronized;

std::string SyncFolder::fileNamed(const std::string& name) const {
    return platform::formatText("%@/%@", path, name);
}

std::vector<SyncFolder> syncFolders(MTPServicePrivate& service, std::uint32_t mediaType, std::uint32_t start) {
    const MediaTypeEntry* media = findMediaType(mediaType);
    platform::Array storages = service.diskInformation().value_or(platform::Array());
    const auto numberOf = [](const platform::Value& storage, const char* key) {
        return storage.dictionary() == nullptr ? std::nullopt : storage.dictionary()->uint32(key);
    };
    const auto first =
        std::ranges::find_if(storages, [&](const auto& storage) { return numberOf(storage, "diskIndex") == start; });
    if (first != storages.end()) {
        const auto kind = numberOf(*first, "diskType");
        std::rotate(storages.begin(), first, storages.end());
        std::stable_partition(storages.begin(), storages.end(),
                              [&](const auto& storage) { return numberOf(storage, "diskType") == kind; });
    }
    std::vector<SyncFolder> folders;
    for (const platform::Value& entry : storages) {
        const platform::Dictionary* storage = entry.dictionary();
        const auto path = storage != nullptr && media != nullptr ? storage->string(media->pathKey) : std::nullopt;
        if (path) {
            folders.push_back({.path = *path,
                               .volumePath = storage->string("volumePath").value_or(""),
                               .diskIndex = storage->uint32("diskIndex").value_or(0)});
        }
    }
    return folders;
}

PresentFiles::PresentFiles(MTPServicePrivate& service, const std::vector<SyncFolder>& folders, std::uint32_t mediaType)
    : _folders(folders) {
    for (const SyncFolder& folder : folders) {
        read(service, folder, mediaType);
    }
}

void PresentFiles::read(MTPServicePrivate& service, const SyncFolder& folder, std::uint32_t mediaType) {
    const MtpControl::NodeID folderID = service.mediaDefaultNode(folder.path, mediaType);
    const Synchronized library(MtpControl::classMonitor());
    MtpControl& control = *service._mtpControl;
    _MTP_COMMON_NODE* node = MtpControl::nodeFromText(folderID);
    _MTP_FILE_NODE* file = nullptr;
    if (node == nullptr || control.getMTPFileListHead(node, &file, nullptr, nullptr) != DGSTATUS_SUCCESS) {
        return; // an empty list, or one that sending will fail on as well
    }
    while (file != nullptr) {
        const std::string name = mtpcontrol::textOf(mtpcontrol::nameUnits(file->name, file->nameSize));
        _files[key(name)].push_back({.folder = &folder, .size = file->size, .nodeID = MtpControl::nodeIDText(file)});
        _MTP_FILE_NODE* next = nullptr;
        file = control.getMTPNextFile(file, &next) == DGSTATUS_SUCCESS ? next : nullptr;
    }
}

const PresentFile* PresentFiles::find(const std::string& name, std::optional<std::uint64_t> size) const {
    const auto found = _files.find(key(name));
    if (found == _files.end() || found->second.empty()) {
        return nullptr;
    }
    const auto same = std::ranges::find_if(found->second, [&](const PresentFile& file) { return file.size == size; });
    return same == found->second.end() ? &found->second.front() : &*same;
}

void PresentFiles::add(const std::string& name, std::uint32_t diskIndex, std::uint64_t size,
                       const std::string& nodeID) {
    const auto folder = std::ranges::find(_folders, diskIndex, &SyncFolder::diskIndex);
    if (folder == _folders.end()) {
        return;
    }
    std::vector<PresentFile>& files = _files[key(name)];
    std::erase_if(files, [&](const PresentFile& file) { return file.folder == &*folder; });
    files.push_back({.folder = &*folder, .size = size, .nodeID = nodeID});
}

std::string PresentFiles::key(const std::string& name) {
    return platform::caseFolded(name);
}
