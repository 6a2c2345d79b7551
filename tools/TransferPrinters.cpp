// SPDX-License-Identifier: MIT
#include "tools/TransferPrinters.h"

#include "tools/JsonValue.h"
#include "tools/ScreenText.h"
#include "tools/Units.h"

#include <algorithm>
#include <fmt/format.h>

namespace tool {
namespace {

using std::chrono::milliseconds;
using std::chrono::seconds;

constexpr milliseconds kBarInterval{100};
constexpr milliseconds kPlainInterval{5000};
constexpr int kBarColumns = 20;

unsigned percentOf(const TransferSnapshot& snapshot) {
    if (snapshot.bytesTotal > 0) {
        return static_cast<unsigned>(static_cast<double>(snapshot.bytesDone) * 100 /
                                     static_cast<double>(snapshot.bytesTotal));
    }
    return snapshot.filesTotal > 0 ? static_cast<unsigned>(snapshot.filesDone * 100 / snapshot.filesTotal) : 100;
}

/// "12 MiB of 28 MiB, 3.1 MiB/s, 0:05 left".
std::string amountText(const TransferSnapshot& snapshot, milliseconds elapsed) {
    std::string text = fmt::format("{} of {}", sizeText(snapshot.bytesDone), sizeText(snapshot.bytesTotal));
    if (elapsed >= seconds(1) && snapshot.bytesDone > 0) {
        const double left = static_cast<double>(snapshot.bytesTotal - snapshot.bytesDone) /
                            static_cast<double>(snapshot.bytesDone) * static_cast<double>(elapsed.count()) / 1000;
        text += fmt::format(", {}, {} left", rateText(snapshot.bytesDone, elapsed),
                            durationText(seconds(static_cast<std::int64_t>(std::min(left, 360000.0)))));
    }
    return text;
}

std::string resultLine(const FileResult& result) {
    const char* mark = result.state == FileState::copied ? "✓" : result.state == FileState::kept ? "–" : "✗";
    const std::string name = safeText(result.file.shownPath);
    return result.reason.empty() ? fmt::format("{} {}", mark, name)
                                 : fmt::format("{} {}: {}", mark, name, result.reason);
}

std::string leftOutLine(const LeftOut& entry) {
    return fmt::format("{} {}: {}{}", entry.isFailure ? "✗" : "–", safeText(entry.shownPath),
                       entry.isFailure ? "" : "skipped, ", entry.reason);
}

class PrinterBase : public TransferPrinter {
public:
    PrinterBase(Console& console, Clock clock)
        : _console(console)
        , _clock(std::move(clock))
        , _start(_clock()) {}

protected:
    [[nodiscard]] milliseconds elapsed() const { return std::chrono::duration_cast<milliseconds>(_clock() - _start); }
    Console& console() { return _console; }

private:
    Console& _console;
    const Clock _clock;
    const std::chrono::steady_clock::time_point _start;
};

class TextPrinter : public PrinterBase {
public:
    using PrinterBase::PrinterBase;

    void notified(const platform::Notification&) override {}
    void progressed(const TransferSnapshot& snapshot) override { show(snapshot); }
    void settled(const FileResult& result, const TransferSnapshot& snapshot) override {
        console().print(resultLine(result));
        show(snapshot);
    }
    void leftOut(const LeftOut& entry) override { console().print(leftOutLine(entry)); }
    void summarise(const TransferSnapshot& snapshot, std::size_t skipped, std::size_t alsoFailed) override {
        console().clearStatus();
        console().print(summaryText(snapshot, skipped, alsoFailed, elapsed()));
    }

private:
    void show(const TransferSnapshot& snapshot) {
        const bool hasBar = console().hasStatusLine();
        const milliseconds now = elapsed();
        if (now - _lastShown < (hasBar ? kBarInterval : kPlainInterval)) {
            return;
        }
        _lastShown = now;
        if (hasBar) {
            console().setStatus(progressBar(snapshot, now, console().columns()));
        } else {
            console().print(fmt::format("… {} of {} files, {}", snapshot.filesDone, snapshot.filesTotal,
                                        amountText(snapshot, now)));
        }
    }

    milliseconds _lastShown{0};
};

class JsonPrinter : public PrinterBase {
public:
    using PrinterBase::PrinterBase;

    void notified(const platform::Notification& notification) override { console().print(jsonLine(notification)); }
    void progressed(const TransferSnapshot&) override {}
    void settled(const FileResult& result, const TransferSnapshot&) override {
        if (result.state != FileState::copied) {
            console().say(resultLine(result));
        }
    }
    void leftOut(const LeftOut& entry) override { console().say(leftOutLine(entry)); }
    void summarise(const TransferSnapshot& snapshot, std::size_t skipped, std::size_t alsoFailed) override {
        console().say(summaryText(snapshot, skipped, alsoFailed, elapsed()));
    }
};

} // namespace

std::string progressBar(const TransferSnapshot& snapshot, milliseconds elapsed, int columns) {
    const unsigned percent = std::min(percentOf(snapshot), 100U);
    const auto filled = static_cast<std::size_t>(percent * kBarColumns / 100);
    std::string bar;
    for (std::size_t column = 0; column < kBarColumns; ++column) {
        bar += column < filled ? "█" : "░";
    }
    const std::string amount = amountText(snapshot, elapsed);
    // The last column stays free, since some terminals wrap when it is written.
    const int room = std::max(columns - 1, 0);
    std::string line = fmt::format("{:3} % {} {}", percent, bar, amount);
    if (displayWidth(line) > room) {
        line = fmt::format("{:3} % {}", percent, amount); // narrow: the figures say more than the bar
    }
    return fittedText(line + "  " + safeText(snapshot.currentName), room);
}

std::string summaryText(const TransferSnapshot& snapshot, std::size_t skipped, std::size_t alsoFailed,
                        milliseconds elapsed) {
    std::string text =
        fmt::format("{} copied, {} skipped, {} failed; {} in {}", snapshot.copied, snapshot.kept + skipped,
                    snapshot.failed + alsoFailed, sizeText(snapshot.bytesCopied),
                    durationText(std::chrono::duration_cast<seconds>(elapsed)));
    const std::string rate = rateText(snapshot.bytesCopied, elapsed);
    return rate.empty() || snapshot.bytesCopied == 0 ? text : text + " (" + rate + ")";
}

std::unique_ptr<TransferPrinter> makeTextPrinter(Console& console, TransferPrinter::Clock clock) {
    return std::make_unique<TextPrinter>(console, std::move(clock));
}

std::unique_ptr<TransferPrinter> makeJsonPrinter(Console& console, TransferPrinter::Clock clock) {
    return std::make_unique<JsonPrinter>(console, std::move(clock));
}

} // namespace tool
