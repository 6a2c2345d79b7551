// SPDX-License-Identifier: MIT
#include "platform/AtomicFile.h"
#include "platform/Files.h"
#include "tests/platform/TemporaryFolder.h"

#include <sys/resource.h>
#include <sys/stat.h>

#include <csignal>
#include <random>
#include <thread>
#include <vector>

namespace {

using platform::AtomicFile;
using tests::readFile;
using tests::writeFile;
using Names = std::set<std::string>;

struct stat information(const std::string& path) {
    struct stat result {};
    EXPECT_EQ(::stat(path.c_str(), &result), 0) << path;
    return result;
}

TEST(Files, copyHasItsOwnWholeContent) {
    const tests::TemporaryFolder folder;
    std::string content(1'300'000, '\0');
    std::minstd_rand generator(7);
    for (char& byte : content) {
        byte = static_cast<char>(generator());
    }
    writeFile(folder.path("from"), content);
    ::chmod(folder.path("from").c_str(), 0400);
    writeFile(folder.path("to"), "old");
    const mode_t mask = ::umask(027);
    EXPECT_FALSE(platform::copyFile(folder.path("from"), folder.path("to")));
    ::umask(mask);
    EXPECT_EQ(readFile(folder.path("to")), content);
    EXPECT_NE(information(folder.path("to")).st_ino, information(folder.path("from")).st_ino);
    EXPECT_EQ(information(folder.path("to")).st_mode & 0777, 0640U) << "a new file's permissions, not the source's";
    EXPECT_FALSE(platform::copyFile(folder.path("to"), folder.path("to"))) << "onto itself";
    EXPECT_EQ(readFile(folder.path("to")), content);
    writeFile(folder.path("empty"), "");
    EXPECT_FALSE(platform::copyFile(folder.path("empty"), folder.path("to")));
    EXPECT_EQ(platform::fileSize(folder.path("to")), 0U);
    EXPECT_EQ(folder.names(), (Names{"empty", "from", "to"}));
}

TEST(Files, copyReadsFilesThatTheKernelCannotCopy) {
    const tests::TemporaryFolder folder; // files of /proc say they are empty and refuse kernel copies
    EXPECT_FALSE(platform::copyFile("/proc/self/status", folder.path("to")));
    EXPECT_NE(readFile(folder.path("to")).find("Pid:"), std::string::npos);
}

TEST(Files, copyThatFailsLeavesTheTargetAlone) {
    const tests::TemporaryFolder folder;
    writeFile(folder.path("to"), "old");
    ASSERT_EQ(::mkfifo(folder.path("pipe").c_str(), 0600), 0);
    EXPECT_EQ(platform::copyFile(folder.path("missing"), folder.path("to")), std::errc::no_such_file_or_directory);
    EXPECT_EQ(platform::copyFile(folder.path(), folder.path("to")), std::errc::is_a_directory);
    EXPECT_EQ(platform::copyFile(folder.path("pipe"), folder.path("to")), std::errc::invalid_argument);
    EXPECT_EQ(platform::copyFile("", folder.path("to")), std::errc::invalid_argument);
    EXPECT_EQ(platform::copyFile(folder.path("to"), folder.path("no/to")), std::errc::no_such_file_or_directory);
    EXPECT_EQ(platform::copyFile(folder.path("to"), folder.path()), std::errc::is_a_directory);
    EXPECT_EQ(readFile(folder.path("to")), "old");
    EXPECT_EQ(folder.names(), (Names{"pipe", "to"}));
}

TEST(Files, questionsAndSmallChanges) {
    const tests::TemporaryFolder folder;
    const std::string file = folder.path("file");
    writeFile(file, "12345");
    std::error_code error = std::make_error_code(std::errc::io_error);
    EXPECT_EQ(platform::fileSize(file, &error), 5U);
    EXPECT_FALSE(error);
    EXPECT_EQ(platform::fileSize(folder.path(), &error), std::nullopt);
    EXPECT_EQ(error, std::errc::is_a_directory);
    EXPECT_EQ(platform::fileSize(folder.path("missing"), &error), std::nullopt);
    EXPECT_EQ(error, std::errc::no_such_file_or_directory);
    EXPECT_FALSE(platform::fileExists(file + std::string("\0x", 2))) << "a NUL must not cut the name short";
    EXPECT_GT(platform::fileSystemFreeSize(folder.path()).value_or(0), 0U);
    EXPECT_FALSE(platform::fileSystemFreeSize(folder.path("missing")));

    EXPECT_FALSE(platform::createFolders(folder.path("a/b//c/")));
    EXPECT_FALSE(platform::createFolders(folder.path("a/b/c")));
    EXPECT_TRUE(platform::fileExists(folder.path("a/b/c")));
    EXPECT_TRUE(platform::createFolders(folder.path("file/x")));
    EXPECT_TRUE(platform::createFolders(file));
    EXPECT_TRUE(platform::createFolders(""));
    EXPECT_TRUE(platform::removeFile(folder.path("a"))) << "folders are not files";
    EXPECT_FALSE(platform::removeFile(file));
    EXPECT_EQ(platform::removeFile(file), std::errc::no_such_file_or_directory);
}

TEST(AtomicFile, appearsWholeOrNotAtAll) {
    const tests::TemporaryFolder folder;
    const std::string target = folder.path("target");
    writeFile(target, "old");
    {
        AtomicFile file;
        ASSERT_FALSE(file.open(target));
        EXPECT_FALSE(file.write("half"));
        EXPECT_EQ(folder.names().size(), 2U);
        EXPECT_EQ(readFile(target), "old");
    }
    EXPECT_EQ(folder.names(), Names{"target"});
    EXPECT_EQ(readFile(target), "old");

    AtomicFile file;
    ASSERT_FALSE(file.open(folder.path("given up")));
    ASSERT_FALSE(file.open(target));
    EXPECT_FALSE(file.write("ne"));
    EXPECT_FALSE(file.write("w"));
    EXPECT_FALSE(file.commit(AtomicFile::Sync::yes));
    EXPECT_EQ(readFile(target), "new");
    EXPECT_EQ(folder.names(), Names{"target"});
    EXPECT_EQ(file.commit(), std::errc::bad_file_descriptor) << "nothing is open any more";
    EXPECT_EQ(file.write("x"), std::errc::bad_file_descriptor);
}

TEST(AtomicFile, namesAtTheLimit) {
    const tests::TemporaryFolder folder;
    const std::string longest = folder.path(std::string(255, 'n'));
    EXPECT_FALSE(platform::writeFileAtomically(longest, "content"));
    EXPECT_EQ(readFile(longest), "content");
    AtomicFile file;
    EXPECT_EQ(file.open(longest + "n"), std::errc::filename_too_long);
    EXPECT_EQ(file.open(folder.path() + "/new/"), std::errc::no_such_file_or_directory);
    EXPECT_EQ(file.open(folder.path()), std::errc::is_a_directory);
    EXPECT_EQ(file.open(""), std::errc::invalid_argument);
    EXPECT_EQ(folder.names().size(), 1U);
}

TEST(AtomicFile, aFailedWriteNeverBecomesAFile) {
    const tests::TemporaryFolder folder;
    const auto before = std::signal(SIGXFSZ, SIG_IGN);
    rlimit limit{};
    ASSERT_EQ(::getrlimit(RLIMIT_FSIZE, &limit), 0);
    rlimit small = limit;
    small.rlim_cur = 5000;
    AtomicFile file;
    ASSERT_FALSE(file.open(folder.path("target")));
    ASSERT_EQ(::setrlimit(RLIMIT_FSIZE, &small), 0);
    const std::error_code written = file.write(std::string(20000, 'x'));
    const std::error_code committed = file.commit();
    ::setrlimit(RLIMIT_FSIZE, &limit);
    static_cast<void>(std::signal(SIGXFSZ, before));
    EXPECT_EQ(written, std::errc::file_too_large);
    EXPECT_EQ(committed, std::errc::file_too_large);
    EXPECT_EQ(folder.names(), Names{});

    ASSERT_FALSE(platform::createFolders(folder.path("gone")));
    ASSERT_FALSE(file.open(folder.path("gone/target")));
    std::filesystem::remove_all(folder.path("gone"));
    EXPECT_EQ(file.commit(), std::errc::no_such_file_or_directory);
}

TEST(AtomicFile, writersOfOneTargetDoNotMix) {
    const tests::TemporaryFolder folder;
    const std::string target = folder.path("target");
    {
        std::vector<std::jthread> threads;
        for (const char letter : {'a', 'b', 'c', 'd'}) {
            threads.emplace_back([&target, letter] {
                for (int i = 0; i < 20; ++i) {
                    EXPECT_FALSE(platform::writeFileAtomically(target, std::string(50000, letter)));
                }
            });
        }
    }
    const std::string content = readFile(target);
    ASSERT_EQ(content.size(), 50000U);
    EXPECT_EQ(content, std::string(50000, content[0]));
    EXPECT_EQ(folder.names(), Names{"target"});
}

} // namespace
