// SPDX-License-Identifier: MIT
#include "host/DebugLevel.h"

#include "platform/Log.h"

#include <atomic>

namespace {

std::atomic<int> currentLevel{0};

/// The log asks this level from the moment the plug-in is loaded.
[[maybe_unused]] const bool logIsConnected = (platform::setLogLevelSource(&GET_QD_DEBUG_LEVEL), true);

} // namespace

int GET_QD_DEBUG_LEVEL() {
    return currentLevel.load(std::memory_order_relaxed);
}

void SET_QD_DEBUG_LEVEL(int level) {
    currentLevel.store(level, std::memory_order_relaxed);
}
