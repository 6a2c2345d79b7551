// SPDX-License-Identifier: MIT
#pragma once

#include <chrono>
#include <string>
#include <sys/types.h>

namespace host {

/// Reads the media information of files in a helper process, so that a file that keeps the reader busy, eats memory or
/// kills it harms nobody: the helper is killed when it overruns the time limit and started anew for the next file.
///
/// The helper is asked over its standard input, a zero-terminated path each, and answers one line with a JSON object
/// each on its standard output; it ends when its input does. Not thread-safe.
class MediaProbe {
public:
    enum class Outcome {
        read,        ///< the helper answered
        timedOut,    ///< it took too long and was killed
        died,        ///< it ended, or answered something endless
        unavailable, ///< it could not be started
    };
    struct Answer {
        Outcome outcome = Outcome::unavailable;
        std::string json; ///< one object; empty unless read
    };

    /// `helper` is the program's path, `limit` the time for one file.
    MediaProbe(std::string helper, std::chrono::milliseconds limit);
    ~MediaProbe();
    MediaProbe(const MediaProbe&) = delete;
    MediaProbe& operator=(const MediaProbe&) = delete;

    [[nodiscard]] Answer read(const std::string& path);

private:
    [[nodiscard]] bool start();
    void stop();
    [[nodiscard]] bool sendRequest(const std::string& path) const;
    [[nodiscard]] Answer receiveAnswer() const;

    const std::string _helper;
    const std::chrono::milliseconds _limit;
    int _socket = -1;
    pid_t _process = -1;
};

} // namespace host
