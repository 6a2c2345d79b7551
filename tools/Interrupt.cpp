// SPDX-License-Identifier: MIT
#include "tools/Interrupt.h"

#include <array>
#include <atomic>
#include <cerrno>
#include <csignal>
#include <cstdint>
#include <poll.h>
#include <sys/eventfd.h>
#include <unistd.h>

namespace tool {
namespace {

constexpr std::array kSignals = {SIGINT, SIGTERM, SIGHUP};
constexpr int kInterruptedStatus = 130;

// What a signal handler may touch.
std::atomic<bool> requested{false};
std::atomic<int> eventDescriptor{-1};
static_assert(std::atomic<bool>::is_always_lock_free && std::atomic<int>::is_always_lock_free);

void raiseRequest() {
    requested = true;
    const std::uint64_t one = 1;
    // The counter's reader only looks whether it is readable, so a failure to add to a full counter changes nothing.
    [[maybe_unused]] const ssize_t written = write(eventDescriptor, &one, sizeof one);
}

void handleSignal(int) {
    const int savedError = errno;
    if (requested) {
        _exit(kInterruptedStatus);
    }
    raiseRequest();
    errno = savedError;
}

void setHandlers(void (*handler)(int)) {
    struct sigaction action {};
    action.sa_handler = handler;
    action.sa_flags = SA_RESTART;
    sigemptyset(&action.sa_mask);
    for (const int signal : kSignals) {
        sigaction(signal, &action, nullptr);
    }
}

} // namespace

Interrupt::Interrupt() {
    requested = false;
    eventDescriptor = eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK);
    setHandlers(handleSignal);
}

Interrupt::~Interrupt() {
    setHandlers(SIG_DFL);
    close(eventDescriptor.exchange(-1));
}

bool Interrupt::isRequested() const {
    return requested;
}

void Interrupt::request() {
    raiseRequest();
}

int Interrupt::descriptor() const {
    return eventDescriptor;
}

void Interrupt::wait(std::chrono::milliseconds limit) const {
    pollfd descriptor{eventDescriptor, POLLIN, 0};
    poll(&descriptor, 1, static_cast<int>(limit.count()));
}

} // namespace tool
