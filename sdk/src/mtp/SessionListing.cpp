// SPDX-License-Identifier: MIT
// Storages, folders and what is known of one object.
#include "mtp/SessionImplementation.h"

#include <algorithm>
#include <deque>
#include <memory>
#include <unordered_map>

namespace mtpsdk {
namespace {

/// The depth parameter of a property list request.
constexpr std::uint32_t objectItself = 0;
constexpr std::uint32_t itsChildren = 1;
/// A property list names the roots of all storages by no handle at all.
constexpr std::uint32_t rootHandle = 0;

/// What of an entry arrived. A device may leave properties out of its lists that every object has.
struct Draft {
    ObjectEntry entry;
    bool hasFormat = false;
    bool hasSize = false;
    bool hasName = false;
    bool hasParent = false;
    bool hasStorage = false;

    [[nodiscard]] bool named() const { return hasFormat && hasName; }
    [[nodiscard]] bool usable() const { return named() && (hasSize || isFolder()); }
    [[nodiscard]] bool isFolder() const { return entry.format == raw(FormatCode::Association); }

    void take(const ObjectPropElement& element) {
        if (!takeIntoEntry(element, entry)) {
            takeMedia(element);
            return;
        }
        const auto property = static_cast<ObjectPropertyCode>(element.property);
        hasFormat = hasFormat || property == ObjectPropertyCode::ObjectFormat;
        hasSize = hasSize || property == ObjectPropertyCode::ObjectSize;
        hasName = hasName || property == ObjectPropertyCode::ObjectFileName;
        hasParent = hasParent || property == ObjectPropertyCode::ParentObject;
        hasStorage = hasStorage || property == ObjectPropertyCode::StorageID;
    }

    void takeMedia(const ObjectPropElement& element) {
        if (entry.media) {
            takeIntoMedia(element, *entry.media);
            return;
        }
        MediaProperties media;
        if (takeIntoMedia(element, media)) {
            entry.media = std::make_shared<MediaProperties>(std::move(media));
        }
    }

    /// Whether the object lies where it was looked for. The roots of all storages come in one list, and a device that
    /// pays no heed to the depth answers with more than the children.
    [[nodiscard]] bool liesIn(std::uint32_t storageId, std::uint32_t parent) const {
        if (hasStorage && entry.storageId != storageId) {
            return false;
        }
        // Devices differ in what they call the parent of an object in the root.
        return !hasParent || entry.parent == parent || (parent == 0 && entry.parent == storageId);
    }
};

/// Drafts in the order in which their objects first appear.
class DraftList {
public:
    void take(const ObjectPropElement& element) {
        if (_drafts.empty() || _drafts.back().entry.handle != element.handle) {
            if (Draft* known = draftOf(element.handle)) {
                known->take(element);
                return;
            }
            add(element.handle);
        }
        _drafts.back().take(element);
    }
    [[nodiscard]] std::deque<Draft>& drafts() { return _drafts; }

private:
    /// Most devices tell one object after the other in the order of their handles: then nothing is searched.
    [[nodiscard]] Draft* draftOf(std::uint32_t handle) {
        if (_drafts.empty() || (_isRising && handle > _drafts.back().entry.handle)) {
            return nullptr;
        }
        if (_isRising) {
            _isRising = false;
            for (std::size_t i = 0; i < _drafts.size(); ++i) {
                _places.emplace(_drafts[i].entry.handle, i);
            }
        }
        const auto found = _places.find(handle);
        return found == _places.end() ? nullptr : &_drafts[found->second];
    }
    void add(std::uint32_t handle) {
        if (!_isRising) {
            _places.emplace(handle, _drafts.size());
        }
        _drafts.emplace_back();
        _drafts.back().entry.handle = handle;
    }

    std::deque<Draft> _drafts;                              ///< large ones, which a vector would move about
    bool _isRising = true;                                  ///< each handle so far was greater than the one before
    std::unordered_map<std::uint32_t, std::size_t> _places; ///< by handle, once they are not
};

/// Asks for a property, all of them or (property 0) a group of a folder's children. DGSTATUS_NO_DATA when the list
/// tells of nothing, or of the folder itself alone: a device that takes the root's handle, or the depth, for nothing
/// at all answers so too.
DGSTATUS readChildren(Transactions& transactions, std::uint32_t handle, std::uint32_t property, std::uint32_t group,
                      DraftList& list) {
    std::vector<std::byte> data;
    const DGSTATUS status = transactions.read(
        Request(OperationCode::GetObjectPropList, {handle, allFormats, property, group, itsChildren}), data);
    if (status != DGSTATUS_SUCCESS) {
        return status;
    }
    if (!decodePropertyList(data, [&list](ObjectPropElement&& element) { list.take(element); })) {
        return DGSTATUS_INTERNAL_INVALIDDATASET;
    }
    const auto isChild = [handle](const Draft& draft) { return draft.entry.handle != handle; };
    return std::ranges::any_of(list.drafts(), isChild) ? DGSTATUS_SUCCESS : DGSTATUS_NO_DATA;
}

/// The device answers 0 for the root, or what the request called it.
std::uint32_t normalizedParent(std::uint32_t parent) {
    return parent == rootParent ? 0 : parent;
}

void fillFromInfo(const ObjectInfo& info, ObjectEntry& entry) {
    entry.storageId = info.storageId;
    entry.parent = normalizedParent(info.parent);
    entry.format = info.format;
    entry.protection = info.protection;
    entry.size = info.compressedSize;
    entry.name = info.filename;
    entry.created = info.captureDate;
    entry.modified = info.modificationDate;
}

} // namespace

bool takeIntoEntry(const ObjectPropElement& element, ObjectEntry& entry) {
    const std::uint64_t number = element.value.asInteger().value_or(0);
    const auto text = [&element] { return element.value.asText().value_or(std::u16string()); };
    switch (static_cast<ObjectPropertyCode>(element.property)) {
    case ObjectPropertyCode::StorageID:
        entry.storageId = static_cast<std::uint32_t>(number);
        return true;
    case ObjectPropertyCode::ObjectFormat:
        entry.format = static_cast<std::uint16_t>(number);
        return true;
    case ObjectPropertyCode::ProtectionStatus:
        entry.protection = static_cast<std::uint16_t>(number);
        return true;
    case ObjectPropertyCode::ObjectSize:
        entry.size = number;
        return true;
    case ObjectPropertyCode::ParentObject:
        entry.parent = normalizedParent(static_cast<std::uint32_t>(number));
        return true;
    case ObjectPropertyCode::ObjectFileName:
        entry.name = text();
        return true;
    case ObjectPropertyCode::DateCreated:
        entry.created = text();
        return true;
    case ObjectPropertyCode::DateModified:
        entry.modified = text();
        return true;
    default:
        return false;
    }
}

DGSTATUS Session::Implementation::storageInfo(std::uint32_t storageId, StorageInfo& info) {
    std::vector<std::byte> data;
    const DGSTATUS status = transactions.read(Request(OperationCode::GetStorageInfo, {storageId}), data);
    if (status != DGSTATUS_SUCCESS) {
        return status;
    }
    return decode(data, info) ? DGSTATUS_SUCCESS : DGSTATUS_INTERNAL_INVALIDDATASET;
}

DGSTATUS Session::Implementation::storageIds(std::vector<std::uint32_t>& ids) {
    std::vector<std::byte> data;
    const DGSTATUS status = transactions.read(Request(OperationCode::GetStorageIDs, {}), data);
    if (status != DGSTATUS_SUCCESS) {
        return status;
    }
    if (!decode(data, ids)) {
        return DGSTATUS_INTERNAL_INVALIDDATASET;
    }
    _listedStorages = ids;
    return DGSTATUS_SUCCESS;
}

bool Session::Implementation::listsByProperties(std::uint32_t storageId, std::uint32_t parent) {
    if (!can(OperationCode::GetObjectPropList) || _folderListsRefused || quirks.has(Quirk::noFolderLists)) {
        return false;
    }
    if (parent != 0) {
        return true;
    }
    if (_rootListsRefused) {
        return false;
    }
    // The list of the roots holds the storages that the device lists; another one has to be asked for by its ID.
    std::vector<std::uint32_t> ids;
    if (!_listedStorages && storageIds(ids) != DGSTATUS_SUCCESS) {
        return false;
    }
    return std::ranges::count(*_listedStorages, storageId) != 0;
}

std::uint32_t Session::Implementation::groupOfName(std::uint16_t format) {
    std::vector<std::byte> data;
    ObjectPropDesc description;
    const bool isTold =
        can(OperationCode::GetObjectPropDesc) &&
        transactions.read(Request(OperationCode::GetObjectPropDesc, {raw(ObjectPropertyCode::ObjectFileName), format}),
                          data) == DGSTATUS_SUCCESS &&
        decode(data, description);
    return isTold ? description.group : 0;
}

/// Groups are a format's affair; a list by group must leave out neither folders nor files of any kind. Most devices
/// keep no groups, and are asked one question.
std::uint32_t Session::Implementation::nameGroup() {
    if (_nameGroup) {
        return *_nameGroup;
    }
    std::vector<std::uint16_t> formats = device.playbackFormats;
    formats.insert(formats.end(), device.captureFormats.begin(), device.captureFormats.end());
    formats.push_back(raw(FormatCode::Association));
    std::ranges::sort(formats);
    formats.erase(std::unique(formats.begin(), formats.end()), formats.end());
    std::erase(formats, raw(FormatCode::Undefined));
    const std::uint32_t group = groupOfName(raw(FormatCode::Undefined));
    const bool isSame =
        group != 0 && std::ranges::all_of(formats, [&](std::uint16_t format) { return groupOfName(format) == group; });
    _nameGroup = isSame ? group : 0;
    return *_nameGroup;
}

DGSTATUS Session::Implementation::listFolder(std::uint32_t storageId, std::uint32_t parent,
                                             std::vector<ObjectEntry>& entries, Listing listing, Listing* told) {
    Listing ignored{};
    Listing& kind = told != nullptr ? *told : ignored;
    kind = Listing::complete;
    if (listing == Listing::complete || _nameListsRefused || !listsByProperties(storageId, parent) ||
        nameGroup() == 0) {
        return listCompletely(storageId, parent, entries);
    }
    const DGSTATUS named = listNames(storageId, parent, entries);
    if (named == DGSTATUS_SUCCESS) {
        kind = Listing::names;
        return named;
    }
    const DGSTATUS status = listCompletely(storageId, parent, entries);
    // Nothing at all is no refusal where there is nothing.
    const bool mayBeEmpty = named == DGSTATUS_NO_DATA || named == DGSTATUS_INTERNAL_INVALIDOBJECTHANDLE;
    _nameListsRefused = !mayBeEmpty || (status == DGSTATUS_SUCCESS && !entries.empty());
    return status;
}

DGSTATUS Session::Implementation::ListProof::ofEmptiness(DGSTATUS status, std::uint32_t parent) {
    return status == DGSTATUS_NO_DATA && of(parent) ? DGSTATUS_SUCCESS : status;
}

DGSTATUS Session::Implementation::ListProof::take(const std::vector<ObjectEntry>& entries, std::uint32_t parent) {
    of(parent) = of(parent) || !entries.empty();
    return of(parent) ? DGSTATUS_SUCCESS : DGSTATUS_NO_DATA;
}

DGSTATUS Session::Implementation::listNames(std::uint32_t storageId, std::uint32_t parent,
                                            std::vector<ObjectEntry>& entries) {
    entries.clear();
    const std::uint32_t handle = parent == 0 ? rootHandle : parent;
    DraftList list;
    const DGSTATUS status = readChildren(transactions, handle, 0, nameGroup(), list);
    if (status != DGSTATUS_SUCCESS) {
        return _nameListProof.ofEmptiness(status, parent);
    }
    entries.reserve(list.drafts().size());
    for (Draft& draft : list.drafts()) {
        ObjectEntry& entry = draft.entry;
        // Without its place told, nobody knows whether it was asked for: the roots of all storages come in one list.
        if (!draft.named() || !draft.hasParent || (parent == 0 && !draft.hasStorage)) {
            return DGSTATUS_INTERNAL_INVALIDDATASET;
        }
        if (entry.handle == 0 || entry.handle == parent || !draft.liesIn(storageId, parent)) {
            continue;
        }
        entry.storageId = storageId;
        entry.parent = parent;
        entry.isBrief = !draft.isFolder();
        entry.media.reset();
        entries.push_back(std::move(entry));
    }
    return _nameListProof.take(entries, parent);
}

DGSTATUS Session::Implementation::listCompletely(std::uint32_t storageId, std::uint32_t parent,
                                                 std::vector<ObjectEntry>& entries) {
    entries.clear();
    bool& refused = parent == 0 ? _rootListsRefused : _folderListsRefused;
    DGSTATUS listed = DGSTATUS_SUCCESS;
    if (listsByProperties(storageId, parent)) {
        listed = listByProperties(storageId, parent, entries);
        const bool rootUnknown = parent == 0 && listed == DGSTATUS_INTERNAL_INVALIDOBJECTHANDLE;
        if (!mayBeRefusal(listed) && !rootUnknown && listed != DGSTATUS_NO_DATA) {
            return listed;
        }
        // A list that came but makes no sense, or nothing of the children, may be this folder's trouble alone.
        refused = (isRefusal(listed) || rootUnknown) && listed != DGSTATUS_INTERNAL_INVALIDDATASET;
    }
    const DGSTATUS status = listByHandles(storageId, parent, entries);
    if (listed == DGSTATUS_NO_DATA && (isRefusal(status) || status == DGSTATUS_INTERNAL_GENERALERROR)) {
        entries.clear();
        return DGSTATUS_SUCCESS; // a device that only has lists
    }
    // Not empty at all: the device pays no heed to the depth, or takes the root's handle for no object.
    refused = refused || (listed == DGSTATUS_NO_DATA && !entries.empty()) ||
              (isSilentRefusal(listed) && status == DGSTATUS_SUCCESS);
    return isSilentRefusal(listed) && isSilentRefusal(status) ? listed : status;
}

DGSTATUS Session::Implementation::listByProperties(std::uint32_t storageId, std::uint32_t parent,
                                                   std::vector<ObjectEntry>& entries) {
    const std::uint32_t handle = parent == 0 ? rootHandle : parent;
    DraftList list;
    const DGSTATUS status = readChildren(transactions, handle, allProperties, 0, list);
    if (status != DGSTATUS_SUCCESS) {
        return _listProof.ofEmptiness(status, parent);
    }
    entries.reserve(list.drafts().size());
    for (Draft& draft : list.drafts()) {
        ObjectEntry& entry = draft.entry;
        if (entry.handle == 0 || entry.handle == parent || !draft.liesIn(storageId, parent)) {
            continue;
        }
        if (!draft.usable()) {
            const DGSTATUS infoStatus = entryFromInfo(entry.handle, entry);
            if (infoStatus == DGSTATUS_INTERNAL_INVALIDOBJECTHANDLE) {
                continue;
            }
            if (infoStatus != DGSTATUS_SUCCESS) {
                return infoStatus;
            }
        } else if (!entry.media) {
            // All properties were asked for, so the device knows of none.
            entry.media = std::make_shared<MediaProperties>();
        }
        entry.storageId = storageId;
        entry.parent = parent;
        entries.push_back(std::move(entry));
    }
    return _listProof.take(entries, parent);
}

DGSTATUS Session::Implementation::listByHandles(std::uint32_t storageId, std::uint32_t parent,
                                                std::vector<ObjectEntry>& entries) {
    entries.clear();
    std::vector<std::byte> data;
    const DGSTATUS status = transactions.read(
        Request(OperationCode::GetObjectHandles, {storageId, allFormats, parent == 0 ? rootParent : parent}), data);
    if (status != DGSTATUS_SUCCESS) {
        return status;
    }
    std::vector<std::uint32_t> handles;
    if (!decode(data, handles)) {
        return DGSTATUS_INTERNAL_INVALIDDATASET;
    }
    for (const std::uint32_t handle : handles) {
        ObjectEntry entry;
        const DGSTATUS entryStatus = objectEntry(handle, entry);
        if (entryStatus == DGSTATUS_INTERNAL_INVALIDOBJECTHANDLE) {
            continue; // gone since the handles were listed
        }
        if (entryStatus != DGSTATUS_SUCCESS) {
            return entryStatus;
        }
        // What the device calls the parent of an object in the root varies.
        entry.storageId = storageId;
        entry.parent = parent;
        entries.push_back(std::move(entry));
    }
    return DGSTATUS_SUCCESS;
}

DGSTATUS Session::Implementation::entryFromInfo(std::uint32_t handle, ObjectEntry& entry) {
    std::vector<std::byte> data;
    DGSTATUS status = transactions.read(Request(OperationCode::GetObjectInfo, {handle}), data);
    if (status != DGSTATUS_SUCCESS) {
        return status;
    }
    ObjectInfo info;
    if (!decode(data, info)) {
        return DGSTATUS_INTERNAL_INVALIDDATASET;
    }
    fillFromInfo(info, entry);
    entry.handle = handle;
    // What the dataset has no room for, or the device left out.
    const auto complete = [&](ObjectPropertyCode property, DataType type) {
        PropertyValue value;
        status = readProperty(handle, raw(property), type, value);
        return status == DGSTATUS_SUCCESS && takeIntoEntry({handle, raw(property), std::move(value)}, entry);
    };
    if (info.compressedSize == sizeUnknown) {
        complete(ObjectPropertyCode::ObjectSize, DataType::UInt64);
    }
    if (info.filename.empty() && !isLineFailure(status)) {
        complete(ObjectPropertyCode::ObjectFileName, DataType::String);
    }
    return isLineFailure(status) ? status : DGSTATUS_SUCCESS;
}

DGSTATUS Session::Implementation::entryByProperties(std::uint32_t handle, ObjectEntry& entry, MediaProperties* media) {
    if (!can(OperationCode::GetObjectPropList) || _objectListsRefused) {
        return DGSTATUS_INTERNAL_OPERATIONNOTSUPPORTED;
    }
    std::vector<std::byte> data;
    DGSTATUS status = transactions.read(
        Request(OperationCode::GetObjectPropList, {handle, allFormats, allProperties, 0, objectItself}), data);
    Draft draft;
    const auto take = [&](ObjectPropElement&& element) {
        if (element.handle == handle) {
            draft.take(element);
        }
    };
    if (status == DGSTATUS_SUCCESS && (!decodePropertyList(data, take) || !draft.usable())) {
        status = DGSTATUS_INTERNAL_INVALIDDATASET;
    }
    _objectListsRefused = isRefusal(status) && status != DGSTATUS_INTERNAL_INVALIDDATASET;
    if (status == DGSTATUS_SUCCESS && !draft.entry.media) {
        // All properties were asked for, so the device knows of none.
        draft.entry.media = std::make_shared<MediaProperties>();
    }
    if (media != nullptr && draft.entry.media) {
        *media = *draft.entry.media;
    }
    entry = std::move(draft.entry);
    entry.handle = handle;
    return status;
}

DGSTATUS Session::Implementation::objectEntry(std::uint32_t handle, ObjectEntry& entry) {
    const DGSTATUS status = entryByProperties(handle, entry, nullptr);
    return mayBeRefusal(status) ? entryInstead(status, handle, entry) : status;
}

DGSTATUS Session::Implementation::entryInstead(DGSTATUS listed, std::uint32_t handle, ObjectEntry& entry) {
    const DGSTATUS status = entryFromInfo(handle, entry);
    if (!isSilentRefusal(listed)) {
        return status;
    }
    _objectListsRefused = status == DGSTATUS_SUCCESS;
    return isSilentRefusal(status) ? listed : status;
}

} // namespace mtpsdk
