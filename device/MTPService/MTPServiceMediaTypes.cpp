// SPDX-License-Identifier: MIT
#include "device/MTPService/MTPServicePrivate.h"

#include "device/MTPService/MediaTypeTable.h"
#include "platform/Log.h"
#include "platform/Paths.h"
#include "platform/Strings.h"

#include <algorithm>

namespace {

struct ExtensionList {
    MediaType type;
    std::optional<std::vector<std::string>> extensions;
};

/// In the form that is asked about, made once: listings classify files by the hundred thousand.
const std::vector<ExtensionList>& extensionLists() {
    static const std::vector<ExtensionList> lists = [] {
        std::vector<ExtensionList> made;
        for (const MediaTypeEntry& media : mediaTypeTable()) {
            made.push_back({media.type, std::vector<std::string>(media.extensions.begin(), media.extensions.end())});
        }
        return made;
    }();
    return lists;
}

} // namespace

bool MTPServicePrivate::checkContentExtensions(const Text& extension,
                                               const std::optional<std::vector<std::string>>& extLists) const {
    if (!extension || !extLists) {
        QD_LOG(7, "Input parameter is invalid. fileExt or extlists is nil");
        return false;
    }
    return std::ranges::any_of(
        *extLists, [&](const std::string& listed) { return platform::equalIgnoringCase(*extension, listed); });
}

std::uint32_t MTPServicePrivate::checkMediaType(const Text& name) const {
    if (!name || name->size() < 2) {
        QD_LOG(7, "File Name is nil");
        return MediaTypeNone;
    }
    const std::string extension = platform::pathExtension(*name);
    for (const ExtensionList& list : extensionLists()) {
        if (checkContentExtensions(extension, list.extensions)) {
            return list.type;
        }
    }
    return MediaTypeNone;
}

namespace {

bool isInside(const std::optional<std::string>& filePath, const std::optional<std::string>& folder) {
    if (!filePath) {
        QD_LOG(3, "Input File Path is nil.");
        return false;
    }
    if (!folder) {
        QD_LOG(3, "Get Default Path is failed.");
        return false;
    }
    return platform::containsIgnoringCase(*filePath, *folder);
}

} // namespace

bool MTPServicePrivate::checkMediaContent(const Text& volumePath, const Text& filePath, std::uint32_t diskType,
                                          std::uint32_t mediaType) const {
    return isInside(filePath, defaultMediaContentsPath(volumePath, diskType, mediaType));
}

bool MTPServicePrivate::checkMediaContent(std::uint32_t diskIndex, const Text& filePath,
                                          std::uint32_t mediaType) const {
    return isInside(filePath, defaultMediaPath(diskIndex, mediaType));
}
