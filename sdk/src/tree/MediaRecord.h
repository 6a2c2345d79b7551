// SPDX-License-Identifier: MIT
#pragma once

#include "mtp/Session.h"
#include "tree/NodeTree.h"
#include "vemomtpsdk/Records.h"

namespace mtpsdk {

/// What a metadata record says, by its signature. Fields that are zero and texts that are null or lie in no live block
/// of record memory are absent.
[[nodiscard]] MediaProperties readMediaRecord(const _MTP_MEDIA_FILE_INFO& record);

/// A new record of a file, with texts of its own; null when the memory is exhausted.
[[nodiscard]] _MTP_MEDIA_FILE_INFO* newMediaRecord(const NodeTree& tree, NodeIndex file, const MediaProperties& media);

/// Frees a record with its texts.
void freeMediaRecord(_MTP_MEDIA_FILE_INFO* record);

} // namespace mtpsdk
