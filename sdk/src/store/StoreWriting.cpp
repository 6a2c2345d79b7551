// SPDX-License-Identifier: MIT
#include "store/StoreImplementation.h"

#include "platform/PosixFile.h"
#include "platform/Strings.h"
#include "store/StoreNames.h"

#include <algorithm>
#include <cerrno>
#include <ctime>
#include <fcntl.h>
#include <limits>
#include <sys/stat.h>
#include <unistd.h>
#include <utility>

namespace mtpsdk {

namespace {

StoreResult resultOf(int error) {
    switch (error) {
    case 0:
        return StoreResult::ok;
    case EEXIST:
    case ENOTEMPTY:
        return StoreResult::nameTaken;
    case ENOSPC:
    case EDQUOT:
        return StoreResult::full;
    case EACCES:
    case EPERM:
    case EROFS:
        return StoreResult::readOnly;
    case ENAMETOOLONG:
    case EILSEQ:
    case EINVAL:
        return StoreResult::badName;
    default:
        return StoreResult::failed;
    }
}

} // namespace

StoreResult Store::Implementation::checkNew(const NewStoreObject& object, StoreNode*& folder) {
    StoreResult result = StoreResult::ok;
    folder = this->folder(object.storageId, object.parent, result);
    if (folder == nullptr) {
        return result;
    }
    if (fileNameFrom(platform::toUtf16(object.name)) != object.name || !isTellableName(object.name)) {
        return StoreResult::badName;
    }
    return _tree.child(*folder, object.name) != nullptr ? StoreResult::nameTaken : StoreResult::ok;
}

StoreResult Store::Implementation::createFolder(const NewStoreObject& object, Handle& handle) {
    StoreNode* folder = nullptr;
    if (const StoreResult result = checkNew(object, folder); result != StoreResult::ok) {
        return result;
    }
    const int descriptor = _descriptors.descriptor(*folder);
    if (::mkdirat(descriptor, object.name.c_str(), 0777) != 0) {
        return resultOf(errno);
    }
    auto node = std::make_unique<StoreNode>();
    node->handle = handle = newHandle();
    node->storageId = object.storageId;
    node->format = FormatCode::Association;
    node->name = object.name;
    node->modified = std::time(nullptr);
    node->created = object.created != 0 ? object.created : node->modified;
    node->properties = object.properties;
    StoreNode& added = addNode(*folder, std::move(node));
    markChanged(*folder);
    (void) load(added);
    return StoreResult::ok;
}

StoreResult Store::Implementation::prepare(const NewStoreObject& object, Handle& handle, std::uint64_t& room) {
    StoreNode* folder = nullptr;
    if (const StoreResult result = checkNew(object, folder); result != StoreResult::ok) {
        return result;
    }
    const auto storage =
        std::find_if(_description.storages.begin(), _description.storages.end(),
                     [&object](const StorageDescription& each) { return each.storageId == object.storageId; });
    room = state(*storage).free();
    if (object.sizeKnown && object.size > room) {
        return StoreResult::full;
    }
    handle = newHandle();
    return StoreResult::ok;
}

StoreResult Store::Implementation::adopt(const NewStoreObject& object, Handle handle, const std::string& temporary) {
    StoreNode* folder = nullptr;
    if (const StoreResult result = checkNew(object, folder); result != StoreResult::ok) {
        return result;
    }
    const int descriptor = _descriptors.descriptor(*folder);
    if (const int error = renameWithoutReplacing(_arrivals, temporary, descriptor, object.name)) {
        return resultOf(error);
    }
    DirectoryEntry entry;
    if (!readEntry(descriptor, object.name, entry)) {
        return StoreResult::failed;
    }
    auto node = std::make_unique<StoreNode>();
    node->handle = handle;
    node->storageId = object.storageId;
    node->format = object.format;
    node->size = entry.size;
    node->modified = entry.modified;
    node->created = object.created != 0 ? object.created : entry.modified;
    node->name = object.name;
    node->properties = object.properties;
    addNode(*folder, std::move(node));
    markChanged(*folder);
    return StoreResult::ok;
}

StoreResult Store::Implementation::move(StoreNode& node, StoreNode& target, const std::string& name) {
    if (fileNameFrom(platform::toUtf16(name)) != name || !isTellableName(name)) {
        return StoreResult::badName;
    }
    for (const StoreNode* above = &target; above != nullptr; above = above->above) {
        if (above == &node) {
            return StoreResult::noSuchParent; // a folder cannot go into itself
        }
    }
    if (node.readOnly) {
        return StoreResult::readOnly;
    }
    StoreNode& source = *node.above;
    if (&source == &target && node.name == name) {
        return StoreResult::ok;
    }
    if (_tree.child(target, name) != nullptr) {
        return StoreResult::nameTaken;
    }
    if (node.isFolder() && node.storageId != target.storageId) {
        return StoreResult::noSuchParent; // folders stay on their storage
    }
    // The target's descriptor must not push the source's out while both are in use.
    const platform::Descriptor from(::dup(_descriptors.descriptor(source)));
    if (const int error = renameWithoutReplacing(from.get(), node.name, _descriptors.descriptor(target), name)) {
        return resultOf(error);
    }
    changeUsed(node.storageId, 0, node.size);
    changeUsed(target.storageId, node.size, 0);
    node.storageId = target.storageId;
    _tree.move(node, target, name);
    _database.move(node.handle, target.key(), name);
    markChanged(source);
    markChanged(target);
    return StoreResult::ok;
}

void Store::Implementation::setProperties(StoreNode& node, const StoreProperties& properties) {
    properties.forEach([&node](const StoreProperties::Entry& entry) {
        if (entry.value.empty()) {
            node.properties.remove(entry.code);
        } else {
            node.properties.set(entry.code, entry.type, entry.value);
        }
    });
    _database.updateProperties(node.handle, node.properties);
}

IncomingObject::IncomingObject(std::shared_ptr<Store> store, NewStoreObject object, Handle handle, std::uint64_t room)
    : _store(std::move(store))
    , _object(std::move(object))
    , _handle(handle)
    , _room(_object.sizeKnown ? _object.size : room)
    , _temporary(std::to_string(handle)) {}

IncomingObject::~IncomingObject() {
    discard();
}

bool IncomingObject::closeFile() {
    const int descriptor = std::exchange(_descriptor, -1);
    return descriptor < 0 || ::close(descriptor) == 0 || errno == EINTR;
}

void IncomingObject::discard() {
    (void) closeFile();
    if (std::exchange(_arriving, false)) {
        (void) ::unlinkat(_store->_implementation->arrivals(), _temporary.c_str(), 0);
    }
}

bool IncomingObject::openFile() {
    if (_descriptor < 0) {
        _descriptor = platform::retryInterrupted([this] {
            return ::openat(_store->_implementation->arrivals(), _temporary.c_str(),
                            O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, 0666);
        });
        _arriving = _descriptor >= 0;
    }
    return _descriptor >= 0;
}

StoreResult IncomingObject::write(std::span<const std::byte> block) {
    if (block.size() > _room - std::min(_room, _written)) {
        return _object.sizeKnown ? StoreResult::wrongSize : StoreResult::full;
    }
    if (!openFile()) {
        return resultOf(errno);
    }
    while (!block.empty()) {
        const ssize_t count =
            platform::retryInterrupted([&] { return ::write(_descriptor, block.data(), block.size()); });
        if (count < 0) {
            return resultOf(errno);
        }
        _written += static_cast<std::uint64_t>(count);
        block = block.subspan(static_cast<std::size_t>(count));
    }
    return StoreResult::ok;
}

StoreResult IncomingObject::commit() {
    if (_committed) {
        return StoreResult::ok;
    }
    if (_object.sizeKnown && _written != _object.size) {
        discard();
        return StoreResult::wrongSize;
    }
    if (!openFile()) {
        return resultOf(errno);
    }
    if (_object.modified != 0) {
        const timespec times[2] = {{0, UTIME_OMIT}, {static_cast<time_t>(_object.modified), 0}};
        (void) ::futimens(_descriptor, times);
    }
    // Closed before it is moved: some file systems report a full disk only here, and in its folder a file that is
    // closed would be noticed as one that somebody wrote.
    StoreResult result = closeFile() ? StoreResult::ok : resultOf(errno);
    if (result == StoreResult::ok) {
        const Store::Implementation::Operation operation(*_store->_implementation);
        result = _store->_implementation->adopt(_object, _handle, _temporary);
    }
    if (result != StoreResult::ok) {
        discard();
        return result;
    }
    _arriving = false;
    _committed = true;
    return StoreResult::ok;
}

} // namespace mtpsdk
