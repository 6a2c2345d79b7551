// SPDX-License-Identifier: MIT
#pragma once

#include "transport/Transport.h"
#include "transport/usb/BulkPipe.h"

#include <chrono>
#include <cstdint>
#include <span>

namespace mtpsdk {

/// Sends one phase as a stream of large transfers, header and first bytes in one buffer, several in flight. A phase
/// that ends with a whole packet is closed by a zero-length one. `patience` is how long the line may be silent.
/// Nothing is in flight any more when it returns.
[[nodiscard]] PipeResult writePhase(BulkPipe& pipe, std::span<const std::byte> header, std::uint64_t payloadLength,
                                    const BlockSource& source, std::chrono::milliseconds patience);

} // namespace mtpsdk
