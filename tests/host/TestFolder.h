// SPDX-License-Identifier: MIT
#pragma once

#include "tests/platform/TemporaryFolder.h"

/// A temporary folder that files are put into, with the folders above them.
class TestFolder : public tests::TemporaryFolder {
public:
    /// Writes a file by its path in the folder and answers the whole path.
    std::string write(const std::string& below, const std::string& content) const {
        std::filesystem::create_directories(std::filesystem::path(path(below)).parent_path());
        tests::writeFile(path(below), content);
        return path(below);
    }
};
