// SPDX-License-Identifier: MIT
#pragma once

#include "mtp/Codes.h"

#include <cstdint>
#include <string_view>

namespace mtpsdk {

/// The format that a file name's extension stands for, without regard to case; FormatCode::Undefined when unknown.
[[nodiscard]] FormatCode formatOfName(std::u16string_view name);

/// The signature of the metadata record of an object (music, video or image); MTP_SIGNATURE_FILE when it is neither.
/// An undefined format is judged by the name.
[[nodiscard]] std::int32_t mediaSignature(std::uint16_t format, std::u16string_view name);

} // namespace mtpsdk
