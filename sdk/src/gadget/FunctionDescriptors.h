// SPDX-License-Identifier: MIT
#pragma once

#include <cstddef>
#include <vector>

namespace mtpsdk {

// What a FunctionFS instance is told before it has endpoints: a still-image interface named "MTP" with bulk-in (ep1),
// bulk-out (ep2) and interrupt-in (ep3), at full and high speed.

/// With `osDescriptor` also Microsoft's compatible ID, by which some hosts know the device; not every kernel takes it.
[[nodiscard]] std::vector<std::byte> functionDescriptors(bool osDescriptor);
[[nodiscard]] std::vector<std::byte> functionStrings();

} // namespace mtpsdk
