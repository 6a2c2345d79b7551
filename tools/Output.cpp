// SPDX-License-Identifier: MIT
#include "tools/Output.h"

#include <cerrno>
#include <cstdlib>
#include <sys/ioctl.h>
#include <unistd.h>

namespace tool {

DescriptorOutput::DescriptorOutput(int descriptor)
    : _descriptor(descriptor)
    , _isTerminal(isatty(descriptor) == 1) {}

bool DescriptorOutput::write(std::string_view text) {
    while (!text.empty()) {
        const ssize_t count = ::write(_descriptor, text.data(), text.size());
        if (count < 0 && errno != EINTR) {
            return false;
        }
        text.remove_prefix(count > 0 ? static_cast<std::size_t>(count) : 0);
    }
    return true;
}

int DescriptorOutput::columns() const {
    constexpr int usual = 80;
    winsize size{};
    if (ioctl(_descriptor, TIOCGWINSZ, &size) == 0 && size.ws_col > 0) {
        return size.ws_col;
    }
    const char* text = std::getenv("COLUMNS");
    const int given = text == nullptr ? 0 : std::atoi(text);
    return given > 0 ? given : usual;
}

} // namespace tool
