// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <string_view>

/// Names cross the device's border here: what a device calls its objects is made safe to use as a file name, and what
/// an application wants to call one is checked against what devices take.
namespace mtpsdk {

/// Whether a file can have the name as it is: not empty, not "." or "..", no longer than the protocol can carry, and
/// without control characters, unpaired surrogates and "/".
[[nodiscard]] bool isSafeName(std::u16string_view name);

/// A device's name without what would be dangerous in a path: "/", NUL and control characters become "_", as does each
/// dot of "." and ".."; an empty name becomes "_", an unpaired surrogate U+FFFD; overlong names are cut.
[[nodiscard]] std::u16string safeName(std::u16string_view name);

/// `name`, or if `taken` says so the first of "name (2)", "name (3)"… (before the extension) that is free. After a few
/// the object's handle takes the number's place, so that a folder full of equal names costs no search each.
[[nodiscard]] std::u16string distinctName(const std::u16string& name, std::uint32_t handle,
                                          const std::function<bool(const std::u16string&)>& taken);

/// Whether any device's file system can be trusted to take the name: a safe one without : * ? " \ < > |.
[[nodiscard]] bool isAcceptableName(std::u16string_view name);

} // namespace mtpsdk
