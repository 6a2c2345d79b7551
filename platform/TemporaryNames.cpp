// SPDX-License-Identifier: MIT
#include "platform/TemporaryNames.h"

#include "platform/PosixFile.h"

#include <algorithm>
#include <csignal>
#include <fcntl.h>
#include <fmt/format.h>
#include <sys/file.h>

namespace platform {

std::string ownTemporaryName(std::string_view prefix) {
    return fmt::format("{}{:x}-", prefix, ::getpid());
}

std::optional<pid_t> ownerOfTemporary(std::string_view name, std::string_view prefix) {
    if (!name.starts_with(prefix)) {
        return std::nullopt;
    }
    name.remove_prefix(prefix.size());
    constexpr std::size_t longest = 7; // fits a process number
    const std::size_t digits = std::min(name.find_first_not_of("0123456789abcdef"), name.size());
    if (digits == 0 || digits > longest || digits == name.size() || name[digits] != '-') {
        return std::nullopt;
    }
    return static_cast<pid_t>(std::stol(std::string(name.substr(0, digits)), nullptr, 16));
}

bool isAbandoned(const std::string& path, pid_t owner, int flags) {
    if (::kill(owner, 0) == 0 || errno != ESRCH) {
        return false;
    }
    const Descriptor descriptor(::open(path.c_str(), flags | O_CLOEXEC | O_NOFOLLOW | O_NONBLOCK));
    return descriptor && ::flock(descriptor.get(), LOCK_EX | LOCK_NB) == 0;
}

} // namespace platform
