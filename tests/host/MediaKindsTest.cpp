// SPDX-License-Identifier: MIT
#include "host/defaults/MediaKinds.h"

#include <gtest/gtest.h>

namespace {

struct Row {
    const char* path;
    MediaType classified;
    MediaType natural;
    std::uint32_t bits;
};

TEST(MediaKinds, AreToldByTheExtension) {
    const Row rows[] = {
        {"song.MP3", MediaTypeMusic, MediaTypeMusic, 0x1000001},
        {"/a.b/clip.3GP", MediaTypeMovie, MediaTypeMovie, 0x2000000},
        {"film.mpeg", MediaTypeMovie, MediaTypeMovie, 0x2000001},
        {"film.AVI", MediaTypeMovie, MediaTypeMovie, 0x2000002},
        {"film.wmv", MediaTypeMovie, MediaTypeMovie, 0x2000008},
        {"photo.jpeg", MediaTypeImage, MediaTypeImage, 0x4000001},
        {"photo.bmp", MediaTypeImage, MediaTypeImage, 0x4000002},
        {"photo.gif", MediaTypeImage, MediaTypeImage, 0x4000004},
        {"photo.png", MediaTypeImage, MediaTypeImage, 0x4000008},
        {"track.m4a", MediaTypeNone, MediaTypeMusic, 0x1000000}, // only mp3 is music unasked
        {"photo.webp", MediaTypeNone, MediaTypeImage, 0x4000000},
        {"feed.xml", MediaTypeNone, MediaTypeNone, 0},
        {"mp3", MediaTypeNone, MediaTypeNone, 0},
        {"/music.mp3/.mp3", MediaTypeNone, MediaTypeNone, 0}, // a hidden file, not an extension
        {"name.", MediaTypeNone, MediaTypeNone, 0},
        {"", MediaTypeNone, MediaTypeNone, 0},
    };
    for (const Row& row : rows) {
        EXPECT_EQ(host::classifiedMediaType(row.path), row.classified) << row.path;
        EXPECT_EQ(host::naturalMediaType(row.path), row.natural) << row.path;
        EXPECT_EQ(host::mediaTypeBits(row.path), row.bits) << row.path;
    }
}

} // namespace
