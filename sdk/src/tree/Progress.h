// SPDX-License-Identifier: MIT
#pragma once

#include "vemomtpsdk/Callbacks.h"

#include <cstdint>

namespace mtpsdk {

/// An application's progress callback during one transfer. The end (current == total) is held back until the transfer
/// is known to be whole, so that it is reported exactly once and never of a file that failed after all.
class Progress {
public:
    Progress(MtpProgressCallback callback, void* context, std::uint64_t total)
        : _callback(callback)
        , _context(context)
        , _total(total) {}

    /// Each answers whether the application wants to stop.
    [[nodiscard]] bool begin() const { return _total != 0 && report(0); }
    [[nodiscard]] bool moved(std::uint64_t current) const {
        return current != 0 && current < _total && report(current);
    }
    [[nodiscard]] bool finish() const { return report(_total); }

private:
    [[nodiscard]] bool report(std::uint64_t current) const {
        return _callback != nullptr && _callback(current, _total, _context) != 0;
    }

    MtpProgressCallback _callback;
    void* _context;
    std::uint64_t _total;
};

} // namespace mtpsdk
