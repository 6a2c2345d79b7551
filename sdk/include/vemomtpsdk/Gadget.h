// SPDX-License-Identifier: MIT
#pragma once

#include "vemomtpsdk/Export.h"

#include <functional>
#include <string>

/// A virtual device as a real one: this computer plays the device on a USB port that can be a gadget's. UTF-8 texts.
namespace vemomtpsdk {

/// true: a host has configured the device; false: it is gone, or the cable is.
using GadgetListener = std::function<void(bool connected)>;

/// Serves the virtual device in `directory` through the FunctionFS instance mounted at `functionFs` to one host after
/// another, on the calling thread, until the descriptor `stop` is readable. Nobody else can use the device meanwhile.
/// false, and a sentence in `error`, when it cannot, or no longer.
VEMO_EXPORT bool serveVirtualDevice(const std::string& directory, const std::string& functionFs, int stop,
                                    const GadgetListener& listener, std::string& error);

} // namespace vemomtpsdk
