// SPDX-License-Identifier: MIT
#pragma once

#include "vemomtpsdk/RecordPtr.h"

#include <cstddef>

namespace mtpsdk {

/// Bytes from `memory` to the end of the live block of record memory that it points into; 0 when it points nowhere in
/// record memory, or into a block that is free. Any pointer may be asked about; nothing is dereferenced.
[[nodiscard]] std::size_t recordBytesFrom(const void* memory);

/// Copies the first `size` bytes of the live block that begins at `memory`. false, and nothing is read, when there is
/// none or it is shorter.
[[nodiscard]] bool copyRecord(const void* memory, void* target, std::size_t size);

} // namespace mtpsdk
