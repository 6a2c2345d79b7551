// SPDX-License-Identifier: MIT
#pragma once

#include "vemomtpsdk/RecordPtr.h"

#include <cstddef>
#include <cstdint>

/// The records that the library hands out and takes back: packed, little-endian, with 32-bit pointers. Texts are
/// zero-terminated UTF-16 with a size in code units that counts the terminator; a null pointer means "absent". Dates
/// are MTP date texts ("20090115T134501.0"). Fields named `reserved` keep their width and place; nobody interprets
/// them.

using RecordText = RecordPtr<std::uint16_t>;

/// Values of _MTP_COMMON_NODE::Signature. A metadata record carries one of the last three in place of `file`.
enum : std::int32_t {
    MTP_SIGNATURE_DEVICE = 1,
    MTP_SIGNATURE_STORAGE = 2,
    MTP_SIGNATURE_FOLDER = 3,
    MTP_SIGNATURE_FILE = 4,
    MTP_SIGNATURE_PLAYLIST = 5,
    MTP_SIGNATURE_MUSIC_INFO = 6,
    MTP_SIGNATURE_VIDEO_INFO = 7,
    MTP_SIGNATURE_IMAGE_INFO = 8,
};

#pragma pack(push, 1)

struct _MTP_COMMON_NODE {
    std::uint32_t Id;
    std::int32_t Signature;
    std::uint32_t LocationId;
};

struct _MTP_DEVICE_NODE {
    _MTP_COMMON_NODE header;
    std::uint32_t reserved;
};

struct _MTP_STORAGE_NODE {
    _MTP_COMMON_NODE header;
    RecordText Label;
    std::uint32_t LabelLength;
    RecordText Description;
    std::uint32_t DescriptionLength;
    std::uint64_t MaxCapacity; ///< bytes
    std::uint64_t UsedSize;    ///< bytes
};

struct _MTP_FOLDER_NODE {
    _MTP_COMMON_NODE header;
    std::uint32_t reserved;
    RecordText name;
    std::uint32_t nameSize;
    RecordText reservedText1;
    std::uint32_t reservedText1Size;
    RecordText reservedText2;
    std::uint32_t reservedText2Size;
};

struct _MTP_FILE_NODE {
    _MTP_COMMON_NODE header;
    std::uint32_t protection; ///< low byte not zero: read-only
    std::uint64_t size;       ///< bytes
    RecordText name;
    std::uint32_t nameSize;
    RecordText creationDate;
    std::uint32_t creationDateSize;
    RecordText modificationDate;
    std::uint32_t modificationDateSize;
};

struct _MTP_PLAYLIST_NODE {
    _MTP_COMMON_NODE header;
    RecordText name;
    std::uint32_t nameSize;
    std::uint32_t fileCount;
};

struct _MTP_AUDIO_TRACK {
    RecordText artist;
    std::uint8_t artistSize;
    RecordText composer;
    std::uint8_t composerSize;
    RecordText albumArtist;
    std::uint8_t albumArtistSize;
    RecordText album;
    std::uint8_t albumSize;
    RecordText genre;
    std::uint8_t genreSize;
    RecordText releaseDate;
    std::uint8_t releaseDateSize;
    RecordText description;
    std::uint32_t descriptionSize;
    std::uint32_t reserved93;
    std::uint32_t playLength; ///< milliseconds
    std::uint32_t reserved101;
    std::uint16_t rating;
    std::uint32_t playCount;
    std::uint16_t trackNumber;
    std::uint16_t reserved113;
    std::uint16_t reserved115;
    std::uint32_t bitRate; ///< bits per second
    std::uint16_t reserved121;
};

struct _MTP_VIDEO_TRACK {
    RecordText reservedText55;
    std::uint8_t reservedText55Size;
    RecordText reservedText60;
    std::uint8_t reservedText60Size;
    RecordText reservedText65;
    std::uint32_t reservedText65Size;
    std::uint32_t reserved73;
    std::uint32_t playLength; ///< seconds, unlike the audio track
    std::uint32_t reserved81;
    std::uint16_t reserved85;
    std::uint32_t reserved87;
    std::uint32_t reserved91;
    std::uint32_t reserved95;
    std::uint16_t reserved99;
    RecordText reservedText101;
    std::uint8_t reservedText101Size;
    std::uint32_t reserved106;
    std::uint32_t reserved110;
    std::uint32_t reserved114;
    std::uint32_t reserved118;
};

struct _MTP_IMAGE_TRACK {
    std::uint32_t width;  ///< pixels
    std::uint32_t height; ///< pixels
};

/// The metadata of one media file; file.header.Signature (6, 7 or 8) says which track is meant.
struct _MTP_MEDIA_FILE_INFO {
    _MTP_FILE_NODE file;
    std::uint16_t format; ///< MTP object format code
    RecordText title;
    std::uint8_t titleSize;
    union {
        _MTP_AUDIO_TRACK audio;
        _MTP_VIDEO_TRACK video;
        _MTP_IMAGE_TRACK image;
    };
    std::uint16_t drmProperty;
};

#pragma pack(pop)

static_assert(sizeof(_MTP_COMMON_NODE) == 12 && sizeof(_MTP_DEVICE_NODE) == 16 && sizeof(_MTP_STORAGE_NODE) == 44);
static_assert(sizeof(_MTP_FOLDER_NODE) == 40 && sizeof(_MTP_FILE_NODE) == 48 && sizeof(_MTP_PLAYLIST_NODE) == 24);
static_assert(sizeof(_MTP_AUDIO_TRACK) == 68 && sizeof(_MTP_VIDEO_TRACK) == 67 && sizeof(_MTP_IMAGE_TRACK) == 8);
static_assert(sizeof(_MTP_MEDIA_FILE_INFO) == 125);
#define VEMO_OFFSET(record, field, offset) static_assert(offsetof(record, field) == (offset))
VEMO_OFFSET(_MTP_STORAGE_NODE, Label, 12);
VEMO_OFFSET(_MTP_STORAGE_NODE, Description, 20);
VEMO_OFFSET(_MTP_STORAGE_NODE, MaxCapacity, 28);
VEMO_OFFSET(_MTP_STORAGE_NODE, UsedSize, 36);
VEMO_OFFSET(_MTP_FOLDER_NODE, name, 16);
VEMO_OFFSET(_MTP_FOLDER_NODE, nameSize, 20);
VEMO_OFFSET(_MTP_FOLDER_NODE, reservedText2Size, 36);
VEMO_OFFSET(_MTP_FILE_NODE, protection, 12);
VEMO_OFFSET(_MTP_FILE_NODE, size, 16);
VEMO_OFFSET(_MTP_FILE_NODE, name, 24);
VEMO_OFFSET(_MTP_FILE_NODE, creationDate, 32);
VEMO_OFFSET(_MTP_FILE_NODE, modificationDate, 40);
VEMO_OFFSET(_MTP_PLAYLIST_NODE, fileCount, 20);
VEMO_OFFSET(_MTP_MEDIA_FILE_INFO, format, 48);
VEMO_OFFSET(_MTP_MEDIA_FILE_INFO, title, 50);
VEMO_OFFSET(_MTP_MEDIA_FILE_INFO, titleSize, 54);
VEMO_OFFSET(_MTP_MEDIA_FILE_INFO, audio.artist, 55);
VEMO_OFFSET(_MTP_MEDIA_FILE_INFO, audio.composer, 60);
VEMO_OFFSET(_MTP_MEDIA_FILE_INFO, audio.albumArtist, 65);
VEMO_OFFSET(_MTP_MEDIA_FILE_INFO, audio.album, 70);
VEMO_OFFSET(_MTP_MEDIA_FILE_INFO, audio.genre, 75);
VEMO_OFFSET(_MTP_MEDIA_FILE_INFO, audio.releaseDate, 80);
VEMO_OFFSET(_MTP_MEDIA_FILE_INFO, audio.description, 85);
VEMO_OFFSET(_MTP_MEDIA_FILE_INFO, audio.descriptionSize, 89);
VEMO_OFFSET(_MTP_MEDIA_FILE_INFO, audio.playLength, 97);
VEMO_OFFSET(_MTP_MEDIA_FILE_INFO, audio.rating, 105);
VEMO_OFFSET(_MTP_MEDIA_FILE_INFO, audio.playCount, 107);
VEMO_OFFSET(_MTP_MEDIA_FILE_INFO, audio.trackNumber, 111);
VEMO_OFFSET(_MTP_MEDIA_FILE_INFO, audio.bitRate, 117);
VEMO_OFFSET(_MTP_MEDIA_FILE_INFO, video.reservedText65, 65);
VEMO_OFFSET(_MTP_MEDIA_FILE_INFO, video.playLength, 77);
VEMO_OFFSET(_MTP_MEDIA_FILE_INFO, video.reserved85, 85);
VEMO_OFFSET(_MTP_MEDIA_FILE_INFO, video.reservedText101, 101);
VEMO_OFFSET(_MTP_MEDIA_FILE_INFO, video.reserved118, 118);
VEMO_OFFSET(_MTP_MEDIA_FILE_INFO, image.width, 55);
VEMO_OFFSET(_MTP_MEDIA_FILE_INFO, image.height, 59);
VEMO_OFFSET(_MTP_MEDIA_FILE_INFO, drmProperty, 123);
#undef VEMO_OFFSET
