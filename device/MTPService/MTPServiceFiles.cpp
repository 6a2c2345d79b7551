// SPDX-License-Identifier: MIT
#include "device/MTPService/MTPServicePrivate.h"

#include "device/MTPService/MethodTrace.h"
#include "platform/Files.h"
#include "platform/Log.h"
#include "platform/Paths.h"
#include "platform/Strings.h"

using platform::Synchronized;

std::optional<platform::Dictionary> MTPServicePrivate::mediaFileInfoFromDevice(const Text& destinationPath) {
    const MethodTrace trace(6);
    std::optional<platform::Dictionary> info;
    const Synchronized library(MtpControl::classMonitor());
    mediaFileInfo(destinationPath, destinationPath ? knownNode(*destinationPath) : std::nullopt, info);
    return info;
}

void MTPServicePrivate::mediaFileInfo(const Text& path, const Text& fileNode,
                                      std::optional<platform::Dictionary>& info) {
    info.reset();
    if (!path) {
        QD_LOG(3, "Parameters is invalid. file Path is NULL");
        return;
    }
    const Synchronized library(MtpControl::classMonitor());
    _MTP_MEDIA_FILE_INFO* record = _mtpControl->getMediaFileInfo(_currentDeviceNode, _storageHeadNode, fileNode, path);
    if (record != nullptr) {
        info = _mtpControl->mediaInfoContents(record, std::nullopt, path);
        _mtpControl->releaseMTPMediaFileInfo(record);
    }
}

bool MTPServicePrivate::isExistContentFromMac(const platform::Dictionary& fileInformation, Text* returnNode) {
    const MethodTrace trace(6);
    const Text path = fileInformation.string("FilePath");
    const Text localPath = path ? localCopyPath(*path) : std::nullopt;
    if (!localPath) {
        QD_LOG(3, "Media File Path Value is nil");
        return false;
    }
    const std::optional<std::uint64_t> localSize = platform::fileSize(*localPath);
    if (!localSize) {
        const std::error_code error = platform::createFolders(platform::deletingLastPathComponent(*localPath));
        if (error) {
            QD_LOG(3, "Create download folder is filed. Error = %@", error.message());
        }
        return false;
    }
    const Synchronized library(MtpControl::classMonitor());
    return *localSize ==
           _mtpControl->fileSize(_currentDeviceNode, _storageHeadNode, path, indexedNode(*path), returnNode);
}

MTPServicePrivate::Text MTPServicePrivate::indexedNode(const std::string& devicePath) const {
    const std::string key = platform::upperCased(devicePath);
    return _mediaContentInfoLists.with([&](const ContentIndex& index) {
        Text node;
        if (index) {
            const auto found = index->find(key);
            if (found != index->end()) {
                node = found->second;
            }
        }
        return node;
    });
}

void MTPServicePrivate::indexNode(const std::string& devicePath, const std::string& nodeID) {
    std::string key = platform::upperCased(devicePath);
    _mediaContentInfoLists.with([&](ContentIndex& index) {
        if (index) {
            index->insert_or_assign(std::move(key), nodeID);
        }
    });
}

void MTPServicePrivate::indexNodes(const platform::Array& files) {
    _mediaContentInfoLists.with([&](ContentIndex& index) {
        if (!index) {
            return;
        }
        index->reserve(index->size() + files.size());
        for (const platform::Value& value : files) {
            const platform::Dictionary* file = value.dictionary();
            const platform::Value* path = file == nullptr ? nullptr : file->find("FilePath");
            const platform::Value* node = file == nullptr ? nullptr : file->find("NodeID");
            if (path != nullptr && path->string() != nullptr && node != nullptr && node->string() != nullptr) {
                index->insert_or_assign(platform::upperCased(*path->string()), *node->string());
            }
        }
    });
}

void MTPServicePrivate::unindexNode(const std::string& devicePath) {
    const std::string key = platform::upperCased(devicePath);
    _mediaContentInfoLists.with([&](ContentIndex& index) {
        if (index) {
            index->erase(key);
        }
    });
}

void MTPServicePrivate::renameIndexed(const std::string& devicePath, const std::string& newName) {
    const std::size_t name = devicePath.rfind(platform::lastPathComponent(devicePath));
    const std::string from = platform::upperCased(devicePath);
    const std::string to = platform::upperCased(devicePath.substr(0, name) + newName);
    _mediaContentInfoLists.with([&](ContentIndex& index) {
        std::vector<std::pair<std::string, std::string>> moved;
        const auto isMoved = [&](const auto& entry) {
            const std::string& path = entry.first;
            if (!path.starts_with(from) || (path.size() > from.size() && path[from.size()] != '/')) {
                return false;
            }
            moved.emplace_back(to + path.substr(from.size()), entry.second);
            return true;
        };
        if (index) {
            std::erase_if(*index, isMoved);
            for (auto& [path, node] : moved) {
                index->insert_or_assign(std::move(path), std::move(node));
            }
        }
    });
}

std::uint64_t MTPServicePrivate::getLocalFileSize(const Text& path) const {
    std::error_code error;
    const std::optional<std::uint64_t> size = platform::fileSize(path.value_or(""), &error);
    if (!size) {
        QD_LOG(3, "Get Attributes Error : [%@]", error.message());
    }
    return size.value_or(0);
}

std::uint64_t MTPServicePrivate::totalMediaFileSize(const std::optional<platform::Array>& contents) const {
    std::uint64_t total = 0;
    for (const platform::Value& entry : contents.value_or(platform::Array())) {
        const platform::Dictionary* content = entry.dictionary();
        if (content == nullptr) {
            QD_LOG(1, "Contents data is nil. Next data search");
            continue;
        }
        if (const auto size = content->uint64("FileSize")) {
            total += static_cast<std::uint32_t>(*size); // the key carries 32 bits
        } else if (const Text path = content->string("FilePath")) {
            total += getLocalFileSize(path);
        }
    }
    return total;
}
