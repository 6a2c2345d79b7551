// SPDX-License-Identifier: MIT
#include "platform/Strings.h"
#include "tree/Device.h"
#include "tree/SafeNames.h"

#include <algorithm>
#include <unordered_set>

namespace mtpsdk {
namespace {

bool isFolder(const ObjectEntry& entry) {
    return entry.format == raw(FormatCode::Association);
}

/// Gives the objects of one folder their safe names. Names that were safe already are theirs by right, so that one made
/// safe never takes another's; equal names are told apart. (Names that differ in case only are different names.)
class Namer {
public:
    Namer(const NodeTree& tree, NodeIndex parent, const std::vector<ObjectEntry>& entries)
        : _tree(tree)
        , _parent(parent) {
        for (const ObjectEntry& entry : entries) {
            _anyUnsafe = _anyUnsafe || !isSafeName(entry.name);
        }
        for (const ObjectEntry& entry : entries) {
            if (_anyUnsafe && isSafeName(entry.name)) {
                _rightful.insert(platform::caseFolded(entry.name));
            }
        }
    }

    [[nodiscard]] std::u16string nameFor(const ObjectEntry& entry, NodeIndex itself) const {
        const bool changed = _anyUnsafe && !isSafeName(entry.name);
        if (!changed && _tree.child(_parent, entry.name, NodeTree::Match::exact, itself) == 0) {
            return entry.name;
        }
        const std::u16string name = safeName(entry.name);
        const NodeTree::Match match = changed ? NodeTree::Match::anyCase : NodeTree::Match::exact;
        return distinctName(name, entry.handle, [&](const std::u16string& candidate) {
            const bool reserved = (changed || candidate != name) && _rightful.contains(platform::caseFolded(candidate));
            return reserved || _tree.child(_parent, candidate, match, itself) != 0;
        });
    }

private:
    const NodeTree& _tree;
    NodeIndex _parent;
    bool _anyUnsafe = false;
    std::unordered_set<std::u16string> _rightful;
};

} // namespace

DGSTATUS Device::load(NodeIndex parent, bool folders, bool files, Listing listing) {
    folders = folders && !_tree.loaded(parent, NodeKind::folder);
    const bool isTooBrief = listing == Listing::complete && _tree.brief(parent);
    files = files && (isTooBrief || !_tree.loaded(parent, NodeKind::file));
    if (!folders && !files) {
        return DGSTATUS_SUCCESS;
    }
    const NodeIndex storage = _tree.storageOf(parent);
    const std::uint32_t handle = parent == storage ? 0 : _tree.at(parent).handle;
    std::vector<ObjectEntry> entries;
    Listing told{};
    const DGSTATUS status = session().listFolder(_tree.at(storage).handle, handle, entries, listing, &told);
    if (status == DGSTATUS_SUCCESS) {
        merge(parent, entries, told);
    }
    return status;
}

DGSTATUS Device::complete(NodeIndex file) {
    const NodeIndex parent = _tree.at(file).parent;
    if (_tree.at(file).kind != NodeKind::file || !_tree.brief(parent)) {
        return DGSTATUS_SUCCESS;
    }
    const std::uint32_t handle = _tree.at(file).handle;
    const DGSTATUS status = load(parent, false, true);
    return status == DGSTATUS_SUCCESS && _tree.object(handle) != file ? DGSTATUS_NODE_IS_NOT_EXISTED : status;
}

/// Takes a fresh listing in: known nodes stay, whatever is asked for next is answered from memory, metadata too where
/// the list brought it.
void Device::merge(NodeIndex parent, std::vector<ObjectEntry>& entries, Listing told) {
    const std::uint32_t storageId = _tree.at(_tree.storageOf(parent)).handle;
    std::erase_if(entries, [&](const ObjectEntry& entry) {
        return entry.handle == 0 || (entry.storageId != 0 && entry.storageId != storageId);
    });
    dropMissing(parent, entries);
    const Namer namer(_tree, parent, entries);
    for (const ObjectEntry& entry : entries) {
        const NodeIndex known = _tree.object(entry.handle);
        if (entry.media && !isFolder(entry)) {
            _media.put(entry.handle, *entry.media);
        }
        if (known == 0) {
            noticePlaylist(_tree.storageOf(parent), entry);
            _tree.add(parent, entry, namer.nameFor(entry, 0));
        } else if (_tree.at(known).parent == parent) {
            _tree.update(known, entry, namer.nameFor(entry, known));
            renamedFile(known);
        }
        // An object that lies elsewhere already stays there: a device must not be able to make a folder its own child.
    }
    _tree.setLoaded(parent, NodeKind::folder, true);
    _tree.setLoaded(parent, NodeKind::file, true);
    const bool isBrief = told == Listing::names; // also where there was no file to be brief about
    _tree.setBrief(parent, isBrief);
    _listedNames = _listedNames || isBrief;
}

void Device::dropMissing(NodeIndex parent, const std::vector<ObjectEntry>& entries) {
    if (_tree.first(parent, NodeKind::folder) == 0 && _tree.first(parent, NodeKind::file) == 0) {
        return;
    }
    std::unordered_set<std::uint32_t> folders;
    std::unordered_set<std::uint32_t> files;
    for (const ObjectEntry& entry : entries) {
        (isFolder(entry) ? folders : files).insert(entry.handle);
    }
    for (const NodeKind kind : {NodeKind::folder, NodeKind::file}) {
        const auto& present = kind == NodeKind::folder ? folders : files;
        for (NodeIndex node = _tree.first(parent, kind); node != 0;) {
            const NodeIndex next = _tree.next(node);
            if (!present.contains(_tree.at(node).handle)) {
                leaveLists(node, NodeTree::Texts::kept);
                _tree.remove(node, NodeTree::Texts::kept);
            }
            node = next;
        }
    }
}

bool Device::isAncestor(NodeIndex candidate, NodeIndex node) const {
    while (node != 0 && node != candidate) {
        node = _tree.at(node).parent;
    }
    return node == candidate;
}

NodeIndex Device::insert(NodeIndex parent, const ObjectEntry& entry) {
    const NodeIndex former = _tree.object(entry.handle);
    if (former != 0) {
        if (isAncestor(former, parent)) {
            return 0;
        }
        _media.erase(entry.handle);
        leaveLists(former, NodeTree::Texts::kept);
        _tree.remove(former, NodeTree::Texts::kept);
    }
    noticePlaylist(_tree.storageOf(parent), entry);
    return _tree.add(parent, entry, Namer(_tree, parent, {entry}).nameFor(entry, 0));
}

/// Takes over what the device now says of a known object.
void Device::refresh(NodeIndex node, const ObjectEntry& entry) {
    const NodeIndex parent = _tree.at(node).parent;
    if (isFolder(entry) == (_tree.at(node).kind == NodeKind::folder)) {
        _tree.update(node, entry, Namer(_tree, parent, {entry}).nameFor(entry, node));
        renamedFile(node);
    }
}

bool Device::takesName(const std::u16string& name) const {
    return _verbatimNames ? isSafeName(name) : isAcceptableName(name);
}

DGSTATUS Device::checkFree(NodeIndex parent, const std::u16string& name, NodeIndex except, NodeIndex& existing) {
    const DGSTATUS status = load(parent, true, true);
    if (status != DGSTATUS_SUCCESS) {
        return status;
    }
    existing = _tree.child(parent, name, _verbatimNames ? NodeTree::Match::exact : NodeTree::Match::anyCase, except);
    if (existing == 0) {
        return DGSTATUS_SUCCESS;
    }
    return _tree.at(existing).kind == NodeKind::folder ? DGSTATUS_NODE_FOLDER_DUPNAME_EXISTED
                                                       : DGSTATUS_NODE_FILE_DUPNAME_EXISTED;
}

} // namespace mtpsdk
