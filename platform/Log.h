// SPDX-License-Identifier: MIT
#pragma once

#include "platform/Export.h"
#include "platform/Format.h"

#include <functional>
#include <string>

/// The one log call. A message of level n is emitted only when the host's debug level is at least n; its arguments are
/// not even evaluated otherwise. Levels: 1 skip-and-continue, 3 failures, 5 information, 6 "ENTER"/"EXIT" of service
/// methods and dumps, 7 traces. Level 0 is always emitted.
#define QD_LOG(level, ...)                                                                                             \
    do {                                                                                                               \
        if (::platform::isLogged(level)) {                                                                             \
            ::platform::writeLog(__FILE__, __func__, __LINE__, ::platform::formatText(__VA_ARGS__));                   \
        }                                                                                                              \
    } while (false)

namespace platform {

/// Where the level comes from; the host sets it (see host/DebugLevel.h). Called from every thread, for every message.
using LogLevelSource = int (*)();
MTPSERVICE_EXPORT void setLogLevelSource(LogLevelSource source);
[[nodiscard]] MTPSERVICE_EXPORT bool isLogged(int level);

/// Receives each whole line, without a newline, one at a time. The default writes to standard error. An empty sink
/// restores the default. The sink must not log itself.
using LogSink = std::function<void(const std::string& line)>;
MTPSERVICE_EXPORT void setLogSink(LogSink sink);

/// Emits "[%s:%s-(%d)] %@": base name of the file, function, line, message.
MTPSERVICE_EXPORT void writeLog(const char* file, const char* function, int line, const std::string& message);

} // namespace platform
