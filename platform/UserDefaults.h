// SPDX-License-Identifier: MIT
#pragma once

#include "platform/Export.h"

#include <memory>
#include <string>
#include <string_view>

namespace platform {

/// The user's settings: a readable JSON file, "$XDG_CONFIG_HOME/mtpservice/defaults.json" (else under "~/.config").
/// Values are read from memory; synchronize writes them (aside, synced, renamed). A damaged file is set aside under
/// ".damaged" and counts as empty. Thread-safe.
class MTPSERVICE_EXPORT UserDefaults {
public:
    static UserDefaults& standardUserDefaults();

    explicit UserDefaults(std::string file);
    ~UserDefaults();
    UserDefaults(const UserDefaults&) = delete;
    UserDefaults& operator=(const UserDefaults&) = delete;

    /// false when the key is missing or holds no boolean.
    [[nodiscard]] bool boolForKey(std::string_view key) const;
    void setBool(bool value, std::string_view key);
    void removeKey(std::string_view key);
    /// Writes changes to the file; true when the file now holds them. Keys that others wrote meanwhile are kept.
    bool synchronize();

private:
    struct State;
    std::unique_ptr<State> _state;
};

} // namespace platform
