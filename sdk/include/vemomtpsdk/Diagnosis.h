// SPDX-License-Identifier: MIT
#pragma once

#include "vemomtpsdk/Export.h"

#include <string>
#include <vector>

/// Why a device cannot be used, and what a person can do about it. All texts are UTF-8 and English sentences.
namespace vemomtpsdk {

struct Finding {
    enum class Kind {
        fine,    ///< works
        note,    ///< worth knowing
        problem, ///< keeps a device from being used
    };
    Kind kind = Kind::note;
    std::string text;
    std::string advice; ///< what to do; may be empty
};

/// Looks at the build, the system and every device, one after the other. Opens the devices that can be opened, for a
/// moment: none of them may be open in this process.
VEMO_EXPORT std::vector<Finding> diagnose();

/// What to do where a device opens but shows no storage, or does not answer: it is locked, or not set to file transfer.
VEMO_EXPORT std::string unlockAdvice();

} // namespace vemomtpsdk
