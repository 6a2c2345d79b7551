// SPDX-License-Identifier: MIT
#pragma once

#include "transport/Transport.h"

#include <filesystem>
#include <string>
#include <vector>

namespace mtpsdk {

/// What is wrong, in a sentence, and what a person can do about it. `name` is what the device is called in a sentence.
struct Advice {
    std::string problem;
    std::string remedy;
    [[nodiscard]] std::string text() const { return problem + " " + remedy; }
};

/// "Player" in quotes, or its port where it has no name.
[[nodiscard]] std::string nameInSentence(const std::string& product, const std::string& port);

/// `id` serves a rule of the person's own, for what the udev rule that comes with mtpservice cannot tell from others.
[[nodiscard]] Advice permissionAdvice(const std::string& name, UsbId id, const std::filesystem::path& node,
                                      bool isRuleInstalled);
/// The system knows the device, and has made no file for it.
[[nodiscard]] Advice noNodeAdvice(const std::string& name, const std::filesystem::path& node);
/// `programs` as programsHolding tells them; none: the system does not tell which.
[[nodiscard]] Advice heldAdvice(const std::string& name, const std::vector<std::string>& programs);
/// It opens, and shows no storage.
[[nodiscard]] Advice lockedAdvice(const std::string& name);
[[nodiscard]] Advice silentAdvice(const std::string& name, const std::string& why);
[[nodiscard]] std::string unlockRemedy();

/// Where systems keep udev rules.
[[nodiscard]] std::vector<std::filesystem::path> udevRuleFolders();
[[nodiscard]] bool isUdevRuleInstalled(const std::vector<std::filesystem::path>& folders);

} // namespace mtpsdk
