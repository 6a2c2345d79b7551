// SPDX-License-Identifier: MIT
#pragma once

#include "tests/host/TestFolder.h"
#include "tests/tools/Texts.h"

#include <atomic>
#include <condition_variable>
#include <mutex>
#include <string>
#include <sys/types.h>
#include <thread>
#include <vector>

/// What a run of the program came to.
struct ToolResult {
    int status = -1; ///< exit status, or 128 and the signal's number
    std::string out;
    std::string err;
    [[nodiscard]] std::vector<std::string> lines() const; ///< of out
};

/// The program under test while it runs. Ended with it when it still runs at destruction.
class ToolProcess {
public:
    enum class Stream { out, err };
    enum class Terminal { no, yes };

    /// On a terminal all three streams are one, and everything shows as `out`.
    ToolProcess(const std::vector<std::string>& command, const std::vector<std::string>& environment,
                Terminal terminal);
    ~ToolProcess();
    ToolProcess(const ToolProcess&) = delete;
    ToolProcess& operator=(const ToolProcess&) = delete;

    /// Whether the text has shown on the stream within a minute; false also when the stream ended without it.
    [[nodiscard]] bool waitFor(Stream stream, const std::string& text);
    void signal(int number) const;
    /// Types on the terminal.
    void type(const std::string& text) const;
    /// Stops reading what the program prints, as a pager does that is left.
    void closeOutput();
    /// A program that hangs is aborted after some minutes, and the test fails with what it printed.
    ToolResult wait();

private:
    void readAll(int descriptor, std::string& into);
    bool endsInTime();

    std::string _command;
    pid_t _process = -1;
    int _terminal = -1;
    int _outDescriptor = -1;
    std::vector<int> _descriptors; ///< read by the readers, closed when those have ended
    std::atomic<bool> _outputClosed{false};
    std::mutex _mutex;
    std::condition_variable _changed;
    std::string _out;
    std::string _err;
    int _openStreams = 0;
    std::vector<std::thread> _readers;
};

/// A home of the test's own with a virtual device, and the program run in it.
class ToolSandbox {
public:
    ToolSandbox();
    /// Runs the program to its end.
    ToolResult run(const std::vector<std::string>& arguments);
    /// Runs it on the device of createDevice.
    ToolResult runOnDevice(std::vector<std::string> arguments);
    [[nodiscard]] ToolProcess start(const std::vector<std::string>& arguments,
                                    ToolProcess::Terminal terminal = ToolProcess::Terminal::no) const;
    /// A device called "Player" in the folder "device".
    void createDevice(const std::vector<std::string>& storages);

    /// Paths of the files below a folder, relative to it, sorted.
    [[nodiscard]] std::vector<std::string> filesBelow(const std::string& below) const;
    [[nodiscard]] std::string content(const std::string& below) const;
    [[nodiscard]] std::string path(const std::string& below) const { return folder.path(below); }

    const TestFolder folder;

private:
    [[nodiscard]] std::vector<std::string> environment() const;
};
