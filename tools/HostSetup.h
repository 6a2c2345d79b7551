// SPDX-License-Identifier: MIT
#pragma once

#include "tools/Command.h"

#include <functional>
#include <string>

namespace tool {

/// Gives the service what an application supplies: device profiles and the debug level.
void setUpHost(const GlobalOptions& options);

/// And the metadata of the files that are sent; `warning` is told of those that go without.
void setUpMediaLibrary(bool readsMetadata,
                       std::function<void(const std::string& path, const std::string& why)> warning);

} // namespace tool
