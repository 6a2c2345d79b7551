// SPDX-License-Identifier: MIT
#pragma once

#include <cerrno>
#include <string>
#include <system_error>
#include <unistd.h>

/// What the file code of this folder shares about the system's file calls.
namespace platform {

[[nodiscard]] inline std::error_code lastSystemError() {
    return {errno, std::generic_category()};
}

/// Repeats a system call that a signal interrupts.
template <typename Call>
auto retryInterrupted(Call call) {
    for (;;) {
        const auto result = call();
        if (result != -1 || errno != EINTR) {
            return result;
        }
    }
}

/// A path with a NUL inside would silently name another file.
[[nodiscard]] inline bool isPath(const std::string& path) {
    return !path.empty() && path.find('\0') == std::string::npos;
}

/// Owns a file descriptor; -1 is none.
class Descriptor {
public:
    explicit Descriptor(int descriptor)
        : _descriptor(descriptor) {}
    ~Descriptor() {
        if (_descriptor >= 0) {
            ::close(_descriptor);
        }
    }
    Descriptor(const Descriptor&) = delete;
    Descriptor& operator=(const Descriptor&) = delete;
    [[nodiscard]] int get() const { return _descriptor; }
    explicit operator bool() const { return _descriptor >= 0; }

private:
    int _descriptor;
};

} // namespace platform
