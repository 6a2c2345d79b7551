// SPDX-License-Identifier: MIT
#pragma once

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>
#include <string_view>

/// A folder of the test's own, removed with all that is in it.
class TemporaryFolder {
public:
    TemporaryFolder() {
        std::string name = (std::filesystem::temp_directory_path() / "mtpservice-test-XXXXXX").string();
        if (!mkdtemp(name.data())) {
            std::abort();
        }
        _path = name;
    }
    ~TemporaryFolder() {
        std::error_code ignored;
        std::filesystem::remove_all(_path, ignored);
    }
    TemporaryFolder(const TemporaryFolder&) = delete;
    TemporaryFolder& operator=(const TemporaryFolder&) = delete;

    [[nodiscard]] std::string path(std::string_view below = "") const {
        return below.empty() ? _path.string() : (_path / below).string();
    }
    /// Writes a file, with the folders above it, and answers its path.
    std::string write(std::string_view below, std::string_view content) const {
        const std::filesystem::path file = _path / below;
        std::filesystem::create_directories(file.parent_path());
        std::ofstream(file, std::ios::binary) << content;
        return file.string();
    }

private:
    std::filesystem::path _path;
};
