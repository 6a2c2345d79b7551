// SPDX-License-Identifier: MIT
#include "tools/MediaPlan.h"

#include "host/defaults/MediaKinds.h"
#include "platform/Paths.h"
#include "platform/Strings.h"
#include "tools/ScreenText.h"

#include <algorithm>
#include <filesystem>
#include <fmt/format.h>
#include <sys/stat.h>
#include <unordered_map>
#include <utility>

namespace tool {
namespace {

namespace fs = std::filesystem;

enum class Origin { named, found };

std::string joined(const std::string& folder, const std::string& name) {
    return folder.ends_with('/') ? folder + name : folder + "/" + name;
}

class Planner {
public:
    Planner(std::optional<MediaType> forcedType, const std::function<bool()>& isStopped)
        : _forcedType(forcedType)
        , _isStopped(isStopped) {}

    void addNamed(const std::string& path) {
        std::error_code error;
        const fs::file_status status = fs::status(path, error);
        if (!fs::exists(status)) {
            const bool isUnknown = !error || status.type() == fs::file_type::not_found;
            leaveOut(path, isUnknown ? "no such file or folder" : error.message(), true);
        } else if (fs::is_directory(status)) {
            walk(path);
        } else {
            addFile(path, Origin::named);
        }
    }
    [[nodiscard]] MediaPlan takePlan() { return std::move(_plan); }

private:
    using Identity = std::pair<dev_t, ino_t>;

    void walk(const std::string& top) {
        std::vector<std::string> folders{top};
        while (!folders.empty() && !_isStopped()) {
            const std::string folder = std::move(folders.back());
            folders.pop_back();
            std::vector<std::string> inner;
            for (const std::string& name : entries(folder)) {
                const std::string path = joined(folder, name);
                std::error_code error;
                const fs::file_status link = fs::symlink_status(path, error);
                if (fs::is_directory(link)) {
                    inner.push_back(path);
                } else if (fs::is_symlink(link) && fs::is_directory(path, error)) {
                    leaveOut(path, "a link to a folder, not followed", false);
                } else {
                    addFile(path, Origin::found);
                }
            }
            folders.insert(folders.end(), inner.rbegin(), inner.rend());
        }
    }

    /// The visible names in a folder, sorted.
    std::vector<std::string> entries(const std::string& folder) {
        std::vector<std::string> names;
        std::error_code error;
        for (fs::directory_iterator entry(folder, error), end; !error && entry != end; entry.increment(error)) {
            std::string name = entry->path().filename().string();
            if (name.starts_with('.')) {
                ++_plan.hiddenCount;
            } else {
                names.push_back(std::move(name));
            }
        }
        if (error) {
            leaveOut(folder, "the folder cannot be read: " + error.message(), true);
        }
        std::sort(names.begin(), names.end());
        return names;
    }

    void addFile(const std::string& path, Origin origin) {
        const auto type = typeOf(path, origin);
        if (!type) {
            return leaveOut(path, _forcedType ? "not a file of this type" : "not a kind of media that is known", false);
        }
        struct stat status {};
        std::error_code error;
        const std::string absolute = fs::absolute(path, error).string();
        if (error || stat(absolute.c_str(), &status) != 0) {
            return leaveOut(path, "the file cannot be read: " + std::generic_category().message(errno), true);
        }
        if (!S_ISREG(status.st_mode)) {
            return leaveOut(path, "not a regular file", true);
        }
        LocalFile file{absolute, path, platform::lastPathComponent(absolute),
                       static_cast<std::uint64_t>(status.st_size), *type};
        if (!isValidUtf8(file.name)) {
            return leaveOut(path, "the name is not valid UTF-8, so no device can hold it", true);
        }
        if (isFirstOfItsName(file, {status.st_dev, status.st_ino})) {
            _plan.files.push_back(std::move(file));
        }
    }

    [[nodiscard]] std::optional<MediaType> typeOf(const std::string& path, Origin origin) const {
        if (!_forcedType) {
            const MediaType type = host::classifiedMediaType(path);
            return type == MediaTypeNone ? std::nullopt : std::optional(type);
        }
        const bool fits = origin == Origin::named || host::naturalMediaType(path) == *_forcedType;
        return fits ? _forcedType : std::nullopt;
    }

    bool isFirstOfItsName(const LocalFile& file, const Identity& identity) {
        const std::string key = fmt::format("{}/{}", static_cast<unsigned>(file.type), platform::caseFolded(file.name));
        const auto [entry, isNew] = _names.emplace(key, std::pair(file.shownPath, identity));
        if (isNew) {
            return true;
        }
        if (entry->second.second == identity) {
            leaveOut(file.shownPath, "named twice, sent once", false);
        } else {
            leaveOut(file.shownPath,
                     "has the same name on the device as " + safeText(entry->second.first) + ", which is sent", true);
        }
        return false;
    }

    void leaveOut(const std::string& path, std::string reason, bool isFailure) {
        _plan.leftOut.push_back({path, std::move(reason), isFailure});
    }

    const std::optional<MediaType> _forcedType;
    const std::function<bool()>& _isStopped;
    MediaPlan _plan;
    /// What the device compares names by, to the file that has taken the name.
    std::unordered_map<std::string, std::pair<std::string, Identity>> _names;
};

} // namespace

MediaPlan planMedia(const std::vector<std::string>& paths, std::optional<MediaType> forcedType,
                    const std::function<bool()>& isStopped) {
    Planner planner(forcedType, isStopped);
    for (const std::string& path : paths) {
        planner.addNamed(path);
    }
    return planner.takePlan();
}

} // namespace tool
