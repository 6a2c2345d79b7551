// SPDX-License-Identifier: MIT
#include "device/MTPService/MTPServicePrivate.h"

#include "device/MTPService/MethodTrace.h"
#include "platform/AtomicFile.h"
#include "platform/Files.h"
#include "platform/Log.h"
#include "platform/Paths.h"
#include "platform/Strings.h"
#include "ui/VXUIPodcastXMLConverter.h"

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <unordered_set>

using platform::Dictionary;
using platform::Synchronized;
using Text = std::optional<std::string>;

namespace {

constexpr std::uint64_t maxDocumentBytes = VXUIPodcastXMLConverter::maxDocumentBytes;

/// Makes room for a local copy. The channels "Show" and "Show.xml" want one name, the first for a file and the second
/// for a folder, and the later one has it.
bool makeFolderOf(const std::string& file, const char* message) {
    std::error_code ignored;
    if (std::filesystem::is_directory(file, ignored)) {
        std::filesystem::remove_all(file, ignored);
    }
    const std::filesystem::path folder = platform::deletingLastPathComponent(file);
    if (std::filesystem::is_regular_file(folder, ignored)) {
        std::filesystem::remove(folder, ignored);
    }
    if (const std::error_code error = platform::createFolders(platform::deletingLastPathComponent(file))) {
        QD_LOG(3, message, error.message());
        return false;
    }
    return true;
}

std::optional<std::string> readWhole(const std::string& path) {
    const auto size = platform::fileSize(path);
    std::ifstream file(path, std::ios::binary);
    if (!file || !size || *size > maxDocumentBytes) {
        QD_LOG(3, "Open File Handle is failed. File Path = %@", path);
        return std::nullopt;
    }
    return std::string{std::istreambuf_iterator<char>(file), {}};
}

} // namespace

/// Receives a channel document to a local file and reads it.
std::optional<Dictionary> MTPServicePrivate::receivePodcastDocument(const std::string& path, const std::string& toPath,
                                                                    const Text& fileNode) {
    makeFolderOf(toPath, "Create download folder is filed. Error = %@");
    {
        const Synchronized library(MtpControl::classMonitor());
        const std::uint64_t size = _mtpControl->fileSize(_currentDeviceNode, _storageHeadNode, path, fileNode, nullptr);
        std::uint32_t error = 0;
        if (size > maxDocumentBytes || !_mtpControl->uploadFileFromMTPEx(_currentDeviceNode, _storageHeadNode, fileNode,
                                                                         path, toPath, nullptr, nullptr, &error)) {
            QD_LOG(3, "Podcast XML Data is nil");
            return std::nullopt;
        }
    }
    const std::optional<std::string> bytes = readWhole(toPath);
    auto podcast = bytes ? VXUIPodcastXMLConverter().makePodcastDictionaryFromXML(*bytes) : std::nullopt;
    if (!podcast) {
        QD_LOG(3, "Podcast XML Data is nil");
    }
    return podcast;
}

std::optional<Dictionary> MTPServicePrivate::mtpPodcastXmlData(const Text& path, const Text& toPath,
                                                               const Text& fileNode) {
    const MethodTrace trace(6);
    // A name from the device must not lead out of the temporary folder: what localCopyPath refuses is not received.
    if (!path || !toPath || !localCopyPath(*path) || !localCopyPath(*toPath)) {
        QD_LOG(3, "Input parameter is invalid. path = %@, toPath = %@", path, toPath);
        return std::nullopt;
    }
    std::optional<Dictionary> podcast = receivePodcastDocument(*path, *toPath, fileNode);
    if (podcast) {
        makeEpisodeFullPath(*podcast, platform::deletingLastPathComponent(*path));
    }
    return podcast;
}

std::optional<Dictionary> MTPServicePrivate::checkMtpXmlData(const Text& podcastName, const Text& channelName,
                                                             const Text& /*fileNode*/) {
    const MethodTrace trace(6);
    if (!podcastName || !channelName) {
        QD_LOG(3, "Input parameter is invalid. podcastName = %@, channelName = %@", podcastName, channelName);
        return std::nullopt;
    }
    const std::string path = platform::formatText("%@/%@.xml", *podcastName, *channelName);
    const Text toPath = localCopyPath(*podcastName + ".xml");
    if (!toPath) {
        QD_LOG(3, "Consist of XML Path is failed.");
        return std::nullopt;
    }
    const Text node = podcastFileNode(path);
    if (!node) {
        QD_LOG(3, "%@ path is not exist", path);
        return std::nullopt;
    }
    std::optional<Dictionary> podcast = receivePodcastDocument(path, *toPath, node);
    if (!podcast) {
        return std::nullopt;
    }
    const platform::Array* episodes = podcast->array("children");
    if (episodes == nullptr) {
        QD_LOG(3, "Podcast Episode Array is nil");
        return std::nullopt;
    }
    podcast->set("children", presentEpisodes(*episodes, *podcastName));
    return podcast;
}

/// The episodes whose files are in the channel's folder. It is listed once: asking for each file of a long channel
/// would go through all of them each time.
platform::Array MTPServicePrivate::presentEpisodes(const platform::Array& episodes, const std::string& channelPath) {
    const Synchronized library(MtpControl::classMonitor());
    std::unordered_set<std::string> names;
    _MTP_COMMON_NODE* folder = MtpControl::nodeFromText(exactNodeAtDevice(channelPath));
    const auto files = _mtpControl->contentsOfFileAtNode(folder, channelPath);
    if (!files) {
        return episodes; // a device that does not tell has not lost them
    }
    for (const platform::Value& file : *files) {
        names.insert(platform::caseFolded(file.dictionary()->string("FileName").value_or("")));
    }
    platform::Array present;
    std::ranges::copy_if(episodes, std::back_inserter(present), [&](const platform::Value& episode) {
        const Text name = episode.dictionary()->string("FilePath");
        return name && names.contains(platform::caseFolded(*name));
    });
    return present;
}

Text MTPServicePrivate::podcastFileNode(const std::string& path) {
    const Synchronized library(MtpControl::classMonitor());
    const Text node = exactNodeAtDevice(path);
    bool isDirectory = false;
    const bool exists =
        node && _mtpControl->fileExistsAtPath(path, node, _currentDeviceNode, _storageHeadNode, &isDirectory);
    return exists && !isDirectory ? node : std::nullopt;
}

Text MTPServicePrivate::sendMtpXmlData(std::uint32_t serviceID, const platform::XmlDocument* xmlDocument,
                                       const Text& filePath, const Text& podcastName, const Text& folderNode) {
    const MethodTrace trace(6);
    if (xmlDocument == nullptr || !filePath || !podcastName) {
        QD_LOG(3, "Input parameter is invalid. xmlData = %p, filePath = %p", static_cast<const void*>(xmlDocument),
               static_cast<const void*>(filePath ? filePath->c_str() : nullptr));
        return std::nullopt;
    }
    const std::string path = platform::formatText("%@/%@.xml", *filePath, *podcastName);
    const Text localPath = localCopyPath(path);
    std::uint32_t status = DGSTATUS_SUCCESS;
    Text node;
    if (!localPath || !makeFolderOf(*localPath, "Create Temp XML Folder for download is failed. Error = %@")) {
        status = SERVICE_PODCAST_FOLDER_FAILED;
    } else if (platform::writeFileAtomically(*localPath, xmlDocument->prettyPrinted())) {
        QD_LOG(3, "XML File Create is failed. XML File Path = %@", *localPath);
        status = SERVICE_PODCAST_DOCUMENT_FAILED;
    } else {
        node = replacePodcastDocument(*localPath, path, folderNode, &status);
    }
    QD_LOG(6, "Service ID = 0x%08x, %@ status = 0x%08x", serviceID, path, status);
    return node;
}

/// Puts the document in the place of the present one, unless the service is released. One that the device does not take
/// leaves the present one where it was: a full storage must not cost a channel its list.
Text MTPServicePrivate::replacePodcastDocument(const std::string& localPath, const std::string& path,
                                               const Text& folderNode, std::uint32_t* error) {
    if (getReleaseState() == 1) {
        return std::nullopt;
    }
    const Synchronized library(MtpControl::classMonitor());
    Text node;
    const auto send = [&](const std::string& file, std::uint32_t* status) {
        return _mtpControl->downloadFileToMTPEx(_currentDeviceNode, _storageHeadNode, folderNode, file, path, nullptr,
                                                nullptr, &node, status);
    };
    const bool isReplacing = deleteAtDevice(path, error); // there may be none
    bool isSent = send(localPath, error);
    if (!isSent && node && *error == DGSTATUS_NODE_FILE_DUPNAME_EXISTED) {
        _mtpControl->deleteItemAtPath(_currentDeviceNode, _storageHeadNode, node, path, error);
        if (getReleaseState() == 1) {
            QD_LOG(5, "Device Disconnected - %@", locationID());
            return std::nullopt;
        }
        isSent = send(localPath, error);
    }
    if (!isSent || !node) {
        // The copy that was read when the channel was opened bears the same name.
        const Text present = localCopyPath(platform::deletingLastPathComponent(path) + ".xml");
        std::uint32_t ignored = 0;
        if (isReplacing && present && platform::fileExists(*present)) {
            send(*present, &ignored);
        }
        return std::nullopt;
    }
    indexNode(path, *node);
    return node;
}
