// SPDX-License-Identifier: MIT
#include "tools/HostSetup.h"

#include "host/DebugLevel.h"
#include "host/defaults/LocalMediaLibrary.h"
#include "host/defaults/XmlProfileHandler.h"

#include <cstdlib>
#include <filesystem>

namespace tool {
namespace {

/// Where profiles are looked for: the folders given, the user's own, those of the installation.
std::vector<std::string> profileFolders(const GlobalOptions& options) {
    std::vector<std::string> folders = options.profiles;
    const char* config = std::getenv("XDG_CONFIG_HOME");
    const char* home = std::getenv("HOME");
    if (config && *config == '/') {
        folders.push_back(std::string(config) + "/mtpservice/profiles");
    } else if (home && *home) {
        folders.push_back(std::string(home) + "/.config/mtpservice/profiles");
    }
    std::error_code error;
    const auto program = std::filesystem::read_symlink("/proc/self/exe", error).parent_path();
    folders.push_back((program.parent_path() / "share/mtpservice/profiles").string());
    return folders;
}

} // namespace

void setUpHost(const GlobalOptions& options) {
    SET_QD_DEBUG_LEVEL(options.debugLevel);
    ProfileHandler::setSharedInstance(std::make_shared<host::XmlProfileHandler>(profileFolders(options)));
}

void setUpMediaLibrary(bool readsMetadata,
                       std::function<void(const std::string& path, const std::string& why)> warning) {
    host::LocalMediaLibrary::Options options;
    options.readsMetadata = readsMetadata;
    options.probe = host::LocalMediaLibrary::findProbe();
    options.warning = std::move(warning);
    MediaLibrary::setSharedInstance(std::make_shared<host::LocalMediaLibrary>(std::move(options)));
}

} // namespace tool
