// SPDX-License-Identifier: MIT
#pragma once

#include "vemomtpsdk/Status.h"

#include <new>

namespace mtpsdk {

/// Runs an entry point's body; nothing raised in it crosses the library's border.
template <typename Body>
DGSTATUS guarded(const Body& body) {
    try {
        return body();
    } catch (const std::bad_alloc&) {
        return DGSTATUS_INSUFFICIENT_RESOURCE;
    } catch (...) {
        return DGSTATUS_UNSUCCESSFUL;
    }
}

/// Clears an out argument; false when the caller gave none.
template <typename Node>
bool clear(Node** out) {
    if (out != nullptr) {
        *out = nullptr;
    }
    return out != nullptr;
}

} // namespace mtpsdk
