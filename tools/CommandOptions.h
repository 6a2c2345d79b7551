// SPDX-License-Identifier: MIT
#pragma once

#include "device/MTPService/MediaType.h"
#include "tools/OverwriteQuestion.h"

#include <CLI/CLI.hpp>
#include <optional>
#include <string>
#include <vector>

/// Options that several commands take, with the same words everywhere. What they fill must outlive the parsing.
namespace tool {

inline constexpr MediaType kMediaTypes[] = {MediaTypeMusic, MediaTypeImage, MediaTypeMovie};

/// --type auto|music|image|video; auto is nothing.
void addTypeOption(CLI::App& command, std::optional<MediaType>& type, const std::string& help);
/// --overwrite ask|always|never.
void addOverwriteOption(CLI::App& command, OverwriteMode& mode);
/// --storage NUMBER|LABEL.
void addStorageOption(CLI::App& command, std::string& storage, const std::string& help);

/// What the help of a command says about device paths.
[[nodiscard]] const std::string& devicePathHelp();

} // namespace tool
