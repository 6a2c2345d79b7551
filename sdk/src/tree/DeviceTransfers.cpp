// SPDX-License-Identifier: MIT
#include "mtp/Formats.h"
#include "platform/AtomicFile.h"
#include "tree/Device.h"
#include "tree/LocalFile.h"
#include "tree/Progress.h"

#include <filesystem>

namespace mtpsdk {
namespace {

bool isCancelled(DGSTATUS status) {
    return status == DGSTATUS_IO_CANCEL_SUCCESS || status == DGSTATUS_IO_CANCEL_FAILED || status == DGSTATUS_IO_CANCEL;
}

} // namespace

DGSTATUS Device::sendFile(const std::string& path, const std::u16string& name, NodeIndex parent, std::uint16_t format,
                          const MediaProperties& media, NodeIndex& file, MtpProgressCallback callback, void* context) {
    LocalFile local;
    DGSTATUS status = local.open(path);
    if (status != DGSTATUS_SUCCESS) {
        return status;
    }
    if (!takesName(name)) {
        return DGSTATUS_FILE_INVALID_CHAR;
    }
    status = checkFree(parent, name, 0, file);
    if (file != 0 && !_verbatimNames && _tree.child(parent, name, NodeTree::Match::anyCase, file) != 0) {
        file = 0; // two that differ only in case: deleting either would not make room, so neither is offered
    }
    if (status != DGSTATUS_SUCCESS) {
        return status;
    }
    const NodeIndex storage = _tree.storageOf(parent);
    const NewObject object{_tree.at(storage).handle,
                           parent == storage ? 0 : _tree.at(parent).handle,
                           format == raw(FormatCode::Undefined) || format == 0 ? raw(formatOfName(name)) : format,
                           local.size(),
                           name,
                           local.modified(),
                           media};
    const Progress progress(callback, context, local.size());
    if (progress.begin()) {
        return DGSTATUS_IO_CANCEL_SUCCESS;
    }
    ObjectEntry sent;
    MediaProperties readBack;
    status = session().sendObject(
        object, [&](std::span<std::byte> block) { return local.read(block); },
        [&](std::uint64_t current, std::uint64_t) { return progress.moved(current); }, sent, readBack);
    if (local.failed() && isCancelled(status)) {
        return DGSTATUS_FILE_READ_FAILED;
    }
    return status == DGSTATUS_SUCCESS ? takeIn(object, sent, readBack, parent, file) : status;
}

DGSTATUS Device::takeIn(const NewObject& object, ObjectEntry& sent, const MediaProperties& media, NodeIndex parent,
                        NodeIndex& file) {
    _ownChanges.added(sent.handle);
    sent.name = sent.name.empty() ? object.name : sent.name;
    sent.format = sent.format == 0 || sent.format == raw(FormatCode::Association) ? object.format : sent.format;
    sent.size = object.size;
    file = insert(parent, sent);
    if (file == 0) {
        return DGSTATUS_INTERNAL_INVALIDOBJECTHANDLE;
    }
    _media.put(sent.handle, media);
    countUsed(_tree.storageOf(parent), static_cast<std::int64_t>(sent.size));
    return DGSTATUS_SUCCESS;
}

DGSTATUS Device::receiveFile(NodeIndex file, const std::string& path, MtpProgressCallback callback, void* context) {
    std::error_code ignored;
    if (std::filesystem::is_directory(path, ignored)) {
        return DGSTATUS_FILE_OPEN_FAILED;
    }
    platform::AtomicFile target;
    std::error_code failure = target.open(path);
    if (failure) {
        return statusOfOpening(failure);
    }
    if (const DGSTATUS status = complete(file); status != DGSTATUS_SUCCESS) {
        return status;
    }
    ObjectEntry fresh;
    if (isPlaylist(_tree.at(file).format) && session().objectEntry(_tree.at(file).handle, fresh) == DGSTATUS_SUCCESS) {
        refresh(file, fresh); // what a device writes into such a file, and when, is its own affair
    }
    const std::uint64_t size = _tree.known<_MTP_FILE_NODE>(file).size;
    const Progress progress(callback, context, size);
    if (progress.begin()) {
        return DGSTATUS_IO_CANCEL_SUCCESS;
    }
    const DGSTATUS status = session().getObject(
        _tree.at(file).handle, size,
        [&](std::span<const std::byte> block) {
            failure = target.write(block);
            return !failure;
        },
        [&](std::uint64_t current, std::uint64_t) { return progress.moved(current); });
    if (failure && isCancelled(status)) {
        return DGSTATUS_FILE_WRITE_FAILED;
    }
    if (status != DGSTATUS_SUCCESS) {
        return status;
    }
    return target.commit() ? DGSTATUS_FILE_WRITE_FAILED : DGSTATUS_SUCCESS;
}

} // namespace mtpsdk
