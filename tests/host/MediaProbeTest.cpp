// SPDX-License-Identifier: MIT
#include "host/defaults/MediaProbe.h"

#include "tests/host/MediaSamples.h"
#include "tests/host/TestFolder.h"
#include <gtest/gtest.h>

namespace {

using host::MediaProbe;
using std::chrono::milliseconds;

TEST(MediaProbe, AHelperThatHangsEndsOrFloodsIsReplaced) {
    MediaProbe probe(FAKE_PROBE, std::chrono::seconds(5)); // starting the helper counts, on a busy machine too
    EXPECT_EQ(probe.read("/a/fine.mp4").outcome, MediaProbe::Outcome::read);
    EXPECT_EQ(probe.read("/a/hang.mp4").outcome, MediaProbe::Outcome::timedOut);
    EXPECT_EQ(probe.read("/a/fine.mp4").outcome, MediaProbe::Outcome::read);
    EXPECT_EQ(probe.read("/a/crash.mp4").outcome, MediaProbe::Outcome::died);
    EXPECT_EQ(probe.read("/a/flood.mp4").outcome, MediaProbe::Outcome::died);
    EXPECT_EQ(probe.read("/a/new\nline.mp4").outcome, MediaProbe::Outcome::read);
}

TEST(MediaProbe, WithoutAHelperNothingIsRead) {
    MediaProbe probe("/does/not/exist", milliseconds(400));
    EXPECT_EQ(probe.read("/a/fine.mp4").outcome, MediaProbe::Outcome::unavailable);
}

TEST(MediaProbe, TheRealHelperSurvivesWhatIsNoMedia) {
    const TestFolder folder;
    MediaProbe probe(MEDIA_PROBE, std::chrono::seconds(60));
    EXPECT_EQ(probe.read(folder.path("missing.mp4")).json, "{}");
    EXPECT_EQ(probe.read(folder.path()).json, "{}");
    EXPECT_EQ(probe.read("/dev/zero").json, "{}"); // endless, so never opened as a file
    EXPECT_EQ(probe.read(folder.write("text.mp4", "no film at all")).outcome, MediaProbe::Outcome::read);
    const std::string odd = folder.write("n\xFF\n.png", samples::png(3, 5)); // a name that is no valid text
    EXPECT_NE(probe.read(odd).json.find("\"Width\":3"), std::string::npos);
}

} // namespace
