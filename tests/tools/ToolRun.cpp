// SPDX-License-Identifier: MIT
#include "tests/tools/ToolRun.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstdlib>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <iterator>
#include <poll.h>
#include <spawn.h>
#include <sys/ioctl.h>
#include <sys/wait.h>
#include <unistd.h>

extern char** environ;

namespace {

/// A run that takes longer, be it under the thread sanitizer on a busy machine, does not end by itself.
constexpr std::chrono::minutes longestRun(5);

std::vector<char*> pointers(std::vector<std::string>& texts) {
    std::vector<char*> result;
    for (std::string& text : texts) {
        result.push_back(text.data());
    }
    result.push_back(nullptr);
    return result;
}

struct SpawnActions {
    SpawnActions() { posix_spawn_file_actions_init(&value); }
    ~SpawnActions() { posix_spawn_file_actions_destroy(&value); }
    SpawnActions(const SpawnActions&) = delete;
    SpawnActions& operator=(const SpawnActions&) = delete;
    posix_spawn_file_actions_t value{};
};

pid_t spawn(std::vector<std::string> command, std::vector<std::string> environment, const SpawnActions& actions) {
    pid_t process = -1;
    const int error = posix_spawn(&process, command[0].c_str(), &actions.value, nullptr, pointers(command).data(),
                                  pointers(environment).data());
    return error == 0 ? process : -1;
}

} // namespace

std::vector<std::string> ToolResult::lines() const {
    std::vector<std::string> result;
    for (std::size_t start = 0; start < out.size();) {
        const std::size_t end = std::min(out.find('\n', start), out.size());
        result.push_back(out.substr(start, end - start));
        start = end + 1;
    }
    return result;
}

ToolProcess::ToolProcess(const std::vector<std::string>& command, const std::vector<std::string>& environment,
                         Terminal terminal) {
    for (const std::string& word : command) {
        _command += word + " ";
    }
    SpawnActions actions;
    if (terminal == Terminal::yes) {
        _terminal = posix_openpt(O_RDWR | O_NOCTTY | O_CLOEXEC);
        grantpt(_terminal);
        unlockpt(_terminal);
        const winsize size{24, 80, 0, 0};
        ioctl(_terminal, TIOCSWINSZ, &size);
        const std::string slave = ptsname(_terminal);
        for (const int stream : {0, 1, 2}) {
            posix_spawn_file_actions_addopen(&actions.value, stream, slave.c_str(), O_RDWR | O_NOCTTY, 0);
        }
        // Kept open here, or reading would end before the program has opened it.
        const int slaveDescriptor = open(slave.c_str(), O_RDWR | O_NOCTTY | O_CLOEXEC);
        _process = spawn(command, environment, actions);
        close(slaveDescriptor);
        _openStreams = 1;
        _descriptors = {_terminal};
        _readers.emplace_back([this] { readAll(_terminal, _out); });
        return;
    }
    std::array<int, 2> out{};
    std::array<int, 2> err{};
    if (pipe2(out.data(), O_CLOEXEC) != 0 || pipe2(err.data(), O_CLOEXEC) != 0) {
        std::abort();
    }
    posix_spawn_file_actions_addopen(&actions.value, 0, "/dev/null", O_RDONLY, 0);
    posix_spawn_file_actions_adddup2(&actions.value, out[1], 1);
    posix_spawn_file_actions_adddup2(&actions.value, err[1], 2);
    _process = spawn(command, environment, actions);
    close(out[1]);
    close(err[1]);
    _outDescriptor = out[0];
    _openStreams = 2;
    _descriptors = {out[0], err[0]};
    _readers.emplace_back([this, end = out[0]] { readAll(end, _out); });
    _readers.emplace_back([this, end = err[0]] { readAll(end, _err); });
}

ToolProcess::~ToolProcess() {
    if (_process > 0) {
        kill(_process, SIGKILL);
        static_cast<void>(wait());
    }
}

void ToolProcess::readAll(int descriptor, std::string& into) {
    std::array<char, 65536> block{};
    for (;;) {
        pollfd ready{.fd = descriptor, .events = POLLIN, .revents = 0};
        const int came = poll(&ready, 1, 50);
        const bool closed = _outputClosed && descriptor == _outDescriptor;
        if (came == 0 && !closed) {
            continue;
        }
        const ssize_t count = closed ? 0 : read(descriptor, block.data(), block.size());
        if (count < 0 && errno == EINTR) {
            continue;
        }
        const std::lock_guard lock(_mutex);
        _changed.notify_all();
        if (count <= 0) {
            --_openStreams;
            if (closed) {
                close(descriptor);
            }
            return;
        }
        into.append(block.data(), static_cast<std::size_t>(count));
    }
}

bool ToolProcess::waitFor(Stream stream, const std::string& text) {
    std::unique_lock lock(_mutex);
    const std::string& where = stream == Stream::out ? _out : _err;
    _changed.wait_for(lock, std::chrono::minutes(1),
                      [&] { return where.find(text) != std::string::npos || _openStreams == 0; });
    return where.find(text) != std::string::npos;
}

void ToolProcess::signal(int number) const {
    kill(_process, number);
}

void ToolProcess::type(const std::string& text) const {
    ASSERT_EQ(write(_terminal, text.data(), text.size()), static_cast<ssize_t>(text.size()));
}

void ToolProcess::closeOutput() {
    _outputClosed = true; // the reader closes its end: nobody else may while it reads
}

ToolResult ToolProcess::wait() {
    const bool isStuck = !endsInTime();
    if (isStuck) {
        kill(_process, SIGABRT); // the sanitizers then print where it stood
    }
    int status = 0;
    while (waitpid(_process, &status, 0) < 0 && errno == EINTR) {
    }
    _process = -1;
    for (std::thread& reader : _readers) {
        reader.join();
    }
    for (const int descriptor : _descriptors) {
        if (!_outputClosed || descriptor != _descriptors.front()) {
            close(descriptor);
        }
    }
    if (isStuck) {
        ADD_FAILURE() << _command << "did not end.\n" << _out << _err;
    }
    return {WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status), _out, _err};
}

/// Its streams close when it ends, for it closes none itself.
bool ToolProcess::endsInTime() {
    std::unique_lock lock(_mutex);
    return _changed.wait_for(lock, longestRun, [this] { return _openStreams == 0; });
}

ToolSandbox::ToolSandbox() {
    std::filesystem::create_directories(path("home/.config"));
}

std::vector<std::string> ToolSandbox::environment() const {
    std::vector<std::string> variables = {"HOME=" + path("home"), "XDG_CONFIG_HOME=" + path("home/.config"),
                                          "LC_ALL=C.UTF-8", "TERM=xterm", "MTPSERVICE_NO_USB=1"};
    for (char** entry = environ; *entry; ++entry) {
        const std::string text = *entry;
        if (text.starts_with("PATH=") || text.starts_with("ASAN_") || text.starts_with("UBSAN_") ||
            text.starts_with("TSAN_") || text.starts_with("LSAN_")) {
            variables.push_back(text);
        }
    }
    return variables;
}

ToolProcess ToolSandbox::start(const std::vector<std::string>& arguments, ToolProcess::Terminal terminal) const {
    std::vector<std::string> command = {MTPSERVICE_BINARY};
    command.insert(command.end(), arguments.begin(), arguments.end());
    return ToolProcess(command, environment(), terminal);
}

ToolResult ToolSandbox::run(const std::vector<std::string>& arguments) {
    return start(arguments).wait();
}

ToolResult ToolSandbox::runOnDevice(std::vector<std::string> arguments) {
    arguments.insert(arguments.begin(), {"--virtual", path("device")});
    return run(arguments);
}

void ToolSandbox::createDevice(const std::vector<std::string>& storages) {
    std::vector<std::string> arguments = {"virtual", "create", path("device"), "--name", "Player"};
    for (const std::string& storage : storages) {
        arguments.insert(arguments.end(), {"--storage", storage});
    }
    const ToolResult result = run(arguments);
    ASSERT_EQ(result.status, 0) << result.err;
}

std::vector<std::string> ToolSandbox::filesBelow(const std::string& below) const {
    std::vector<std::string> files;
    const std::filesystem::path top = path(below);
    for (const auto& entry : std::filesystem::recursive_directory_iterator(top)) {
        if (entry.is_regular_file()) {
            files.push_back(entry.path().lexically_relative(top).string());
        }
    }
    std::sort(files.begin(), files.end());
    return files;
}

std::string ToolSandbox::content(const std::string& below) const {
    std::ifstream stream(path(below), std::ios::binary);
    return {std::istreambuf_iterator<char>(stream), {}};
}
