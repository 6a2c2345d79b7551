// SPDX-License-Identifier: MIT
#include "host/defaults/LocalMediaLibrary.h"

#include "host/defaults/MusicFileReader.h"
#include "tests/host/MediaSamples.h"
#include "tests/host/TestFolder.h"
#include <filesystem>
#include <gtest/gtest.h>
#include <vector>

namespace {

using platform::Dictionary;

class LocalMediaLibraryTest : public testing::Test {
protected:
    Dictionary read(const std::string& file, const std::string& probe, bool readsMetadata = true) {
        host::LocalMediaLibrary library(
            {readsMetadata, probe, std::chrono::seconds(60),
             [this](const std::string& path, const std::string&) { warned.push_back(path); }});
        return library.getMediaInfo(file, {{"FilePath", file}}).value_or(Dictionary());
    }
    TestFolder folder;
    std::vector<std::string> warned;
};

TEST_F(LocalMediaLibraryTest, ReadsMusicTags) {
    const Dictionary info = read(folder.write("one.mp3", samples::taggedMp3()), MEDIA_PROBE);
    const Dictionary expected{{"FilePath", folder.path("one.mp3")},
                              {"FileName", "one.mp3"},
                              {"MediaType", 0x1000001},
                              {"Title", "Tïtle"},
                              {"Artist", "Artist"},
                              {"Album", "Album"},
                              {"AlbumArtist", "Various"},
                              {"Composer", "Composer"},
                              {"Genre", "Jazz"},
                              {"TrackNo", 7},
                              {"DateReleased", host::releaseDate("1999")},
                              {"PlayLength", 1},
                              {"Bitrate", 128000}};
    EXPECT_EQ(info, expected) << info.description();
    EXPECT_TRUE(warned.empty());
}

TEST_F(LocalMediaLibraryTest, FilesWithoutTagsTakeTheirNameAsTitle) {
    const Dictionary info = read(folder.write("untagged.song.wav", samples::wav()), MEDIA_PROBE);
    EXPECT_EQ(info.string("Title"), "untagged.song");
    EXPECT_EQ(info.uint32("PlayLength"), 1U);
    EXPECT_EQ(info.uint32("MediaType"), 0x1000000U);
    // What only claims to be music can still be sent.
    const Dictionary broken = read(folder.write("broken.mp3", "nothing"), MEDIA_PROBE);
    EXPECT_EQ(broken.uint32("MediaType"), 0x1000001U);
    EXPECT_EQ(read(folder.path("vanished.mp3"), MEDIA_PROBE).string("Title"), "vanished");
}

TEST_F(LocalMediaLibraryTest, AHugeFileThatOnlyClaimsToBeMusicIsNotSearchedToItsEnd) {
    const std::string path = folder.write("endless.mp3", "");
    std::filesystem::resize_file(path, std::uintmax_t{1} << 36);
    host::LocalMediaLibrary library({true, MEDIA_PROBE, std::chrono::milliseconds(100),
                                     [this](const std::string& file, const std::string&) { warned.push_back(file); }});
    EXPECT_EQ(library.getMediaInfo(path, {{"FilePath", path}})->string("Title"), "endless");
    EXPECT_EQ(warned, std::vector<std::string>{path});
}

TEST_F(LocalMediaLibraryTest, ReadsPicturesThroughTheHelper) {
    const Dictionary png = read(folder.write("a.png", samples::png(321, 123)), MEDIA_PROBE);
    EXPECT_EQ(png.uint32("Width"), 321U);
    EXPECT_EQ(png.uint32("Height"), 123U);
    EXPECT_EQ(png.uint32("MediaType"), 0x4000008U);
    const Dictionary jpeg = read(folder.write("b.jpg", samples::jpeg(48, 16)), MEDIA_PROBE);
    EXPECT_EQ(jpeg.uint32("Width"), 48U);
    EXPECT_EQ(jpeg.uint32("Height"), 16U);
    EXPECT_TRUE(warned.empty());
}

TEST_F(LocalMediaLibraryTest, AFileThatTheHelperCannotStandIsSentWithoutMetadataAndSaidSo) {
    const Dictionary info = read("/v/crash.mp4", FAKE_PROBE);
    EXPECT_EQ(
        info,
        (Dictionary{
            {"FilePath", "/v/crash.mp4"}, {"FileName", "crash.mp4"}, {"MediaType", 0x2000000}, {"Title", "crash"}}));
    EXPECT_EQ(read("/v/nonsense.mp4", FAKE_PROBE).string("Title"), "nonsense");
    EXPECT_EQ(warned, (std::vector<std::string>{"/v/crash.mp4", "/v/nonsense.mp4"}));
}

TEST_F(LocalMediaLibraryTest, TakesOnlyWhatItAskedForFromTheHelper) {
    const Dictionary info = read("/v/wrong kinds.mp4", FAKE_PROBE);
    EXPECT_EQ(info.string("Title"), "wrong kinds");
    EXPECT_EQ(info.string("FilePath"), "/v/wrong kinds.mp4");
    EXPECT_FALSE(info.contains("Width"));
    EXPECT_FALSE(info.contains("Height"));
    EXPECT_EQ(read("/v/fine.mp4", FAKE_PROBE).uint32("PlayLength"), 61U);
}

TEST_F(LocalMediaLibraryTest, WithMetadataOffNothingIsOpened) {
    const Dictionary info = read("/v/hang.mp4", FAKE_PROBE, false);
    EXPECT_EQ(info.size(), 4U);
    EXPECT_EQ(info.string("Title"), "hang");
}

TEST(MusicFileReader, ReleaseDatesKeepTheirYear) {
    using namespace std::chrono;
    const auto noon = [](int y, unsigned m, unsigned d) {
        return platform::Value(platform::Date{sys_days(year(y) / month(m) / day(d)) + hours(12)});
    };
    EXPECT_EQ(host::releaseDate("1999"), noon(1999, 1, 1));
    EXPECT_EQ(host::releaseDate("2009-03"), noon(2009, 3, 1));
    EXPECT_EQ(host::releaseDate("2009-03-04T05:06:07"), noon(2009, 3, 4));
    EXPECT_EQ(host::releaseDate("2009-02-31"), noon(2009, 1, 1)); // no such day: the year is kept
    for (const char* text : {"", "unknown", "0", "-5"}) {
        EXPECT_TRUE(host::releaseDate(text).isNull()) << text;
    }
}

} // namespace
