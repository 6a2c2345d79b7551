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

/// "12 MiB of 28 MiB, 3.1 MiB/s, 0:05 left", or "3 of 12 files" where no bytes are moved.
std::string amountText(const TransferSnapshot& snapshot, milliseconds elapsed) {
    if (snapshot.bytesTotal == 0 && snapshot.filesTotal > 0) {
        return fmt::format("{} of {} files", snapshot.filesDone, snapshot.filesTotal);
    }
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
    PrinterBase(Console& console, Clock clock, std::string doneWord)
        : _console(console)
        , _clock(std::move(clock))
        , _doneWord(std::move(doneWord))
        , _start(_clock()) {}

protected:
    [[nodiscard]] std::string summary(const TransferSnapshot& snapshot, std::size_t skipped,
                                      std::size_t alsoFailed) const {
        return summaryText(snapshot, skipped, alsoFailed, elapsed(), _doneWord);
    }
    [[nodiscard]] milliseconds elapsed() const { return std::chrono::duration_cast<milliseconds>(_clock() - _start); }
    Console& console() { return _console; }

private:
    Console& _console;
    const Clock _clock;
    const std::string _doneWord;
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
        console().print(summary(snapshot, skipped, alsoFailed));
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
            const std::string files = fmt::format("… {} of {} files", snapshot.filesDone, snapshot.filesTotal);
            console().print(snapshot.bytesTotal == 0 ? files : files + ", " + amountText(snapshot, now));
        }
    }

    milliseconds _lastShown{0};
};

class QuietPrinter : public TextPrinter {
public:
    using TextPrinter::TextPrinter;

    void progressed(const TransferSnapshot& snapshot) override {
        if (console().hasStatusLine()) {
            TextPrinter::progressed(snapshot);
        }
    }
    void settled(const FileResult& result, const TransferSnapshot&) override {
        if (result.state == FileState::failed || result.state == FileState::cancelled) {
            console().say(resultLine(result));
        }
    }
    void leftOut(const LeftOut& entry) override { console().say(leftOutLine(entry)); }
    void summarise(const TransferSnapshot&, std::size_t, std::size_t) override { console().clearStatus(); }
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
        console().say(summary(snapshot, skipped, alsoFailed));
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
                        milliseconds elapsed, const std::string& doneWord) {
    std::string text = fmt::format("{} {}, {} skipped, {} failed", snapshot.copied, doneWord, snapshot.kept + skipped,
                                   snapshot.failed + alsoFailed);
    if (snapshot.bytesTotal == 0) {
        return text;
    }
    text += fmt::format("; {} in {}", sizeText(snapshot.bytesCopied),
                        durationText(std::chrono::duration_cast<seconds>(elapsed)));
    const std::string rate = rateText(snapshot.bytesCopied, elapsed);
    return rate.empty() || snapshot.bytesCopied == 0 ? text : text + " (" + rate + ")";
}

std::unique_ptr<TransferPrinter> makeTextPrinter(Console& console, TransferPrinter::Clock clock, std::string doneWord) {
    return std::make_unique<TextPrinter>(console, std::move(clock), std::move(doneWord));
}

std::unique_ptr<TransferPrinter> makeJsonPrinter(Console& console, TransferPrinter::Clock clock, std::string doneWord) {
    return std::make_unique<JsonPrinter>(console, std::move(clock), std::move(doneWord));
}

std::unique_ptr<TransferPrinter> makeQuietPrinter(Console& console, TransferPrinter::Clock clock) {
    return std::make_unique<QuietPrinter>(console, std::move(clock), "");
}

} // namespace tool
