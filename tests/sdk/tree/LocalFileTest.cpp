// SPDX-License-Identifier: MIT
#include "tree/LocalFile.h"

#include "TemporaryFolder.h"

#include <ctime>
#include <fcntl.h>
#include <filesystem>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <vector>

using namespace mtpsdk;

namespace {

class LocalFileTest : public testing::Test {
protected:
    std::ptrdiff_t read(std::size_t bytes) {
        std::vector<std::byte> block(bytes);
        return _file.read(block);
    }

    TemporaryFolder _folder;
    LocalFile _file;
};

TEST_F(LocalFileTest, findsNamesThatDifferInCompositionOnly) {
    std::filesystem::create_directory(_folder.path("Mu\u0308ll"));
    _folder.write("Mu\u0308ll/Cafe\u0301.mp3", "123");
    EXPECT_EQ(_file.open(_folder.path("M\u00FCll/Caf\u00E9.mp3")), DGSTATUS_SUCCESS);
    EXPECT_EQ(_file.size(), 3U);
}

TEST_F(LocalFileTest, saysWhyAFileDoesNotOpen) {
    EXPECT_EQ(_file.open(_folder.path("missing")), DGSTATUS_FILE_OPEN_FAILED);
    EXPECT_EQ(LocalFile().open(_folder.path("missing/deeper")), DGSTATUS_FILE_OPEN_FAILED);
    EXPECT_EQ(LocalFile().open(""), DGSTATUS_FILE_OPEN_FAILED);
    EXPECT_EQ(LocalFile().open(_folder.path("")), DGSTATUS_FILE_OPEN_FAILED);
    ASSERT_EQ(mkfifo(_folder.path("pipe").c_str(), 0600), 0);
    EXPECT_EQ(LocalFile().open(_folder.path("pipe")), DGSTATUS_FILE_OPEN_FAILED);
    EXPECT_EQ(statusOfOpening(std::make_error_code(std::errc::permission_denied)), DGSTATUS_FILE_ACCESS_DENIED);
    EXPECT_EQ(statusOfOpening(std::make_error_code(std::errc::filename_too_long)), DGSTATUS_FILE_INVALID_CHAR);
}

TEST_F(LocalFileTest, readsBlocksToItsEnd) {
    ASSERT_EQ(_file.open(_folder.write("file", std::string(10, 'x'))), DGSTATUS_SUCCESS);
    EXPECT_EQ(read(4), 4);
    EXPECT_EQ(read(4), 4);
    EXPECT_EQ(read(4), 2);
    EXPECT_FALSE(_file.failed());
}

TEST_F(LocalFileTest, noticesAFileThatShrinks) {
    const std::string path = _folder.write("file", std::string(10, 'x'));
    ASSERT_EQ(_file.open(path), DGSTATUS_SUCCESS);
    std::filesystem::resize_file(path, 5);
    EXPECT_LT(read(10), 0);
    EXPECT_TRUE(_file.failed());
}

TEST_F(LocalFileTest, noticesAFileThatGrowsBeforeTheLastBlockIsGone) {
    const std::string path = _folder.write("file", std::string(10, 'x'));
    ASSERT_EQ(_file.open(path), DGSTATUS_SUCCESS);
    EXPECT_EQ(read(8), 8);
    std::filesystem::resize_file(path, 11);
    EXPECT_LT(read(2), 0);
    EXPECT_TRUE(_file.failed());
}

TEST_F(LocalFileTest, tellsItsDateInLocalTime) {
    const std::string path = _folder.write("file", "");
    ASSERT_EQ(setenv("TZ", "Asia/Tokyo", 1), 0);
    tzset();
    const timespec times[2] = {{1231139289, 0}, {1231139289, 0}}; // 5 January 2009, 07:08:09 UTC
    ASSERT_EQ(utimensat(AT_FDCWD, path.c_str(), times, 0), 0);
    ASSERT_EQ(_file.open(path), DGSTATUS_SUCCESS);
    EXPECT_EQ(_file.modified(), u"20090105T160809.0");
    unsetenv("TZ");
    tzset();
}

} // namespace
