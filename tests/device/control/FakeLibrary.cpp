// SPDX-License-Identifier: MIT
#include "FakeLibrary.h"

#include "platform/Strings.h"

#include <algorithm>
#include <utility>

namespace {

FakeLibrary* currentLibrary = nullptr;

/// "text#length" of a call's text and the length argument that came with it.
std::string noted(const std::uint16_t* text, std::uint32_t length) {
    std::u16string units;
    for (; *text != 0; ++text) {
        units.push_back(static_cast<char16_t>(*text));
    }
    return platform::toUtf8(units) + "#" + std::to_string(length);
}

template <typename Node>
DGSTATUS following(const std::vector<Node*>& list, const Node* node, Node** next, DGSTATUS atEnd) {
    const auto place = std::find(list.begin(), list.end(), node);
    *next = place == list.end() || place + 1 == list.end() ? nullptr : *(place + 1);
    return *next == nullptr ? atEnd : DGSTATUS_SUCCESS;
}

/// What follows the node in the level that holds it, wherever that is; a tree may lead back into itself.
template <typename Node>
DGSTATUS nextInLevel(FakeLibrary& lib, std::vector<Node*> FakeLibrary::Children::*kind, const Node* node, Node** next) {
    std::set<const void*> seen;
    std::vector<const void*> above(lib.storages().begin(), lib.storages().end());
    while (!above.empty()) {
        const void* parent = above.back();
        above.pop_back();
        if (!seen.insert(parent).second) {
            continue;
        }
        const FakeLibrary::Children& children = lib.childrenOf(parent);
        const std::vector<Node*>& level = children.*kind;
        if (std::find(level.begin(), level.end(), node) != level.end()) {
            return following(level, node, next, DGSTATUS_NO_MORE_DATA);
        }
        above.insert(above.end(), children.folders.begin(), children.folders.end());
    }
    return DGSTATUS_NODE_IS_NOT_EXISTED;
}

template <typename Node>
DGSTATUS first(const std::vector<Node*>& list, Node** head, DGSTATUS whenEmpty) {
    *head = list.empty() ? nullptr : list.front();
    return list.empty() ? whenEmpty : DGSTATUS_SUCCESS;
}

} // namespace

FakeLibrary::FakeLibrary() {
    currentLibrary = this;
}

FakeLibrary::~FakeLibrary() {
    for (void* memory : _memory) {
        mtpRecordFree(memory);
    }
    currentLibrary = nullptr;
}

FakeLibrary& FakeLibrary::current() {
    return *currentLibrary;
}

template <typename Node>
Node* FakeLibrary::newNode(std::int32_t signature, const std::string& name) {
    Node* node = record<Node>();
    node->header = {_nextId++, signature, _devices.empty() ? 0 : _devices.front()->header.LocationId};
    _live.insert(node);
    _names[node] = name;
    return node;
}

std::uint16_t* FakeLibrary::text(const std::string& utf8, std::uint32_t& size) {
    const std::u16string units = platform::toUtf16(utf8);
    auto* memory = static_cast<std::uint16_t*>(mtpRecordAllocate(2 * units.size() + 2));
    std::copy(units.begin(), units.end(), memory);
    _memory.push_back(memory);
    size = static_cast<std::uint32_t>(units.size() + 1);
    return memory;
}

_MTP_DEVICE_NODE* FakeLibrary::addDevice(std::uint32_t locationId) {
    auto* device = newNode<_MTP_DEVICE_NODE>(MTP_SIGNATURE_DEVICE, "device" + std::to_string(_devices.size()));
    device->header.LocationId = locationId;
    _devices.push_back(device);
    return device;
}

_MTP_STORAGE_NODE* FakeLibrary::addStorage(const std::string& label, std::uint64_t capacity, std::uint64_t used) {
    auto* storage = newNode<_MTP_STORAGE_NODE>(MTP_SIGNATURE_STORAGE, label);
    std::uint32_t size = 0;
    storage->Label = text(label, size);
    storage->LabelLength = size;
    storage->MaxCapacity = capacity;
    storage->UsedSize = used;
    _storages.push_back(storage);
    return storage;
}

_MTP_FOLDER_NODE* FakeLibrary::addFolder(void* parent, const std::string& name) {
    auto* folder = newNode<_MTP_FOLDER_NODE>(MTP_SIGNATURE_FOLDER, name);
    std::uint32_t size = 0;
    folder->name = text(name, size);
    folder->nameSize = size;
    _children[parent].folders.push_back(folder);
    return folder;
}

_MTP_FILE_NODE* FakeLibrary::addFile(void* parent, const std::string& name, std::uint64_t size) {
    auto* file = newNode<_MTP_FILE_NODE>(MTP_SIGNATURE_FILE, name);
    std::uint32_t nameSize = 0;
    file->name = text(name, nameSize);
    file->nameSize = nameSize;
    file->size = size;
    _children[parent].files.push_back(file);
    return file;
}

void FakeLibrary::kill(void* node) {
    _live.erase(node);
    for (auto& [parent, children] : _children) {
        std::erase(children.folders, node);
        std::erase(children.files, node);
    }
}

void FakeLibrary::answer(std::string_view function, std::initializer_list<DGSTATUS> statuses) {
    auto& queue = _answers[std::string(function)];
    queue.insert(queue.end(), statuses);
}

std::vector<std::string> FakeLibrary::takeCalls() {
    return std::exchange(_calls, {});
}

std::vector<std::string> FakeLibrary::takeChanges() {
    std::vector<std::string> calls = takeCalls();
    std::erase_if(calls, [](const std::string& call) {
        return call.starts_with("lib") ||
               (call.starts_with("mtpGet") && !call.starts_with("mtpGetFile(") && !call.starts_with("mtpGetFileEx("));
    });
    return calls;
}

bool FakeLibrary::isAnswered(std::string_view function, const std::string& arguments, DGSTATUS& status) {
    _calls.push_back(std::string(function) + "(" + arguments + ")");
    auto& queue = _answers[std::string(function)];
    if (queue.empty()) {
        return false;
    }
    status = queue.front();
    queue.pop_front();
    return true;
}

std::string FakeLibrary::nameOf(const void* node) const {
    const auto found = _names.find(node);
    return node == nullptr ? "null" : found == _names.end() ? "?" : found->second;
}

// The functions. Each notes its call, then answers what was ordered, else what the tree says.
#define NOTE(arguments)                                                                                                \
    FakeLibrary& lib = FakeLibrary::current();                                                                         \
    DGSTATUS ordered = DGSTATUS_SUCCESS;                                                                               \
    if (lib.isAnswered(__func__, arguments, ordered)) {                                                                \
        return ordered;                                                                                                \
    }
#define NAME(node) FakeLibrary::current().nameOf(node)

DGSTATUS mtpGetConnectedDeviceListHead(_MTP_DEVICE_NODE** head) {
    NOTE("")
    return first(lib.devices(), head, DGSTATUS_SUCCESS);
}
DGSTATUS mtpGetNextDevice(_MTP_DEVICE_NODE* device, _MTP_DEVICE_NODE** next) {
    NOTE(NAME(device))
    return following(lib.devices(), device, next, DGSTATUS_SUCCESS);
}
DGSTATUS mtpReleaseDeviceList(_MTP_DEVICE_NODE* head) {
    NOTE(NAME(head))
    return DGSTATUS_SUCCESS;
}
DGSTATUS mtpRefreshDeviceList() {
    NOTE("")
    return DGSTATUS_SUCCESS;
}
DGSTATUS mtpRequestEventNotify(_MTP_DEVICE_NODE* device, MtpEventCallback /*callback*/, void* /*context*/) {
    NOTE(NAME(device))
    return DGSTATUS_SUCCESS;
}
DGSTATUS mtpRequestEventNotifyEx(_MTP_DEVICE_NODE* device, MtpEventCallbackEx /*callback*/, void* /*context*/) {
    NOTE(NAME(device))
    return DGSTATUS_SUCCESS;
}
DGSTATUS mtpApplyOperationNotification(void* /*handle*/, _MTP_COMMON_NODE** parent, _MTP_COMMON_NODE** updated) {
    NOTE("")
    *parent = *updated = nullptr;
    return DGSTATUS_SUCCESS;
}
DGSTATUS mtpGetStorageListHead(_MTP_DEVICE_NODE* device, _MTP_STORAGE_NODE** head) {
    NOTE(NAME(device))
    return first(lib.storages(), head, DGSTATUS_SUCCESS);
}
DGSTATUS mtpGetNextStorageNode(_MTP_STORAGE_NODE* storage, _MTP_STORAGE_NODE** next) {
    NOTE(NAME(storage))
    return following(lib.storages(), storage, next, DGSTATUS_SUCCESS);
}
DGSTATUS mtpReleaseStorageList(_MTP_STORAGE_NODE* head) {
    NOTE(NAME(head))
    return DGSTATUS_SUCCESS;
}
DGSTATUS mtpGetHiddenStorage(_MTP_DEVICE_NODE* device, std::uint32_t storageId, _MTP_STORAGE_NODE** storage) {
    NOTE(NAME(device) + ", " + std::to_string(storageId))
    return first(lib.storages(), storage, DGSTATUS_NO_STORAGE_ATTACHED);
}
DGSTATUS mtpGetFolderListHead(_MTP_STORAGE_NODE* storage, _MTP_FOLDER_NODE* parent, _MTP_FOLDER_NODE** child,
                              MtpProgressCallback callback, void* context) {
    NOTE(NAME(storage) + ", " + NAME(parent) + (callback == nullptr && context == nullptr ? "" : ", callback"))
    const void* above = parent == nullptr ? static_cast<void*>(storage) : parent;
    return first(lib.childrenOf(above).folders, child, DGSTATUS_NO_MORE_DATA);
}
DGSTATUS mtpGetNextSiblingFolderNode(_MTP_FOLDER_NODE* folder, _MTP_FOLDER_NODE** next) {
    NOTE(NAME(folder))
    return nextInLevel(lib, &FakeLibrary::Children::folders, folder, next);
}
DGSTATUS mtpReleaseFolderList(_MTP_FOLDER_NODE* head) {
    NOTE(NAME(head))
    return DGSTATUS_SUCCESS;
}
DGSTATUS mtpGetFileListHead(_MTP_COMMON_NODE* parent, _MTP_FILE_NODE** file, MtpProgressCallback callback,
                            void* context) {
    FakeLibrary& lib = FakeLibrary::current();
    DGSTATUS ordered = DGSTATUS_SUCCESS;
    const bool answered = lib.isAnswered(
        __func__, NAME(parent) + (callback == nullptr && context == nullptr ? "" : ", callback"), ordered);
    if (answered && ordered != DGSTATUS_IGNORED_SUCCESS) {
        return ordered;
    }
    const DGSTATUS status = first(lib.childrenOf(parent).files, file, DGSTATUS_NO_MORE_DATA);
    return answered ? ordered : status;
}
DGSTATUS mtpGetNextFileNode(_MTP_FILE_NODE* file, _MTP_FILE_NODE** next) {
    NOTE(NAME(file))
    return nextInLevel(lib, &FakeLibrary::Children::files, file, next);
}
DGSTATUS mtpReleaseFileList(_MTP_FILE_NODE* head) {
    NOTE(NAME(head))
    return DGSTATUS_SUCCESS;
}

DGSTATUS mtpCreateFolderNode(_MTP_COMMON_NODE* parent, const std::uint16_t* name, std::uint32_t nameBytes,
                             _MTP_FOLDER_NODE** folder) {
    FakeLibrary& lib = FakeLibrary::current();
    const std::string text = noted(name, nameBytes);
    DGSTATUS status = DGSTATUS_SUCCESS;
    if (lib.isAnswered(__func__, NAME(parent) + ", " + text, status)) {
        *folder = static_cast<_MTP_FOLDER_NODE*>(lib.duplicate);
        return status;
    }
    *folder = lib.addFolder(parent, text.substr(0, text.rfind('#')));
    return DGSTATUS_SUCCESS;
}
DGSTATUS mtpSetVerbatimNames(_MTP_DEVICE_NODE* /*device*/, bool verbatim) {
    NOTE(verbatim ? "on" : "off")
    return DGSTATUS_SUCCESS;
}
DGSTATUS mtpSetNameListing(_MTP_DEVICE_NODE* /*device*/, bool namesOnly) {
    NOTE(namesOnly ? "on" : "off")
    return DGSTATUS_SUCCESS;
}
DGSTATUS mtpDeleteNode(_MTP_COMMON_NODE* node) {
    NOTE(NAME(node))
    lib.kill(node);
    return DGSTATUS_SUCCESS;
}
DGSTATUS mtpRenameNode(_MTP_COMMON_NODE* node, const std::uint16_t* name, std::uint32_t nameBytes) {
    NOTE(NAME(node) + ", " + noted(name, nameBytes))
    return DGSTATUS_SUCCESS;
}

namespace {

DGSTATUS sendFile(const char* function, const std::string& path, _MTP_COMMON_NODE* parent, _MTP_FILE_NODE** file,
                  const std::string& more, bool callback) {
    FakeLibrary& lib = FakeLibrary::current();
    DGSTATUS status = DGSTATUS_SUCCESS;
    if (lib.isAnswered(function, path + ", " + NAME(parent) + more + (callback ? ", callback" : ""), status)) {
        *file = static_cast<_MTP_FILE_NODE*>(lib.duplicate);
        return status;
    }
    const std::size_t slash = path.rfind('/') + 1;
    *file = lib.addFile(parent, path.substr(slash, path.rfind('#') - slash));
    return DGSTATUS_SUCCESS;
}

DGSTATUS sendMedia(const char* function, const std::string& path, _MTP_COMMON_NODE* parent,
                   const _MTP_MEDIA_FILE_INFO* media, _MTP_FILE_NODE** file, bool callback) {
    FakeLibrary& lib = FakeLibrary::current();
    lib.sentRecord.clear();
    std::string kind = ", no record";
    if (media != nullptr) {
        const auto* bytes = reinterpret_cast<const unsigned char*>(media);
        lib.sentRecord.assign(bytes, bytes + sizeof *media);
        kind = ", record " + std::to_string(media->file.header.Signature);
    }
    return sendFile(function, path, parent, file, kind, callback);
}

DGSTATUS getFile(const char* function, const _MTP_FILE_NODE* file, const std::string& path, bool callback) {
    FakeLibrary& lib = FakeLibrary::current();
    DGSTATUS status = DGSTATUS_SUCCESS;
    lib.isAnswered(function, NAME(file) + ", " + path + (callback ? ", callback" : ""), status);
    return status;
}

} // namespace

DGSTATUS mtpSendFile(const std::uint16_t* path, std::uint32_t length, _MTP_COMMON_NODE* parent, _MTP_FILE_NODE** file,
                     MtpProgressCallback callback, void* context) {
    return sendFile(__func__, noted(path, length), parent, file, "", callback != nullptr && context != nullptr);
}
DGSTATUS mtpSendFileEx(const std::uint16_t* path, std::uint32_t length, _MTP_COMMON_NODE* parent, _MTP_FILE_NODE** file,
                       MtpProgressCallback callback, void* context) {
    return sendFile(__func__, noted(path, length), parent, file, "", callback != nullptr && context != nullptr);
}
DGSTATUS mtpSendMediaFile(const std::uint16_t* path, std::uint32_t length, _MTP_COMMON_NODE* parent,
                          _MTP_MEDIA_FILE_INFO* media, _MTP_FILE_NODE** file, MtpProgressCallback callback,
                          void* context) {
    return sendMedia(__func__, noted(path, length), parent, media, file, callback != nullptr && context != nullptr);
}
DGSTATUS mtpSendMediaFileEx(const std::uint16_t* path, std::uint32_t length, _MTP_COMMON_NODE* parent,
                            _MTP_MEDIA_FILE_INFO* media, _MTP_FILE_NODE** file, MtpProgressCallback callback,
                            void* context) {
    return sendMedia(__func__, noted(path, length), parent, media, file, callback != nullptr && context != nullptr);
}
DGSTATUS mtpGetFile(_MTP_FILE_NODE* file, const std::uint16_t* path, std::uint32_t length, MtpProgressCallback callback,
                    void* context) {
    return getFile(__func__, file, noted(path, length), callback != nullptr && context != nullptr);
}
DGSTATUS mtpGetFileEx(_MTP_FILE_NODE* file, const std::uint16_t* path, std::uint32_t length,
                      MtpProgressCallback callback, void* context) {
    return getFile(__func__, file, noted(path, length), callback != nullptr && context != nullptr);
}

// A device without playlists, unless another status is ordered.
DGSTATUS mtpGetPlaylistHead(_MTP_STORAGE_NODE* storage, _MTP_PLAYLIST_NODE** head) {
    *head = nullptr;
    NOTE(NAME(storage))
    return DGSTATUS_NOT_SUPPORT_OP;
}
DGSTATUS mtpGetNextPlaylistNode(_MTP_PLAYLIST_NODE* playlist, _MTP_PLAYLIST_NODE** next) {
    *next = nullptr;
    NOTE(NAME(playlist))
    return DGSTATUS_NOT_SUPPORT_OP;
}
DGSTATUS mtpGetPlaylistMediaFileInfo(_MTP_PLAYLIST_NODE* playlist, std::uint32_t index, _MTP_FILE_NODE** file) {
    *file = nullptr;
    NOTE(NAME(playlist) + ", " + std::to_string(index))
    return DGSTATUS_NOT_SUPPORT_OP;
}
DGSTATUS mtpGetPlaylistMediaFilePath(_MTP_PLAYLIST_NODE* playlist, std::uint32_t index, std::uint16_t* /*path*/,
                                     std::uint32_t* /*pathBytes*/) {
    NOTE(NAME(playlist) + ", " + std::to_string(index))
    return DGSTATUS_NOT_SUPPORT_OP;
}
DGSTATUS mtpSetNewPlaylist(_MTP_COMMON_NODE* parent, const std::uint16_t* name, std::uint32_t nameBytes,
                           _MTP_FILE_NODE** /*files*/, std::uint32_t count, _MTP_PLAYLIST_NODE** playlist) {
    *playlist = nullptr;
    NOTE(NAME(parent) + ", " + noted(name, nameBytes) + ", " + std::to_string(count))
    return DGSTATUS_NOT_SUPPORT_OP;
}
DGSTATUS mtpUpdatePlaylistEx(_MTP_PLAYLIST_NODE* playlist, _MTP_FILE_NODE** /*files*/, std::uint32_t count) {
    NOTE(NAME(playlist) + ", " + std::to_string(count))
    return DGSTATUS_NOT_SUPPORT_OP;
}
DGSTATUS mtpReleasePlaylists(_MTP_PLAYLIST_NODE* head) {
    NOTE(NAME(head))
    return DGSTATUS_SUCCESS;
}

DGSTATUS mtpGetMediaFileInfo(_MTP_FILE_NODE* file, _MTP_MEDIA_FILE_INFO** media) {
    NOTE(NAME(file))
    *media = static_cast<_MTP_MEDIA_FILE_INFO*>(mtpRecordAllocate(sizeof(_MTP_MEDIA_FILE_INFO)));
    (*media)->file.size = std::uint64_t{file->size};
    return DGSTATUS_SUCCESS;
}
DGSTATUS mtpSetMediaFileInfo(_MTP_FILE_NODE* file, _MTP_MEDIA_FILE_INFO* /*media*/) {
    NOTE(NAME(file))
    return DGSTATUS_SUCCESS;
}
DGSTATUS mtpReleaseMediaFileInfo(_MTP_MEDIA_FILE_INFO** media) {
    NOTE("")
    _MTP_MEDIA_FILE_INFO& record = **media;
    mtpRecordFree(record.title.get());
    if (record.file.header.Signature == MTP_SIGNATURE_MUSIC_INFO) {
        const _MTP_AUDIO_TRACK& track = record.audio;
        for (const RecordText& text :
             {track.artist, track.composer, track.albumArtist, track.album, track.genre, track.releaseDate}) {
            mtpRecordFree(text.get());
        }
        if (track.descriptionSize != 0) {
            mtpRecordFree(track.description.get());
        }
    }
    mtpRecordFree(*media);
    *media = nullptr;
    return DGSTATUS_SUCCESS;
}

namespace {

DGSTATUS getProperty(const char* function, std::uint16_t* buffer, std::uint32_t* bytes) {
    FakeLibrary& lib = FakeLibrary::current();
    DGSTATUS status = DGSTATUS_SUCCESS;
    if (lib.isAnswered(function, (buffer == nullptr ? "null, " : "buffer, ") + std::to_string(*bytes), status)) {
        return status;
    }
    const auto property = lib.properties.find(function);
    if (property == lib.properties.end()) {
        return DGSTATUS_NO_DATA;
    }
    const std::u16string text = platform::toUtf16(property->second);
    *bytes = static_cast<std::uint32_t>(2 * text.size() + 2);
    if (buffer == nullptr) {
        return DGSTATUS_MORE_DATA;
    }
    std::copy(text.begin(), text.end(), buffer);
    return DGSTATUS_SUCCESS;
}

DGSTATUS setProperty(const char* function, const std::uint16_t* text, std::uint32_t bytes) {
    DGSTATUS status = DGSTATUS_SUCCESS;
    FakeLibrary::current().isAnswered(function, noted(text, bytes), status);
    return status;
}

} // namespace

DGSTATUS mtpGetFriendlyName(_MTP_DEVICE_NODE* /*device*/, std::uint16_t* buffer, std::uint32_t* bytes) {
    return getProperty(__func__, buffer, bytes);
}
DGSTATUS mtpGetModelName(_MTP_DEVICE_NODE* /*device*/, std::uint16_t* buffer, std::uint32_t* bytes) {
    return getProperty(__func__, buffer, bytes);
}
DGSTATUS mtpGetManufacturerName(_MTP_DEVICE_NODE* /*device*/, std::uint16_t* buffer, std::uint32_t* bytes) {
    return getProperty(__func__, buffer, bytes);
}
DGSTATUS mtpGetSerialNumber(_MTP_DEVICE_NODE* /*device*/, std::uint16_t* buffer, std::uint32_t* bytes) {
    return getProperty(__func__, buffer, bytes);
}
DGSTATUS mtpGetSyncpartner(_MTP_DEVICE_NODE* /*device*/, std::uint16_t* buffer, std::uint32_t* bytes) {
    return getProperty(__func__, buffer, bytes);
}
DGSTATUS mtpSetFriendlyName(_MTP_DEVICE_NODE* /*device*/, const std::uint16_t* text, std::uint32_t bytes) {
    return setProperty(__func__, text, bytes);
}
DGSTATUS mtpSetSyncpartner(_MTP_DEVICE_NODE* /*device*/, const std::uint16_t* text, std::uint32_t bytes) {
    return setProperty(__func__, text, bytes);
}

std::uint8_t libIsExist(const _MTP_COMMON_NODE* node, std::int32_t signature) {
    FakeLibrary& lib = FakeLibrary::current();
    DGSTATUS answer = DGSTATUS_SUCCESS;
    if (lib.isAnswered(__func__, NAME(node) + ", " + std::to_string(signature), answer)) {
        return static_cast<std::uint8_t>(answer);
    }
    return lib.isLive(node) && node->Signature == signature ? 1 : 0;
}

_MTP_COMMON_NODE* mtpNodeFromHandle(std::uint32_t handle) {
    auto* node = reinterpret_cast<_MTP_COMMON_NODE*>(mtpRecordMemoryBase() + handle);
    return handle != 0 && FakeLibrary::current().isLive(node) ? node : nullptr;
}
