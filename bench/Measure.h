// SPDX-License-Identifier: MIT
#pragma once

#include <chrono>
#include <filesystem>
#include <functional>
#include <string>
#include <vector>

/// Measuring whole programs and pieces of work against a baseline in the same run.
namespace bench {

using Clock = std::chrono::steady_clock;

/// What one run of a program cost.
struct Run {
    int status = 0;
    double seconds = 0;
    long peakKiB = 0; ///< peak resident memory of the process
};

/// Runs a program to its end; `onLine` (may be empty) gets each line of its standard output as it comes, which is
/// otherwise thrown away. The environment is this process's with `environment` ("NAME=value") added.
[[nodiscard]] Run runProgram(const std::vector<std::string>& command, const std::vector<std::string>& environment = {},
                             const std::function<void(const std::string&)>& onLine = {});

/// Ends this program when that one failed.
void require(const Run& run, const char* what);

[[nodiscard]] double seconds(const std::function<void()>& work);
[[nodiscard]] double median(std::vector<double> values);

/// A folder in the current one (the file system that is measured), removed at the end.
class Folder {
public:
    explicit Folder(const std::string& name);
    ~Folder();
    Folder(const Folder&) = delete;
    Folder& operator=(const Folder&) = delete;
    [[nodiscard]] const std::filesystem::path& path() const { return _path; }

private:
    std::filesystem::path _path;
};

/// A new virtual device "Bench" with one large storage "Phone", and mtpservice on it with a home of its own.
class Device {
public:
    /// `program` is the path of mtpservice; all lies in the folder `work`.
    Device(std::string program, const std::filesystem::path& work);

    Run run(std::vector<std::string> arguments, const std::function<void(const std::string&)>& onLine = {}) const;
    /// Runs with --json and answers when each file's result came, in seconds from the start.
    Run run(const std::vector<std::string>& arguments, std::vector<double>& resultSeconds) const;
    [[nodiscard]] std::filesystem::path storage() const { return _folder / "Phone"; }

private:
    std::string _program;
    std::filesystem::path _folder;
    std::vector<std::string> _environment;
};

/// Prints what a file took in each quarter of the runs whose results came at these moments, medians of the runs.
void printQuarters(const char* title, const std::vector<std::vector<double>>& runs);

/// A file of pseudo-random bytes, so that no file system can save work on it.
void writeFile(const std::filesystem::path& path, std::uint64_t size, std::uint64_t seed);

} // namespace bench
