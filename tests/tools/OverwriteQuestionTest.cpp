// SPDX-License-Identifier: MIT
#include "tools/OverwriteQuestion.h"

#include "tests/tools/FakeTerminal.h"
#include <deque>
#include <gtest/gtest.h>
#include <vector>

namespace {

using namespace tool;

class FixedAnswers : public AnswerSource {
public:
    explicit FixedAnswers(std::deque<std::string> answers)
        : lines(std::move(answers)) {}
    std::optional<std::string> readLine() override {
        if (lines.empty()) {
            return std::nullopt;
        }
        std::string line = std::move(lines.front());
        lines.pop_front();
        return line;
    }
    std::deque<std::string> lines;
};

class OverwriteQuestionTest : public testing::Test {
protected:
    /// Answers for files "0", "1", …; 'y' for overwritten, 'n' for kept.
    std::string decisions(OverwriteMode mode, AnswerSource* answers, int files) {
        kept.clear();
        OverwriteQuestion question(mode, console, answers, [this](const std::string& name) { kept.push_back(name); });
        std::string result;
        for (int file = 0; file < files; ++file) {
            bool isNotAsk = true;
            result += question.confirmOverwrite(std::to_string(file), isNotAsk) ? 'y' : 'n';
            EXPECT_FALSE(isNotAsk); // the service would write it into the user's settings
        }
        return result;
    }
    FakeOutput out{true};
    FakeOutput err{true};
    Console console{out, err};
    std::vector<std::string> kept;
};

TEST_F(OverwriteQuestionTest, AnswersHoldForOneFileOrForAllThatFollow) {
    FixedAnswers mixed({"y", "NO", "maybe", "", " yes ", "none"});
    EXPECT_EQ(decisions(OverwriteMode::ask, &mixed, 6), "ynynnn");
    EXPECT_EQ(kept, (std::vector<std::string>{"1", "3", "4", "5"}));
    FixedAnswers all({"n", "a"});
    EXPECT_EQ(decisions(OverwriteMode::ask, &all, 4), "nyyy");
    FixedAnswers ended({"y"});
    EXPECT_EQ(decisions(OverwriteMode::ask, &ended, 3), "ynn"); // the end of the input is no consent
}

TEST_F(OverwriteQuestionTest, WithoutAPersonFilesAreKeptAndItIsSaidOnce) {
    EXPECT_EQ(decisions(OverwriteMode::ask, nullptr, 3), "nnn");
    EXPECT_EQ(err.written.find("no terminal"), err.written.rfind("no terminal"));
    EXPECT_NE(err.written.find("no terminal"), std::string::npos);
    FixedAnswers unused({"y"});
    EXPECT_EQ(decisions(OverwriteMode::never, &unused, 2), "nn");
    EXPECT_EQ(decisions(OverwriteMode::always, &unused, 2), "yy");
    EXPECT_EQ(unused.lines.size(), 1U);
}

TEST_F(OverwriteQuestionTest, TheQuestionStandsAloneAndItsNameIsHarmless) {
    console.setStatus("50 % of it");
    FixedAnswers answers({"y"});
    OverwriteQuestion question(OverwriteMode::ask, console, &answers, {});
    bool isNotAsk = false;
    EXPECT_TRUE(question.confirmOverwrite("a\x1B[2J.mp3", isNotAsk));
    EXPECT_EQ(err.written.find('\x1B'), std::string::npos);
    EXPECT_NE(err.written.find("a\\x1B[2J.mp3 exists"), std::string::npos);
    EXPECT_EQ(out.written, "50 % of it\r\x1B[K50 % of it"); // put away for the question, back after it
}

} // namespace
