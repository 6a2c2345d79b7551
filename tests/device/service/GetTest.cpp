// SPDX-License-Identifier: MIT
// The jobs that bring device files to the computer: copying a list of them, and fetching one to play it.
#include "tests/device/service/JobTest.h"

#include <gtest/gtest.h>

#include <atomic>
#include <thread>

using platform::Array;
using platform::Dictionary;
using tests::mebibyte;
using Numbers = tests::Numbers;

namespace {

constexpr std::int64_t invalidEntry = 0x23000002;

class GetTest : public tests::JobTest {
protected:
    GetTest() { std::filesystem::create_directory(target()); }

    [[nodiscard]] std::string target() const { return files.path("out"); }
    [[nodiscard]] tests::Names targetNames() const {
        tests::Names found;
        for (const auto& entry : std::filesystem::directory_iterator(target())) {
            found.insert(entry.path().filename().string());
        }
        return found;
    }
    static Dictionary named(const std::string& name) { return {{"FilePath", song(name)}, {"FileName", name}}; }
    void get(std::uint32_t id, const Array& contents) {
        waitUntilIdle();
        service->copyContentsDeviceToMac(id, contents, target(), 1, std::nullopt);
        waitUntilIdle();
    }
    _serviceinfo request(std::uint32_t id, const platform::Value& contents) const {
        _serviceinfo made;
        made.serviceID = id;
        made.mediaType = 1;
        made.contents = contents;
        made.destinationPath = target();
        return made;
    }
    bool play(std::uint32_t id, const std::string& devicePath, const std::string& localPath,
              const platform::Value& node = nullptr, std::uint32_t mediaType = 1) {
        _serviceinfo made = request(id, node);
        made.sourcePath = devicePath;
        made.destinationPath = localPath;
        made.mediaType = mediaType;
        return inside()->doCopyMediaFileFromDevice(made);
    }
};

} // namespace

TEST_F(GetTest, FilesComeBackAsTheyWere) {
    send({"a.mp3", "by path ✨.mp3"}, 1'500'000);
    inside()->unindexNode(song("by path ✨.mp3"));
    get(1, {named("a.mp3"), Dictionary{{"FilePath", "/player/phone/SOUNDS/By path ✨.mp3"}, {"FileName", "b.mp3"}}});
    EXPECT_EQ(resultStatuses(1), (Numbers{0, 0}));
    EXPECT_EQ(recorder.results(1)[1].string("FilePath"), target() + "/b.mp3");
    EXPECT_EQ(tests::readFile(target() + "/a.mp3"), tests::readFile(files.path("a.mp3")));
    EXPECT_EQ(tests::readFile(target() + "/b.mp3"), tests::readFile(files.path("by path ✨.mp3")));
    EXPECT_EQ(targetNames(), (tests::Names{"a.mp3", "b.mp3"}));
    const Numbers line = percents(1);
    EXPECT_EQ(line.front(), 0);
    EXPECT_EQ(line.back(), 100);
    EXPECT_TRUE(std::ranges::is_sorted(line));
    EXPECT_EQ(line[line.size() - 2], 100);
    EXPECT_EQ(statuses(1).back(), 4);
}

TEST_F(GetTest, TheIndexNamesTheFileAndBadEntriesFailAlone) {
    send({"a.mp3", "b.mp3"});
    const auto node = inside()->indexedNode(song("b.mp3"));
    ASSERT_TRUE(node);
    inside()->indexNode(song("alias.mp3"), *node);
    get(1, {nullptr, Dictionary{{"FilePath", song("a.mp3")}}, named("gone.mp3"), named("alias.mp3")});
    EXPECT_EQ(resultStatuses(1), (Numbers{invalidEntry, invalidEntry, 0x10000001, 0}));
    EXPECT_EQ(tests::readFile(target() + "/alias.mp3"), tests::readFile(files.path("b.mp3")));
    EXPECT_EQ(recorder.progress(1).back().uint32("Fail"), 3U);
}

TEST_F(GetTest, TheAnswerIsThatOfTheLastReceive) {
    send({"a.mp3"});
    EXPECT_TRUE(inside()->doCopyMediaContentsFromDevice(request(1, Array{named("x.mp3"), named("a.mp3")})));
    EXPECT_TRUE(inside()->doCopyMediaContentsFromDevice(request(2, Array{named("a.mp3"), nullptr})));
    EXPECT_FALSE(inside()->doCopyMediaContentsFromDevice(request(3, Array{named("a.mp3"), named("x.mp3")})));
    EXPECT_FALSE(inside()->doCopyMediaContentsFromDevice(request(4, Array{})));
    EXPECT_EQ(statuses(4), (Numbers{2})) << "announced, though there is nothing to do";
    EXPECT_FALSE(inside()->doCopyMediaContentsFromDevice(request(5, nullptr)));
    EXPECT_EQ(statuses(5), (Numbers{3}));
}

TEST_F(GetTest, NoNameLeadsOutOfTheFolder) {
    send({"a.mp3"});
    Array contents;
    for (const char* name : {"../out.mp3", "x/../../out.mp3", "..", ""}) {
        contents.emplace_back(Dictionary{{"FilePath", song("a.mp3")}, {"FileName", name}});
    }
    contents.emplace_back(Dictionary{{"FilePath", song("a.mp3")}, {"FileName", std::string("a\0b", 3)}});
    contents.emplace_back(Dictionary{{"FilePath", song("a.mp3")}, {"FileName", "..a..mp3"}});
    get(1, contents);
    Numbers expected(5, invalidEntry);
    expected.push_back(0);
    EXPECT_EQ(resultStatuses(1), expected);
    EXPECT_EQ(targetNames(), tests::Names{"..a..mp3"});
    EXPECT_FALSE(std::filesystem::exists(files.path("out.mp3")));
}

TEST_F(GetTest, BrokenOffInTheMiddleItLeavesWhatWasThere) {
    send({"0.mp3", "1.mp3", "2.mp3"}, 4 * mebibyte);
    tests::writeFile(target() + "/1.mp3", "whole and older");
    cancelAt(1, [](const auto& notification) {
        return isProgress(notification) && notification.userInfo.uint32("Current") == 2U;
    });
    get(1, {named("0.mp3"), named("1.mp3"), named("2.mp3")});
    recorder.onEach({});
    EXPECT_EQ(resultStatuses(1), (Numbers{0}));
    EXPECT_EQ(statuses(1).back(), 3);
    EXPECT_FALSE(service->isCancelServiceId(1));
    EXPECT_EQ(targetNames(), (tests::Names{"0.mp3", "1.mp3"}));
    EXPECT_EQ(tests::readFile(target() + "/1.mp3"), "whole and older");

    get(2, {named("1.mp3")}); // the session goes on
    EXPECT_EQ(tests::readFile(target() + "/1.mp3"), tests::readFile(files.path("1.mp3")));

    device->faults().vanish({.operation = mtpsdk::OperationCode::GetObject, .times = 0}, mebibyte);
    tests::writeFile(target() + "/2.mp3", "whole and older");
    get(3, {named("2.mp3"), named("0.mp3")});
    EXPECT_EQ(recorder.progress(3).back().uint32("Fail"), 2U);
    EXPECT_EQ(tests::readFile(target() + "/2.mp3"), "whole and older");
    EXPECT_EQ(targetNames(), (tests::Names{"0.mp3", "1.mp3", "2.mp3"}));
}

TEST_F(GetTest, InterruptedAnywhereItLeavesWholeFilesAndTheNextRunCompletes) {
    const std::vector<std::string> names{"0.mp3", "1.mp3", "2.mp3", "3.mp3"};
    send(names, 2'300'000);
    Array contents;
    for (const std::string& name : names) {
        contents.emplace_back(named(name));
    }
    const auto isWhole = [&](const std::string& name) {
        return tests::readFile(target() + "/" + name) == tests::readFile(files.path(name));
    };
    for (std::uint32_t id = 1; id <= 14; ++id) {
        std::uint32_t seen = 0;
        cancelAt(id, [&](const auto&) { return ++seen == id; });
        get(id, contents);
        recorder.onEach({});
        service->removeCancelServiceId(id); // asked for after the last file, it stays
        for (const std::string& name : targetNames()) {
            EXPECT_TRUE(isWhole(name)) << name << " after notification " << id;
            std::filesystem::remove(target() + "/" + name);
        }
    }
    get(99, contents);
    EXPECT_TRUE(std::ranges::all_of(names, isWhole));
}

TEST_F(GetTest, ReleasedWhileItRuns) {
    send({"a.mp3", "b.mp3"});
    recorder.onEach([&](const auto& notification) {
        if (!isProgress(notification)) {
            service->exitServiceThread();
        }
    });
    get(1, {named("a.mp3"), named("b.mp3")});
    EXPECT_EQ(statuses(1).back(), 3);
    EXPECT_EQ(targetNames(), tests::Names{"a.mp3"});
}

TEST_F(GetTest, SizesAreTheEntriesOrTheDevices) {
    send({"a.mp3"}, 1234);
    const Array contents{nullptr, Dictionary{{"FileSize", std::uint64_t{5'000'000'000}}, {"FilePath", song("a.mp3")}},
                         named("a.mp3"), named("gone.mp3"), Dictionary{{"FileName", "x"}}};
    EXPECT_EQ(inside()->mtpTotalMediaFileSize(contents), 5'000'001'234U);
}

TEST_F(GetTest, OneFileIntoAFolderThatIsMadeForIt) {
    send({"a.mp3"}, 3'000'000);
    const auto notifier = std::make_shared<QDMtpDeviceNotifier>(std::nullopt, std::nullopt, 77, 1, std::nullopt, 0, 1,
                                                                std::uint64_t{3'000'000});
    std::uint32_t status = 9;
    const std::string made = files.path("new/deep/a.mp3");
    EXPECT_TRUE(inside()->copyFileFromDevice(song("a.mp3"), made, std::nullopt, notifier, &status));
    EXPECT_EQ(status, 0U);
    EXPECT_EQ(tests::readFile(made), tests::readFile(files.path("a.mp3")));
    EXPECT_EQ(percents(77).back(), 100) << "the notifier given counts";
    EXPECT_FALSE(inside()->copyFileFromDevice(std::nullopt, made, std::nullopt, notifier, nullptr));
    EXPECT_FALSE(inside()->copyFileFromDevice(song("none.mp3"), made, std::nullopt, notifier, &status));
    EXPECT_EQ(status, 0x10000001U);
    EXPECT_FALSE(inside()->copyFileFromDevice(song("a.mp3"), files.path("a.mp3/x/y"), std::nullopt, notifier, &status));
}

TEST_F(GetTest, PlayingFetchesOneFileWithoutAnAnnouncement) {
    send({"late.mp3"}, 3'000'000);
    const std::string kept = tests::homeFolder() + "/Tesvora/Lumo/Temp" + song("late.mp3");
    std::filesystem::remove(kept);
    EXPECT_FALSE(service->copyContentToPlay(1, 0, 1, Dictionary{{"FilePath", song("late.mp3")}}));
    waitUntilIdle();
    EXPECT_EQ(tests::readFile(kept), tests::readFile(files.path("late.mp3")));
    EXPECT_EQ(resultStatuses(1), (Numbers{0}));
    EXPECT_EQ(recorder.results(1)[0].string("FilePath"), kept);
    EXPECT_GT(percents(1).front(), 0);
    EXPECT_EQ(statuses(1).back(), 4);
    EXPECT_EQ(service->copyContentToPlay(2, 0, 1, Dictionary{{"FilePath", song("late.mp3")}}), kept);
}

TEST_F(GetTest, PlayingTriesTheSafePathOnce) {
    send({"a_b_.mp3"});
    EXPECT_TRUE(play(1, song("a:b?.mp3"), target() + "/x.mp3"));
    EXPECT_EQ(tests::readFile(target() + "/x.mp3"), tests::readFile(files.path("a_b_.mp3")));
    EXPECT_EQ(resultStatuses(1), (Numbers{0}));

    EXPECT_FALSE(play(2, song("none.mp3"), target() + "/y.mp3"));
    const auto all = recorder.all();
    ASSERT_GE(all.size(), 2U);
    EXPECT_TRUE(isProgress(all[all.size() - 2])) << "the end is told before the result";
    EXPECT_EQ(statuses(2), (Numbers{4}));
    EXPECT_EQ(recorder.progress(2).back().uint32("Fail"), 1U);
    EXPECT_EQ(resultStatuses(2), (Numbers{0x10000001}));

    EXPECT_FALSE(play(3, song("a_b_.mp3"), target() + "/z.mp3", nullptr, 4));
    EXPECT_EQ(statuses(3), (Numbers{3}));
}

TEST_F(GetTest, ACancelledPlayKeepsItsIDOnTheList) {
    send({"a.mp3"}, 4 * mebibyte);
    cancelAt(1, [](const auto& notification) { return isProgress(notification); });
    EXPECT_FALSE(play(1, song("a.mp3"), target() + "/a.mp3"));
    EXPECT_EQ(statuses(1).back(), 3);
    EXPECT_TRUE(resultStatuses(1).empty());
    EXPECT_TRUE(service->isCancelServiceId(1));
    EXPECT_TRUE(targetNames().empty());
    EXPECT_TRUE(play(1, song("a.mp3"), target() + "/a.mp3")) << "stopped before it began, which is no failure";
    EXPECT_TRUE(targetNames().empty());
}

TEST_F(GetTest, OtherThreadsUseTheDeviceWhileAFileIsPlayed) {
    send({"big.mp3", "small.mp3"}, 8 * mebibyte);
    std::atomic<bool> ended{false};
    std::thread other([&] {
        const std::string more = files.path("more.mp3");
        while (!ended) {
            EXPECT_TRUE(service->fileLists("/Player/Phone/Sounds"));
            EXPECT_TRUE(service->storageInfoLists());
            EXPECT_TRUE(service->mediaFileInfoFromDevice(std::nullopt, song("small.mp3")));
            tests::makeFile(more, 1000);
            const platform::Dictionary data = tests::content(more);
            const platform::Synchronized library(MtpControl::classMonitor());
            std::optional<std::string> node;
            std::uint32_t status = 0;
            const auto core = inside();
            EXPECT_TRUE(core->_mtpControl->sendMediaFileToMTPEx(core->_currentDeviceNode, core->_storageHeadNode,
                                                                std::nullopt, &data, song("more.mp3"), nullptr, nullptr,
                                                                &node, &status));
            EXPECT_TRUE(core->_mtpControl->deleteItemAtPath(core->_currentDeviceNode, core->_storageHeadNode, node,
                                                            song("more.mp3"), &status));
        }
    });
    for (std::uint32_t id = 1; id <= 5; ++id) {
        const std::string place = target() + "/" + std::to_string(id);
        EXPECT_TRUE(play(id, song("big.mp3"), place));
        EXPECT_EQ(std::filesystem::file_size(place), 8 * mebibyte);
    }
    ended = true;
    other.join();
    EXPECT_EQ(tests::readFile(target() + "/5"), tests::readFile(files.path("big.mp3")));
}
