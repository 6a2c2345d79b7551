// SPDX-License-Identifier: MIT
#include "tools/JsonValue.h"

#include <gtest/gtest.h>

namespace {

using platform::Dictionary;

TEST(JsonValue, ANotificationIsOneLineWithItsOwnKeysInTheirOrder) {
    const platform::Date date{std::chrono::sys_seconds(std::chrono::seconds(1230768489))};
    const Dictionary info{{"FilePath", "/My \"Player\"/a\nb\x1B.mp3"},
                          {"ServiceID", 4294967295U},
                          {"FileSize", 18446744073709551615ULL},
                          {"Offset", -5},
                          {"IsManaged", true},
                          {"DateCreated", date},
                          {"Nested", Dictionary{{"Z", 1}, {"A", platform::Array{1.5, nullptr, "é"}}}},
                          {"CallbackObject", std::make_shared<int>(1)}};
    EXPECT_EQ(
        tool::jsonLine(platform::Notification{"NAME", info}),
        R"({"notification":"NAME","userInfo":{"FilePath":"/My \"Player\"/a\nb\u001b.mp3","ServiceID":4294967295,)"
        R"("FileSize":18446744073709551615,"Offset":-5,"IsManaged":true,"DateCreated":"2009-01-01 00:08:09 +0000",)"
        R"("Nested":{"Z":1,"A":[1.5,null,"é"]},"CallbackObject":null}})");
}

TEST(JsonValue, BytesThatAreNoTextAreReplaced) {
    EXPECT_EQ(tool::jsonLine(Dictionary{{"FileName", "a\xFF"
                                                     "b"}}),
              "{\"FileName\":\"a\uFFFDb\"}");
}

} // namespace
