// SPDX-License-Identifier: MIT
#include "host/defaults/MediaProbe.h"

#include <array>
#include <cerrno>
#include <csignal>
#include <cstdint>
#include <fcntl.h>
#include <poll.h>
#include <spawn.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>
#include <utility>

extern char** environ;

namespace host {
namespace {

using Clock = std::chrono::steady_clock;

constexpr std::size_t kMaxAnswerBytes = 64 << 10;

/// Starts the program with both standard streams on `socket`. In a process group of its own, so that a Ctrl-C on the
/// terminal reaches the host alone, and with the signals as a fresh program expects them. -1 when it cannot be started.
pid_t spawn(const std::string& program, int socket) {
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_adddup2(&actions, socket, STDIN_FILENO);
    posix_spawn_file_actions_adddup2(&actions, socket, STDOUT_FILENO);
    posix_spawn_file_actions_addopen(&actions, STDERR_FILENO, "/dev/null", O_WRONLY, 0);
    posix_spawnattr_t attributes;
    posix_spawnattr_init(&attributes);
    posix_spawnattr_setflags(&attributes, POSIX_SPAWN_SETPGROUP | POSIX_SPAWN_SETSIGDEF | POSIX_SPAWN_SETSIGMASK);
    posix_spawnattr_setpgroup(&attributes, 0);
    sigset_t signals;
    sigemptyset(&signals);
    posix_spawnattr_setsigmask(&attributes, &signals);
    sigaddset(&signals, SIGINT);
    sigaddset(&signals, SIGTERM);
    sigaddset(&signals, SIGPIPE);
    posix_spawnattr_setsigdefault(&attributes, &signals);

    std::string name = program;
    std::array<char*, 2> arguments = {name.data(), nullptr};
    pid_t process = -1;
    const int failure = posix_spawn(&process, program.c_str(), &actions, &attributes, arguments.data(), environ);
    posix_spawnattr_destroy(&attributes);
    posix_spawn_file_actions_destroy(&actions);
    return failure == 0 ? process : -1;
}

} // namespace

MediaProbe::MediaProbe(std::string helper, std::chrono::milliseconds limit)
    : _helper(std::move(helper))
    , _limit(limit) {}

MediaProbe::~MediaProbe() {
    stop();
}

MediaProbe::Answer MediaProbe::read(const std::string& path) {
    if (_process < 0 && !start()) {
        return {Outcome::unavailable, {}};
    }
    Answer answer = sendRequest(path) ? receiveAnswer() : Answer{Outcome::died, {}};
    if (answer.outcome != Outcome::read) {
        stop();
    }
    return answer;
}

bool MediaProbe::start() {
    std::array<int, 2> ends{};
    if (socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends.data()) != 0) {
        return false;
    }
    _process = spawn(_helper, ends[1]);
    close(ends[1]);
    if (_process < 0) {
        close(ends[0]);
        return false;
    }
    _socket = ends[0];
    return true;
}

void MediaProbe::stop() {
    if (_process < 0) {
        return;
    }
    close(_socket);
    kill(_process, SIGKILL);
    while (waitpid(_process, nullptr, 0) < 0 && errno == EINTR) {
    }
    _socket = -1;
    _process = -1;
}

bool MediaProbe::sendRequest(const std::string& path) const {
    // A path fits the socket's buffer by far, so this does not block.
    const std::size_t size = path.size() + 1;
    return send(_socket, path.c_str(), size, MSG_NOSIGNAL) == static_cast<ssize_t>(size);
}

MediaProbe::Answer MediaProbe::receiveAnswer() const {
    const auto deadline = Clock::now() + _limit;
    std::string line;
    std::array<char, 4096> block{};
    while (line.size() <= kMaxAnswerBytes) {
        const auto left = std::chrono::ceil<std::chrono::milliseconds>(deadline - Clock::now()).count();
        if (left <= 0) {
            return {Outcome::timedOut, {}};
        }
        pollfd wait{_socket, POLLIN, 0};
        const int ready = poll(&wait, 1, static_cast<int>(left));
        if (ready <= 0) {
            continue; // interrupted, or the limit is reached: the loop's head tells
        }
        const ssize_t count = recv(_socket, block.data(), block.size(), 0);
        if (count <= 0) {
            break;
        }
        line.append(block.data(), static_cast<std::size_t>(count));
        if (line.back() == '\n') {
            line.pop_back();
            return {Outcome::read, std::move(line)};
        }
    }
    return {Outcome::died, {}};
}

} // namespace host
