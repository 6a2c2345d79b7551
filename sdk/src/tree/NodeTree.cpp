// SPDX-License-Identifier: MIT
#include "tree/NodeTree.h"

#include "platform/Strings.h"
#include "tree/RecordMemory.h"
#include "tree/RecordTexts.h"

#include <algorithm>
#include <cstring>

namespace mtpsdk {
namespace {

std::uint32_t hashOf(std::u16string_view folded) {
    std::uint32_t hash = 2166136261U;
    for (const char16_t unit : folded) {
        hash = (hash ^ unit) * 16777619U;
    }
    return hash;
}

std::uint32_t hashOfName(const std::u16string& name) {
    return hashOf(platform::caseFolded(name));
}

std::uint32_t textSize(const std::u16string& text) {
    return static_cast<std::uint32_t>(text.size() + 1);
}

void* memoryAt(std::uint32_t offset) {
    return mtpRecordMemoryBase() + offset;
}

std::uint32_t offsetOf(const void* memory) {
    return static_cast<std::uint32_t>(static_cast<const std::byte*>(memory) - mtpRecordMemoryBase());
}

} // namespace

NodeTree::NodeTree(std::uint32_t locationId)
    : _locationId(locationId) {}

NodeTree::OwnCall::OwnCall(NodeTree& tree)
    : _tree(tree) {
    _tree.writeDrafts();
    _tree._ownCall = true;
}

NodeTree::OwnCall::~OwnCall() {
    _tree._ownCall = false;
}

NodeTree::~NodeTree() {
    const OwnCall last(*this);
    const std::vector<NodeIndex> storages = _storages;
    for (const NodeIndex storage : storages) {
        remove(storage, Texts::freed);
    }
    for (const std::uint32_t memory : _retired) {
        mtpRecordFree(memoryAt(memory));
    }
}

NodeIndex NodeTree::nodeOf(const void* record) const {
    _MTP_COMMON_NODE header{};
    if (!copyRecord(record, &header, sizeof header)) {
        return 0;
    }
    const std::uint32_t offset = offsetOf(record);
    const std::lock_guard lock(_mutex);
    const auto isIt = [&](NodeIndex node) { return _nodes[node].record == offset; };
    const auto storage = std::find_if(_storages.begin(), _storages.end(), isIt);
    return storage != _storages.end() ? *storage : _objects.find(header.Id, isIt);
}

bool NodeTree::isLostStorage(const void* record) const {
    _MTP_COMMON_NODE header{};
    if (!copyRecord(record, &header, sizeof header)) {
        return false;
    }
    const std::lock_guard lock(_mutex);
    return std::ranges::count(_lostStorages, offsetOf(record)) != 0;
}

void NodeTree::forgetLostStorages() {
    const std::lock_guard lock(_mutex);
    _lostStorages.clear();
}

NodeIndex NodeTree::object(std::uint32_t handle) const {
    return _objects.find(handle, [&](NodeIndex node) {
        return _nodes[node].handle == handle && _nodes[node].kind != NodeKind::playlist;
    });
}

NodeIndex NodeTree::playlist(std::uint32_t handle) const {
    return _objects.find(handle, [&](NodeIndex node) {
        return _nodes[node].handle == handle && _nodes[node].kind == NodeKind::playlist;
    });
}

std::size_t NodeTree::recordSize(NodeKind kind) {
    constexpr std::size_t sizes[] = {0, sizeof(_MTP_STORAGE_NODE), sizeof(_MTP_FOLDER_NODE), sizeof(_MTP_FILE_NODE),
                                     sizeof(_MTP_PLAYLIST_NODE)};
    return sizes[static_cast<std::size_t>(kind)];
}

std::byte* NodeTree::editedBytes(NodeIndex node) {
    auto* bytes = record<std::byte>(node);
    if (_ownCall) {
        return bytes;
    }
    const auto [draft, isNew] = _drafts.try_emplace(node);
    if (isNew) {
        std::memcpy(draft->second.data(), bytes, recordSize(_nodes[node].kind));
    }
    return draft->second.data();
}

void NodeTree::writeDrafts() {
    for (const auto& [node, draft] : _drafts) {
        std::memcpy(record<std::byte>(node), draft.data(), recordSize(_nodes[node].kind));
    }
    _drafts.clear();
}

std::u16string NodeTree::name(NodeIndex node) const {
    switch (_nodes[node].kind) {
    case NodeKind::storage:
        return readRecordText(known<_MTP_STORAGE_NODE>(node).Label);
    case NodeKind::folder:
        return readRecordText(known<_MTP_FOLDER_NODE>(node).name);
    case NodeKind::file:
        return readRecordText(known<_MTP_FILE_NODE>(node).name);
    case NodeKind::playlist:
        return readRecordText(known<_MTP_PLAYLIST_NODE>(node).name);
    case NodeKind::none:
        break;
    }
    return {};
}

NodeIndex NodeTree::storageOf(NodeIndex node) const {
    while (node != 0 && _nodes[node].kind != NodeKind::storage) {
        node = _nodes[node].parent;
    }
    return node;
}

unsigned NodeTree::depth(NodeIndex node) const {
    unsigned depth = 0;
    for (; node != 0 && _nodes[node].kind != NodeKind::storage; node = _nodes[node].parent) {
        ++depth;
    }
    return depth;
}

NodeIndex NodeTree::storage(std::uint32_t storageId) const {
    const auto isIt = [&](NodeIndex node) { return _nodes[node].handle == storageId; };
    const auto storage = std::find_if(_storages.begin(), _storages.end(), isIt);
    return storage == _storages.end() ? 0 : *storage;
}

NodeIndex NodeTree::newNode(NodeKind kind, std::uint32_t handle) {
    auto* header = static_cast<_MTP_COMMON_NODE*>(mtpRecordAllocate(recordSize(kind)));
    if (header == nullptr) {
        return 0;
    }
    constexpr std::int32_t signatures[] = {0, MTP_SIGNATURE_STORAGE, MTP_SIGNATURE_FOLDER, MTP_SIGNATURE_FILE,
                                           MTP_SIGNATURE_PLAYLIST};
    *header = {handle, signatures[static_cast<std::size_t>(kind)], _locationId};
    NodeIndex node = _freeNodes;
    if (node != 0) {
        _freeNodes = _nodes[node].next;
    } else {
        node = static_cast<NodeIndex>(_nodes.size());
        _nodes.emplace_back();
    }
    _nodes[node] = Node{};
    _nodes[node].record = offsetOf(header);
    _nodes[node].handle = handle;
    _nodes[node].kind = kind;
    return node;
}

NodeIndex NodeTree::addStorage(std::uint32_t storageId, bool hidden) {
    const std::lock_guard lock(_mutex);
    const NodeIndex node = newNode(NodeKind::storage, storageId);
    if (node != 0) {
        _nodes[node].hidden = hidden;
        _storages.push_back(node);
    }
    return node;
}

void NodeTree::setStorageTexts(NodeIndex storage, const std::u16string& label, const std::u16string& description) {
    auto& record = edited<_MTP_STORAGE_NODE>(storage);
    std::uint32_t size = record.LabelLength;
    replaceText(record.Label, size, label);
    record.LabelLength = size;
    size = record.DescriptionLength;
    replaceText(record.Description, size, description);
    record.DescriptionLength = size;
}

void NodeTree::replaceText(RecordText& field, std::uint32_t& size, const std::u16string& text) {
    if (field.get() != nullptr && readRecordText(field) == text) {
        return;
    }
    if (std::uint16_t* copy = newRecordText(text)) {
        if (field.get() != nullptr) {
            _retired.push_back(field.value());
        }
        field = copy;
        size = textSize(text);
    }
}

NodeIndex NodeTree::addPlaylist(NodeIndex storage, std::uint32_t handle, const std::u16string& name) {
    if (playlist(handle) != 0) {
        return 0;
    }
    const std::lock_guard lock(_mutex);
    const NodeIndex node = newNode(NodeKind::playlist, handle);
    if (node != 0) {
        _nodes[node].parent = storage;
        setName(*record<_MTP_PLAYLIST_NODE>(node), name); // nobody has it yet
        link(node);
    }
    return node;
}

void NodeTree::setPlaylistName(NodeIndex playlist, const std::u16string& name) {
    setName(edited<_MTP_PLAYLIST_NODE>(playlist), name);
}

void NodeTree::setName(_MTP_PLAYLIST_NODE& record, const std::u16string& name) {
    std::uint32_t size = record.nameSize;
    replaceText(record.name, size, name);
    record.nameSize = size;
}

const NodeTree::Contents* NodeTree::contents(NodeIndex parent) const {
    return _nodes[parent].contents == 0 ? nullptr : &_contents[_nodes[parent].contents];
}

NodeTree::Contents& NodeTree::contentsForChange(NodeIndex parent) {
    std::uint32_t& place = _nodes[parent].contents;
    if (place == 0 && !_freeContents.empty()) {
        place = _freeContents.back();
        _freeContents.pop_back();
        _contents[place] = Contents{};
    } else if (place == 0) {
        place = static_cast<std::uint32_t>(_contents.size());
        _contents.emplace_back();
    }
    return _contents[place];
}

NodeIndex NodeTree::first(NodeIndex parent, NodeKind kind) const {
    const Contents* children = contents(parent);
    return children == nullptr ? 0 : chain(*children, kind).first;
}

NodeIndex NodeTree::child(NodeIndex parent, const std::u16string& name, Match match, NodeIndex except) const {
    const Contents* children = contents(parent);
    if (children == nullptr) {
        return 0;
    }
    const std::u16string folded = platform::caseFolded(name);
    const std::uint32_t hash = hashOf(folded);
    return children->names.find(hash, [&](NodeIndex node) {
        if (_nodes[node].nameHash != hash || node == except) {
            return false;
        }
        const std::u16string known = this->name(node);
        return known == name || (match == Match::anyCase && platform::caseFolded(known) == folded);
    });
}

bool NodeTree::loaded(NodeIndex parent, NodeKind kind) const {
    const Contents* children = contents(parent);
    return children != nullptr && chain(*children, kind).loaded;
}

void NodeTree::setLoaded(NodeIndex parent, NodeKind kind, bool loaded) {
    const std::lock_guard lock(_mutex);
    chain(contentsForChange(parent), kind).loaded = loaded;
}

bool NodeTree::brief(NodeIndex parent) const {
    const Contents* children = contents(parent);
    return children != nullptr && children->brief;
}

void NodeTree::setBrief(NodeIndex parent, bool brief) {
    const std::lock_guard lock(_mutex);
    contentsForChange(parent).brief = brief;
}

void NodeTree::link(NodeIndex node) {
    Contents& siblings = contentsForChange(_nodes[node].parent);
    Chain& among = chain(siblings, _nodes[node].kind);
    _nodes[node].previous = among.last;
    (among.last == 0 ? among.first : _nodes[among.last].next) = node;
    among.last = node;
    if (_nodes[node].kind != NodeKind::playlist) {
        siblings.names.insert(node, hashedBy(_nodes, &Node::nameHash));
    }
    _objects.insert(node, hashedBy(_nodes, &Node::handle));
}

void NodeTree::unlink(NodeIndex node) {
    Contents& siblings = contentsForChange(_nodes[node].parent);
    Chain& among = chain(siblings, _nodes[node].kind);
    const auto [previous, next] = std::pair(_nodes[node].previous, _nodes[node].next);
    (previous == 0 ? among.first : _nodes[previous].next) = next;
    (next == 0 ? among.last : _nodes[next].previous) = previous;
    if (_nodes[node].kind != NodeKind::playlist) {
        siblings.names.erase(node, hashedBy(_nodes, &Node::nameHash));
    }
    _objects.erase(node, hashedBy(_nodes, &Node::handle));
}

/// All texts of a record lie in one block that the name begins, since a block of their own would cost dates more than
/// they hold; equal dates share their text. false when the memory is exhausted.
bool NodeTree::setTexts(NodeIndex node, _MTP_COMMON_NODE* record, const ObjectEntry& entry,
                        const std::u16string& name) {
    _nodes[node].nameHash = hashOfName(name);
    const bool isFile = _nodes[node].kind == NodeKind::file;
    const std::u16string& created = entry.created;
    const std::u16string& modified = entry.modified;
    const bool shared = created == modified;
    const std::size_t dateUnits =
        (created.empty() ? 0 : created.size() + 1) + (modified.empty() || shared ? 0 : modified.size() + 1);
    const std::size_t units = name.size() + 1 + (isFile ? dateUnits : 0);
    auto* texts = static_cast<std::uint16_t*>(mtpRecordAllocate(units * sizeof(std::uint16_t)));
    if (texts == nullptr) {
        return false;
    }
    std::uint16_t* behind = copyText(name, texts);
    if (!isFile) {
        auto* folder = reinterpret_cast<_MTP_FOLDER_NODE*>(record);
        folder->name = texts;
        folder->nameSize = textSize(name);
        return true;
    }
    auto* file = reinterpret_cast<_MTP_FILE_NODE*>(record);
    file->name = texts;
    file->nameSize = textSize(name);
    file->creationDate = created.empty() ? nullptr : behind;
    file->creationDateSize = created.empty() ? 0 : textSize(created);
    behind = created.empty() ? behind : copyText(created, behind);
    file->modificationDate = modified.empty() ? nullptr : shared ? file->creationDate.get() : behind;
    file->modificationDateSize = modified.empty() ? 0 : textSize(modified);
    if (!modified.empty() && !shared) {
        copyText(modified, behind);
    }
    return true;
}

NodeIndex NodeTree::add(NodeIndex parent, const ObjectEntry& entry, const std::u16string& name) {
    const bool isFolder = entry.format == raw(FormatCode::Association);
    if (entry.handle == 0 || entry.handle == rootParent || object(entry.handle) != 0 ||
        depth(parent) >= greatestDepth) {
        return 0;
    }
    const std::lock_guard lock(_mutex);
    const NodeIndex node = newNode(isFolder ? NodeKind::folder : NodeKind::file, entry.handle);
    if (node == 0) {
        return 0;
    }
    _nodes[node].parent = parent;
    _nodes[node].format = entry.format;
    if (!isFolder) {
        auto* file = record<_MTP_FILE_NODE>(node);
        file->size = entry.size;
        file->protection = entry.protection;
    }
    // Nobody has the record yet. An object without a name beats none at all.
    (void) setTexts(node, record<_MTP_COMMON_NODE>(node), entry, name);
    link(node);
    return node;
}

void NodeTree::update(NodeIndex node, const ObjectEntry& entry, const std::u16string& name) {
    if (entry.isBrief) {
        rename(node, name);
        return;
    }
    const std::lock_guard lock(_mutex);
    bool sameDates = true;
    std::uint32_t texts = 0;
    if (_nodes[node].kind == NodeKind::file) {
        const auto& file = known<_MTP_FILE_NODE>(node);
        texts = file.name.value();
        sameDates = readRecordText(file.creationDate) == entry.created &&
                    readRecordText(file.modificationDate) == entry.modified;
        if (file.size != entry.size || file.protection != entry.protection) {
            auto& changed = edited<_MTP_FILE_NODE>(node);
            changed.size = entry.size;
            changed.protection = entry.protection;
        }
    } else {
        texts = known<_MTP_FOLDER_NODE>(node).name.value();
    }
    if (sameDates && this->name(node) == name) {
        return;
    }
    Contents& siblings = contentsForChange(_nodes[node].parent);
    siblings.names.erase(node, hashedBy(_nodes, &Node::nameHash));
    if (setTexts(node, &edited<_MTP_COMMON_NODE>(node), entry, name) && texts != 0) {
        _retired.push_back(texts);
    }
    siblings.names.insert(node, hashedBy(_nodes, &Node::nameHash));
}

void NodeTree::rename(NodeIndex node, const std::u16string& name) {
    ObjectEntry entry;
    if (_nodes[node].kind == NodeKind::file) {
        const auto& file = known<_MTP_FILE_NODE>(node);
        entry.size = file.size;
        entry.protection = static_cast<std::uint16_t>(file.protection);
        entry.created = readRecordText(file.creationDate);
        entry.modified = readRecordText(file.modificationDate);
    }
    update(node, entry, name);
}

void NodeTree::remove(NodeIndex node, Texts texts) {
    const std::lock_guard lock(_mutex);
    removeNode(node, texts);
}

void NodeTree::forget(NodeIndex parent, NodeKind kind, Texts texts) {
    const std::lock_guard lock(_mutex);
    forgetNodes(parent, kind, texts);
}

/// Depth is bounded by what add() takes in.
void NodeTree::removeNode(NodeIndex node, Texts texts) {
    forgetNodes(node, NodeKind::folder, texts);
    forgetNodes(node, NodeKind::file, texts);
    forgetNodes(node, NodeKind::playlist, texts);
    if (_nodes[node].contents != 0) {
        _freeContents.push_back(_nodes[node].contents);
    }
    if (_nodes[node].kind == NodeKind::storage) {
        std::erase(_storages, node);
        if (texts == Texts::kept && !_nodes[node].hidden) {
            _lostStorages.push_back(_nodes[node].record);
        }
    } else {
        unlink(node);
    }
    retire(node, texts);
}

void NodeTree::forgetNodes(NodeIndex parent, NodeKind kind, Texts texts) {
    if (_nodes[parent].contents == 0) {
        return;
    }
    while (const NodeIndex child = first(parent, kind)) {
        removeNode(child, texts);
    }
    chain(contentsForChange(parent), kind).loaded = false;
}

void NodeTree::retire(NodeIndex node, Texts texts) {
    const auto giveUp = [&](RecordText text) {
        if (texts == Texts::freed) {
            mtpRecordFree(text.get());
        } else if (text.value() != 0) {
            _retired.push_back(text.value());
        }
    };
    if (_nodes[node].kind == NodeKind::storage) {
        giveUp(known<_MTP_STORAGE_NODE>(node).Label);
        giveUp(known<_MTP_STORAGE_NODE>(node).Description);
    } else if (_nodes[node].kind == NodeKind::folder) {
        giveUp(known<_MTP_FOLDER_NODE>(node).name);
    } else if (_nodes[node].kind == NodeKind::playlist) {
        giveUp(known<_MTP_PLAYLIST_NODE>(node).name);
    } else { // the dates lie in the name's block
        giveUp(known<_MTP_FILE_NODE>(node).name);
    }
    _drafts.erase(node);
    if (texts == Texts::freed) {
        constexpr std::size_t kept = sizeof(_MTP_COMMON_NODE);
        std::memset(record<std::byte>(node) + kept, 0, recordSize(_nodes[node].kind) - kept);
    }
    _retired.push_back(_nodes[node].record);
    _nodes[node] = Node{};
    _nodes[node].next = _freeNodes;
    _freeNodes = node;
}

} // namespace mtpsdk
