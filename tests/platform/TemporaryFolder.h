// SPDX-License-Identifier: MIT
#pragma once

#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <set>
#include <string>

namespace tests {

/// A new, empty folder of the test's own; removed with all it holds at the end.
class TemporaryFolder {
public:
    TemporaryFolder() {
        std::string name = (std::filesystem::temp_directory_path() / "mtpservice-test-XXXXXX").string();
        if (!::mkdtemp(name.data())) {
            ADD_FAILURE() << "no temporary folder";
        }
        _path = name;
    }
    ~TemporaryFolder() {
        std::error_code ignored;
        std::filesystem::remove_all(_path, ignored);
    }
    TemporaryFolder(const TemporaryFolder&) = delete;
    TemporaryFolder& operator=(const TemporaryFolder&) = delete;

    [[nodiscard]] const std::string& path() const { return _path; }
    [[nodiscard]] std::string path(const std::string& name) const { return _path + "/" + name; }
    /// The names directly inside, hidden ones too.
    [[nodiscard]] std::set<std::string> names() const {
        std::set<std::string> found;
        for (const auto& entry : std::filesystem::directory_iterator(_path)) {
            found.insert(entry.path().filename().string());
        }
        return found;
    }

private:
    std::string _path;
};

inline std::string readFile(const std::string& path) {
    std::ifstream stream(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(stream), std::istreambuf_iterator<char>()};
}

inline void writeFile(const std::string& path, const std::string& content) {
    std::ofstream(path, std::ios::binary) << content;
}

/// Sets an environment variable for as long as it lives.
class ScopedEnvironment {
public:
    ScopedEnvironment(const char* name, const char* value)
        : _name(name) {
        const char* before = std::getenv(name);
        _had = before != nullptr;
        _before = _had ? before : "";
        value ? ::setenv(name, value, 1) : ::unsetenv(name);
    }
    ~ScopedEnvironment() { _had ? ::setenv(_name, _before.c_str(), 1) : ::unsetenv(_name); }
    ScopedEnvironment(const ScopedEnvironment&) = delete;
    ScopedEnvironment& operator=(const ScopedEnvironment&) = delete;

private:
    const char* _name;
    bool _had = false;
    std::string _before;
};

} // namespace tests
