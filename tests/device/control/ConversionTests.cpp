// SPDX-License-Identifier: MIT
#include "ControlTest.h"

#include <cstdlib>
#include <ctime>

namespace {

using Text = MtpControl::Text;

class ConversionTest : public ControlTest {
protected:
    static void setTimeZone(const char* zone) {
        setenv("TZ", zone, 1);
        tzset();
    }
    ~ConversionTest() override { setTimeZone("UTC0"); }
};

TEST_F(ConversionTest, everyStatusPrintsItsNameAndValue) {
    struct Row {
        DGSTATUS value;
        const char* name;
    };
#define ROW(value, name) Row{value, #name},
    const Row rows[] = {VEMO_STATUS_TABLE(ROW)};
#undef ROW
    for (const Row& row : rows) {
        const bool withoutDash = (row.value >= 0x13000004 && row.value <= 0x13000009) ||
                                 (row.value >= 0x13100000 && row.value <= 0x13100024);
        char expected[128];
        std::snprintf(expected, sizeof expected, withoutDash ? "%s  0x%08x" : "%s - 0x%08x", row.name,
                      static_cast<unsigned>(row.value));
        EXPECT_EQ(control.statusString(row.value), expected);
    }
}

TEST_F(ConversionTest, irregularStatusNames) {
    EXPECT_EQ(control.statusString(2), "DGSTATUS_NO_MORE_DATA - 0x00000002");
    EXPECT_EQ(control.statusString(0x1000000E), "UNKNOWN - 0x1000000e");
    EXPECT_EQ(control.statusString(0x14000002), "DGSTATUS_NOT_SUPPORT_FORMAT - 0x14000002");
    EXPECT_EQ(control.statusString(0x14000003), "DGSTATUS_NOT_SUPPORT_FORMAT - 0x14000003");
    EXPECT_EQ(control.statusString(0x13000005), "DGSTATUS_INTERNAL_SIZE_MISMATCH  0x13000005");
    EXPECT_EQ(control.statusString(0x13000003), "DGSTATUS_INTERNAL_GETOBJECTPROPVALUE_FAILED - 0x13000003");
    EXPECT_EQ(control.statusString(0x13100025), "UNKNOWN - 0x13100025");
    EXPECT_EQ(control.statusString(-1), "UNKNOWN - 0xffffffff");
}

TEST_F(ConversionTest, deviceDatesAreLocalTime) {
    setTimeZone("XXX-9"); // nine hours ahead of UTC
    const auto date = control.convertMtpToSystemDate("20091231T235959.0");
    ASSERT_TRUE(date);
    EXPECT_EQ(platform::dateDescription(*date), "2009-12-31 14:59:59 +0000");
    EXPECT_EQ(control.convertSystemToMtpDate("2009-01-05 07:08:09 +0000"), Text("20090105T160809.0"));
    EXPECT_EQ(control.convertSystemToMtpDate("2009-01-05 07:08:09 +0900"), Text("20090105T070809.0"));
}

TEST_F(ConversionTest, textsThatAreNoDates) {
    for (const char* text : {"", "20090115", "2009T12T01", "TT", "20090115 120000"}) {
        EXPECT_EQ(control.convertMtpToSystemDate(text), std::nullopt) << text;
    }
    for (const char* text : {"", "20090115T134501.0", "2009-13-01 00:00:00 +0000", "2009-01-05 07:08:09"}) {
        EXPECT_EQ(control.convertSystemToMtpDate(text), std::nullopt) << text;
    }
    // Digits are read as far as they go; numbers beyond any calendar neither trap nor hang.
    setTimeZone("UTC0");
    EXPECT_EQ(control.convertMtpToSystemDate("20090115xTy"), control.convertMtpToSystemDate("20090115T000000"));
    EXPECT_NO_FATAL_FAILURE((void) control.convertMtpToSystemDate("99999999999999999999T99999999999999999999"));
}

TEST_F(ConversionTest, recordTexts) {
    std::uint16_t* buffer = nullptr;
    std::uint8_t size = 77;
    control.convertStringToMtpString("", &buffer, &size);
    EXPECT_EQ(buffer, nullptr);
    EXPECT_EQ(size, 77);

    control.convertStringToMtpString("e\u0301", &buffer, &size); // becomes one precomposed letter
    EXPECT_EQ(size, 2);
    EXPECT_EQ(buffer[0], 0xE9);
    EXPECT_EQ(buffer[1], 0);
    mtpRecordFree(buffer);

    for (const auto& [length, expected] : {std::pair{254, 255}, {255, 0}, {300, 45}}) {
        control.convertStringToMtpString(std::string(length, 'x'), &buffer, &size);
        EXPECT_EQ(size, expected) << length;
        EXPECT_EQ(buffer[length - 1], 'x');
        EXPECT_EQ(buffer[length], 0);
        mtpRecordFree(buffer);
    }
}

TEST_F(ConversionTest, usableLengthOfARecordText) {
    const std::uint16_t text[] = {'A', 'B', 'C', 0, 'D'};
    EXPECT_EQ(control.wildcharLength(text, 4), 3U);
    EXPECT_EQ(control.wildcharLength(text, 2), 2U);
    EXPECT_EQ(control.wildcharLength(text, 5), 3U);
    EXPECT_EQ(control.wildcharLength(text, 0xFFFFFFFF), 3U);
    EXPECT_EQ(control.wildcharLength(text, 0), 0U);
    EXPECT_EQ(control.wildcharLength(text + 3, 4), 0U);
    EXPECT_EQ(control.wildcharLength(nullptr, 4), 0U);
}

TEST_F(ConversionTest, textAsAnInteger) {
    EXPECT_EQ(control.convertStringToInt("abcd"), 0x61626364U);
    EXPECT_EQ(control.convertStringToInt("abcde"), 0x62636465U);
    EXPECT_EQ(control.convertStringToInt(""), 0U);
    EXPECT_EQ(control.convertStringToInt("\u00E9"), 0xC3A9U);
}

TEST_F(ConversionTest, byteDumpBreaksItsLines) {
    const auto printed = [this](const void* buffer, std::size_t size) {
        testing::internal::CaptureStdout();
        control.printBuffer("Title:", buffer, size);
        return testing::internal::GetCapturedStdout();
    };
    EXPECT_EQ(printed("aZ9 \xE9_", 6), "Title:aZ9...\n");
    EXPECT_EQ(printed(nullptr, 6), "Title:\n");
    const std::string many(1026, 'x');
    // The byte at index 512 still belongs to the first line, so that one holds 513.
    EXPECT_EQ(printed(many.data(), many.size()),
              "Title:" + std::string(513, 'x') + "\n" + std::string(512, 'x') + "\nx\n");
}

TEST_F(ConversionTest, formatsAndNames) {
    const std::pair<std::uint32_t, int> formats[] = {
        {0x1000001, 0x3009}, {0x2000001, 0x300B}, {0x2000002, 0x300A}, {0x2000008, 0xB981}, {0x4000001, 0x3801},
        {0x4000002, 0x3804}, {0x4000004, 0x3807}, {0x4000008, 0x380B}, {0x1000002, 0x3000}, {0, 0x3000}};
    for (const auto& [type, format] : formats) {
        EXPECT_EQ(control.setMediaFileFormat(type), format) << std::hex << type;
    }
    EXPECT_TRUE(control.checkHiddenFolder(".android"));
    EXPECT_FALSE(control.checkHiddenFolder("Music."));
    EXPECT_FALSE(control.checkHiddenFolder(""));
    EXPECT_TRUE(control.checkNoMedia(".NoMedia"));
    EXPECT_FALSE(control.checkNoMedia(".nomedia2"));
}

TEST_F(ConversionTest, extensionsMatchWithoutCase) {
    EXPECT_TRUE(control.isMatchFileExtension("/a/b.MP3", {"wav", "mp3"}));
    EXPECT_FALSE(control.isMatchFileExtension("/a/b.mp3", {"wav", ".mp3"}));
    EXPECT_FALSE(control.isMatchFileExtension("/a/b.mp3", {}));
    EXPECT_FALSE(control.isMatchFileExtension("/a/mp3", {"mp3"}));
    expectLogged(7, "File Path Name is invalid.",
                 [this] { EXPECT_FALSE(control.isMatchFileExtension(std::nullopt, {"mp3"})); });
}

} // namespace
