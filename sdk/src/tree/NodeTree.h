// SPDX-License-Identifier: MIT
#pragma once

#include "mtp/Session.h"
#include "tree/HashIndex.h"
#include "vemomtpsdk/Records.h"

#include <array>
#include <cstdint>
#include <deque>
#include <mutex>
#include <string>
#include <unordered_map>
#include <vector>

namespace mtpsdk {

using NodeIndex = std::uint32_t; ///< a node's place in its tree; 0: none

enum class NodeKind : std::uint8_t { none, storage, folder, file, playlist };

/// What the tree knows of a node beside its record, which any application may write to.
struct Node {
    std::uint32_t record = 0; ///< offset in record memory
    NodeIndex parent = 0;
    NodeIndex previous = 0; ///< among the siblings of its kind
    NodeIndex next = 0;
    std::uint32_t handle = 0;   ///< storage ID or object handle
    std::uint32_t nameHash = 0; ///< of the case-folded name
    std::uint32_t contents = 0; ///< of a storage or folder whose children are (partly) known
    std::uint16_t format = 0;
    NodeKind kind = NodeKind::none;
    bool hidden = false; ///< a storage that the device does not list
};
static_assert(sizeof(Node) == 32);

/// The storages, folders, files and playlists of one device as far as they are known, each with its record. Plain data:
/// it asks the device nothing.
///
/// A playlist hangs on its storage and shares its handle with the file node of the same object, where that is known.
///
/// Names are indexed per folder without regard to case; siblings keep the order in which they came. Appending,
/// removing and stepping on cost the same however many there are. A dead node's record is not used again while the
/// tree lives, so a stale pointer never names another node; the tree's end frees all.
///
/// The application reads records whenever it likes, so they change only while an OwnCall lives; what changes at other
/// times is drafted, and the next OwnCall writes it into the records. The tree itself reads drafts first.
///
/// Threads: the holder of the device's lock reads and changes; nodeOf() may be called by anyone at any time.
class NodeTree {
public:
    explicit NodeTree(std::uint32_t locationId);
    ~NodeTree();
    NodeTree(const NodeTree&) = delete;
    NodeTree& operator=(const NodeTree&) = delete;

    /// What becomes of a dead node's texts: freed when the application gave the node up, kept until the tree's end when
    /// the device took it away and another thread may still be reading.
    enum class Texts { freed, kept };

    /// A call of the application's by which its records may change.
    class OwnCall {
    public:
        explicit OwnCall(NodeTree& tree);
        ~OwnCall();
        OwnCall(const OwnCall&) = delete;
        OwnCall& operator=(const OwnCall&) = delete;

    private:
        NodeTree& _tree;
    };

    /// The live node whose record lies at this address, or 0. Any pointer may be asked about.
    [[nodiscard]] NodeIndex nodeOf(const void* record) const;
    /// The live folder or file of this handle, or 0; and the live playlist.
    [[nodiscard]] NodeIndex object(std::uint32_t handle) const;
    [[nodiscard]] NodeIndex playlist(std::uint32_t handle) const;
    [[nodiscard]] const Node& at(NodeIndex node) const { return _nodes[node]; }
    /// The record as it is handed out; null for 0.
    template <typename Record>
    [[nodiscard]] Record* record(NodeIndex node) const {
        return node == 0 ? nullptr : place<Record>(node);
    }
    /// What the record says by now.
    template <typename Record>
    [[nodiscard]] const Record& known(NodeIndex node) const {
        const auto draft = _drafts.empty() ? _drafts.end() : _drafts.find(node);
        return draft == _drafts.end() ? *place<Record>(node) : *reinterpret_cast<const Record*>(draft->second.data());
    }
    /// The record or its draft, for a change.
    template <typename Record>
    [[nodiscard]] Record& edited(NodeIndex node) {
        return *reinterpret_cast<Record*>(editedBytes(node));
    }
    [[nodiscard]] std::u16string name(NodeIndex node) const;
    [[nodiscard]] NodeIndex storageOf(NodeIndex node) const;
    /// Folders between the node and its storage, itself counted.
    [[nodiscard]] unsigned depth(NodeIndex node) const;

    // Storages, listed and hidden ones, in the order in which they came.
    [[nodiscard]] const std::vector<NodeIndex>& storages() const { return _storages; }
    [[nodiscard]] NodeIndex storage(std::uint32_t storageId) const;
    /// 0 when the memory is exhausted.
    NodeIndex addStorage(std::uint32_t storageId, bool hidden);
    /// Whether a listed storage's record lay at this address that the device took away since forgetLostStorages(). Any
    /// pointer, and any thread, may ask.
    [[nodiscard]] bool isLostStorage(const void* record) const;
    void forgetLostStorages();
    void setHidden(NodeIndex storage, bool hidden) { _nodes[storage].hidden = hidden; }
    void setStorageTexts(NodeIndex storage, const std::u16string& label, const std::u16string& description);

    // Playlists of a storage; they have no part in the names of the folder that their file lies in.
    /// 0 when the handle is a playlist's already or the memory is exhausted.
    NodeIndex addPlaylist(NodeIndex storage, std::uint32_t handle, const std::u16string& name);
    void setPlaylistName(NodeIndex playlist, const std::u16string& name);

    // Children of a storage or folder.
    [[nodiscard]] NodeIndex first(NodeIndex parent, NodeKind kind) const;
    [[nodiscard]] NodeIndex next(NodeIndex node) const { return _nodes[node].next; }
    /// Folders lie no deeper in each other. A little more than applications are told of, so that they can tell that
    /// something is left out; a device that nests further is making it up.
    static constexpr unsigned greatestDepth = 1010;
    enum class Match { anyCase, exact };
    /// The first child of this name other than `except`, or 0.
    [[nodiscard]] NodeIndex child(NodeIndex parent, const std::u16string& name, Match match = Match::anyCase,
                                  NodeIndex except = 0) const;
    /// Whether all children of this kind are in the tree.
    [[nodiscard]] bool loaded(NodeIndex parent, NodeKind kind) const;
    void setLoaded(NodeIndex parent, NodeKind kind, bool loaded);
    /// Whether some of the files there are known by name alone: their records tell no size, protection and dates.
    [[nodiscard]] bool brief(NodeIndex parent) const;
    void setBrief(NodeIndex parent, bool brief);

    /// Appends an object. 0 when its handle is in the tree already (a device that names one object twice, or makes it
    /// its own ancestor), the folders nest too deep, or the memory is exhausted.
    NodeIndex add(NodeIndex parent, const ObjectEntry& entry, const std::u16string& name);
    /// Takes over what may change of an object, of a brief entry its name; the node keeps its place.
    void update(NodeIndex node, const ObjectEntry& entry, const std::u16string& name);
    void rename(NodeIndex node, const std::u16string& name);
    /// The node dies with all below it.
    void remove(NodeIndex node, Texts texts);
    /// All children of this kind die; they count as not loaded.
    void forget(NodeIndex parent, NodeKind kind, Texts texts);

private:
    struct Chain {
        NodeIndex first = 0;
        NodeIndex last = 0;
        bool loaded = false;
    };
    struct Contents {
        Chain folders;
        Chain files;
        Chain playlists;
        HashIndex names; ///< of folders and files
        bool brief = false;
    };

    /// Where the record of a node (not 0) lies.
    template <typename Record>
    [[nodiscard]] Record* place(NodeIndex node) const {
        return reinterpret_cast<Record*>(mtpRecordMemoryBase() + _nodes[node].record);
    }
    [[nodiscard]] const Contents* contents(NodeIndex parent) const;
    Contents& contentsForChange(NodeIndex parent);
    template <typename AnyContents>
    static auto& chain(AnyContents& contents, NodeKind kind) {
        return kind == NodeKind::folder     ? contents.folders
               : kind == NodeKind::playlist ? contents.playlists
                                            : contents.files;
    }
    [[nodiscard]] static std::size_t recordSize(NodeKind kind);
    [[nodiscard]] std::byte* editedBytes(NodeIndex node);
    void writeDrafts();
    void replaceText(RecordText& field, std::uint32_t& size, const std::u16string& text);
    NodeIndex newNode(NodeKind kind, std::uint32_t handle);
    void link(NodeIndex node);
    void unlink(NodeIndex node);
    void forgetNodes(NodeIndex parent, NodeKind kind, Texts texts);
    void removeNode(NodeIndex node, Texts texts);
    void retire(NodeIndex node, Texts texts);
    [[nodiscard]] bool setTexts(NodeIndex node, _MTP_COMMON_NODE* record, const ObjectEntry& entry,
                                const std::u16string& name);
    void setName(_MTP_PLAYLIST_NODE& record, const std::u16string& name);
    template <typename Hash>
    static auto hashedBy(const std::deque<Node>& nodes, Hash hash) {
        return [&nodes, hash](NodeIndex node) { return nodes[node].*hash; };
    }

    std::uint32_t _locationId;
    mutable std::mutex _mutex; ///< of changes, and of readers that do not hold the device's lock
    std::deque<Node> _nodes = std::deque<Node>(1);
    NodeIndex _freeNodes = 0; ///< chained by next
    std::deque<Contents> _contents = std::deque<Contents>(1);
    std::vector<std::uint32_t> _freeContents;
    std::vector<NodeIndex> _storages;
    std::vector<std::uint32_t> _lostStorages;                    ///< record memory
    HashIndex _objects;                                          ///< by handle
    std::vector<std::uint32_t> _retired;                         ///< record memory of dead nodes
    using Draft = std::array<std::byte, sizeof(_MTP_FILE_NODE)>; ///< room for the largest record
    std::unordered_map<NodeIndex, Draft> _drafts;
    bool _ownCall = false;
};

} // namespace mtpsdk
