// SPDX-License-Identifier: MIT
#include "device/MTPService/MTPServicePrivate.h"

#include "device/MTPService/ApplicationCall.h"
#include "device/MTPService/MethodTrace.h"
#include "platform/Log.h"
#include "platform/Paths.h"
#include "platform/Strings.h"

#include <algorithm>

using platform::Array;
using platform::Dictionary;
using platform::Synchronized;
using platform::Value;

namespace {

/// The extensions that the application counts as one kind.
bool isOfKind(const std::optional<Dictionary>& fileExtensions, const char* kind, const std::string& extension) {
    const Array* listed = fileExtensions ? fileExtensions->array(kind) : nullptr;
    return listed != nullptr && std::ranges::any_of(*listed, [&](const Value& entry) {
               return entry.string() != nullptr && platform::equalIgnoringCase(*entry.string(), extension);
           });
}

} // namespace

std::optional<Dictionary> MTPServicePrivate::backupRestoreMediaFileScan(const std::optional<Dictionary>& fileExtensions,
                                                                        bool includeOtherMedia,
                                                                        const Text& otherMediaExceptionFolder) {
    const MethodTrace trace(6);
    const Text volumePath = internalVolumePath();
    if (!volumePath) {
        return std::nullopt;
    }
    if (getReleaseState() == 1) {
        QD_LOG(3, "Device is not connected. Processing is Stop");
        return std::nullopt;
    }
    std::optional<Array> files;
    {
        const Synchronized library(MtpControl::classMonitor());
        const Transferring transferring(*this);
        callApplication(
            [&] { files = _mtpControl->enumeratorBackupFiles(_currentDeviceNode, _storageHeadNode, volumePath); });
    }
    if (files) {
        indexNodes(*files);
    }
    return makeBackupFileDictionary(files, fileExtensions, includeOtherMedia, otherMediaExceptionFolder);
}

std::optional<Dictionary> MTPServicePrivate::makeBackupFileDictionary(const std::optional<Array>& files,
                                                                      const std::optional<Dictionary>& fileExtensions,
                                                                      bool includeOtherMedia,
                                                                      const Text& /*otherMediaExceptionFolder*/) const {
    if (!files || files->empty()) {
        return std::nullopt;
    }
    Array music;
    Array photos;
    Array videos;
    Array others;
    for (const Value& file : *files) {
        const Text name = file.dictionary() == nullptr ? std::nullopt : file.dictionary()->string("FileName");
        const std::string extension = name ? platform::pathExtension(*name) : std::string();
        if (extension.empty()) {
            continue;
        }
        // What an application counts as both music and video is backed up as both.
        const bool isMusic = isOfKind(fileExtensions, "musicExtension", extension);
        if (isMusic) {
            music.push_back(file);
        }
        if (isOfKind(fileExtensions, "videoExtension", extension)) {
            videos.push_back(file);
        } else if (!isMusic && isOfKind(fileExtensions, "photoExtension", extension)) {
            photos.push_back(file);
        } else if (!isMusic && includeOtherMedia) {
            others.push_back(file);
        }
    }
    return Dictionary{{"musicList", std::move(music)},
                      {"photoList", std::move(photos)},
                      {"videoList", std::move(videos)},
                      {"otherList", std::move(others)}};
}
