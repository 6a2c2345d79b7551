// SPDX-License-Identifier: MIT
#pragma once

#include "vemomtpsdk/Callbacks.h"

#include <cstdint>

namespace mtpsdk {

/// An application's progress callback during one transfer. The session reports every block and, once the device has
/// the file, its end; the beginning is reported here, so that a transfer can be stopped before anything moves.
class Progress {
public:
    Progress(MtpProgressCallback callback, void* context, std::uint64_t total)
        : _callback(callback)
        , _context(context)
        , _total(total) {}

    /// Each answers whether the application wants to stop. An empty file has an end only.
    [[nodiscard]] bool begin() const { return _total != 0 && report(0); }
    [[nodiscard]] bool moved(std::uint64_t current) const { return report(current); }

private:
    [[nodiscard]] bool report(std::uint64_t current) const {
        return _callback != nullptr && _callback(current, _total, _context) != 0;
    }

    MtpProgressCallback _callback;
    void* _context;
    std::uint64_t _total;
};

} // namespace mtpsdk
