// SPDX-License-Identifier: MIT
#include "device/MTPService/ContentWalk.h"

#include "device/MTPService/MTPControlRecords.h"
#include "platform/Strings.h"

#include <algorithm>

namespace mtpcontrol {

namespace {

/// Deeper than any device nests; a tree that goes on below has been made up.
constexpr unsigned greatestDepth = 1000;

/// What a name listing and the listing of a folder tell of a file, and the disk's index that lists by kind add.
constexpr std::size_t nameKeys = 4;
constexpr std::size_t listingKeys = 8;

/// How often a list is begun anew that broke off because the device took the node away on which the step stood.
constexpr int listAttempts = 3;

bool isListed(DGSTATUS status) {
    return status == DGSTATUS_SUCCESS || status == DGSTATUS_NO_MORE_DATA || status == DGSTATUS_IGNORED_SUCCESS;
}

std::string childPath(const std::string& folder, const std::string& name) {
    std::string path;
    path.reserve(folder.size() + 1 + name.size());
    return path.append(folder).append(1, '/').append(name);
}

/// With room for so many keys, the three that it gets included.
platform::Dictionary namedEntry(std::string name, std::string path, const void* node, std::size_t keys) {
    platform::Dictionary entry;
    entry.reserve(keys);
    entry.set("FileName", std::move(name));
    entry.set("FilePath", std::move(path));
    entry.set("NodeID", MtpControl::nodeIDText(node));
    return entry;
}

/// The node of this name: the one that is spelled so, else the first that differs in case only.
template <typename Node, typename Next>
Node* nodeNamed(Node* head, const std::string& name, const Next& next) {
    const NameMatcher wanted(name);
    Node* similar = nullptr;
    Node* exact = findNode(head, next, [&](Node& node) {
        if (!wanted.matches(nameUnits(node.name, node.nameSize))) {
            return false;
        }
        similar = similar == nullptr ? &node : similar;
        return nameOf(node) == name;
    });
    return exact != nullptr ? exact : similar;
}

_MTP_FOLDER_NODE* folderNamed(MtpControl& control, _MTP_STORAGE_NODE* storage, _MTP_FOLDER_NODE* parent,
                              const std::string& name) {
    _MTP_FOLDER_NODE* head = nullptr;
    if (!isListed(control.getMTPFolderListHead(parent, storage, &head, nullptr, nullptr))) {
        return nullptr;
    }
    return nodeNamed(head, name, [&](_MTP_FOLDER_NODE* folder, _MTP_FOLDER_NODE** next) {
        return control.getMTPNextFolder(folder, next);
    });
}

_MTP_FILE_NODE* fileNamed(MtpControl& control, _MTP_COMMON_NODE* parent, const std::string& name) {
    _MTP_FILE_NODE* head = nullptr;
    if (!isListed(control.getMTPFileListHead(parent, &head, nullptr, nullptr))) {
        return nullptr;
    }
    return nodeNamed(head, name,
                     [&](_MTP_FILE_NODE* file, _MTP_FILE_NODE** next) { return control.getMTPNextFile(file, next); });
}

} // namespace

_MTP_COMMON_NODE* exactNodeAt(MtpControl& control, _MTP_STORAGE_NODE* storage,
                              const std::vector<std::string>& components) {
    _MTP_FOLDER_NODE* folder = nullptr;
    for (std::size_t i = 0; i < components.size(); ++i) {
        _MTP_FOLDER_NODE* child = folderNamed(control, storage, folder, components[i]);
        if (child == nullptr) {
            _MTP_COMMON_NODE* parent = folder == nullptr ? &storage->header : &folder->header;
            const bool isLast = i + 1 == components.size();
            _MTP_FILE_NODE* file = isLast ? fileNamed(control, parent, components[i]) : nullptr;
            return file == nullptr ? nullptr : &file->header;
        }
        folder = child;
    }
    return folder == nullptr ? &storage->header : &folder->header;
}

_MTP_COMMON_NODE* exactFolderMade(MtpControl& control, _MTP_STORAGE_NODE* storage,
                                  const std::vector<std::string>& folders) {
    _MTP_FOLDER_NODE* folder = nullptr;
    for (const std::string& name : folders) {
        _MTP_FOLDER_NODE* child = folderNamed(control, storage, folder, name);
        if (child == nullptr || nameOf(*child) != name) {
            std::uint32_t error = 0;
            _MTP_COMMON_NODE* parent = folder == nullptr ? &storage->header : &folder->header;
            _MTP_FOLDER_NODE* made = control.createFolder(parent, name, &error);
            child = made == nullptr ? child : made;
        }
        if (child == nullptr) {
            return nullptr;
        }
        folder = child;
    }
    return folder == nullptr ? &storage->header : &folder->header;
}

ContentWalk::ContentWalk(MtpControl& control, const ContentRules& rules)
    : _control(control)
    , _rules(rules)
    , _wasConnected(control.deviceConnected()) {}

bool ContentWalk::isGone(DGSTATUS status) const {
    const bool disconnected = _wasConnected && !_control.deviceConnected();
    if (status != DGSTATUS_NO_DEVICE_ATTACHED && !disconnected) {
        return false;
    }
    QD_LOG(3, "Device disconnected");
    return true;
}

template <typename Node, typename Head, typename Next>
DGSTATUS ContentWalk::readList(std::vector<Node*>& nodes, const Head& head, const Next& next) {
    DGSTATUS status = DGSTATUS_NODE_IS_NOT_EXISTED;
    for (int attempt = 0; attempt < listAttempts && status == DGSTATUS_NODE_IS_NOT_EXISTED; ++attempt) {
        nodes.clear();
        Node* node = nullptr;
        status = head(&node);
        if (!isListed(status)) {
            return status;
        }
        // A list that runs in circles comes back to the node that stood at the last power of two.
        for (std::size_t mark = 1; node != nullptr; mark = nodes.size() == 2 * mark ? nodes.size() : mark) {
            nodes.push_back(node);
            Node* following = nullptr;
            status = next(node, &following);
            node = isListed(status) && following != nodes[mark - 1] ? following : nullptr;
        }
    }
    return status;
}

DGSTATUS ContentWalk::readFiles(_MTP_COMMON_NODE* folder, std::vector<_MTP_FILE_NODE*>& files) {
    return readList(
        files, [&](_MTP_FILE_NODE** head) { return _control.getMTPFileListHead(folder, head, nullptr, nullptr); },
        [&](_MTP_FILE_NODE* file, _MTP_FILE_NODE** next) { return _control.getMTPNextFile(file, next); });
}

DGSTATUS ContentWalk::readFolders(_MTP_STORAGE_NODE* storage, _MTP_FOLDER_NODE* folder,
                                  std::vector<_MTP_FOLDER_NODE*>& folders) {
    return readList(
        folders,
        [&](_MTP_FOLDER_NODE** head) { return _control.getMTPFolderListHead(folder, storage, head, nullptr, nullptr); },
        [&](_MTP_FOLDER_NODE* child, _MTP_FOLDER_NODE** next) { return _control.getMTPNextFolder(child, next); });
}

bool ContentWalk::files(_MTP_COMMON_NODE* folder, const std::string& path) {
    std::vector<_MTP_FILE_NODE*> files;
    const DGSTATUS status = readFiles(folder, files);
    return !isGone(status) && isListed(status) && addFiles(files, path);
}

bool ContentWalk::folders(_MTP_STORAGE_NODE* storage, _MTP_FOLDER_NODE* folder, const std::string& path) {
    std::vector<_MTP_FOLDER_NODE*> folders;
    const DGSTATUS status = readFolders(storage, folder, folders);
    if (isGone(status) || !isListed(status)) {
        return false;
    }
    for (const _MTP_FOLDER_NODE* child : folders) {
        addFolder(*child, childPath(path, nameOf(*child)));
    }
    return true;
}

bool ContentWalk::below(_MTP_STORAGE_NODE* storage, _MTP_FOLDER_NODE* folder, const std::string& path) {
    for (int attempt = 1; attempt < listAttempts; ++attempt) {
        const Visit ended = walk(storage, folder, path, true);
        if (ended != Visit::stale) {
            return ended == Visit::done;
        }
        _entries.clear();
        _seen.clear();
    }
    return walk(storage, folder, path, false) == Visit::done;
}

ContentWalk::Visit ContentWalk::walk(_MTP_STORAGE_NODE* storage, _MTP_FOLDER_NODE* folder, const std::string& path,
                                     bool mayRestart) {
    std::vector<Place> pending{{folder, path, 0}};
    while (!pending.empty()) {
        const Place place = std::move(pending.back());
        pending.pop_back();
        const Visit ended = visit(storage, place, pending);
        if (ended == Visit::stop || (ended == Visit::stale && mayRestart)) {
            return ended;
        }
    }
    return Visit::done;
}

ContentWalk::Visit ContentWalk::visit(_MTP_STORAGE_NODE* storage, const Place& place, std::vector<Place>& pending) {
    const bool isStart = place.depth == 0;
    std::vector<_MTP_FILE_NODE*> files;
    std::vector<_MTP_FOLDER_NODE*> folders;
    DGSTATUS status = readFiles(place.folder == nullptr ? &storage->header : &place.folder->header, files);
    if (isListed(status)) {
        status = readFolders(storage, place.folder, folders);
    }
    if (isGone(status)) {
        return Visit::stop;
    }
    if (!isListed(status)) {
        if (isStart) {
            return Visit::stop;
        }
        return status == DGSTATUS_NODE_IS_NOT_EXISTED ? Visit::stale : Visit::done;
    }
    if (_rules.mediaOnly && !isStart && holdsNoMedia(files)) {
        return Visit::done;
    }
    if (!addFiles(files, place.path)) {
        return Visit::stop;
    }
    if (place.depth == greatestDepth) {
        QD_LOG(3, "Folder is too deep. Path = %@", place.path);
        return Visit::done;
    }
    const std::size_t first = pending.size();
    for (_MTP_FOLDER_NODE* child : folders) {
        const std::string name = nameOf(*child);
        if (!_seen.insert(child).second || (_rules.mediaOnly && _control.checkHiddenFolder(name))) {
            continue;
        }
        pending.push_back({child, childPath(place.path, name), place.depth + 1});
        if (_rules.tellsFolders) {
            addFolder(*child, pending.back().path);
        }
    }
    // The last one put there is the next one visited.
    std::reverse(pending.begin() + static_cast<std::ptrdiff_t>(first), pending.end());
    return Visit::done;
}

bool ContentWalk::holdsNoMedia(const std::vector<_MTP_FILE_NODE*>& files) const {
    // Only names of its length are looked at closer.
    constexpr std::size_t length = std::string_view(".nomedia").size();
    return std::ranges::any_of(files, [&](const _MTP_FILE_NODE* file) {
        return nameUnits(file->name, file->nameSize).size() == length && _control.checkNoMedia(nameOf(*file));
    });
}

bool ContentWalk::addFiles(const std::vector<_MTP_FILE_NODE*>& files, const std::string& path) {
    return std::ranges::all_of(files, [&](_MTP_FILE_NODE* file) { return addFile(*file, path); });
}

bool ContentWalk::addFile(_MTP_FILE_NODE& file, const std::string& path) {
    MtpControl::Text name = nameOf(file);
    if (_rules.extensions != nullptr && !_control.isMatchFileExtension(name, *_rules.extensions)) {
        return true;
    }
    std::string filePath = childPath(path, *name);
    if (_rules.detail == Detail::metadata) {
        return addMetadata(file, name, filePath);
    }
    const bool isName = _rules.detail == Detail::names;
    platform::Dictionary entry =
        namedEntry(*std::move(name), std::move(filePath), &file, isName ? nameKeys : listingKeys);
    if (!isName) {
        describeFile(_control, file, entry);
    }
    _entries.emplace_back(std::move(entry));
    return true;
}

bool ContentWalk::addMetadata(_MTP_FILE_NODE& file, const MtpControl::Text& name, const MtpControl::Text& path) {
    _MTP_MEDIA_FILE_INFO* media = nullptr;
    const DGSTATUS status = _control.getMTPMediaFileInfo(&file, &media);
    if (isGone(status)) {
        return false;
    }
    std::optional<platform::Dictionary> entry;
    if (status == DGSTATUS_SUCCESS) {
        entry = _control.mediaInfoContents(media, name, path, MtpControl::nodeIDText(&file));
        _control.releaseMTPMediaFileInfo(media);
    }
    if (!entry) { // a file whose metadata the device withholds is there all the same
        entry = namedEntry(*name, *path, &file, listingKeys);
        describeFile(_control, file, *entry);
    }
    _entries.emplace_back(*std::move(entry));
    return true;
}

void ContentWalk::addFolder(const _MTP_FOLDER_NODE& folder, const std::string& path) {
    platform::Dictionary entry;
    _control.makeFolderNode(&folder, entry);
    entry.set("FilePath", path);
    _entries.emplace_back(std::move(entry));
}

} // namespace mtpcontrol
