// SPDX-License-Identifier: MIT
#include "ScriptedDevice.h"

#include "mtp/Quirks.h"

#include <gtest/gtest.h>

#include <fstream>
#include <sstream>

namespace mtpsdk::test {
namespace {

using Names = std::vector<std::string>;

QuirkTable table(const std::string& text) {
    QuirkTable made;
    std::istringstream file(text);
    made.read(file, "quirks.conf");
    return made;
}

TEST(QuirkTable, ModelsAreMeantByTheirIdOrByWhatTheyCallThemselves) {
    const QuirkTable quirks = table("# a comment\n"
                                    "\n"
                                    "usb 04e8:6860  no-property-lists reset-at-opening  # hangs\r\n"
                                    "\tusb 04e8:*    no-references\n"
                                    "device \"Some Maker\" \"Player*\" no-folder-lists\n"
                                    "device Maker Model no-send-property-list no-property-writes");
    EXPECT_TRUE(quirks.problems().empty());
    EXPECT_EQ(quirks.of(UsbId{0x04E8, 0x6860}).names(),
              (Names{"no-property-lists", "no-references", "reset-at-opening"}));
    EXPECT_EQ(quirks.of(UsbId{0x04E8, 1}).names(), Names{"no-references"});
    EXPECT_EQ(quirks.of(UsbId{0x18D1, 0x6860}).names(), Names());
    EXPECT_EQ(quirks.of(std::nullopt).names(), Names());
    EXPECT_EQ(quirks.of(u"Some Maker", u"Player 2").names(), Names{"no-folder-lists"});
    EXPECT_EQ(quirks.of(u"Some Maker", u"Phone").names(), Names());
    EXPECT_EQ(quirks.of(u"Maker", u"Model").names(), (Names{"no-send-property-list", "no-property-writes"}));
    EXPECT_EQ(quirks.of(u"", u"").names(), Names());
}

TEST(QuirkTable, LinesThatMakeNoSenseAreToldAndLeftOut) {
    const QuirkTable quirks = table("usb 04e8 no-references\n"
                                    "usb 04e8:12 no-references\n"
                                    "usb 04e8:12345 no-references\n"
                                    "usb 04e8:6860 no-such-thing\n"
                                    "usb 04e8:6860\n"
                                    "device \"Maker\"\n"
                                    "phone 04e8:6860 no-references\n"
                                    "usb 18d1:0001 no-references\n"
                                    "usb");
    EXPECT_EQ(quirks.problems().size(), 8U);
    EXPECT_EQ(quirks.problems()[3], "quirks.conf, line 4: There is no quirk \"no-such-thing\". The line is left out.");
    EXPECT_EQ(quirks.of(UsbId{0x18D1, 1}).names(), Names{"no-references"});
    EXPECT_EQ(quirks.of(UsbId{0x04E8, 0x6860}).names(), Names());
}

TEST(QuirkTable, TheFileThatIsInstalledMakesSense) {
    std::ifstream file(MTPSERVICE_QUIRK_FILE);
    ASSERT_TRUE(file.is_open());
    QuirkTable quirks;
    quirks.read(file, "quirks.conf");
    EXPECT_EQ(quirks.problems(), Names());
}

/// A device that does everything, in a modest way.
class QuirkSession : public ::testing::Test {
protected:
    QuirkSession() {
        script.info.manufacturer = u"Maker";
        script.announce({OperationCode::GetObjectPropList, OperationCode::SendObjectPropList,
                         OperationCode::SetObjectPropValue, OperationCode::GetObjectPropsSupported,
                         OperationCode::GetObjectReferences, OperationCode::SetObjectReferences});
        const auto none = [](const ParameterContainer&, const Bytes&) {
            return Answer{ResponseCode::OK, {}, bytesOf({0, 0, 0, 0})};
        };
        for (const OperationCode code :
             {OperationCode::GetObjectPropList, OperationCode::GetObjectHandles, OperationCode::GetObjectReferences}) {
            script.on[code] = none;
        }
        script.on[OperationCode::GetObjectPropsSupported] = [](const ParameterContainer&, const Bytes&) {
            return Answer{ResponseCode::OK, {}, encode(std::vector<std::uint16_t>{raw(ObjectPropertyCode::Artist)})};
        };
        for (const OperationCode code :
             {OperationCode::SendObjectInfo, OperationCode::SendObjectPropList, OperationCode::SetObjectPropValue}) {
            script.on[code] = [](const ParameterContainer&, const Bytes&) { return Answer{}; };
        }
    }
    /// The operations of one of each call.
    std::vector<OperationCode> operationsWith(const std::string& quirks) {
        const auto session = script.open(table(quirks.empty() ? "" : "device Maker Scripted " + quirks));
        std::vector<ObjectEntry> entries;
        std::vector<std::uint32_t> handles;
        (void) session->listFolder(0x10001, 7, entries);
        ObjectEntry entry;
        (void) session->objectEntry(5, entry);
        NewObject object;
        object.media.artist = u"someone";
        MediaProperties media;
        (void) session->setMediaProperties(5, raw(FormatCode::MP3), object.media);
        (void) session->references(5, handles);
        (void) session->sendObject(
            object, [](std::span<std::byte>) { return -1; }, {}, entry, media);
        return script.operations();
    }
    [[nodiscard]] std::size_t count(const std::string& quirks, OperationCode operation) {
        return static_cast<std::size_t>(std::ranges::count(operationsWith(quirks), operation));
    }

    Script script;
};

TEST_F(QuirkSession, EachQuirkChangesWhatTheSessionAsks) {
    EXPECT_EQ(count("", OperationCode::GetObjectPropList), 2U);
    EXPECT_EQ(count("", OperationCode::GetObjectInfo), 1U); // the list was empty
    EXPECT_EQ(count("no-property-lists", OperationCode::GetObjectPropList), 0U);
    EXPECT_EQ(count("no-property-lists", OperationCode::GetObjectHandles), 1U);
    EXPECT_EQ(count("no-folder-lists", OperationCode::GetObjectPropList), 1U);
    EXPECT_EQ(count("no-folder-lists", OperationCode::GetObjectHandles), 1U);
    EXPECT_EQ(count("", OperationCode::SendObjectPropList), 1U);
    EXPECT_EQ(count("no-send-property-list", OperationCode::SendObjectPropList), 0U);
    EXPECT_EQ(count("no-send-property-list", OperationCode::SendObjectInfo), 1U);
    EXPECT_EQ(count("", OperationCode::SetObjectPropValue), 1U);
    EXPECT_EQ(count("no-property-writes", OperationCode::SetObjectPropValue), 0U);
    EXPECT_EQ(count("", OperationCode::GetObjectReferences), 1U);
    EXPECT_EQ(count("no-references", OperationCode::GetObjectReferences), 0U);
}

TEST_F(QuirkSession, AResetComesBeforeTheSessionAndOnlyTheUsbIdTellsInTime) {
    script.usbId = UsbId{0x04E8, 0x6860};
    const auto session = script.open(table("usb 04e8:6860 reset-at-opening"));
    EXPECT_EQ(script.resets, 1U);
    EXPECT_EQ(session->quirks().names(), Names{"reset-at-opening"});
    const auto other = script.open();
    EXPECT_EQ(script.resets, 1U);
}

} // namespace
} // namespace mtpsdk::test
