// SPDX-License-Identifier: MIT
#pragma once

#include "store/StoreDescription.h"
#include "store/StoreTypes.h"

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <vector>

namespace mtpsdk {

class IncomingObject;

/// A device kept in a directory: `device.json`, one folder per storage with plain files, and `.mtp` with a database and
/// the files just arriving. What a person does in the folders shows; what the database knows of files that are gone is
/// forgotten. Folders are read when they are asked for, so that opening costs little however much there is.
///
/// One process at a time has a device open. Every method may be called from any thread.
class Store : public std::enable_shared_from_this<Store> {
public:
    /// Looks at one object; runs under the store's lock, so it must not call the store.
    using Visitor = std::function<void(const StoreObject& object)>;
    /// Runs on the thread that noticed the change, one at a time; must not call the store.
    using Listener = std::function<void(const StoreEvent& event)>;

    /// Null, and a sentence in `error`, when there is no usable device or another process holds it.
    [[nodiscard]] static std::shared_ptr<Store> open(const std::string& directory, std::string& error);
    ~Store();
    Store(const Store&) = delete;
    Store& operator=(const Store&) = delete;

    [[nodiscard]] const std::string& directory() const;
    [[nodiscard]] StoreDescription description() const;
    [[nodiscard]] bool setFriendlyName(const std::string& name);
    [[nodiscard]] bool setSyncPartner(const std::string& partner);
    /// A random number that this device keeps, for identifiers that are unique among devices.
    [[nodiscard]] std::uint64_t identity() const;

    /// Hidden ones included, in the description's order.
    [[nodiscard]] std::vector<StorageState> storages();
    [[nodiscard]] std::optional<StorageState> storage(std::uint32_t storageId);

    [[nodiscard]] StoreResult visitObject(Handle handle, const Visitor& visitor, Look look = Look::files);
    /// The objects below a folder (0: the storage's root) down to `depth` levels, parents before children; within a
    /// folder in order of their handles.
    [[nodiscard]] StoreResult visitBelow(std::uint32_t storageId, Handle folder, std::uint32_t depth,
                                         const Visitor& visitor, Look look = Look::files);

    [[nodiscard]] StoreResult createFolder(const NewStoreObject& object, Handle& handle);
    /// Checks that the object can be taken. Nothing shows until the incoming object is committed.
    [[nodiscard]] StoreResult receive(const NewStoreObject& object, std::unique_ptr<IncomingObject>& incoming);
    /// The name in its folder; an object may change the case of its own name.
    [[nodiscard]] StoreResult rename(Handle handle, const std::string& name);
    /// Into a folder (0: the root) of the same or another storage.
    [[nodiscard]] StoreResult move(Handle handle, std::uint32_t storageId, Handle folder);
    /// With all below; `partly` when some of it stayed.
    [[nodiscard]] StoreResult remove(Handle handle);
    /// Adds or replaces properties; an empty value removes one.
    [[nodiscard]] StoreResult setProperties(Handle handle, const StoreProperties& properties);

    /// Opens a file for reading. The descriptor is the caller's to close; `size` is the file's size now.
    [[nodiscard]] StoreResult openFile(Handle handle, int& descriptor, std::uint64_t& size);

    /// The objects that a playlist or album lists, in order; those that are gone are left out.
    [[nodiscard]] StoreResult references(Handle handle, std::vector<Handle>& references);
    /// Each must be there. A playlist's file gets the list in readable form.
    [[nodiscard]] StoreResult setReferences(Handle handle, const std::vector<Handle>& references);

    /// The number identifies the listener for removeListener, which returns when no call to it is under way.
    std::uint64_t addListener(Listener listener);
    void removeListener(std::uint64_t listener);
    /// Notices at once what others have changed in the folders read so far, and saves everything.
    void synchronize();

private:
    friend class IncomingObject;
    class Implementation;
    explicit Store(std::unique_ptr<Implementation> implementation);
    std::unique_ptr<Implementation> _implementation;
};

/// A file on its way onto the device: written aside, moved into its folder when it is whole. Destroying one that is not
/// committed leaves nothing behind. Belongs to one thread.
class IncomingObject {
public:
    ~IncomingObject();
    IncomingObject(const IncomingObject&) = delete;
    IncomingObject& operator=(const IncomingObject&) = delete;

    /// The handle that the object will have.
    [[nodiscard]] Handle handle() const { return _handle; }
    [[nodiscard]] std::uint64_t written() const { return _written; }
    /// full when the storage has no room for it.
    [[nodiscard]] StoreResult write(std::span<const std::byte> block);
    /// wrongSize when not exactly the announced bytes came; the object is dropped then. Once it is there, committing
    /// again changes nothing.
    [[nodiscard]] StoreResult commit();

private:
    friend class Store;
    friend class Store::Implementation;
    IncomingObject(std::shared_ptr<Store> store, NewStoreObject object, Handle handle, std::uint64_t room);
    [[nodiscard]] bool openFile();
    [[nodiscard]] bool closeFile();
    void discard();

    std::shared_ptr<Store> _store;
    NewStoreObject _object;
    Handle _handle;
    std::uint64_t _room; ///< bytes that may come at most
    std::uint64_t _written = 0;
    int _descriptor = -1;
    bool _arriving = false; ///< the file is in the folder of arriving files
    bool _committed = false;
    std::string _temporary; ///< its name in the folder of arriving files
};

} // namespace mtpsdk
