// SPDX-License-Identifier: MIT
#pragma once

#include "vemomtpsdk/RecordPtr.h"

#include <cstddef>

namespace mtpsdk {

/// Bytes from `memory` to the end of the live block of record memory that it points into; 0 when it points nowhere in
/// record memory, or into a block that is free. Any pointer may be asked about; nothing is dereferenced.
[[nodiscard]] std::size_t recordBytesFrom(const void* memory);

/// Whether `memory` is the first byte of a live block.
[[nodiscard]] bool isRecordBlock(const void* memory);

} // namespace mtpsdk
