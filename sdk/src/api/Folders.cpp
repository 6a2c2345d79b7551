// SPDX-License-Identifier: MIT
#include "api/Guard.h"
#include "tree/DeviceCall.h"
#include "tree/RecordTexts.h"
#include "vemomtpsdk/Functions.h"

using namespace mtpsdk;

namespace {

/// Loads the children of one kind, reports their number and yields the first.
template <typename Record>
DGSTATUS listHead(const DeviceCall& call, NodeIndex parent, NodeKind kind, Record** head, MtpProgressCallback callback,
                  void* context) {
    const DGSTATUS status =
        call.device().load(parent, kind == NodeKind::folder, kind == NodeKind::file, call.device().listing());
    if (status != DGSTATUS_SUCCESS) {
        return status;
    }
    const NodeIndex first = call.tree().first(parent, kind);
    if (callback != nullptr) {
        std::uint64_t count = 0;
        for (NodeIndex node = first; node != 0; node = call.tree().next(node)) {
            ++count;
        }
        if (callback(count, count, context) != 0) {
            return DGSTATUS_IO_CANCEL_SUCCESS;
        }
    }
    *head = call.tree().record<Record>(first);
    return first == 0 ? DGSTATUS_NO_MORE_DATA : DGSTATUS_SUCCESS;
}

template <typename Record>
DGSTATUS nextOf(Record* node, NodeKind kind, Record** next) {
    if (!clear(next)) {
        return DGSTATUS_INVALID_PARAMETER;
    }
    return guarded([&]() -> DGSTATUS {
        const DeviceCall call(node, {kind});
        if (!call) {
            return call.status();
        }
        *next = call.tree().record<Record>(call.tree().next(call.node()));
        return *next == nullptr ? DGSTATUS_NO_MORE_DATA : DGSTATUS_SUCCESS;
    });
}

DGSTATUS releaseLevel(const void* head, NodeKind kind) {
    return guarded([&]() -> DGSTATUS {
        const DeviceCall call(head, {kind});
        if (call.live()) {
            call.tree().forget(call.tree().at(call.node()).parent, kind, NodeTree::Texts::freed);
        }
        return call.live() ? DGSTATUS_SUCCESS : call.status();
    });
}

} // namespace

DGSTATUS mtpGetFolderListHead(_MTP_STORAGE_NODE* storage, _MTP_FOLDER_NODE* parent, _MTP_FOLDER_NODE** child,
                              MtpProgressCallback callback, void* context) {
    if (!clear(child)) {
        return DGSTATUS_INVALID_PARAMETER;
    }
    return guarded([&]() -> DGSTATUS {
        const DeviceCall call(storage, {NodeKind::storage});
        if (!call) {
            return call.status();
        }
        const NodeIndex folder = parent == nullptr ? call.node() : call.related(parent, NodeKind::folder);
        if (folder == 0 || call.tree().storageOf(folder) != call.node()) {
            return DGSTATUS_NODE_IS_NOT_EXISTED;
        }
        return listHead(call, folder, NodeKind::folder, child, callback, context);
    });
}

DGSTATUS mtpGetNextSiblingFolderNode(_MTP_FOLDER_NODE* folder, _MTP_FOLDER_NODE** next) {
    return nextOf(folder, NodeKind::folder, next);
}

DGSTATUS mtpReleaseFolderList(_MTP_FOLDER_NODE* head) {
    return releaseLevel(head, NodeKind::folder);
}

DGSTATUS mtpGetFileListHead(_MTP_COMMON_NODE* parent, _MTP_FILE_NODE** file, MtpProgressCallback callback,
                            void* context) {
    if (!clear(file)) {
        return DGSTATUS_INVALID_PARAMETER;
    }
    return guarded([&]() -> DGSTATUS {
        const DeviceCall call(parent, {NodeKind::storage, NodeKind::folder});
        return call ? listHead(call, call.node(), NodeKind::file, file, callback, context) : call.status();
    });
}

DGSTATUS mtpGetNextFileNode(_MTP_FILE_NODE* file, _MTP_FILE_NODE** next) {
    return nextOf(file, NodeKind::file, next);
}

DGSTATUS mtpReleaseFileList(_MTP_FILE_NODE* head) {
    return releaseLevel(head, NodeKind::file);
}

DGSTATUS mtpCreateFolderNode(_MTP_COMMON_NODE* parent, const std::uint16_t* name, std::uint32_t nameBytes,
                             _MTP_FOLDER_NODE** folder) {
    if (!clear(folder) || name == nullptr) {
        return DGSTATUS_INVALID_PARAMETER;
    }
    return guarded([&]() -> DGSTATUS {
        const DeviceCall call(parent, {NodeKind::storage, NodeKind::folder});
        if (!call) {
            return call.status();
        }
        NodeIndex node = 0;
        const std::u16string text = readText(name, nameBytes / sizeof(std::uint16_t));
        const DGSTATUS status = call.device().createFolder(call.node(), text, node);
        *folder = call.tree().record<_MTP_FOLDER_NODE>(node);
        return status;
    });
}

DGSTATUS mtpSetVerbatimNames(_MTP_DEVICE_NODE* device, bool verbatim) {
    return guarded([&]() -> DGSTATUS {
        const DeviceCall call(device);
        if (call) {
            call.device().setVerbatimNames(verbatim);
        }
        return call.status();
    });
}

DGSTATUS mtpSetNameListing(_MTP_DEVICE_NODE* device, bool namesOnly) {
    return guarded([&]() -> DGSTATUS {
        const DeviceCall call(device);
        if (call) {
            call.device().setListing(namesOnly ? Listing::names : Listing::complete);
        }
        return call.status();
    });
}

DGSTATUS mtpDeleteNode(_MTP_COMMON_NODE* node) {
    return guarded([&]() -> DGSTATUS {
        const DeviceCall call(node, {NodeKind::folder, NodeKind::file, NodeKind::playlist});
        return call ? call.device().deleteNode(call.node()) : call.status();
    });
}

DGSTATUS mtpRenameNode(_MTP_COMMON_NODE* node, const std::uint16_t* name, std::uint32_t nameBytes) {
    if (name == nullptr) {
        return DGSTATUS_INVALID_PARAMETER;
    }
    return guarded([&]() -> DGSTATUS {
        const DeviceCall call(node, {NodeKind::folder, NodeKind::file, NodeKind::playlist});
        return call ? call.device().renameNode(call.node(), readText(name, nameBytes / sizeof(std::uint16_t)))
                    : call.status();
    });
}
