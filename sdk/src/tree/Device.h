// SPDX-License-Identifier: MIT
#pragma once

#include "mtp/Session.h"
#include "platform/Monitor.h"
#include "tree/EventCallbacks.h"
#include "tree/EventThread.h"
#include "tree/MediaCache.h"
#include "tree/NodeTree.h"
#include "tree/OwnChanges.h"
#include "tree/PlaylistReferences.h"
#include "vemomtpsdk/Callbacks.h"
#include "vemomtpsdk/Devices.h"

#include <atomic>
#include <chrono>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

namespace mtpsdk {

/// Whether an object of this format is a playlist.
[[nodiscard]] bool isPlaylist(std::uint16_t format);

/// One attached device behind its node: session, tree, events. Opened when first needed.
///
/// All methods expect the device's lock (DeviceCall takes it) except where stated. Shared: a call under way keeps the
/// device alive when its list is released meanwhile.
class Device : public std::enable_shared_from_this<Device> {
public:
    explicit Device(const vemomtpsdk::AttachedDevice& description);
    ~Device();
    Device(const Device&) = delete;
    Device& operator=(const Device&) = delete;

    // Any thread, without the lock.
    [[nodiscard]] _MTP_DEVICE_NODE* node() const { return _node; }
    [[nodiscard]] bool owns(const void* record) const { return record == _node || _tree.nodeOf(record) != 0; }
    /// Whether a reference to the storage list may have this head, which is gone from it.
    [[nodiscard]] bool hasLost(const void* storage) const { return _tree.isLostStorage(storage); }
    /// Whether this is the device that the system knows by this description (and not one that was pulled out since).
    [[nodiscard]] bool is(const vemomtpsdk::AttachedDevice& description) const;
    [[nodiscard]] platform::Monitor& lock() { return _lock; }
    [[nodiscard]] EventCallbacks& callbacks() { return _callbacks; }
    /// Its list was released: no node of it is found any more and no further event handled.
    void retire();
    [[nodiscard]] bool retired() const { return _retired; }
    /// Whether `handle` was given to the event callback that is under way.
    [[nodiscard]] bool isEventHandle(const void* handle) const { return handle != nullptr && _announced == handle; }

    /// Opens the device if that has not happened yet. DGSTATUS_NO_DEVICE_ATTACHED when it is gone,
    /// DGSTATUS_DEVICE_OPEN_FAILED when it does not open.
    [[nodiscard]] DGSTATUS open();
    /// Whether the device was opened and is gone since (any thread).
    [[nodiscard]] bool vanished() const;
    /// Frees the line to a device that is gone, so that it can be opened again when it is back (under another node).
    void hangUp();
    /// Only after open() answered success, within the same call.
    [[nodiscard]] Session& session() { return *_session; }
    [[nodiscard]] NodeTree& tree() { return _tree; }

    // Storages (DeviceStorages.cpp)
    /// Brings the listed storages up to date and adds a reference to their list. DGSTATUS_NO_STORAGE_ATTACHED when
    /// there is none.
    [[nodiscard]] DGSTATUS openStorageList(NodeIndex& head);
    void releaseStorageList();
    [[nodiscard]] NodeIndex nextStorage(NodeIndex storage) const;
    [[nodiscard]] DGSTATUS hiddenStorage(std::uint32_t storageId, NodeIndex& storage);
    /// Asks for the storage's capacity.
    void refreshCapacity(NodeIndex storage);
    /// Counts bytes that came (positive) or went.
    void countUsed(NodeIndex storage, std::int64_t bytes);

    // Folders (DeviceFolders.cpp)
    /// Sees to it that all children of these kinds are in the tree; at most one request.
    [[nodiscard]] DGSTATUS load(NodeIndex parent, bool folders, bool files, Listing listing = Listing::complete);
    /// How the application wants its folders listed.
    [[nodiscard]] Listing listing() const { return _listing; }
    void setListing(Listing listing) { _listing = listing; }
    /// Sees to it that a file's record tells more than its name. DGSTATUS_NODE_IS_NOT_EXISTED when it turns out to be
    /// gone: the node is dead then.
    [[nodiscard]] DGSTATUS complete(NodeIndex file);
    /// Whether there may be files that need completing (any thread, without the lock).
    [[nodiscard]] bool listedNames() const { return _listedNames; }
    /// Adds an object that came outside a listing. The handle that it carries is the device's word: another object that
    /// still has it is gone. 0 when the tree cannot take it.
    NodeIndex insert(NodeIndex parent, const ObjectEntry& entry);
    /// The status for a name that a child of the parent has already (not counting `except`) and that child, else 0.
    [[nodiscard]] DGSTATUS checkFree(NodeIndex parent, const std::u16string& name, NodeIndex except,
                                     NodeIndex& existing);
    /// Whether new names are taken as they are: told apart by case, and refused only where no name can be so.
    void setVerbatimNames(bool verbatim) { _verbatimNames = verbatim; }

    /// The object of a handle, whose folders need not have been listed: those above it are asked about one by one.
    /// DGSTATUS_NODE_IS_NOT_EXISTED when it is gone or the device's word about it makes no sense. (DeviceResolving.cpp)
    [[nodiscard]] DGSTATUS resolve(std::uint32_t handle, NodeIndex& node);

    // Objects (DeviceObjects.cpp)
    [[nodiscard]] DGSTATUS createFolder(NodeIndex parent, const std::u16string& name, NodeIndex& folder);
    [[nodiscard]] DGSTATUS deleteNode(NodeIndex node);
    [[nodiscard]] DGSTATUS renameNode(NodeIndex node, const std::u16string& name);
    /// What the device knows of a media file, asked once.
    [[nodiscard]] DGSTATUS media(NodeIndex file, MediaProperties& media);
    [[nodiscard]] DGSTATUS setMedia(NodeIndex file, const MediaProperties& media);

    // Transfers (DeviceTransfers.cpp)
    /// Sends a local file; `existing` or the new node comes back in `file`. `format` 0: by the name.
    [[nodiscard]] DGSTATUS sendFile(const std::string& path, const std::u16string& name, NodeIndex parent,
                                    std::uint16_t format, const MediaProperties& media, NodeIndex& file,
                                    MtpProgressCallback callback, void* context);
    [[nodiscard]] DGSTATUS receiveFile(NodeIndex file, const std::string& path, MtpProgressCallback callback,
                                       void* context);

    // Playlists (DevicePlaylists.cpp). DGSTATUS_NOT_SUPPORT_OP from a device without them. A playlist's node and the
    // node of its file are two views of one object; deleteNode() and renameNode() take either. What is known stays true
    // through events and our own changes; a list that is in doubt is asked for when it is needed next.
    /// Sees to it that all playlists of the storage are in the tree, each with its number of files.
    [[nodiscard]] DGSTATUS loadPlaylists(NodeIndex storage);
    /// The storage's playlists die; the next listing asks the device again.
    void forgetPlaylists(NodeIndex storage);
    /// The file at a place of the list. DGSTATUS_NO_MORE_DATA behind its end, DGSTATUS_NODE_IS_NOT_EXISTED for an
    /// object that is gone, DGSTATUS_NOT_MATCHED_FILENODE for one that is no file.
    [[nodiscard]] DGSTATUS playlistFile(NodeIndex playlist, std::uint32_t index, NodeIndex& file);
    /// Handles of objects in order. A name that is there already hands its playlist out (0 when it is another file's).
    [[nodiscard]] DGSTATUS createPlaylist(NodeIndex parent, const std::u16string& name,
                                          const std::vector<std::uint32_t>& objects, NodeIndex& playlist);
    [[nodiscard]] DGSTATUS writePlaylist(NodeIndex playlist, const std::vector<std::uint32_t>& objects);

    // Properties (DeviceProperties.cpp). DGSTATUS_NO_DATA when absent.
    /// Safe as a part of a path. Without one the model's name stands in.
    [[nodiscard]] DGSTATUS friendlyName(std::u16string& name);
    [[nodiscard]] DGSTATUS setFriendlyName(const std::u16string& name);
    [[nodiscard]] DGSTATUS syncPartner(std::u16string& partner);
    [[nodiscard]] DGSTATUS setSyncPartner(const std::u16string& partner);

    // Events (DeviceEvents.cpp)
    /// Applies the event of the callback under way, once; further calls yield the same nodes.
    [[nodiscard]] DGSTATUS applyAnnounced(NodeIndex& parent, NodeIndex& updated);

private:
    struct PendingEvent {
        Session::Event event;
        NodeIndex parent = 0;  ///< of the object that came or goes
        NodeIndex updated = 0; ///< the object that came
        ObjectEntry entry;     ///< of an object that came
        DGSTATUS status = 0;
        bool applied = false;
    };

    [[nodiscard]] DGSTATUS openSession();
    void closeSession();
    [[nodiscard]] DGSTATUS listStorages();
    /// Whether nothing was asked, done or told since they were listed, a moment ago.
    [[nodiscard]] bool storagesAreFresh();
    void describeStorage(NodeIndex storage, const StorageInfo& info);
    void dropMissingStorages(const std::vector<std::uint32_t>& ids);

    [[nodiscard]] bool takesName(const std::u16string& name) const;
    void merge(NodeIndex parent, std::vector<ObjectEntry>& entries, Listing told);
    void dropMissing(NodeIndex parent, const std::vector<ObjectEntry>& entries);
    void refresh(NodeIndex node, const ObjectEntry& entry);
    [[nodiscard]] bool isAncestor(NodeIndex candidate, NodeIndex node) const;

    [[nodiscard]] DGSTATUS descend(NodeIndex above, std::vector<ObjectEntry>& way, NodeIndex& node);

    [[nodiscard]] DGSTATUS mergePlaylists(NodeIndex storage, const std::vector<std::uint32_t>& handles);
    /// The playlist node of a playlist's file, made when there is none.
    NodeIndex playlistOf(NodeIndex file);
    [[nodiscard]] DGSTATUS readReferences(NodeIndex playlist);
    void takeReferences(NodeIndex playlist, std::vector<std::uint32_t> objects);
    [[nodiscard]] bool leaveOutVanished(NodeIndex playlist, std::vector<std::uint32_t>& objects);
    [[nodiscard]] DGSTATUS fileOf(NodeIndex playlist, NodeIndex& file);
    [[nodiscard]] DGSTATUS deletePlaylist(NodeIndex playlist);
    [[nodiscard]] DGSTATUS renamePlaylist(NodeIndex playlist, const std::u16string& name);
    void dropPlaylist(NodeIndex playlist, NodeTree::Texts texts);
    /// Of an object that is gone: it is no playlist any more, and no list names it.
    void dropObject(std::uint32_t handle, NodeTree::Texts texts);
    /// The same before a folder or file goes for good, with all that a folder holds.
    void leaveLists(NodeIndex node, NodeTree::Texts texts);
    /// Of an object that came: a playlist that was not known makes the storage's list incomplete.
    void noticePlaylist(NodeIndex storage, const ObjectEntry& entry);
    /// After a file's name changed: a playlist's name follows.
    void renamedFile(NodeIndex file);
    void nameAfter(NodeIndex playlist, const std::u16string& fileName);

    [[nodiscard]] DGSTATUS takeIn(const NewObject& object, ObjectEntry& sent, const MediaProperties& media,
                                  NodeIndex parent, NodeIndex& file);

    void handleEvent(const Session::Event& event); ///< on the event thread, without the lock
    [[nodiscard]] bool prepare(PendingEvent& pending, _MTP_COMMON_NODE*& target);
    [[nodiscard]] bool prepareAdded(PendingEvent& pending, _MTP_COMMON_NODE*& target);
    void apply(PendingEvent& pending);
    void applyAdded(PendingEvent& pending);
    void applyRemoved(PendingEvent& pending);
    void applyChanged(std::uint32_t handle);
    void dropTree();

    const vemomtpsdk::AttachedDevice _description;
    _MTP_DEVICE_NODE* _node;
    platform::Monitor _lock;
    std::atomic<bool> _retired = false;
    bool _lost = false; ///< the line to a vanished device was freed

    NodeTree _tree;
    unsigned _storageReferences = 0;
    struct StorageListing {
        std::uint64_t transactions = 0; ///< of the session, when it ended
        std::chrono::steady_clock::time_point ended;
    };
    std::optional<StorageListing> _storageListing; ///< the last one, as long as nothing speaks against it
    MediaCache _media;
    OwnChanges _ownChanges;
    PlaylistReferences _references;
    bool _verbatimNames = false;
    Listing _listing = Listing::complete;
    std::atomic<bool> _listedNames = false;
    NodeIndex _resolvedIn = 0; ///< where the object that was resolved last lies
    std::optional<std::u16string> _friendlyName;

    EventCallbacks _callbacks;
    std::atomic<PendingEvent*> _announced = nullptr;
    mutable std::mutex _sessionMutex;          ///< of what follows and _lost, for readers without the lock
    std::unique_ptr<EventThread> _eventThread; ///< outlives the session, which posts to it
    std::shared_ptr<Session> _session;
};

} // namespace mtpsdk
