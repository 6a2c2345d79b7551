// SPDX-License-Identifier: MIT
#include "device/MTPService/MTPServicePrivate.h"

#include "device/MTPService/ApplicationCall.h"
#include "device/MTPService/MethodTrace.h"
#include "platform/AtomicFile.h"
#include "platform/Files.h"
#include "platform/Log.h"
#include "platform/Paths.h"

#include <fstream>

using platform::Synchronized;

namespace {

using Bytes = MTPServicePrivate::Bytes;

Bytes readAll(const std::string& path) {
    std::ifstream file(path, std::ios::binary | std::ios::ate);
    if (!file) {
        QD_LOG(3, "Open File Handle failed. File Path = %@", path);
        return std::nullopt;
    }
    std::vector<std::byte> data(static_cast<std::size_t>(file.tellg()));
    file.seekg(0);
    file.read(reinterpret_cast<char*>(data.data()), static_cast<std::streamsize>(data.size()));
    return file ? Bytes(std::move(data)) : std::nullopt;
}

bool writeAll(const std::string& path, const std::vector<std::byte>& data) {
    platform::AtomicFile file;
    return !file.open(path) && !file.write(data) && !file.commit();
}

void removeLocalCopy(const std::string& path) {
    if (platform::removeFile(path)) {
        QD_LOG(3, "Delete File fail. File Path = %@", path);
    }
}

/// The folder of a local copy, made where it is missing.
bool makeFolderOf(const std::string& localPath) {
    const std::string folder = platform::deletingLastPathComponent(localPath);
    if (folder.empty()) {
        QD_LOG(3, "Get Folder Path Name fail");
        return false;
    }
    if (platform::createFolders(folder)) {
        QD_LOG(3, "Create Folder Path(%@) fail.", folder);
        return false;
    }
    return true;
}

} // namespace

MTPServicePrivate::Bytes MTPServicePrivate::readFileData(const Text& path) {
    const MethodTrace trace(6);
    if (!path) {
        QD_LOG(3, "File Path is nil");
        return std::nullopt;
    }
    const Text localPath = localCopyPath(*path);
    // To the end, also of the local copy: a second reader of the file makes its own in the same place.
    const Synchronized library(MtpControl::classMonitor());
    const Text node = knownNode(*path);
    bool isDirectory = false;
    if (!_mtpControl->fileExistsAtPath(path, node, _currentDeviceNode, _storageHeadNode, &isDirectory)) {
        QD_LOG(3, "%@ path is not exist", path);
        return std::nullopt;
    }
    if (isDirectory) {
        QD_LOG(3, "%@ path is Directory", path);
        return std::nullopt;
    }
    if (!localPath) {
        QD_LOG(3, "Consist of Download Folder failed");
        return std::nullopt;
    }
    if (!platform::fileExists(*localPath) && !makeFolderOf(*localPath)) {
        return std::nullopt;
    }
    if (!_mtpControl->uploadFileFromMTPEx(_currentDeviceNode, _storageHeadNode, node, path, localPath, nullptr, nullptr,
                                          nullptr)) {
        QD_LOG(1, "Download %@ to %@ failed", path, localPath);
        return std::nullopt;
    }
    Bytes data;
    callApplication([&] { data = readAll(*localPath); }); // there may be no memory for it
    removeLocalCopy(*localPath);
    return data;
}

bool MTPServicePrivate::writeFileData(const Text& path, const Bytes& data) {
    const MethodTrace trace(6);
    if (!path || !data) {
        QD_LOG(3, "File Path or NSData nil");
        return false;
    }
    const Text localPath = localCopyPath(*path);
    if (!localPath) {
        QD_LOG(3, "Consist of Download Folder failed");
        return false;
    }
    if (!makeFolderOf(*localPath)) {
        return false;
    }
    if (!writeAll(*localPath, *data)) {
        QD_LOG(3, "Save to %@ fail", localPath);
        return false;
    }
    const bool sent = sendLocalCopy(*localPath, *path);
    removeLocalCopy(*localPath);
    return sent;
}

bool MTPServicePrivate::sendLocalCopy(const std::string& localPath, const std::string& path) {
    const Synchronized library(MtpControl::classMonitor());
    _MTP_STORAGE_NODE* storage = nullptr;
    const Text relativePath = checkHiddenVolume(path, &storage);
    const platform::Dictionary file{{"FilePath", localPath}};
    Text node;
    std::uint32_t status = 0;
    const auto send = [&] {
        return relativePath ? _mtpControl->transferFileToDevice(_currentDeviceNode, storage, std::nullopt, &file,
                                                                relativePath, nullptr, nullptr, &node, &status)
                            : _mtpControl->downloadFileToMTPEx(_currentDeviceNode, _storageHeadNode, std::nullopt,
                                                               localPath, path, nullptr, nullptr, &node, &status);
    };
    bool sent = send();
    if (status == DGSTATUS_NODE_FILE_DUPNAME_EXISTED && node) {
        const bool deleted = _mtpControl->deleteItemAtPath(_currentDeviceNode, _storageHeadNode, node, path, &status);
        sent = deleted && send();
    }
    if (sent && node) {
        indexNode(path, *node);
    }
    if (!sent) {
        QD_LOG(3, "Write File To %@ fail", path);
    }
    return sent;
}

std::uint64_t MTPServicePrivate::fileSizeAtDevice(const Text& path) {
    const MethodTrace trace(6);
    if (!path) {
        QD_LOG(3, "File Path is nil");
        return 0;
    }
    const Synchronized library(MtpControl::classMonitor());
    return _mtpControl->fileSize(_currentDeviceNode, _storageHeadNode, path, knownNode(*path), nullptr);
}
