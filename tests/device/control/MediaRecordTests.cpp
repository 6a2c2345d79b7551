// SPDX-License-Identifier: MIT
#include "ControlTest.h"

namespace {

using platform::Dictionary;

class MediaRecordTest : public ControlTest {
protected:
    std::uint16_t* description = nullptr;
    _MTP_MEDIA_FILE_INFO* record = nullptr;

    ~MediaRecordTest() override {
        control.releaseMTPMediaFileInfo(record);
        mtpRecordFree(description);
    }

    /// A little-endian number at an offset of the record.
    [[nodiscard]] std::uint64_t at(std::size_t offset, std::size_t width) const {
        std::uint64_t number = 0;
        for (std::size_t i = width; i > 0; --i) {
            number = number << 8 | reinterpret_cast<const unsigned char*>(record)[offset + i - 1];
        }
        return number;
    }
    /// The text whose pointer lies at an offset.
    [[nodiscard]] std::string textAt(std::size_t offset) const {
        const auto handle = at(offset, 4);
        std::string text;
        if (handle != 0) {
            const auto* units = reinterpret_cast<const std::uint16_t*>(mtpRecordMemoryBase() + handle);
            for (; *units != 0; ++units) {
                text.push_back(static_cast<char>(*units));
            }
        }
        return text;
    }
    /// A record as the library hands them out, with texts of the fake library's.
    _MTP_MEDIA_FILE_INFO* fromDevice(std::int32_t signature) {
        auto* media = library.record<_MTP_MEDIA_FILE_INFO>();
        media->file.header.Signature = signature;
        return media;
    }
    void setText(RecordText& field, std::uint8_t& size, const std::string& text) {
        std::uint32_t units = 0;
        field = library.text(text, units);
        size = static_cast<std::uint8_t>(units);
    }
};

TEST_F(MediaRecordTest, musicFieldsLieWhereDevicesReadThem) {
    const Dictionary data{{"Title", "T1"},
                          {"Artist", "A12"},
                          {"Composer", "C"},
                          {"AlbumArtist", "AA"},
                          {"Album", "Alb"},
                          {"Genre", "G"},
                          {"DateReleased", "2009-01-05 07:08:09 +0000"},
                          {"PlayLength", 241U},
                          {"Rating", 99},
                          {"PlayCount", 5},
                          {"TrackNo", 65537 + 3}, // cut to 16 bits
                          {"Bitrate", 320000},
                          {"DRMProperty", 1}};
    record = control.consistOfMusicData(data, &description);
    ASSERT_NE(record, nullptr);
    EXPECT_EQ(at(4, 4), 6U);
    struct Field {
        std::size_t offset;
        std::string text;
    };
    for (const Field& row : {Field{50, "T1"},
                             {55, "A12"},
                             {60, "C"},
                             {65, "AA"},
                             {70, "Alb"},
                             {75, "G"},
                             {80, *control.convertSystemToMtpDate("2009-01-05 07:08:09 +0000")}}) {
        EXPECT_EQ(textAt(row.offset), row.text) << row.offset;
        EXPECT_EQ(at(row.offset + 4, 1), row.text.size() + 1) << row.offset;
    }
    struct Number {
        std::size_t offset;
        std::size_t width;
        std::uint64_t value;
    };
    for (const Number& row : {Number{85, 8, 0},
                              {93, 4, 0},
                              {97, 4, 241000},
                              {101, 4, 0},
                              {105, 2, 99},
                              {107, 4, 5},
                              {111, 2, 4},
                              {113, 4, 0},
                              {117, 4, 320000},
                              {121, 2, 0},
                              {123, 2, 1}}) {
        EXPECT_EQ(at(row.offset, row.width), row.value) << row.offset;
    }
}

TEST_F(MediaRecordTest, sizeOfTheDescriptionLiesOnItsPointer) {
    record = control.consistOfMusicData({{"Description", "twelve chars"}}, &description);
    ASSERT_NE(description, nullptr);
    const auto handle = static_cast<std::uint32_t>(reinterpret_cast<std::byte*>(description) - mtpRecordMemoryBase());
    EXPECT_EQ(at(85, 1), 13U);
    EXPECT_EQ(at(86, 3), handle >> 8);
    EXPECT_EQ(at(89, 4), 0U);
}

TEST_F(MediaRecordTest, absentAndUnusableValuesLeaveTheirFieldsZero) {
    const Dictionary data{{"Title", 5},      {"Artist", ""},      {"DateReleased", "yesterday"}, {"PlayLength", "long"},
                          {"TrackNo", -1.0}, {"PlayCount", 1e30}, {"Bitrate", nullptr}};
    record = control.consistOfMusicData(data, &description);
    EXPECT_EQ(description, nullptr);
    for (std::size_t i = 0; i < sizeof *record; ++i) {
        EXPECT_EQ(at(i, 1), i == 4 ? 6U : 0U) << i;
    }
}

TEST_F(MediaRecordTest, numbersMayComeInAnyKind) {
    record = control.consistOfMusicData({{"PlayLength", 12.75}, {"Rating", true}, {"PlayCount", -1}}, &description);
    EXPECT_EQ(at(97, 4), 12000U);
    EXPECT_EQ(at(107, 4), 0xFFFFFFFFU);
}

TEST_F(MediaRecordTest, releaseDateMayBeADate) {
    const platform::Date date = *platform::parseDateDescription("2009-01-05 07:08:09 +0000");
    record = control.consistOfMusicData({{"DateReleased", date}}, &description);
    EXPECT_EQ(textAt(80), control.convertSystemToMtpDate("2009-01-05 07:08:09 +0000"));
}

TEST_F(MediaRecordTest, videoHoldsItsLengthInSeconds) {
    record = control.consistOfVideoData({{"PlayLength", 241}, {"Title", "not sent"}, {"DRMProperty", 1}});
    EXPECT_EQ(at(4, 4), 7U);
    EXPECT_EQ(at(77, 4), 241U);
    EXPECT_EQ(at(50, 5), 0U);
    EXPECT_EQ(at(123, 2), 0U);
}

TEST_F(MediaRecordTest, imageFields) {
    record = control.consistOfImageData({{"Title", "T"}, {"Width", 4000}, {"Height", 3000U}, {"DRMProperty", 2}});
    EXPECT_EQ(at(4, 4), 8U);
    EXPECT_EQ(textAt(50), "T");
    EXPECT_EQ(at(54, 1), 2U);
    EXPECT_EQ(at(55, 4), 4000U);
    EXPECT_EQ(at(59, 4), 3000U);
    EXPECT_EQ(at(123, 2), 2U);
}

TEST_F(MediaRecordTest, musicRecordsReadBack) {
    const Dictionary data{{"Title", "T"},
                          {"Artist", "A"},
                          {"Composer", "C"},
                          {"AlbumArtist", "AA"},
                          {"Album", "Al"},
                          {"Genre", "G"},
                          {"PlayLength", 61U},
                          {"Rating", 50U},
                          {"PlayCount", 2U},
                          {"TrackNo", 3U},
                          {"Bitrate", 128000U},
                          {"DRMProperty", 1U},
                          {"DateReleased", *platform::parseDateDescription("2009-01-05 07:08:09 +0000")}};
    record = control.consistOfMusicData(data, &description);
    record->format = 0x3009;
    record->file.size = 0x1FFFFFFFFULL;
    record->file.protection = 0x100; // only the low byte counts
    Dictionary expected = data;
    expected.merge({{"FileName", "a.mp3"},
                    {"FilePath", "/p/a.mp3"},
                    {"NodeID", "1A0"},
                    {"MediaType", 0x1000001U},
                    {"FileSize", 0x1FFFFFFFFULL},
                    {"IsReadOnly", false}});
    const auto info = control.mediaInfoContents(record, "a.mp3", "/p/a.mp3", "1A0");
    ASSERT_TRUE(info);
    EXPECT_EQ(*info, expected) << info->description();
}

TEST_F(MediaRecordTest, whatTheDeviceSaysOfAFile) {
    _MTP_MEDIA_FILE_INFO* media = fromDevice(6);
    std::uint32_t size = 0;
    media->file.name = library.text("x.wma", size);
    media->file.nameSize = size;
    media->file.creationDate = library.text("20090115T134501.0", size);
    media->file.creationDateSize = size;
    media->file.modificationDate = library.text("never", size);
    media->file.modificationDateSize = size;
    media->file.protection = 1;
    media->audio.description = library.text("all about it", size);
    media->audio.descriptionSize = size;
    const auto info = control.mediaInfoContents(media, std::nullopt, std::nullopt);
    ASSERT_TRUE(info);
    EXPECT_EQ(*info, (Dictionary{{"FileName", "x.wma"},
                                 {"Description", "all about it"},
                                 {"FileSize", 0},
                                 {"IsReadOnly", true},
                                 {"DateCreated", *control.convertMtpToSystemDate("20090115T134501.0")},
                                 {"MediaType", 0x1000000}}))
        << info->description();
}

TEST_F(MediaRecordTest, kindsOfRecords) {
    struct Row {
        std::int32_t signature;
        std::uint16_t format;
        std::optional<std::uint32_t> type;
    };
    for (const Row& row : {Row{7, 0x300A, 0x2000002},
                           {7, 0xB982, 0x2000000},
                           {8, 0x3807, 0x4000004},
                           {8, 0, 0x4000000},
                           {4, 0x3000, std::nullopt}}) {
        _MTP_MEDIA_FILE_INFO* media = fromDevice(row.signature);
        media->format = row.format;
        media->image.width = 640;
        const auto info = control.mediaInfoContents(media, "f", std::nullopt);
        EXPECT_EQ(info->uint32("MediaType"), row.type);
        EXPECT_EQ(info->contains("Width"), row.signature == 8);
        EXPECT_FALSE(info->contains("Artist"));
    }
    EXPECT_EQ(control.mediaInfoContents(nullptr, "f", "p"), std::nullopt);
}

TEST_F(MediaRecordTest, lyingSizesOfRecordTexts) {
    _MTP_MEDIA_FILE_INFO* media = fromDevice(6);
    setText(media->title, media->titleSize, "Title");
    setText(media->audio.artist, media->audio.artistSize, "Artist");
    setText(media->audio.album, media->audio.albumSize, std::string(255, 'x')); // its size wraps to 0
    media->titleSize = 255;
    media->audio.artistSize = 3;
    media->audio.genreSize = 200; // of no text
    const auto info = control.mediaInfoContents(media, "f", std::nullopt);
    EXPECT_EQ(info->string("Title"), "Title");
    EXPECT_EQ(info->string("Artist"), "Art");
    EXPECT_FALSE(info->contains("Album"));
    EXPECT_FALSE(info->contains("Genre"));
}

TEST_F(MediaRecordTest, recordsOfFilesByIDOrPath) {
    _MTP_FOLDER_NODE* music = library.addFolder(card, "Music");
    const _MTP_FILE_NODE* song = library.addFile(music, "song.mp3", 12);
    MtpControl::NodeID found;
    record = control.getMediaFileInfo(device, phone, std::nullopt, "/My Phone/Card/Music/song.mp3", &found);
    ASSERT_NE(record, nullptr);
    EXPECT_EQ(found, MtpControl::NodeID(id(song)));
    EXPECT_EQ(at(16, 8), 12U);
    control.releaseMTPMediaFileInfo(record);
    record = control.getMediaFileInfo(device, phone, id(song), std::nullopt);
    EXPECT_NE(record, nullptr);
    EXPECT_EQ(control.getMediaFileInfo(device, phone, id(music), std::nullopt), nullptr); // no file
    EXPECT_EQ(control.getMediaFileInfo(device, phone, std::nullopt, "/My Phone/Card/none"), nullptr);
    library.answer("mtpGetMediaFileInfo", {DGSTATUS_ABNORMAL_STATUS});
    EXPECT_EQ(control.getMediaFileInfo(device, phone, id(song), std::nullopt), nullptr);
}

} // namespace
