// SPDX-License-Identifier: MIT
#include "platform/ScratchFolder.h"

#include "tests/platform/TemporaryFolder.h"

#include <fcntl.h>
#include <fmt/format.h>
#include <sys/file.h>
#include <sys/wait.h>
#include <unistd.h>

namespace {

namespace fs = std::filesystem;

constexpr const char* prefix = "Passing-";

/// The number of a process that has ended.
pid_t endedProcess() {
    const pid_t child = ::fork();
    if (child == 0) {
        ::_exit(0);
    }
    ::waitpid(child, nullptr, 0);
    return child;
}

class ScratchFolderTest : public ::testing::Test {
protected:
    std::string made(pid_t owner, const std::string& rest) const {
        const std::string path = folder.path(fmt::format("{}{:x}-{}", prefix, owner, rest));
        fs::create_directories(path + "/inner");
        tests::writeFile(path + "/inner/file", "on its way");
        return path;
    }
    tests::TemporaryFolder folder;
};

TEST_F(ScratchFolderTest, GoesWithAllThatIsInIt) {
    std::string path;
    {
        platform::ScratchFolder scratch;
        ASSERT_FALSE(scratch.create(folder.path(), prefix));
        path = scratch.path();
        EXPECT_TRUE(path.starts_with(folder.path(prefix)));
        fs::create_directory(path + "/inner");
        tests::writeFile(path + "/inner/file", "x");
        platform::ScratchFolder another;
        ASSERT_FALSE(another.create(folder.path(), prefix));
        EXPECT_NE(another.path(), path);
        EXPECT_TRUE(fs::exists(path + "/inner/file")) << "one that is in use is no left-over";
    }
    EXPECT_EQ(folder.names(), std::set<std::string>());
    platform::ScratchFolder nowhere;
    EXPECT_TRUE(nowhere.create(folder.path("missing"), prefix));
    EXPECT_EQ(nowhere.path(), "");
}

TEST_F(ScratchFolderTest, RemovesWhatKilledProcessesHaveLeft) {
    const pid_t ended = endedProcess();
    const std::string left = made(ended, "a1B2c3");
    const std::string living = made(::getppid(), "a1B2c3");
    const std::string locked = made(ended, "locked");
    const int lock = ::open(locked.c_str(), O_RDONLY | O_DIRECTORY);
    ASSERT_EQ(::flock(lock, LOCK_EX | LOCK_NB), 0);
    fs::create_directories(folder.path("Passing-by/inner")); // a device of that name
    fs::create_directories(folder.path("elsewhere/inner"));
    fs::create_directory_symlink(folder.path("elsewhere"), folder.path(fmt::format("{}{:x}-link", prefix, ended)));
    tests::writeFile(folder.path(fmt::format("{}{:x}-file", prefix, ended)), "no folder");

    std::set<std::string> expected = folder.names();
    expected.erase(fs::path(left).filename());
    {
        platform::ScratchFolder scratch;
        ASSERT_FALSE(scratch.create(folder.path(), prefix));
    }
    EXPECT_EQ(folder.names(), expected);
    EXPECT_TRUE(fs::exists(living + "/inner/file"));
    EXPECT_TRUE(fs::exists(locked + "/inner/file"));
    EXPECT_TRUE(fs::exists(folder.path("elsewhere/inner")));
    ::close(lock);
}

} // namespace
