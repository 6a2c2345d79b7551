// SPDX-License-Identifier: MIT
#include "host/defaults/XmlProfileHandler.h"

#include "tests/host/TestFolder.h"
#include <gtest/gtest.h>

namespace {

constexpr const char* kMusicInternal = "ZEP/Contents/Music/DefaultFolder/Internal";

std::string profile(const std::string& folder) {
    return "<ZEP><Contents><Music><DefaultFolder><Internal>" + folder +
           "</Internal></DefaultFolder></Music></Contents></ZEP>";
}

class XmlProfileHandlerTest : public testing::Test {
protected:
    std::optional<std::string> music(const std::optional<std::string>& model,
                                     const std::string& file = "Contents.xml") {
        return handler.valueForModelName(model, file, kMusicInternal);
    }
    TestFolder folder;
    host::XmlProfileHandler handler{{folder.path("first"), folder.path("second")}};
};

TEST_F(XmlProfileHandlerTest, AnswersFoldersThatCanBeAppendedToAStorage) {
    const std::pair<const char*, std::optional<std::string>> rows[] = {
        {"/Music", "/Music"},        {"Music/Albums", "/Music/Albums"}, {"\n  Music/ \n", "/Music"},
        {"//a//./b/", "/a/b"},       {"<![CDATA[A & B]]>", "/A & B"},   {"", std::nullopt},
        {"/", std::nullopt},         {"../Private", std::nullopt},      {"a/../../b", std::nullopt},
        {"&unknown;", std::nullopt}, // a document that is not well-formed has no entries
    };
    int model = 0;
    for (const auto& [text, expected] : rows) {
        const std::string name = "Model " + std::to_string(model++);
        folder.write("first/" + name + "/Contents.xml", profile(text));
        EXPECT_EQ(music(name), expected) << text;
    }
}

TEST_F(XmlProfileHandlerTest, TheFirstFolderWithTheFileDecidesAndTheFileIsReadOnce) {
    folder.write("first/Both/Contents.xml", profile("First"));
    folder.write("second/Both/Contents.xml", profile("Second"));
    folder.write("second/Only/Contents.xml", profile("Second"));
    EXPECT_EQ(music("Both"), "/First");
    EXPECT_EQ(music("Only"), "/Second");
    folder.write("first/Both/Contents.xml", profile("Changed"));
    EXPECT_EQ(music("Both"), "/First");
}

TEST_F(XmlProfileHandlerTest, UnknownModelsAndNamesThatLeadElsewhereHaveNoProfile) {
    folder.write("Contents.xml", profile("Outside"));
    folder.write("first/Contents.xml", profile("Outside"));
    folder.write("first/sub/Model/Contents.xml", profile("Outside"));
    folder.write("first/Model/Contents.xml", profile("Inside"));
    for (const std::optional<std::string>& model :
         {std::optional<std::string>(), std::optional<std::string>(""), std::optional<std::string>("."),
          std::optional<std::string>(".."), std::optional<std::string>("sub/Model"),
          std::optional<std::string>("Unknown"), std::optional<std::string>(std::string("Model\0", 6))}) {
        EXPECT_EQ(music(model), std::nullopt) << model.value_or("(none)");
    }
    EXPECT_EQ(music("Model", "../Model/Contents.xml"), std::nullopt);
    EXPECT_EQ(handler.valueForModelName("Model", "Contents.xml", "ZEP/Contents/Image/DefaultFolder/Internal"),
              std::nullopt);
}

TEST_F(XmlProfileHandlerTest, EntitiesAreNotExpandedAndNothingOutsideIsRead) {
    const std::string secret = folder.write("secret.txt", "Secret");
    folder.write("first/External/Contents.xml", "<!DOCTYPE ZEP [<!ENTITY e SYSTEM \"file://" + secret +
                                                    "\"><!ENTITY i \"Inner\">]>" + profile("&e;&i;"));
    EXPECT_EQ(music("External"), std::nullopt);

    std::string bomb = "<!DOCTYPE ZEP [<!ENTITY a0 \"aaaaaaaaaa\">";
    for (int level = 1; level < 12; ++level) {
        const std::string inner = "&a" + std::to_string(level - 1) + ";";
        bomb += "<!ENTITY a" + std::to_string(level) + " \"" + inner + inner + inner + inner + inner + "\">";
    }
    folder.write("first/Bomb/Contents.xml", bomb + "]>" + profile("&a11;"));
    EXPECT_EQ(music("Bomb"), std::nullopt);

    std::string deep;
    for (int level = 0; level < 200; ++level) {
        deep += "<ZEP>";
    }
    folder.write("first/Deep/Contents.xml", deep);
    folder.write("first/Huge/Contents.xml", std::string(2 << 20, ' ') + profile("Huge"));
    EXPECT_EQ(music("Deep"), std::nullopt);
    EXPECT_EQ(music("Huge"), std::nullopt);
}

} // namespace
