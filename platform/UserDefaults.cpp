// SPDX-License-Identifier: MIT
#include "platform/UserDefaults.h"

#include "platform/AtomicFile.h"
#include "platform/Files.h"
#include "platform/Log.h"
#include "platform/Monitor.h"
#include "platform/Paths.h"
#include "platform/PosixFile.h"

#include <fcntl.h>
#include <nlohmann/json.hpp>
#include <sys/file.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <map>
#include <thread>

namespace platform {

namespace {

using Settings = nlohmann::ordered_json; // keeps the order in which a person wrote the file

std::string standardFile() {
    const char* configured = std::getenv("XDG_CONFIG_HOME"); // NOLINT(concurrency-mt-unsafe)
    // A relative folder is invalid there and counts as not set.
    const std::string folder = configured && *configured == '/' ? configured : expandingTilde("~/.config");
    return folder + "/mtpservice/defaults.json";
}

std::error_code readWhole(const std::string& file, std::string& content) {
    const Descriptor descriptor(::open(file.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK | O_NOCTTY));
    if (!descriptor) {
        return lastSystemError();
    }
    char block[4096];
    for (;;) {
        const ssize_t size = retryInterrupted([&] { return ::read(descriptor.get(), block, sizeof(block)); });
        if (size < 0) {
            return lastSystemError();
        }
        if (size == 0) {
            return {};
        }
        content.append(block, static_cast<std::size_t>(size));
    }
}

/// What the file holds; empty when there is none yet or it was damaged. A file that cannot be read is an error.
std::error_code readSettings(const std::string& file, Settings& settings) {
    settings = Settings::object();
    std::string content;
    const std::error_code error = readWhole(file, content);
    if (error) {
        return error == std::errc::no_such_file_or_directory ? std::error_code() : error;
    }
    Settings read = Settings::parse(content, nullptr, false);
    if (read.is_object()) {
        settings = std::move(read);
        return {};
    }
    const std::string aside = file + ".damaged";
    QD_LOG(3, "The settings in %@ are damaged and set aside as %@", file, aside);
    return std::rename(file.c_str(), aside.c_str()) == 0 ? std::error_code() : lastSystemError();
}

/// Keeps other processes from writing the settings between our reading and our writing them. Where the file system
/// knows no locks, or somebody stopped in the middle, the last writer wins: waiting is limited to about ten seconds,
/// which only a crowd of writers on a busy machine comes near.
class FolderLock {
public:
    explicit FolderLock(const std::string& folder)
        : _folder(::open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC)) {
        constexpr int attempts = 2000;
        for (int i = 0; _folder && i < attempts && !tryLock(); ++i) {
            std::this_thread::sleep_for(std::chrono::milliseconds(5));
        }
    }

private:
    /// false only when another one holds the lock.
    bool tryLock() { return ::flock(_folder.get(), LOCK_EX | LOCK_NB) == 0 || errno != EWOULDBLOCK; }

    Descriptor _folder;
};

} // namespace

struct UserDefaults::State {
    explicit State(std::string path)
        : file(std::move(path)) {}

    const std::string file;
    Mutex mutex;
    bool loaded PLATFORM_GUARDED_BY(mutex) = false;
    Settings settings PLATFORM_GUARDED_BY(mutex) = Settings::object();
    /// Set since the last synchronize; nullopt removes the key.
    std::map<std::string, std::optional<bool>, std::less<>> changes PLATFORM_GUARDED_BY(mutex);

    void load() PLATFORM_REQUIRES(mutex) {
        if (!loaded) {
            loaded = true;
            if (const auto error = readSettings(file, settings)) {
                QD_LOG(3, "The settings in %@ cannot be read: %@", file, error.message());
            }
        }
    }

    void change(std::string_view key, std::optional<bool> value) PLATFORM_REQUIRES(mutex) {
        load();
        apply(settings, std::string(key), value);
        changes.insert_or_assign(std::string(key), value);
    }

    static void apply(Settings& target, const std::string& key, std::optional<bool> value) {
        if (value) {
            target[key] = *value;
        } else {
            target.erase(key);
        }
    }

    bool write() PLATFORM_REQUIRES(mutex) {
        const std::string folder = deletingLastPathComponent(file);
        if (!changes.empty() && !folder.empty() && createFolders(folder)) {
            return false;
        }
        const FolderLock lock(folder.empty() ? "." : folder);
        Settings merged;
        if (readSettings(file, merged)) {
            return false;
        }
        const Settings before = merged;
        for (const auto& [key, value] : changes) {
            apply(merged, key, value);
        }
        if (merged != before) {
            // Invalid UTF-8 in a key is replaced rather than thrown on.
            const std::string text = merged.dump(4, ' ', false, Settings::error_handler_t::replace) + "\n";
            if (writeFileAtomically(file, text)) {
                return false;
            }
        }
        changes.clear();
        settings = std::move(merged);
        loaded = true;
        return true;
    }
};

UserDefaults& UserDefaults::standardUserDefaults() {
    static auto* const defaults = new UserDefaults(standardFile());
    return *defaults;
}

UserDefaults::UserDefaults(std::string file)
    : _state(std::make_unique<State>(std::move(file))) {}

UserDefaults::~UserDefaults() = default;

bool UserDefaults::boolForKey(std::string_view key) const {
    const MutexLock lock(_state->mutex);
    _state->load();
    const auto found = _state->settings.find(std::string(key));
    return found != _state->settings.end() && found->is_boolean() && found->get<bool>();
}

void UserDefaults::setBool(bool value, std::string_view key) {
    const MutexLock lock(_state->mutex);
    _state->change(key, value);
}

void UserDefaults::removeKey(std::string_view key) {
    const MutexLock lock(_state->mutex);
    _state->change(key, std::nullopt);
}

bool UserDefaults::synchronize() {
    const MutexLock lock(_state->mutex);
    return _state->write();
}

} // namespace platform
