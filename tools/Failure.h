// SPDX-License-Identifier: MIT
#pragma once

#include <stdexcept>
#include <string>

namespace tool {

enum class ExitStatus {
    done = 0,
    someFailed = 1,
    usage = 2,
    noDevice = 3,
};

/// Ends the program with a message for the person and a status.
class Failure : public std::runtime_error {
public:
    Failure(ExitStatus status, const std::string& message)
        : std::runtime_error(message)
        , _status(status) {}
    [[nodiscard]] ExitStatus status() const { return _status; }

private:
    ExitStatus _status;
};

} // namespace tool
