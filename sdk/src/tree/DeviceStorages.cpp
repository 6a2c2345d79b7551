// SPDX-License-Identifier: MIT
#include "platform/Strings.h"
#include "tree/Device.h"
#include "tree/RecordTexts.h"
#include "tree/SafeNames.h"

#include <algorithm>
#include <set>

namespace mtpsdk {
namespace {

/// A volume identifier that no person chose: a serial number or the like, digits and separators only, or a word with
/// the storage's ID behind it.
bool looksMadeUp(std::u16string_view identifier) {
    constexpr std::u16string_view hexDigits = u"0123456789abcdefABCDEF";
    constexpr std::u16string_view letters = u"0123456789abcdefABCDEF-_:{}";
    constexpr std::u16string_view digits = u"0123456789";
    constexpr std::size_t idLength = 8;
    const bool hasDigits = identifier.find_first_of(digits) != std::u16string_view::npos;
    const bool onlyLetters = identifier.find_first_not_of(letters) == std::u16string_view::npos;
    const std::size_t word = identifier.find_last_not_of(hexDigits);
    const bool endsWithId =
        word != std::u16string_view::npos && identifier[word] == u'_' && identifier.size() - word - 1 == idLength;
    return hasDigits && (onlyLetters || endsWithId);
}

/// What a person would call the storage. Never empty.
std::u16string labelOf(const StorageInfo& info) {
    const bool useIdentifier =
        !info.volumeIdentifier.empty() && (info.description.empty() || !looksMadeUp(info.volumeIdentifier));
    const std::u16string& label = useIdentifier ? info.volumeIdentifier : info.description;
    return label.empty() ? u"Storage" : safeName(label);
}

/// Whoever opens a device asks for its storages several times in a row. No person changes anything in between.
constexpr auto freshFor = std::chrono::milliseconds(500);

/// The lower half of a storage ID numbers the volumes of a slot; 0 is a slot without a medium.
bool hasMedium(std::uint32_t storageId) {
    return (storageId & 0xFFFFU) != 0;
}

/// Each storage with a medium once. No device has as many as are left out here; each costs a question.
void tidy(std::vector<std::uint32_t>& ids) {
    constexpr std::size_t greatestNumber = 256;
    std::set<std::uint32_t> seen;
    std::erase_if(ids, [&](std::uint32_t id) { return !hasMedium(id) || !seen.insert(id).second; });
    ids.resize(std::min(ids.size(), greatestNumber));
}

} // namespace

DGSTATUS Device::openStorageList(NodeIndex& head) {
    DGSTATUS status = listStorages();
    if (status == DGSTATUS_INTERNAL_SESSIONNOTOPEN && !vanished()) {
        // A device that was reset forgot the session.
        closeSession();
        status = open();
        status = status == DGSTATUS_SUCCESS ? listStorages() : status;
    }
    if (status != DGSTATUS_SUCCESS) {
        return status;
    }
    head = nextStorage(0);
    if (head == 0) {
        return DGSTATUS_NO_STORAGE_ATTACHED;
    }
    ++_storageReferences;
    return DGSTATUS_SUCCESS;
}

bool Device::storagesAreFresh() {
    return _storageListing && _storageListing->transactions == session().transactionCount() &&
           std::chrono::steady_clock::now() - _storageListing->ended < freshFor;
}

DGSTATUS Device::listStorages() {
    if (storagesAreFresh()) {
        return DGSTATUS_SUCCESS;
    }
    _storageListing.reset();
    std::vector<std::uint32_t> ids;
    const DGSTATUS status = session().storageIds(ids);
    if (status != DGSTATUS_SUCCESS) {
        return status;
    }
    tidy(ids);
    dropMissingStorages(ids);
    for (const std::uint32_t id : ids) {
        StorageInfo info;
        const DGSTATUS asked = session().storageInfo(id, info);
        if (asked == DGSTATUS_NO_DEVICE_ATTACHED) {
            return asked;
        }
        NodeIndex storage = _tree.storage(id);
        if (asked != DGSTATUS_SUCCESS) {
            continue; // a storage that cannot be described now keeps what is known of it
        }
        if (storage == 0) {
            storage = _tree.addStorage(id, false);
        }
        if (storage == 0) {
            return DGSTATUS_INSUFFICIENT_RESOURCE;
        }
        _tree.setHidden(storage, false);
        describeStorage(storage, info);
    }
    _storageListing = {session().transactionCount(), std::chrono::steady_clock::now()};
    return DGSTATUS_SUCCESS;
}

void Device::dropMissingStorages(const std::vector<std::uint32_t>& ids) {
    const std::vector<NodeIndex> known = _tree.storages();
    for (const NodeIndex storage : known) {
        const Node& node = _tree.at(storage);
        if (!node.hidden && std::find(ids.begin(), ids.end(), node.handle) == ids.end()) {
            _tree.remove(storage, NodeTree::Texts::kept);
        }
    }
}

/// Labels tell storages apart in paths, so no two are equal; a storage keeps the label that it was first given.
void Device::describeStorage(NodeIndex storage, const StorageInfo& info) {
    const auto taken = [&](const std::u16string& label) {
        return std::ranges::any_of(_tree.storages(), [&](NodeIndex other) {
            return other != storage && platform::caseFolded(_tree.name(other)) == platform::caseFolded(label);
        });
    };
    const std::u16string label = distinctName(labelOf(info), _tree.at(storage).handle, taken);
    _tree.setStorageTexts(storage, label, info.description);
    auto& record = _tree.edited<_MTP_STORAGE_NODE>(storage);
    record.MaxCapacity = info.maxCapacity;
    record.UsedSize = info.maxCapacity - std::min(info.freeSpace, info.maxCapacity);
}

void Device::releaseStorageList() {
    if (_storageReferences == 0 || --_storageReferences != 0) {
        return;
    }
    _storageListing.reset();
    _tree.forgetLostStorages();
    const std::vector<NodeIndex> known = _tree.storages();
    for (const NodeIndex storage : known) {
        if (!_tree.at(storage).hidden) {
            _tree.remove(storage, NodeTree::Texts::freed);
        }
    }
}

NodeIndex Device::nextStorage(NodeIndex storage) const {
    const std::vector<NodeIndex>& all = _tree.storages();
    auto from = storage == 0 ? all.begin() : std::find(all.begin(), all.end(), storage);
    if (storage != 0 && from != all.end()) {
        ++from;
    }
    const auto found = std::find_if(from, all.end(), [&](NodeIndex node) { return !_tree.at(node).hidden; });
    return found == all.end() ? 0 : *found;
}

DGSTATUS Device::hiddenStorage(std::uint32_t storageId, NodeIndex& storage) {
    StorageInfo info;
    const DGSTATUS status = session().storageInfo(storageId, info);
    if (status != DGSTATUS_SUCCESS) {
        return status;
    }
    storage = _tree.storage(storageId);
    if (storage == 0) {
        storage = _tree.addStorage(storageId, true);
    }
    if (storage == 0) {
        return DGSTATUS_INSUFFICIENT_RESOURCE;
    }
    describeStorage(storage, info);
    return DGSTATUS_SUCCESS;
}

void Device::refreshCapacity(NodeIndex storage) {
    StorageInfo info;
    if (session().storageInfo(_tree.at(storage).handle, info) == DGSTATUS_SUCCESS) {
        describeStorage(storage, info);
    }
}

void Device::countUsed(NodeIndex storage, std::int64_t bytes) {
    if (storage == 0) {
        return;
    }
    auto& record = _tree.edited<_MTP_STORAGE_NODE>(storage);
    const std::uint64_t used = record.UsedSize;
    const std::uint64_t capacity = record.MaxCapacity;
    const auto amount = static_cast<std::uint64_t>(bytes < 0 ? -bytes : bytes);
    record.UsedSize = bytes < 0 ? used - std::min(used, amount) : std::min(used + amount, capacity);
}

} // namespace mtpsdk
