// SPDX-License-Identifier: MIT
#include "mtp/Formats.h"
#include "tree/SafeNames.h"
#include "vemomtpsdk/Records.h"

#include <gtest/gtest.h>
#include <set>

using namespace mtpsdk;

namespace {

TEST(SafeNames, makesADevicesNamesSafeForPaths) {
    const struct {
        std::u16string name;
        std::u16string safe;
    } cases[] = {
        {u"Song.mp3", u"Song.mp3"},
        {u".hidden", u".hidden"},
        {u"...", u"..."},
        {u"", u"_"},
        {u".", u"_"},
        {u"..", u"__"},
        {u"../../etc/passwd", u".._.._etc_passwd"},
        {std::u16string(u"a\0b", 3), u"a_b"},
        {u"tab\tline\n\u007F\u0085", u"tab_line___"},
        {u"\xD83D\xDE00.png", u"\xD83D\xDE00.png"},
        {u"\xD83D.png", u"\uFFFD.png"},
        {std::u16string(300, u'x'), std::u16string(254, u'x')},
        {std::u16string(253, u'x') + u"\xD83D\xDE00", std::u16string(253, u'x')},
    };
    for (const auto& [name, safe] : cases) {
        EXPECT_EQ(safeName(name), safe);
    }
}

TEST(SafeNames, tellsEqualNamesApartAtOnce) {
    std::set<std::u16string> names;
    const auto taken = [&](const std::u16string& name) { return names.contains(name); };
    for (std::uint32_t handle = 1; handle <= 20000; ++handle) {
        ASSERT_TRUE(names.insert(distinctName(u"same.mp3", handle, taken)).second);
    }
    EXPECT_TRUE(names.contains(u"same (2).mp3"));
    EXPECT_TRUE(names.contains(u"same (9).mp3"));
    const std::u16string longest(254, u'x');
    names.insert(longest);
    EXPECT_EQ(distinctName(longest, 1, taken), std::u16string(250, u'x') + u" (2)");
    names.insert(u".profile");
    EXPECT_EQ(distinctName(u".profile", 1, taken), u".profile (2)");
}

TEST(SafeNames, refusesWhatDevicesRefuse) {
    for (const char16_t* name : {u"a", u".nomedia", u"Für Elise.mp3", u"a b", u"\xD83D\xDE00", u"100%", u"a.."}) {
        EXPECT_TRUE(isAcceptableName(name)) << testing::PrintToString(std::u16string(name));
    }
    for (const char16_t reserved : std::u16string(u":*?\"\\/<>|\r\n\t\x1F\x7F")) {
        EXPECT_FALSE(isAcceptableName(std::u16string(u"a") + reserved)) << static_cast<int>(reserved);
    }
    EXPECT_FALSE(isAcceptableName(u""));
    EXPECT_FALSE(isAcceptableName(u"."));
    EXPECT_FALSE(isAcceptableName(u".."));
    EXPECT_FALSE(isAcceptableName(u"\xDE00"));
    EXPECT_TRUE(isAcceptableName(std::u16string(254, u'x')));
    EXPECT_FALSE(isAcceptableName(std::u16string(255, u'x')));
}

TEST(Formats, followTheExtension) {
    EXPECT_EQ(formatOfName(u"a.mp3"), FormatCode::MP3);
    EXPECT_EQ(formatOfName(u"A.MP3"), FormatCode::MP3);
    EXPECT_EQ(raw(formatOfName(u"a.mov")), 0x300D);
    EXPECT_EQ(formatOfName(u"list.pla"), FormatCode::AbstractAudioVideoPlaylist);
    EXPECT_EQ(formatOfName(u"archive.tar.gz"), FormatCode::Undefined);
    EXPECT_EQ(formatOfName(u".mp3"), FormatCode::Undefined);
    EXPECT_EQ(formatOfName(u"mp3"), FormatCode::Undefined);
    EXPECT_EQ(mediaSignature(raw(FormatCode::MP3), u"x"), MTP_SIGNATURE_MUSIC_INFO);
    EXPECT_EQ(mediaSignature(raw(FormatCode::Undefined), u"x.wmv"), MTP_SIGNATURE_VIDEO_INFO);
    EXPECT_EQ(mediaSignature(0x3801, u"x.mp3"), MTP_SIGNATURE_IMAGE_INFO);
    EXPECT_EQ(mediaSignature(raw(FormatCode::Text), u"x.mp3"), MTP_SIGNATURE_FILE);
}

} // namespace
