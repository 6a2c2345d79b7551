// SPDX-License-Identifier: MIT
#include "tools/PassingFolder.h"

#include "tools/Failure.h"
#include "tools/ScreenText.h"

namespace tool {

PassingFolder::PassingFolder(const std::filesystem::path& above) {
    if (const std::error_code error = _folder.create(above.string(), ".mtpservice-folder-")) {
        throw Failure(ExitStatus::someFailed,
                      "Nothing can be written in " + safeText(above.string()) + ": " + error.message());
    }
}

} // namespace tool
