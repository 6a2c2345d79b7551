// SPDX-License-Identifier: MIT
#pragma once

#include "platform/Log.h"
#include "vemomtpsdk/Records.h"

#include <cstddef>
#include <new>
#include <optional>
#include <stdexcept>
#include <vector>

/// The files of a playlist in order, as they are written into it: null entries count but refer to nothing.
using PlaylistNodes = std::vector<_MTP_FILE_NODE*>;

/// A list of null entries; nothing, with this message logged, when memory runs out.
inline std::optional<PlaylistNodes> makePlaylistNodes(std::size_t slots, const char* message) {
    try {
        return PlaylistNodes(slots, nullptr);
    } catch (const std::bad_alloc&) {
        QD_LOG(3, message);
    } catch (const std::length_error&) {
        QD_LOG(3, message);
    }
    return std::nullopt;
}
