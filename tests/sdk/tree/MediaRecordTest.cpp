// SPDX-License-Identifier: MIT
#include "tree/MediaRecord.h"

#include "tree/RecordTexts.h"
#include "vemomtpsdk/Functions.h"

#include <gtest/gtest.h>

using namespace mtpsdk;

namespace {

class MediaRecordTest : public testing::Test {
protected:
    MediaRecordTest() { _record->file.header.Signature = MTP_SIGNATURE_MUSIC_INFO; }

    std::size_t _before = mtpRecordBytesInUse();
    _MTP_MEDIA_FILE_INFO* _record = static_cast<_MTP_MEDIA_FILE_INFO*>(mtpRecordAllocate(sizeof(_MTP_MEDIA_FILE_INFO)));
};

TEST_F(MediaRecordTest, neverFollowsTheOddDescription) {
    _record->title = newRecordText(u"Title");
    _record->titleSize = 6;
    std::uint16_t* description = newRecordText(u"Words");
    _record->audio.description = description;
    // As senders do it: the size lands on the pointer's first byte, the size field stays 0.
    reinterpret_cast<std::uint8_t*>(_record)[85] = 6;
    const MediaProperties media = readMediaRecord(*_record);
    EXPECT_EQ(media.title, u"Title");
    EXPECT_FALSE(media.description.has_value());
    EXPECT_EQ(mtpReleaseMediaFileInfo(&_record), DGSTATUS_SUCCESS);
    EXPECT_EQ(_record, nullptr);
    EXPECT_EQ(mtpRecordBytesInUse() - _before, 6 * sizeof(std::uint16_t));
    mtpRecordFree(description);
    EXPECT_EQ(mtpRecordBytesInUse(), _before);
}

TEST_F(MediaRecordTest, readsTextsWhoseSizeWrappedToTheirEnd) {
    _record->audio.artist = newRecordText(std::u16string(300, u'a'));
    _record->audio.artistSize = static_cast<std::uint8_t>(301);
    auto* endless = static_cast<std::uint16_t*>(mtpRecordAllocate(20));
    std::fill_n(endless, 10, std::uint16_t{u'e'});
    _record->audio.genre = endless;
    _record->audio.genreSize = 11;
    const MediaProperties media = readMediaRecord(*_record);
    EXPECT_EQ(media.artist, std::u16string(300, u'a'));
    EXPECT_EQ(media.genre, std::u16string(10, u'e'));
    EXPECT_FALSE(media.album.has_value());
    mtpReleaseMediaFileInfo(&_record);
    EXPECT_EQ(mtpRecordBytesInUse(), _before);
}

TEST_F(MediaRecordTest, survivesPointersIntoNowhere) {
    _record->title = reinterpret_cast<std::uint16_t*>(mtpRecordMemoryBase() + 0xFFFFFFF0U);
    std::uint16_t* freed = newRecordText(u"gone");
    mtpRecordFree(freed);
    _record->audio.artist = freed;
    const MediaProperties media = readMediaRecord(*_record);
    EXPECT_FALSE(media.title.has_value());
    EXPECT_FALSE(media.artist.has_value());
    mtpReleaseMediaFileInfo(&_record);
    EXPECT_EQ(mtpRecordBytesInUse(), _before);
}

TEST_F(MediaRecordTest, respectsTheSignature) {
    _record->file.header.Signature = MTP_SIGNATURE_IMAGE_INFO;
    _record->image = {640, 480};
    EXPECT_EQ(readMediaRecord(*_record).width, 640U);
    EXPECT_EQ(readMediaRecord(*_record).height, 480U);
    EXPECT_FALSE(readMediaRecord(*_record).artist.has_value());
    mtpReleaseMediaFileInfo(&_record); // width and height are no texts to free
    _record = static_cast<_MTP_MEDIA_FILE_INFO*>(mtpRecordAllocate(sizeof(_MTP_MEDIA_FILE_INFO)));
    _record->file.header.Signature = MTP_SIGNATURE_VIDEO_INFO;
    _record->video.playLength = 61;
    EXPECT_EQ(readMediaRecord(*_record).durationMilliseconds, 61000U);
    _record->video.playLength = 0xFFFFFFFF;
    EXPECT_GT(readMediaRecord(*_record).durationMilliseconds, 4000000000U);
    mtpReleaseMediaFileInfo(&_record);
    EXPECT_EQ(mtpRecordBytesInUse(), _before);
}

TEST_F(MediaRecordTest, refusesToReleaseWhatIsNoRecord) {
    mtpRecordFree(_record);
    EXPECT_EQ(mtpReleaseMediaFileInfo(nullptr), DGSTATUS_INVALID_PARAMETER);
    _MTP_MEDIA_FILE_INFO* none = nullptr;
    EXPECT_EQ(mtpReleaseMediaFileInfo(&none), DGSTATUS_INVALID_PARAMETER);
    EXPECT_EQ(mtpReleaseMediaFileInfo(&_record), DGSTATUS_INVALID_PARAMETER); // released already
    EXPECT_EQ(_record, nullptr);
}

TEST(NewMediaRecord, holdsWhatTheDeviceSays) {
    const std::size_t before = mtpRecordBytesInUse();
    {
        NodeTree tree(1);
        const NodeIndex storage = tree.addStorage(0x10001, false);
        ObjectEntry entry;
        entry.handle = 9;
        entry.format = raw(FormatCode::MP3);
        entry.size = 1234;
        entry.modified = u"20090115T134501";
        MediaProperties media;
        media.title = u"Title";
        media.description = std::u16string(400, u'd');
        media.album = std::u16string(400, u'a');
        media.durationMilliseconds = 5000;
        media.rating = 80;
        _MTP_MEDIA_FILE_INFO* record = newMediaRecord(tree, tree.add(storage, entry, u"song.mp3"), media);
        EXPECT_EQ(+record->file.header.Signature, MTP_SIGNATURE_MUSIC_INFO);
        EXPECT_EQ(+record->file.size, 1234U);
        EXPECT_EQ(+record->format, 0x3009);
        EXPECT_EQ(+record->titleSize, 6);
        EXPECT_EQ(readRecordText(record->file.name), u"song.mp3");
        EXPECT_EQ(readRecordText(record->title), u"Title");
        EXPECT_EQ(+record->audio.albumSize, 255);
        EXPECT_EQ(+record->audio.descriptionSize, 401U);
        EXPECT_EQ(+record->audio.playLength, 5000U);
        EXPECT_EQ(+record->audio.rating, 80);
        EXPECT_EQ(record->audio.artist.get(), nullptr);
        freeMediaRecord(record);
    }
    EXPECT_EQ(mtpRecordBytesInUse(), before);
}

} // namespace
