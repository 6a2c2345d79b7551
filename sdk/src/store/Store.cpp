// SPDX-License-Identifier: MIT
#include "store/Store.h"

#include "store/StoreImplementation.h"

#include <algorithm>
#include <utility>

namespace mtpsdk {

Store::Store(std::unique_ptr<Implementation> implementation)
    : _implementation(std::move(implementation)) {}

Store::~Store() = default;

std::shared_ptr<Store> Store::open(const std::string& directory, std::string& error) {
    auto implementation = std::make_unique<Implementation>();
    if (!implementation->open(directory, error)) {
        return nullptr;
    }
    return std::shared_ptr<Store>(new Store(std::move(implementation)));
}

const std::string& Store::directory() const {
    return _implementation->directory();
}

StoreDescription Store::description() const {
    const Implementation::Operation operation(*_implementation);
    return _implementation->description();
}

bool Store::setFriendlyName(const std::string& name) {
    const Implementation::Operation operation(*_implementation);
    std::string previous = std::exchange(_implementation->description().friendlyName, name);
    if (name.empty() || !_implementation->saveDescription()) {
        _implementation->description().friendlyName = std::move(previous);
        return false;
    }
    return true;
}

bool Store::setSyncPartner(const std::string& partner) {
    const Implementation::Operation operation(*_implementation);
    _implementation->description().syncPartner = partner;
    return _implementation->saveDescription();
}

std::uint64_t Store::identity() const {
    return _implementation->identity();
}

std::vector<StorageState> Store::storages() {
    const Implementation::Operation operation(*_implementation);
    std::vector<StorageState> states;
    for (const StorageDescription& storage : _implementation->description().storages) {
        states.push_back(_implementation->state(storage));
    }
    return states;
}

std::optional<StorageState> Store::storage(std::uint32_t storageId) {
    const std::vector<StorageState> states = storages();
    const auto found = std::find_if(states.begin(), states.end(),
                                    [storageId](const StorageState& each) { return each.storageId == storageId; });
    return found != states.end() ? std::optional(*found) : std::nullopt;
}

StoreResult Store::visitObject(Handle handle, const Visitor& visitor, Look look) {
    const Implementation::Operation operation(*_implementation);
    StoreNode* const node = _implementation->find(handle, look);
    if (node == nullptr) {
        return StoreResult::noSuchObject;
    }
    if (look == Look::files) {
        _implementation->settlePlaylist(*node);
    }
    visitor(*node);
    return StoreResult::ok;
}

StoreResult Store::visitBelow(std::uint32_t storageId, Handle folder, std::uint32_t depth, const Visitor& visitor,
                              Look look) {
    const Implementation::Operation operation(*_implementation);
    StoreResult result = StoreResult::ok;
    StoreNode* const node = _implementation->folder(storageId, folder, result, look);
    return node != nullptr ? _implementation->visitBelow(*node, depth, visitor, look) : result;
}

StoreResult Store::createFolder(const NewStoreObject& object, Handle& handle) {
    const Implementation::Operation operation(*_implementation);
    return _implementation->createFolder(object, handle);
}

StoreResult Store::receive(const NewStoreObject& object, std::unique_ptr<IncomingObject>& incoming) {
    const Implementation::Operation operation(*_implementation);
    Handle handle = 0;
    std::uint64_t room = 0;
    const StoreResult result = _implementation->prepare(object, handle, room);
    if (result == StoreResult::ok) {
        incoming.reset(new IncomingObject(shared_from_this(), object, handle, room));
    }
    return result;
}

StoreResult Store::rename(Handle handle, const std::string& name) {
    const Implementation::Operation operation(*_implementation);
    StoreNode* const node = _implementation->find(handle);
    return node != nullptr ? _implementation->move(*node, *node->above, name) : StoreResult::noSuchObject;
}

StoreResult Store::move(Handle handle, std::uint32_t storageId, Handle folder) {
    const Implementation::Operation operation(*_implementation);
    StoreNode* const node = _implementation->find(handle);
    if (node == nullptr) {
        return StoreResult::noSuchObject;
    }
    StoreResult result = StoreResult::ok;
    StoreNode* const target = _implementation->folder(storageId, folder, result);
    return target != nullptr ? _implementation->move(*node, *target, node->name) : result;
}

StoreResult Store::remove(Handle handle) {
    const Implementation::Operation operation(*_implementation);
    StoreNode* const node = _implementation->find(handle);
    return node != nullptr ? _implementation->remove(*node) : StoreResult::noSuchObject;
}

StoreResult Store::setProperties(Handle handle, const StoreProperties& properties) {
    const Implementation::Operation operation(*_implementation);
    StoreNode* const node = _implementation->find(handle);
    if (node == nullptr) {
        return StoreResult::noSuchObject;
    }
    _implementation->setProperties(*node, properties);
    return StoreResult::ok;
}

StoreResult Store::openFile(Handle handle, int& descriptor, std::uint64_t& size) {
    const Implementation::Operation operation(*_implementation);
    StoreNode* const node = _implementation->find(handle);
    return node != nullptr ? _implementation->openFile(*node, descriptor, size) : StoreResult::noSuchObject;
}

StoreResult Store::references(Handle handle, std::vector<Handle>& references) {
    const Implementation::Operation operation(*_implementation);
    StoreNode* const node = _implementation->find(handle);
    if (node == nullptr) {
        return StoreResult::noSuchObject;
    }
    references = _implementation->references(*node);
    return StoreResult::ok;
}

StoreResult Store::setReferences(Handle handle, const std::vector<Handle>& references) {
    const Implementation::Operation operation(*_implementation);
    StoreNode* const node = _implementation->find(handle);
    if (node == nullptr) {
        return StoreResult::noSuchObject;
    }
    const bool allThere = std::all_of(references.begin(), references.end(),
                                      [this](Handle each) { return _implementation->find(each) != nullptr; });
    if (!allThere) {
        return StoreResult::badReference;
    }
    _implementation->setReferences(*node, references);
    return StoreResult::ok;
}

std::uint64_t Store::addListener(Listener listener) {
    return _implementation->addListener(std::move(listener));
}

void Store::removeListener(std::uint64_t listener) {
    _implementation->removeListener(listener);
}

void Store::synchronize() {
    const Implementation::Operation operation(*_implementation);
    _implementation->save();
}

} // namespace mtpsdk
