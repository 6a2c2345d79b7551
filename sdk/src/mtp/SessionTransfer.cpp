// SPDX-License-Identifier: MIT
// New folders and files, and the bytes of files.
#include "mtp/SessionImplementation.h"

#include "platform/Strings.h"

#include <algorithm>
#include <limits>

namespace mtpsdk {
namespace {

/// Abstract objects (playlists and their kin) are what they are by their format alone.
constexpr std::uint16_t firstAbstractFormat = 0xBA00;
constexpr std::uint16_t lastAbstractFormat = 0xBAFF;
/// Those of them that hold no bytes of their own; documents follow behind.
constexpr std::uint16_t lastCollectionFormat = 0xBA0F;

/// Parameters of the response to an announcement: the new handle, and of a refused list the property that is to blame,
/// by its place in the list.
constexpr std::size_t handlePlace = 2;
constexpr std::size_t refusedPlace = 3;

/// Counts the bytes of one transfer and reports after every block of progressBlock bytes, however the bytes come. The
/// end is reported apart, once the device has confirmed it.
class Meter {
public:
    Meter(std::uint64_t total, const TransferProgress& progress)
        : Meter(total, total, progress) {}
    /// Up to `limit` bytes, of which `total` are known of and told.
    Meter(std::uint64_t total, std::uint64_t limit, const TransferProgress& progress)
        : _total(total)
        , _limit(limit)
        , _progress(progress) {}

    [[nodiscard]] std::uint64_t remaining() const { return _limit - _current; }
    [[nodiscard]] bool isShort() const { return _current < _total; }
    /// How many bytes may move before the next report is due.
    [[nodiscard]] std::size_t untilReport() const {
        return static_cast<std::size_t>(std::min<std::uint64_t>(progressBlock - _current % progressBlock, remaining()));
    }
    /// true: stop.
    [[nodiscard]] bool moved(std::size_t bytes) {
        _current += bytes;
        return _current % progressBlock == 0 && _current != _limit && _progress &&
               _progress(std::min(_current, _total - 1), _total);
    }
    [[nodiscard]] bool finish() const { return _progress && _progress(_total, _total); }

private:
    std::uint64_t _total;
    std::uint64_t _limit;
    std::uint64_t _current = 0;
    const TransferProgress& _progress;
};

/// Fills a block of any size from the caller's source; -1 when the progress stops it, or the source fails or ends
/// before its time.
std::ptrdiff_t fillBlock(std::span<std::byte> block, const BlockSource& source, Meter& meter) {
    std::size_t filled = 0;
    while (filled < block.size() && meter.remaining() > 0) {
        const std::size_t wanted = std::min(block.size() - filled, meter.untilReport());
        const std::ptrdiff_t got = source(block.subspan(filled, wanted));
        if (got < 0 || static_cast<std::size_t>(got) != wanted || meter.moved(wanted)) {
            return -1;
        }
        filled += wanted;
    }
    return static_cast<std::ptrdiff_t>(filled);
}

/// Devices keep names in the composition and sometimes in the case that they like.
bool isSameName(const std::u16string& left, const std::u16string& right) {
    return left == right || platform::caseFolded(left) == platform::caseFolded(right);
}

bool isCollection(std::uint16_t format) {
    return format >= firstAbstractFormat && format <= lastCollectionFormat;
}

/// Whether a device does not take this list of properties, or none.
bool isListRefusal(DGSTATUS status) {
    return isRefusal(status) || isValueRefusal(status);
}

} // namespace

std::uint16_t Session::Implementation::acceptedFormat(std::uint16_t format) const {
    const bool isAbstract = format >= firstAbstractFormat && format <= lastAbstractFormat;
    const bool accepted = device.playbackFormats.empty() || std::ranges::count(device.playbackFormats, format) != 0;
    return accepted || isAbstract ? format : raw(FormatCode::Undefined);
}

void Session::Implementation::ListLimit::add(std::uint16_t property) {
    nameAlone = nameAlone || property == 0;
    refused.insert(property);
}

/// The name, then what else the device takes in a list of this format. Metadata that it takes only by itself goes to
/// `unsent`.
std::vector<ObjectPropElement> Session::Implementation::propertiesToSend(const NewObject& object,
                                                                         std::vector<ObjectPropElement>& unsent) {
    std::vector<ObjectPropElement> elements;
    elements.push_back({0, raw(ObjectPropertyCode::ObjectFileName), PropertyValue::string(object.name)});
    std::vector<ObjectPropElement> optional = mediaElements(object.media);
    if (!object.modified.empty()) {
        optional.push_back({0, raw(ObjectPropertyCode::DateModified), PropertyValue::string(object.modified)});
    }
    if (optional.empty()) {
        return elements;
    }
    const auto& supported = supportedProperties(object.format);
    const ListLimit& limit = _listLimits[object.format];
    for (ObjectPropElement& element : optional) {
        if (std::ranges::count(supported, element.property) == 0) {
            continue;
        }
        if (!limit.nameAlone && !limit.refused.contains(element.property)) {
            elements.push_back(std::move(element));
        } else if (element.property != raw(ObjectPropertyCode::DateModified)) {
            unsent.push_back(std::move(element));
        }
    }
    return elements;
}

DGSTATUS Session::Implementation::announceByProperties(const NewObject& object,
                                                       std::span<const ObjectPropElement> properties, Reply& reply) {
    const std::uint32_t parent = object.parent == 0 ? rootParent : object.parent;
    const Request request(OperationCode::SendObjectPropList,
                          {object.storageId, parent, object.format, static_cast<std::uint32_t>(object.size >> 32),
                           static_cast<std::uint32_t>(object.size)});
    return transactions.write(request, encode(properties), reply);
}

DGSTATUS Session::Implementation::announceByInfo(const ObjectInfo& info, std::uint32_t& handle) {
    const std::uint32_t parent = info.parent == 0 ? rootParent : info.parent;
    Reply reply;
    const DGSTATUS status =
        transactions.write(Request(OperationCode::SendObjectInfo, {info.storageId, parent}), encode(info), reply);
    handle = reply.parameters[handlePlace];
    return status;
}

DGSTATUS Session::Implementation::announceByList(const NewObject& object, Announcement& announced) {
    const auto properties = propertiesToSend(object, announced.unsent);
    Reply reply;
    DGSTATUS status = announceByProperties(object, properties, reply);
    if (isListRefusal(status) && status != DGSTATUS_INTERNAL_OPERATIONNOTSUPPORTED && properties.size() > 1) {
        // One property that the device does not take must not keep the file from it, nor be tried with every file. A
        // value that it does not take is this file's own affair.
        const bool isOfAllFiles = !isValueRefusal(status);
        const std::uint32_t place = reply.parameters[refusedPlace];
        announced.unsent = mediaElements(object.media);
        status = announceByProperties(object, std::span(properties).first(1), reply);
        if (status == DGSTATUS_SUCCESS && isOfAllFiles) {
            _listLimits[object.format].add(place > 0 && place < properties.size() ? properties[place].property : 0);
        }
    }
    announced.handle = reply.parameters[handlePlace];
    return status;
}

DGSTATUS Session::Implementation::announce(const NewObject& object, Announcement& announced) {
    ListLimit& limit = _listLimits[object.format];
    const bool triesList = can(OperationCode::SendObjectPropList) && !_propertySendsRefused && !limit.isTotal;
    const DGSTATUS listed = triesList ? announceByList(object, announced) : DGSTATUS_INTERNAL_OPERATIONNOTSUPPORTED;
    if (!isListRefusal(listed) && !isSilentRefusal(listed)) {
        return listed;
    }
    announced.unsent = mediaElements(object.media);
    ObjectInfo info;
    info.storageId = object.storageId;
    info.format = object.format;
    info.parent = object.parent;
    info.filename = object.name;
    info.modificationDate = object.modified;
    info.setSize(object.size);
    const DGSTATUS status = announceByInfo(info, announced.handle);
    if (triesList) {
        const bool isSilent = isSilentRefusal(listed);
        const bool works = status == DGSTATUS_SUCCESS;
        _propertySendsRefused = listed == DGSTATUS_INTERNAL_OPERATIONNOTSUPPORTED || (isSilent && works);
        limit.isTotal = works && !isSilent && !isValueRefusal(listed);
    }
    return isSilentRefusal(listed) && isSilentRefusal(status) ? listed : status;
}

DGSTATUS Session::Implementation::sendBytes(const NewObject& object, const BlockSource& source,
                                            const TransferProgress& progress) {
    Meter meter(object.size, progress);
    const BlockSource metered = [&](std::span<std::byte> block) { return fillBlock(block, source, meter); };
    const DGSTATUS status = transactions.send(Request(OperationCode::SendObject, {}), object.size, metered);
    if (status != DGSTATUS_SUCCESS) {
        return status;
    }
    // All is there already: stopping now takes it away again, which sendObject does.
    return meter.finish() ? DGSTATUS_IO_CANCEL : DGSTATUS_SUCCESS;
}

DGSTATUS Session::Implementation::findByName(std::uint32_t storageId, std::uint32_t parent, const std::u16string& name,
                                             ObjectEntry& entry) {
    std::vector<ObjectEntry> entries;
    const DGSTATUS status = listFolder(storageId, parent, entries);
    if (status != DGSTATUS_SUCCESS) {
        return status;
    }
    const auto found =
        std::ranges::find_if(entries, [&](const ObjectEntry& candidate) { return isSameName(candidate.name, name); });
    if (found == entries.end()) {
        return DGSTATUS_INTERNAL_INVALIDOBJECTHANDLE;
    }
    entry = std::move(*found);
    return DGSTATUS_SUCCESS;
}

DGSTATUS Session::Implementation::confirm(const NewObject& object, std::uint32_t handle, ObjectEntry& sent,
                                          MediaProperties* media) {
    const auto read = [&](std::uint32_t from) {
        return media != nullptr ? readBack(from, object.format, sent, *media) : objectEntry(from, sent);
    };
    DGSTATUS status = handle == 0 ? DGSTATUS_INTERNAL_INVALIDOBJECTHANDLE : read(handle);
    if (status == DGSTATUS_INTERNAL_INVALIDOBJECTHANDLE) {
        // Some devices give the object another handle once they have all of it.
        status = findByName(object.storageId, object.parent, object.name, sent);
        if (status == DGSTATUS_SUCCESS) {
            status = read(sent.handle);
        }
    }
    if (status != DGSTATUS_SUCCESS) {
        return status;
    }
    sent.storageId = object.storageId;
    sent.parent = object.parent;
    const bool beyondField = sent.size == sizeUnknown && object.size > sizeUnknown;
    if (sent.size == object.size || beyondField || isCollection(object.format)) {
        return DGSTATUS_SUCCESS;
    }
    // Some devices take all that is sent, keep what there is room for, and say nothing.
    StorageInfo storage;
    const bool isFull = sent.size < object.size && storageInfo(object.storageId, storage) == DGSTATUS_SUCCESS &&
                        storage.freeSpace < object.size - sent.size;
    return isFull ? DGSTATUS_INTERNAL_STOREFULL : DGSTATUS_INTERNAL_SIZE_MISMATCH;
}

/// Writes what did not go out with the announcement, and reads back what has become of it.
DGSTATUS Session::Implementation::complete(std::uint16_t format, std::span<const ObjectPropElement> unsent,
                                           ObjectEntry& sent, MediaProperties& media) {
    DGSTATUS status = writeProperties(sent.handle, format, unsent);
    ObjectEntry entry;
    if (!isLineFailure(status)) {
        status = readBack(sent.handle, format, entry, media);
    }
    if (status == DGSTATUS_SUCCESS) {
        entry.storageId = sent.storageId;
        entry.parent = sent.parent;
        sent = std::move(entry);
    }
    // A file without its metadata is better than no file.
    return isLineFailure(status) ? status : DGSTATUS_SUCCESS;
}

bool Session::Implementation::removePartial(const NewObject& object, std::uint32_t handle) {
    // The handle is the device's word. Nothing but the object that was being sent may be deleted.
    ObjectEntry entry;
    if (handle == 0 || objectEntry(handle, entry) != DGSTATUS_SUCCESS || !isSameName(entry.name, object.name) ||
        (entry.parent != object.parent && object.parent != 0)) {
        return false;
    }
    return transactions.run(Request(OperationCode::DeleteObject, {handle, allFormats})) == DGSTATUS_SUCCESS;
}

DGSTATUS Session::Implementation::sendObject(const NewObject& asked, const BlockSource& source,
                                             const TransferProgress& progress, ObjectEntry& sent,
                                             MediaProperties& media) {
    NewObject object = asked;
    object.format = acceptedFormat(asked.format);
    Announcement announced;
    DGSTATUS status = announce(object, announced);
    if (status != DGSTATUS_SUCCESS) {
        return status;
    }
    status = sendBytes(object, source, progress);
    if (status == DGSTATUS_SUCCESS) {
        keepWritable(object.format, announced.unsent);
        const bool isAllSent = announced.unsent.empty();
        status = confirm(object, announced.handle, sent, isAllSent ? &media : nullptr);
        if (status == DGSTATUS_SUCCESS && !isAllSent) {
            announced.handle = sent.handle;
            status = complete(object.format, announced.unsent, sent, media);
        }
    }
    if (status == DGSTATUS_SUCCESS || transactions.gone()) {
        return status;
    }
    const bool removed = removePartial(object, announced.handle);
    if (status == DGSTATUS_IO_CANCEL) {
        return removed ? DGSTATUS_IO_CANCEL_SUCCESS : DGSTATUS_IO_CANCEL_FAILED;
    }
    return status;
}

DGSTATUS Session::Implementation::createFolder(std::uint32_t storageId, std::uint32_t parent,
                                               const std::u16string& name, ObjectEntry& created) {
    ObjectInfo info;
    info.storageId = storageId;
    info.format = raw(FormatCode::Association);
    info.associationType = genericFolder;
    info.parent = parent;
    info.filename = name;
    std::uint32_t handle = 0;
    DGSTATUS status = announceByInfo(info, handle);
    if (status != DGSTATUS_SUCCESS) {
        return status;
    }
    status = handle == 0 ? DGSTATUS_INTERNAL_INVALIDOBJECTHANDLE : objectEntry(handle, created);
    if (status == DGSTATUS_INTERNAL_INVALIDOBJECTHANDLE) {
        status = findByName(storageId, parent, name, created); // the handle was not its last
    }
    created.storageId = storageId;
    created.parent = parent;
    return status;
}

DGSTATUS Session::Implementation::getObject(std::uint32_t handle, std::uint64_t size, const BlockSink& sink,
                                            const TransferProgress& progress) {
    // A device that has no other field for it leaves the size of a large file open; the file ends where its data do.
    const bool isOpenEnded = size == sizeUnknown;
    Meter meter(size, isOpenEnded ? std::numeric_limits<std::uint64_t>::max() : size, progress);
    bool tooLong = false;
    const BlockSink metered = [&](std::span<const std::byte> block) {
        while (!block.empty()) {
            const std::size_t part = std::min(block.size(), meter.untilReport());
            tooLong = part == 0;
            if (tooLong || !sink(block.first(part)) || meter.moved(part)) {
                return false;
            }
            block = block.subspan(part);
        }
        return true;
    };
    const DGSTATUS status = transactions.receive(Request(OperationCode::GetObject, {handle}), metered);
    if (tooLong) {
        return DGSTATUS_INTERNAL_SIZE_MISMATCH;
    }
    if (status != DGSTATUS_SUCCESS) {
        return status;
    }
    if (meter.isShort()) {
        return DGSTATUS_INTERNAL_SIZE_MISMATCH;
    }
    // All bytes are here: there is nothing left on the line to cancel.
    return meter.finish() ? DGSTATUS_IO_CANCEL_SUCCESS : DGSTATUS_SUCCESS;
}

} // namespace mtpsdk
