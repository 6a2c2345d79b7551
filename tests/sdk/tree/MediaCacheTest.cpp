// SPDX-License-Identifier: MIT
#include "tree/MediaCache.h"

#include <gtest/gtest.h>

using mtpsdk::MediaCache;
using mtpsdk::MediaProperties;

namespace {

MediaProperties titled(const std::u16string& title) {
    MediaProperties media;
    media.title = title;
    return media;
}

} // namespace

TEST(MediaCacheTest, EveryPropertyComesBackAndMissingOnesStayMissing) {
    MediaProperties all;
    all.title = u"Title";
    all.artist = u"";
    all.composer = u"\U0001F3B5";
    all.albumArtist = std::u16string(u"a\0b", 3);
    all.album = std::u16string(70'000, u'x'); // as long as no device's text: cut
    all.genre = u"Genre";
    all.releaseDate = u"20260301T000000";
    all.description = u"Description";
    all.durationMilliseconds = 0xFFFFFFFF;
    all.bitRate = 0x10000;
    all.playCount = 0;
    all.width = 1;
    all.height = 0x12345678;
    all.rating = 0xFFFF;
    all.track = 0;
    all.drm = 1;
    MediaCache cache;
    cache.put(1, all);
    cache.put(2, MediaProperties());
    const auto kept = cache.find(1);
    ASSERT_TRUE(kept);
    for (const auto text :
         {&MediaProperties::title, &MediaProperties::artist, &MediaProperties::composer, &MediaProperties::albumArtist,
          &MediaProperties::genre, &MediaProperties::releaseDate, &MediaProperties::description}) {
        EXPECT_EQ((*kept).*text, all.*text);
    }
    EXPECT_EQ(kept->album->size(), 0xFFFFU);
    for (const auto number : {&MediaProperties::durationMilliseconds, &MediaProperties::bitRate,
                              &MediaProperties::playCount, &MediaProperties::width, &MediaProperties::height}) {
        EXPECT_EQ((*kept).*number, all.*number);
    }
    for (const auto number : {&MediaProperties::rating, &MediaProperties::track, &MediaProperties::drm}) {
        EXPECT_EQ((*kept).*number, all.*number);
    }
    ASSERT_TRUE(cache.find(2));
    EXPECT_EQ(cache.find(2)->title, std::nullopt);
    EXPECT_EQ(cache.find(2)->rating, std::nullopt);
    EXPECT_FALSE(cache.find(3));
}

TEST(MediaCacheTest, TheOldestGoesWhenMemoryIsFull) {
    MediaCache cache(16'384);
    for (std::uint32_t handle = 1; handle <= 1000; ++handle) {
        cache.put(handle, titled(std::u16string(100, u't')));
    }
    EXPECT_FALSE(cache.find(1));
    EXPECT_TRUE(cache.find(1000));
    std::uint32_t held = 0;
    for (std::uint32_t handle = 1; handle <= 1000; ++handle) {
        held += cache.find(handle) ? 1 : 0;
    }
    EXPECT_GT(held, 10U);
    EXPECT_LT(held, 82U);
    EXPECT_TRUE(cache.find(1001 - held)) << "the newest are those that are kept";
}

TEST(MediaCacheTest, WhatIsPutAgainOrErasedLeavesNoTraces) {
    MediaCache cache(1U << 20U);
    cache.put(7, titled(u"kept"));
    for (int round = 0; round < 20'000; ++round) {
        cache.put(1, titled(std::u16string(100, u't')));
        cache.put(2, titled(u"gone"));
        cache.erase(2);
    }
    EXPECT_FALSE(cache.find(2));
    EXPECT_TRUE(cache.find(1));
    EXPECT_EQ(cache.find(7)->title, u"kept") << "replaced and erased ones count no longer";
    cache.clear();
    EXPECT_FALSE(cache.find(7));
    cache.put(7, titled(u"again"));
    EXPECT_EQ(cache.find(7)->title, u"again");
}
