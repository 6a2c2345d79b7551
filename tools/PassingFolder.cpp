// SPDX-License-Identifier: MIT
#include "tools/PassingFolder.h"

#include "tools/Failure.h"
#include "tools/ScreenText.h"

#include <cerrno>
#include <cstdlib>
#include <cstring>

namespace tool {

PassingFolder::PassingFolder(const std::filesystem::path& above) {
    std::string name = (above / ".mtpservice-XXXXXX").string();
    if (!mkdtemp(name.data())) {
        throw Failure(ExitStatus::someFailed,
                      "Nothing can be written in " + safeText(above.string()) + ": " + std::strerror(errno));
    }
    _path = name;
}

PassingFolder::~PassingFolder() {
    std::error_code ignored;
    std::filesystem::remove_all(_path, ignored);
}

} // namespace tool
