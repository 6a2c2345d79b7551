// SPDX-License-Identifier: MIT
#include "tools/TransferPrinters.h"

#include "tests/tools/FakeTerminal.h"
#include "tools/ScreenText.h"
#include <gtest/gtest.h>

namespace {

using namespace tool;
using std::chrono::milliseconds;

TransferSnapshot halfWay() {
    TransferSnapshot snapshot;
    snapshot.filesDone = 3;
    snapshot.filesTotal = 6;
    snapshot.bytesDone = 10 << 20;
    snapshot.bytesTotal = 20 << 20;
    snapshot.bytesCopied = 10 << 20;
    snapshot.currentName = "so\x1Bng 音楽.mp3";
    snapshot.copied = 2;
    snapshot.kept = 1;
    return snapshot;
}

class TransferPrintersTest : public testing::Test {
protected:
    TransferPrinter::Clock clock() {
        return [this] { return std::chrono::steady_clock::time_point(now); };
    }
    static FileResult result(FileState state, const char* reason) {
        static const LocalFile file{"/l/a\tb.mp3", "l/a\tb.mp3", "a\tb.mp3", 5, MediaTypeMusic};
        return {file, state, reason};
    }
    milliseconds now{0};
    FakeOutput terminal{true, 60};
    FakeOutput pipe{false};
    FakeOutput err{false};
};

TEST_F(TransferPrintersTest, TheBarFitsTheTerminal) {
    EXPECT_EQ(progressBar(halfWay(), milliseconds(2000), 100),
              " 50 % ██████████░░░░░░░░░░ 10 MiB of 20 MiB, 5.0 MiB/s, 0:02 left  so\\x1Bng 音楽.mp3");
    for (int columns = 0; columns < 120; ++columns) {
        EXPECT_LT(displayWidth(progressBar(halfWay(), milliseconds(2000), columns)), std::max(columns, 1)) << columns;
    }
    EXPECT_EQ(progressBar({}, milliseconds(0), 40), "100 % ████████████████████ 0 B of 0 B  ");
    TransferSnapshot empty; // files without bytes are counted instead
    empty.filesDone = 1;
    empty.filesTotal = 4;
    EXPECT_EQ(progressBar(empty, milliseconds(0), 22), " 25 % 1 of 4 files  ");
}

TEST_F(TransferPrintersTest, OnATerminalResultsStandAboveTheBar) {
    Console console(terminal, err);
    const auto printer = makeTextPrinter(console, clock());
    now = milliseconds(2000);
    printer->progressed(halfWay());
    EXPECT_EQ(terminal.cursorLine(), progressBar(halfWay(), now, 60));
    const std::size_t drawn = terminal.written.size();
    now += milliseconds(50);
    printer->progressed(halfWay()); // not ten times a second is enough
    EXPECT_EQ(terminal.written.size(), drawn);
    printer->settled(result(FileState::failed, "the storage is full"), halfWay());
    EXPECT_NE(terminal.written.find("\r\x1B[K✗ l/a\\x09b.mp3: the storage is full\n"), std::string::npos);
    EXPECT_EQ(terminal.cursorLine(), progressBar(halfWay(), milliseconds(2000), 60));
    printer->summarise(halfWay(), 1, 0);
    EXPECT_EQ(terminal.cursorLine(), "");
    EXPECT_TRUE(err.written.empty());
}

TEST_F(TransferPrintersTest, IntoAPipeGoPlainLines) {
    Console console(pipe, err);
    const auto printer = makeTextPrinter(console, clock());
    printer->settled(result(FileState::copied, ""), halfWay());
    printer->settled(result(FileState::kept, "exists already"), halfWay());
    printer->leftOut({"notes.txt", "not known", false});
    printer->leftOut({"gone.mp3", "no such file", true});
    now = milliseconds(6000);
    printer->progressed(halfWay());
    printer->progressed(halfWay());
    now = milliseconds(8000);
    printer->summarise(halfWay(), 1, 2);
    EXPECT_EQ(pipe.written, "✓ l/a\\x09b.mp3\n"
                            "– l/a\\x09b.mp3: exists already\n"
                            "– notes.txt: skipped, not known\n"
                            "✗ gone.mp3: no such file\n"
                            "… 3 of 6 files, 10 MiB of 20 MiB, 1.7 MiB/s, 0:06 left\n"
                            "2 copied, 2 skipped, 2 failed; 10 MiB in 0:08 (1.2 MiB/s)\n");
}

TEST_F(TransferPrintersTest, JsonGoesToStandardOutputAndTalkToStandardError) {
    Console console(terminal, err);
    const auto printer = makeJsonPrinter(console, clock());
    printer->notified({"N", platform::Dictionary{{"Current", 1}}});
    printer->progressed(halfWay());
    printer->settled(result(FileState::copied, ""), halfWay());
    printer->settled(result(FileState::failed, "gone"), halfWay());
    printer->leftOut({"x", "y", false});
    printer->summarise(halfWay(), 0, 0);
    EXPECT_EQ(terminal.written, "{\"notification\":\"N\",\"userInfo\":{\"Current\":1}}\n");
    EXPECT_EQ(err.written, "✗ l/a\\x09b.mp3: gone\n– x: skipped, y\n2 copied, 1 skipped, 0 failed; 10 MiB in 0:00\n");
}

TEST_F(TransferPrintersTest, AClosedOutputIsNoticed) {
    Console console(pipe, err);
    console.print("fine");
    EXPECT_FALSE(console.isBroken());
    err.isClosed = true;
    console.say("nobody listens, the data still has a reader");
    EXPECT_FALSE(console.isBroken());
    pipe.isClosed = true;
    console.print("lost");
    EXPECT_TRUE(console.isBroken());
}

} // namespace
