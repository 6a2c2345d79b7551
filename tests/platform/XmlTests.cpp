// SPDX-License-Identifier: MIT
#include "platform/Xml.h"

#include "TemporaryFolder.h"
#include <gtest/gtest.h>

#include <fstream>

namespace {

using platform::XmlDocument;
using platform::XmlElement;
using namespace std::string_literals;

std::optional<XmlDocument> read(const std::string& bytes, std::string* error = nullptr, bool validate = false) {
    return XmlDocument::parse(bytes, {.validate = validate}, error);
}

/// The root's text, or "!" and the reason.
std::string rootText(const std::string& bytes, bool validate = false) {
    std::string error;
    const auto document = read(bytes, &error, validate);
    return document ? document->root()->text().value_or("(none)") : "!" + error;
}

std::string repeated(const std::string& text, std::size_t count) {
    std::string result;
    for (std::size_t i = 0; i < count; ++i) {
        result += text;
    }
    return result;
}

TEST(Xml, WritesWhatItReadsBack) {
    XmlDocument document;
    EXPECT_FALSE(document.root());
    XmlElement root = document.setRoot("list");
    root.append("plain", "a <b> & \"c\" ]]> \r\n\té 日本");
    root.append("empty");
    root.append("control", "a\x01"
                           "b\xFF"
                           "c\xEF\xBF\xBE"
                           "d");
    root.append("outer").append("inner", "deep");
    const std::string text = document.prettyPrinted();
    EXPECT_TRUE(text.starts_with("<?xml version=\"1.0\" encoding=\"utf-8\"?>\n<list>\n  <plain>")) << text;

    const auto again = read(text);
    ASSERT_TRUE(again);
    const XmlElement list = *again->root();
    EXPECT_EQ(list.child("plain")->text(), "a <b> & \"c\" ]]> \r\n\té 日本");
    EXPECT_EQ(list.child("empty")->text(), std::nullopt);
    EXPECT_EQ(list.child("control")->text(), "ab\xEF\xBF\xBD"
                                             "cd");
    EXPECT_EQ(list.child("outer")->text(), "deep");
    EXPECT_FALSE(list.child("inner"));
    EXPECT_EQ(again->prettyPrinted(), text);
}

TEST(Xml, ChildrenAreTheElementsAloneAndGoByIndex) {
    auto document = read("<r>text<a/><!-- no --><b/><?no no?><a>2</a><![CDATA[no]]><c/></r>");
    ASSERT_TRUE(document);
    XmlElement root = *document->root();
    root.removeChild(1);
    root.removeChild(3); // there is none
    std::string names;
    for (auto child = root.firstChild(); child; child = child->next()) {
        names += child->name();
    }
    EXPECT_EQ(names, "aac");
    EXPECT_EQ(root.child("a")->text(), std::nullopt);
    EXPECT_EQ(root.text(), "text2no");
}

TEST(Xml, NamesKeepTheirPrefixAndTellTheirNamespace) {
    const auto document = read("<r xmlns:i='urn:i'><i:a href='1&lt;2' i:href='no'/><a/></r>");
    ASSERT_TRUE(document);
    const XmlElement first = *document->root()->firstChild();
    EXPECT_EQ(first.name(), "i:a");
    EXPECT_EQ(first.localName(), "a");
    EXPECT_EQ(first.namespaceName(), "urn:i");
    EXPECT_EQ(first.attribute("href"), "1<2");
    EXPECT_EQ(first.attribute("none"), std::nullopt);
    EXPECT_EQ(document->root()->child("a")->namespaceName(), "");
    EXPECT_TRUE(document->root()->child("i:a"));
}

TEST(Xml, ReadsTheEncodingsThatDocumentsComeIn) {
    const std::pair<std::string, std::string> rows[] = {
        {"<r>é</r>", "é"},
        {"\xEF\xBB\xBF<r>é</r>", "é"},
        {"<?xml version='1.0' encoding='ISO-8859-1'?><r>\xE9</r>", "é"},
        {"<?xml version=\"1.0\" encoding=\"windows-1252\"?><r>\x80\x93</r>", "€“"},
        {"<?xml version='1.0' encoding='Shift_JIS'?><r>\x93\xFA\x96\x7B</r>", "日本"},
        {"<?xml version='1.0' encoding='EUC-KR'?><r>\xC7\xD1</r>", "한"},
        {"\xFF\xFE<\0r\0>\0\xE9\0<\0/\0r\0>\0"s, "é"},
        {"\xFE\xFF\0<\0r\0>\0\xE9\0<\0/\0r\0>"s, "é"},
        {"<\0?\0x\0m\0l\0 \0v\0e\0r\0s\0i\0o\0n\0=\0'\0001\0.\0000\0'\0?\0>\0<\0r\0>\0\xE9\0<\0/\0r\0>\0"s, "é"},
        {"<?xml version='1.0' encoding='utf-8'?><r>\xE9!</r>", "\xEF\xBF\xBD!"},
        {"<?xml version='1.0' encoding='no-such'?><r>a</r>", "!unknown encoding"},
        {"<?xml version='1.0' encoding='utf-8' standalone='yes'?><r>a</r>", "a"},
        {"<?xml version='1.0' encoding='", "!line 1: Blank needed here"},
    };
    for (const auto& [bytes, expected] : rows) {
        const std::string found = rootText(bytes);
        EXPECT_TRUE(expected[0] == '!' ? found[0] == '!' : found == expected) << bytes << "\n" << found;
    }
}

TEST(Xml, DamagedDocumentsAreRefusedUnlessTheyAreToBeRecovered) {
    for (const std::string bytes : {"", " ", "text", "<r>", "<r></s>", "<r>&unknown;</r>", "<r/><r/>", "<a b=1/>"}) {
        EXPECT_EQ(rootText(bytes).substr(0, 1), "!") << bytes;
    }
    const auto recovered = XmlDocument::parse("<r><a>1 &nbsp; 2</a><b>3 & 4</b><c>5", {.recover = true});
    ASSERT_TRUE(recovered);
    EXPECT_EQ(recovered->root()->child("a")->text(), "1  2");
    EXPECT_EQ(recovered->root()->child("c")->text(), "5");
    EXPECT_FALSE(XmlDocument::parse("no markup at all", {.recover = true}));
    // What says that it is UTF-8 and is not.
    const std::string latin = "<?xml version='1.0' encoding='utf-8'?><r>Caf\xE9 \x96</r>";
    EXPECT_EQ(XmlDocument::parse(latin, {.recover = true})->root()->text(), "Café –");
    EXPECT_EQ(XmlDocument::parse(latin, {})->root()->text(), "Caf\xEF\xBF\xBD \xEF\xBF\xBD");
}

TEST(Xml, ValidatesOnlyDocumentsThatDeclareTheirElements) {
    const std::string declared = "<!DOCTYPE r [<!ELEMENT r (a*)><!ELEMENT a (#PCDATA)>]>";
    const std::pair<std::string, std::string> rows[] = {
        {"<r><b>1</b></r>", "1"},
        {"<!DOCTYPE r><r><b>1</b></r>", "1"},
        {"<!DOCTYPE r SYSTEM 'file:///etc/hostname'><r><b>1</b></r>", "1"},
        {declared + "<r><a>1</a></r>", "1"},
        {declared + "<r><b>1</b></r>", "!"},
        {declared + "<a>1</a>", "!"},
        {"<!DOCTYPE r SYSTEM 'file:///etc/hostname' [<!ELEMENT r EMPTY>]><r>1</r>", "!"},
    };
    for (const auto& [bytes, expected] : rows) {
        EXPECT_EQ(rootText(bytes, true).substr(0, 1), expected) << bytes;
    }
    EXPECT_EQ(rootText(declared + "<r><b>1</b></r>", false), "1");
}

TEST(Xml, NothingOutsideIsReadAndNoEntityIsExpanded) {
    const tests::TemporaryFolder folder;
    std::ofstream(folder.path("secret.dtd")) << "<!ELEMENT r (none)><!ENTITY s 'Secret'>";
    const std::string system = "SYSTEM 'file://" + folder.path("secret.dtd") + "'";
    EXPECT_EQ(rootText("<!DOCTYPE r " + system + "><r>1</r>", true), "1");
    for (const std::string& bytes :
         {"<!DOCTYPE r " + system + "><r>a&s;</r>", "<!DOCTYPE r [<!ENTITY s " + system + ">]><r>a&s;</r>",
          "<!DOCTYPE r [<!ENTITY % p " + system + "> %p;]><r>a&s;</r>",
          "<!DOCTYPE r [<!ENTITY s 'Secret'>]><r>a&s;</r>"s}) {
        const std::string found = rootText(bytes, true);
        EXPECT_TRUE(found == "a" || found[0] == '!') << found;
    }
    std::string bomb = "<!DOCTYPE r [<!ENTITY a0 'aaaaaaaaaa'>";
    for (int level = 1; level < 40; ++level) {
        const std::string inner = "&a" + std::to_string(level - 1) + ";";
        bomb += "<!ENTITY a" + std::to_string(level) + " \"" + repeated(inner, 10) + "\">";
    }
    EXPECT_EQ(rootText(bomb + "<!ELEMENT r ANY>]><r>&a39;</r>", true).substr(0, 1), "!");
}

// Each of these would take a parser without limits minutes, or gigabytes.
TEST(Xml, HostileDocumentsAreRefusedAtOnce) {
    std::string attributes;
    std::string namespaces;
    for (int i = 0; i < 300'000; ++i) {
        attributes += " a" + std::to_string(i) + "=''";
        namespaces += "<a xmlns:n" + std::to_string(i) + "='u'/>";
    }
    const std::string declared = "<!DOCTYPE r [<!ATTLIST a" + repeated(" b CDATA 'c'", 100) + ">]>";
    const std::pair<std::string, const char*> rows[] = {
        {repeated("<a>", 300), "depth"},
        {"<r" + attributes + "/>", "too many attributes"},
        {"<r>" + namespaces + "</r>", "too many namespaces"},
        {"<r>" + repeated("<a/>", 600'000) + "</r>", "too many elements"},
        {declared + "<r>" + repeated("<a/>", 1000) + "</r>", "attributes are declared"},
        {"<!DOCTYPE r [<!ELEMENT r (" + repeated("a?,", 1'000) + "b)>]><r/>", "declaration is too long"},
        {"<!--" + std::string(10'000, 'x') + "--><r/>", "before the root"},
        {std::string((16 << 20) + 1, ' '), "too large"},
        {"<?xml version='1.0' encoding='ISO-8859-1'?><r>" + std::string(12 << 20, '\xE9') + "</r>", "too large"},
    };
    for (const auto& [bytes, reason] : rows) {
        std::string error;
        EXPECT_FALSE(read(bytes, &error, true));
        EXPECT_NE(error.find(reason), std::string::npos) << error << " instead of " << reason;
    }
}

} // namespace
