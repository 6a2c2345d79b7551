// SPDX-License-Identifier: MIT
#include "platform/Log.h"

#include "platform/Monitor.h"
#include "platform/Paths.h"

#include <fmt/format.h>

#include <atomic>
#include <cstdio>
#include <utility>

namespace platform {

namespace {

std::atomic<LogLevelSource> levelSource{nullptr};

struct SinkState {
    Mutex mutex;
    LogSink sink PLATFORM_GUARDED_BY(mutex);
};

/// Never freed: threads that outlive main may still log.
SinkState& sinkState() {
    static auto* const state = new SinkState;
    return *state;
}

/// Names from devices end up in messages: a line stays one line, and a terminal gets no control sequences.
std::string withoutControls(const std::string& line) {
    std::string result;
    result.reserve(line.size());
    for (const char c : line) {
        const auto byte = static_cast<unsigned char>(c);
        if ((byte < 0x20 && c != '\t') || byte == 0x7F) {
            result += fmt::format("\\x{:02x}", byte);
        } else {
            result.push_back(c);
        }
    }
    return result;
}

void writeToStandardError(const std::string& line) {
    const std::string whole = line + '\n'; // one write, so lines of several processes do not mix
    std::fwrite(whole.data(), 1, whole.size(), stderr);
}

} // namespace

void setLogLevelSource(LogLevelSource source) {
    levelSource.store(source, std::memory_order_release);
}

bool isLogged(int level) {
    if (level <= 0) {
        return true;
    }
    const LogLevelSource source = levelSource.load(std::memory_order_acquire);
    return source && source() >= level;
}

void setLogSink(LogSink sink) {
    SinkState& state = sinkState();
    const MutexLock lock(state.mutex);
    std::swap(state.sink, sink);
}

void writeLog(const char* file, const char* function, int line, const std::string& message) {
    const std::string text =
        withoutControls(formatText("[%s:%s-(%d)] %@", lastPathComponent(file), function, line, message));
    SinkState& state = sinkState();
    const MutexLock lock(state.mutex);
    try {
        state.sink ? state.sink(text) : writeToStandardError(text);
    } catch (...) {
        // A log that fails must not make the service fail.
        writeToStandardError(text);
    }
}

} // namespace platform
