// SPDX-License-Identifier: MIT
#include "tools/Interrupt.h"

#include <array>
#include <cerrno>
#include <cstdint>
#include <poll.h>
#include <sys/eventfd.h>
#include <sys/signalfd.h>
#include <system_error>
#include <unistd.h>

namespace tool {
namespace {

constexpr std::array kSignals = {SIGINT, SIGTERM, SIGHUP};
constexpr int kInterruptedStatus = 130;

sigset_t signalsThatCount() {
    sigset_t signals;
    sigemptyset(&signals);
    for (const int signal : kSignals) {
        struct sigaction action {};
        sigaction(signal, nullptr, &action);
        if (action.sa_handler != SIG_IGN) {
            sigaddset(&signals, signal);
        }
    }
    return signals;
}

int signalDescriptor() {
    const sigset_t signals = signalsThatCount();
    return signalfd(-1, &signals, SFD_CLOEXEC | SFD_NONBLOCK);
}

int eventDescriptor() {
    return eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK);
}

void makeReadable(int event) {
    const std::uint64_t one = 1;
    // Readers only look whether it is readable, so a failure to add to a full counter changes nothing.
    [[maybe_unused]] const ssize_t written = write(event, &one, sizeof one);
}

} // namespace

Interrupt::Interrupt()
    : _signals(signalDescriptor())
    , _requested(eventDescriptor())
    , _ended(eventDescriptor()) {
    if (!_signals || !_requested || !_ended) {
        throw std::system_error(errno, std::generic_category(), "Ctrl-C cannot be waited for");
    }
    const sigset_t signals = signalsThatCount();
    pthread_sigmask(SIG_BLOCK, &signals, &_blockedBefore);
    _taker = std::thread([this] { takeSignals(); });
}

Interrupt::~Interrupt() {
    makeReadable(_ended.get());
    _taker.join();
    pthread_sigmask(SIG_SETMASK, &_blockedBefore, nullptr);
}

void Interrupt::request() {
    _isRequested = true;
    makeReadable(_requested.get());
}

void Interrupt::wait(std::chrono::milliseconds limit) const {
    pollfd descriptor{_requested.get(), POLLIN, 0};
    poll(&descriptor, 1, static_cast<int>(limit.count()));
}

void Interrupt::takeSignals() {
    std::array<pollfd, 2> ready{{{_signals.get(), POLLIN, 0}, {_ended.get(), POLLIN, 0}}};
    while (ready[1].revents == 0) {
        poll(ready.data(), ready.size(), -1);
        signalfd_siginfo taken{};
        if (read(_signals.get(), &taken, sizeof taken) != sizeof taken) {
            continue;
        }
        if (_isRequested) {
            _exit(kInterruptedStatus);
        }
        request();
    }
}

} // namespace tool
