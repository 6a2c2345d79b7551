// SPDX-License-Identifier: MIT
#pragma once

#include "mtp/Codes.h"
#include "store/StoreProperties.h"

#include <cstdint>
#include <string>

namespace mtpsdk {

using Handle = std::uint32_t;

/// How an operation on the store ended.
enum class StoreResult {
    ok,
    noSuchObject,
    noSuchStorage,
    noSuchParent, ///< the parent is gone, no folder, or on another storage
    full,
    readOnly,
    nameTaken,    ///< the folder holds that name already; another case is another name where it is for the file system
    badName,      ///< the name cannot be a file's name
    isFolder,     ///< a file was asked for
    wrongSize,    ///< other than the size announced
    partly,       ///< some of a folder's content could not be removed
    badReference, ///< a list names an object that is not there
    failed        ///< the file system refused
};

/// How much of an object has to be as it is on disk.
enum class Look {
    names, ///< its name, kind and place; its size and times may be what they were when it was last looked at
    files  ///< all of it: its file is asked
};

/// One object as the store keeps it. Names are UTF-8 and always a file's plain name; times are seconds of UTC.
struct StoreObject {
    Handle handle = 0;
    Handle parent = 0; ///< 0: the storage's root
    std::uint32_t storageId = 0;
    FormatCode format = FormatCode::Undefined;
    bool readOnly = false;
    std::uint64_t size = 0; ///< bytes; 0 for a folder
    std::int64_t created = 0;
    std::int64_t modified = 0;
    std::string name;
    StoreProperties properties;

    [[nodiscard]] bool isFolder() const { return format == FormatCode::Association; }
};

/// An object to be made.
struct NewStoreObject {
    std::uint32_t storageId = 0;
    Handle parent = 0; ///< 0: the storage's root
    FormatCode format = FormatCode::Undefined;
    std::uint64_t size = 0;
    bool sizeKnown = true; ///< false: as many bytes as come
    std::string name;
    std::int64_t created = 0;  ///< 0: now
    std::int64_t modified = 0; ///< 0: now
    StoreProperties properties;
};

struct StorageState {
    std::uint32_t storageId = 0;
    std::string label;
    std::string description;
    std::uint64_t capacity = 0; ///< bytes
    std::uint64_t used = 0;     ///< bytes
    bool hidden = false;

    [[nodiscard]] std::uint64_t free() const { return used < capacity ? capacity - used : 0; }
};

/// Something that happened to the content without the initiator's doing.
struct StoreEvent {
    enum class Kind { added, removed, changed };
    Kind kind = Kind::added;
    Handle handle = 0;
};

} // namespace mtpsdk
