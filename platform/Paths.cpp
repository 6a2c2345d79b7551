// SPDX-License-Identifier: MIT
#include "platform/Paths.h"

#include <pwd.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>

namespace platform {

namespace {

std::string_view withoutTrailingSlashes(std::string_view path) {
    const std::size_t last = path.find_last_not_of('/');
    return path.substr(0, last == std::string_view::npos ? 0 : last + 1);
}

std::string_view lastComponent(std::string_view path) {
    const std::string_view trimmed = withoutTrailingSlashes(path);
    if (trimmed.empty()) {
        return path.empty() ? "" : "/";
    }
    return trimmed.substr(trimmed.rfind('/') + 1);
}

/// The home folder from the password database; empty when the user is not in it.
std::string homeFromPasswordDatabase() {
    passwd entry{};
    passwd* found = nullptr;
    std::vector<char> buffer(1024);
    int status = 0;
    while ((status = ::getpwuid_r(::getuid(), &entry, buffer.data(), buffer.size(), &found)) == ERANGE) {
        buffer.resize(buffer.size() * 2);
    }
    return status == 0 && found && found->pw_dir ? found->pw_dir : "";
}

std::string homeFolder() {
    const char* home = std::getenv("HOME"); // NOLINT(concurrency-mt-unsafe): nobody here changes the environment
    return home && *home ? home : homeFromPasswordDatabase();
}

} // namespace

std::vector<std::string> pathComponents(std::string_view path) {
    std::vector<std::string> components;
    if (path.starts_with('/')) {
        components.emplace_back("/");
    }
    std::size_t start = 0;
    while ((start = path.find_first_not_of('/', start)) != std::string_view::npos) {
        const std::size_t end = std::min(path.find('/', start), path.size());
        components.emplace_back(path.substr(start, end - start));
        start = end;
    }
    return components;
}

std::string lastPathComponent(std::string_view path) {
    return std::string(lastComponent(path));
}

std::string pathExtension(std::string_view path) {
    const std::string_view name = lastComponent(path);
    const std::size_t dot = name.rfind('.');
    return dot == std::string_view::npos || dot == 0 ? "" : std::string(name.substr(dot + 1));
}

std::string deletingLastPathComponent(std::string_view path) {
    const std::string_view trimmed = withoutTrailingSlashes(path);
    const std::size_t slash = trimmed.rfind('/');
    const std::string_view parent =
        slash == std::string_view::npos ? std::string_view() : withoutTrailingSlashes(trimmed.substr(0, slash));
    return parent.empty() && path.starts_with('/') ? "/" : std::string(parent);
}

std::string expandingTilde(std::string_view path) {
    if (path != "~" && !path.starts_with("~/")) {
        return std::string(path);
    }
    const std::string home = homeFolder();
    if (home.empty()) {
        return std::string(path);
    }
    const std::string expanded = std::string(withoutTrailingSlashes(home)).append(path.substr(1));
    return expanded.empty() ? "/" : expanded;
}

} // namespace platform
