// SPDX-License-Identifier: MIT
#pragma once

#include "device/MTPService/MTPControl.h"

#include <string>
#include <unordered_set>
#include <vector>

namespace mtpcontrol {

/// How much of a file is told.
enum class Detail {
    names,    ///< its name, path and node ID
    listing,  ///< and what else the listing of its folder says: dates, protection
    metadata, ///< and what the device knows of it as a media file
};

/// What a walk enters and tells.
struct ContentRules {
    Detail detail = Detail::listing;
    /// Leaves out what lies below a hidden folder or one that holds a ".nomedia". The folder where the walk begins was
    /// asked for and is always entered.
    bool mediaOnly = false;
    bool tellsFolders = false;
    /// Tells files with these extensions only; null: all.
    const std::vector<std::string>* extensions = nullptr;
};

/// One walk over folders of the device's tree, which makes a dictionary of each entry: a folder's files first, then
/// what lies in its folders, each in the device's order. Each folder is listed once; the device's word is not trusted:
/// a folder that comes again or lies too deep is left out.
///
/// The methods answer false when the device is gone (logged) or the folder that was asked for cannot be listed; a
/// folder further down that cannot be is passed over. A walk in which nodes went away under it, since the device told
/// of a change above them, begins anew a few times: their folders are mostly still there, as new nodes.
class ContentWalk {
public:
    ContentWalk(MtpControl& control, const ContentRules& rules);

    /// The files directly in a folder or storage of this path.
    bool files(_MTP_COMMON_NODE* folder, const std::string& path);
    /// The folders directly in it; a null folder means the storage's root.
    bool folders(_MTP_STORAGE_NODE* storage, _MTP_FOLDER_NODE* folder, const std::string& path);
    /// Everything below it.
    bool below(_MTP_STORAGE_NODE* storage, _MTP_FOLDER_NODE* folder, const std::string& path);

    [[nodiscard]] platform::Array take() { return std::move(_entries); }

private:
    struct Place {
        _MTP_FOLDER_NODE* folder; ///< null: the storage's root
        std::string path;
        unsigned depth;
    };

    template <typename Node, typename Head, typename Next>
    DGSTATUS readList(std::vector<Node*>& nodes, const Head& head, const Next& next);
    DGSTATUS readFiles(_MTP_COMMON_NODE* folder, std::vector<_MTP_FILE_NODE*>& files);
    DGSTATUS readFolders(_MTP_STORAGE_NODE* storage, _MTP_FOLDER_NODE* folder, std::vector<_MTP_FOLDER_NODE*>& folders);
    enum class Visit { done, stop, stale };
    Visit walk(_MTP_STORAGE_NODE* storage, _MTP_FOLDER_NODE* folder, const std::string& path, bool mayRestart);
    Visit visit(_MTP_STORAGE_NODE* storage, const Place& place, std::vector<Place>& pending);
    /// False when the device is gone.
    bool addFiles(const std::vector<_MTP_FILE_NODE*>& files, const std::string& path);
    bool addFile(_MTP_FILE_NODE& file, const std::string& path);
    bool addMetadata(_MTP_FILE_NODE& file, const MtpControl::Text& name, const MtpControl::Text& path);
    void addFolder(const _MTP_FOLDER_NODE& folder, const std::string& path);
    [[nodiscard]] bool holdsNoMedia(const std::vector<_MTP_FILE_NODE*>& files) const;
    [[nodiscard]] bool isGone(DGSTATUS status) const;

    MtpControl& _control;
    ContentRules _rules;
    bool _wasConnected;
    platform::Array _entries;
    std::unordered_set<const void*> _seen; ///< folders
};

/// The node that folders one below the other and at last a folder or file lead to: no folder missing in between. Where
/// names differ in case only, the one that is spelled so. The storage itself without any; null when there is none.
[[nodiscard]] _MTP_COMMON_NODE* exactNodeAt(MtpControl& control, _MTP_STORAGE_NODE* storage,
                                            const std::vector<std::string>& components);

/// The last of a chain of folders, each spelled exactly so; what is missing is made, and where the device does not tell
/// a name from one that differs in case only, that folder is taken. The storage itself without any; null when one
/// cannot be made.
[[nodiscard]] _MTP_COMMON_NODE* exactFolderMade(MtpControl& control, _MTP_STORAGE_NODE* storage,
                                                const std::vector<std::string>& folders);

} // namespace mtpcontrol
