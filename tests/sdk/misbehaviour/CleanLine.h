// SPDX-License-Identifier: MIT
#pragma once

#include "mtp/Session.h"

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

namespace mtpsdk::test {

/// The folder on the device that a round works in.
inline constexpr std::string_view workFolder = "misbehaviour";

/// A file's name says what is in it, so that whoever finds one can tell whether it is whole.
[[nodiscard]] std::string fileName(std::uint32_t number, std::uint64_t size);
/// What the file of this name holds; nothing when it is none of ours.
[[nodiscard]] std::optional<std::string> contentOf(std::string_view name);

/// The device over a line that behaves: what the next plug-in finds.
class CleanLine {
public:
    /// `problem` says what went wrong. A device that pulled itself out of the port (some do, when what they get makes
    /// no sense to them) is waited for: someone may plug it in again.
    [[nodiscard]] static std::unique_ptr<CleanLine> open(std::uint32_t locationId, std::string& problem);

    /// Whether every file in the work folder is whole; `problem` names the first that is not.
    [[nodiscard]] bool check(std::string& problem);
    /// An empty work folder.
    [[nodiscard]] bool tidy(std::string& problem);

private:
    [[nodiscard]] DGSTATUS findFolder(std::optional<ObjectEntry>& folder);
    [[nodiscard]] bool checkFile(const ObjectEntry& entry, std::string& problem);

    std::unique_ptr<Session> _session;
    std::uint32_t _storage = 0;
};

} // namespace mtpsdk::test
