// SPDX-License-Identifier: MIT
#pragma once

#include "tools/Console.h"
#include "tools/TransferProgress.h"

#include <chrono>
#include <functional>
#include <memory>
#include <string>

namespace tool {

/// A listener that is also told of files that were never sent, and asked for the last word.
class TransferPrinter : public TransferListener {
public:
    using Clock = std::function<std::chrono::steady_clock::time_point()>;
    virtual void leftOut(const LeftOut& entry) = 0;
    /// The end of the run; `skipped` are the left-out entries that are no failures.
    virtual void summarise(const TransferSnapshot& snapshot, std::size_t skipped, std::size_t alsoFailed) = 0;
};

/// For a person: a line for every file, and on a terminal a progress bar below them; without a terminal a plain line
/// now and then.
[[nodiscard]] std::unique_ptr<TransferPrinter> makeTextPrinter(Console& console, TransferPrinter::Clock clock,
                                                               std::string doneWord = "copied");

/// For a program: every notification as one line of JSON on standard output, what a person should know on standard
/// error.
[[nodiscard]] std::unique_ptr<TransferPrinter> makeJsonPrinter(Console& console, TransferPrinter::Clock clock,
                                                               std::string doneWord = "copied");

/// For a command whose own line is all that standard output is for: failures on standard error, and the progress bar on
/// a terminal.
[[nodiscard]] std::unique_ptr<TransferPrinter> makeQuietPrinter(Console& console, TransferPrinter::Clock clock);

/// "42 % ████▌      12.0 MiB of 28.5 MiB, 3.1 MiB/s, 0:05 left  song.mp3", cut to the columns. Files without bytes are
/// counted instead.
[[nodiscard]] std::string progressBar(const TransferSnapshot& snapshot, std::chrono::milliseconds elapsed, int columns);

/// "12 copied, 1 skipped, 2 failed; 28.5 MiB in 0:09 (3.1 MiB/s)". The word tells what became of the files; without
/// bytes the part after ";" is left out.
[[nodiscard]] std::string summaryText(const TransferSnapshot& snapshot, std::size_t skipped, std::size_t alsoFailed,
                                      std::chrono::milliseconds elapsed, const std::string& doneWord = "copied");

} // namespace tool
