// SPDX-License-Identifier: MIT
#pragma once

#include "platform/Export.h"

/// The host's current debug level: 0 (the default) logs nothing but unconditional messages, 7 logs everything.
/// Read for every message, from any thread.
MTPSERVICE_EXPORT int GET_QD_DEBUG_LEVEL();
/// Sets what GET_QD_DEBUG_LEVEL answers from now on.
MTPSERVICE_EXPORT void SET_QD_DEBUG_LEVEL(int level);
