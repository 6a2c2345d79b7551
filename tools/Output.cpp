// SPDX-License-Identifier: MIT
#include "tools/Output.h"

#include <cerrno>
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
    winsize size{};
    return ioctl(_descriptor, TIOCGWINSZ, &size) == 0 && size.ws_col > 0 ? size.ws_col : 80;
}

} // namespace tool
