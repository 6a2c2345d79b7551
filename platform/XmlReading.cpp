// SPDX-License-Identifier: MIT
// Reading documents that nobody vouches for. The limits here close what the parser leaves open: it compares all
// attributes of an element with each other, searches all namespaces in force for each prefix, gives each element the
// defaults that a declaration lists, and keeps a node of over a hundred bytes for each "<a/>".
#include "platform/Xml.h"

#include <libxml/SAX2.h>
#include <libxml/parser.h>
#include <libxml/valid.h>
#include <unicode/ucnv.h>
#include <unicode/unistr.h>
#include <unicode/utf8.h>

#include <algorithm>
#include <cstdarg>
#include <cstdint>
#include <cstdio>
#include <limits>

namespace platform {
namespace {

constexpr std::size_t maxElements = 500'000;
/// The sum of the squares of the elements' numbers of attributes, and the product of elements and namespaces: both are
/// what the parser's time grows with, and stand for a few seconds.
constexpr std::uint64_t maxAttributeWork = 300'000'000;
constexpr std::uint64_t maxNamespaceWork = 100'000'000;
/// Names in one element declaration: checking costs the cube of them.
constexpr std::size_t maxDeclaredNames = 64;
/// Bytes before the root element's name: declaration, comments, type definition.
constexpr unsigned long maxPrologBytes = 8U << 10U;

void report(std::string* error, std::string_view reason) {
    if (error != nullptr) {
        *error = reason;
    }
}

// --- from bytes to UTF-8 ---

/// The encoding that the declaration names; "UTF-8" when there is none.
std::string declaredEncoding(std::string_view bytes) {
    const std::string_view declaration = bytes.substr(0, std::min(bytes.find("?>"), std::size_t{200}));
    const std::size_t name = declaration.find("encoding");
    if (!declaration.starts_with("<?xml") || name == std::string_view::npos) {
        return "UTF-8";
    }
    const std::size_t open = declaration.find_first_of("\"'", name);
    const std::size_t close = open == std::string_view::npos ? open : declaration.find(declaration[open], open + 1);
    return close == std::string_view::npos ? "UTF-8" : std::string(declaration.substr(open + 1, close - open - 1));
}

std::string encodingOf(std::string_view bytes) {
    using namespace std::string_view_literals;
    constexpr std::pair<std::string_view, const char*> starts[] = {
        {"\xEF\xBB\xBF"sv, "UTF-8"}, {"\xFF\xFE\0\0"sv, "UTF-32"}, {"\0\0\xFE\xFF"sv, "UTF-32"},
        {"\xFF\xFE"sv, "UTF-16"},    {"\xFE\xFF"sv, "UTF-16"},     {"\0<\0?"sv, "UTF-16BE"},
        {"<\0?\0"sv, "UTF-16LE"},
    };
    for (const auto& [start, encoding] : starts) {
        if (bytes.starts_with(start)) {
            return encoding;
        }
    }
    return declaredEncoding(bytes);
}

bool isUtf8(std::string_view bytes) {
    const auto length = static_cast<std::int32_t>(bytes.size());
    UChar32 character = 0;
    for (std::int32_t at = 0; at < length && character >= 0;) {
        U8_NEXT(bytes.data(), at, length, character);
    }
    return character >= 0;
}

/// Nothing when the encoding is unknown.
std::optional<std::string> decoded(std::string_view bytes, bool recover) {
    std::string encoding = encodingOf(bytes);
    UErrorCode status = U_ZERO_ERROR;
    ucnv_close(ucnv_open(encoding.c_str(), &status));
    if (U_FAILURE(status)) {
        return std::nullopt;
    }
    if (recover && ucnv_compareNames(encoding.c_str(), "UTF-8") == 0 && !isUtf8(bytes)) {
        encoding = "windows-1252";
    }
    const icu::UnicodeString text(bytes.data(), static_cast<std::int32_t>(bytes.size()), encoding.c_str());
    std::string utf8;
    text.tempSubString(text.charAt(0) == 0xFEFF ? 1 : 0).toUTF8String(utf8);
    return utf8;
}

// --- limits that are looked for in the text ---

bool isBlank(char character) {
    return character == ' ' || character == '\t' || character == '\r' || character == '\n';
}

/// Quoted assignments between two "<" count as attributes; markup within a text is taken along.
std::uint64_t attributeWork(std::string_view text) {
    std::uint64_t work = 0;
    std::uint64_t count = 0;
    bool assigned = false;
    for (const char character : text) {
        if (character == '<') {
            work += count * count;
            count = 0;
        }
        count += assigned && (character == '"' || character == '\'') ? 1 : 0;
        assigned = character == '=' || (assigned && isBlank(character));
    }
    return work + count * count;
}

std::uint64_t namespaceWork(std::string_view text) {
    std::uint64_t namespaces = 0;
    for (std::size_t at = text.find("xmlns"); at != std::string_view::npos; at = text.find("xmlns", at + 1)) {
        ++namespaces;
    }
    return namespaces * static_cast<std::uint64_t>(std::ranges::count(text, '<'));
}

/// Why a text is not even given to the parser; null when it is.
const char* refusal(std::string_view text, const XmlDocument::Reading& how) {
    if (text.size() > how.maxBytes) {
        return "the document is too large";
    }
    if (attributeWork(text) > maxAttributeWork) {
        return "there are too many attributes";
    }
    if (namespaceWork(text) > maxNamespaceWork) {
        return "there are too many namespaces";
    }
    return text.find("<!ATTLIST") != std::string_view::npos ? "attributes are declared" : nullptr;
}

// --- the parser ---

struct ParserDeleter {
    void operator()(xmlParserCtxt* parser) const { xmlFreeParserCtxt(parser); }
};
using Parser = std::unique_ptr<xmlParserCtxt, ParserDeleter>;

std::size_t namesIn(const xmlElementContent* content) {
    std::size_t count = 0;
    for (; content != nullptr; content = content->c2) { // lists lean to this side
        count += content->c1 == nullptr ? 1 : namesIn(content->c1);
    }
    return count;
}

struct Watch {
    std::size_t elements = 0;
    const char* refusal = nullptr;
};

void stop(xmlParserCtxt* parser, const char* reason) {
    static_cast<Watch*>(parser->_private)->refusal = reason;
    xmlStopParser(parser);
}

extern "C" {

void startElement(void* context, const xmlChar* localname, const xmlChar* prefix, const xmlChar* URI, int nb_namespaces,
                  const xmlChar** namespaces, int nb_attributes, int nb_defaulted, const xmlChar** attributes) {
    auto* parser = static_cast<xmlParserCtxt*>(context);
    auto* watch = static_cast<Watch*>(parser->_private);
    const unsigned long consumed = parser->input->consumed + (parser->input->cur - parser->input->base);
    if (watch->elements == 0 && consumed > maxPrologBytes) {
        stop(parser, "there is too much before the root element");
        return;
    }
    if (++watch->elements > maxElements) {
        stop(parser, "there are too many elements");
        return;
    }
    xmlSAX2StartElementNs(context, localname, prefix, URI, nb_namespaces, namespaces, nb_attributes, nb_defaulted,
                          attributes);
}

void elementDeclaration(void* context, const xmlChar* name, int type, xmlElementContent* content) {
    if (namesIn(content) > maxDeclaredNames) {
        stop(static_cast<xmlParserCtxt*>(context), "an element declaration is too long");
        return;
    }
    xmlSAX2ElementDecl(context, name, type, content);
}

/// The external part of a type definition is forgotten, so that nothing ever asks for it.
void internalSubset(void* context, const xmlChar* name, const xmlChar* /*ExternalID*/, const xmlChar* /*SystemID*/) {
    xmlSAX2InternalSubset(context, name, nullptr, nullptr);
}

[[gnu::format(printf, 2, 3)]] void keepFirstMessage(void* message, const char* format, ...) {
    auto& text = *static_cast<std::string*>(message);
    if (text.empty()) {
        char buffer[512];
        std::va_list arguments;
        va_start(arguments, format);
        std::vsnprintf(buffer, sizeof buffer, format, arguments);
        va_end(arguments);
        text = buffer;
    }
}

void ignoreMessage(void* /*context*/, const char* /*format*/, ...) {}

} // extern "C"

/// A parser that resolves nothing and keeps elements and texts alone.
Parser makeParser(Watch& watch) {
    Parser parser(xmlNewParserCtxt());
    if (parser == nullptr) {
        throw std::bad_alloc();
    }
    parser->_private = &watch;
    xmlSAXHandler& sax = *parser->sax;
    sax.internalSubset = internalSubset;
    sax.externalSubset = nullptr;
    sax.resolveEntity = nullptr;
    sax.entityDecl = nullptr;
    sax.unparsedEntityDecl = nullptr;
    sax.notationDecl = nullptr;
    sax.processingInstruction = nullptr;
    sax.comment = nullptr;
    sax.cdataBlock = sax.characters;
    sax.elementDecl = elementDeclaration;
    sax.startElementNs = startElement;
    return parser;
}

std::string withoutLineEnd(std::string text) {
    while (!text.empty() && isBlank(text.back())) {
        text.pop_back();
    }
    return text;
}

std::string failureText(const xmlParserCtxt& parser, const Watch& watch) {
    if (watch.refusal != nullptr) {
        return watch.refusal;
    }
    const xmlError& last = parser.lastError;
    return last.message == nullptr ? "there is no document"
                                   : "line " + std::to_string(last.line) + ": " + withoutLineEnd(last.message);
}

/// Why the document breaks its own element declarations; empty when it does not, or has none.
std::string violation(xmlDoc* document) {
    if (document->intSubset == nullptr || document->intSubset->elements == nullptr) {
        return {};
    }
    const std::unique_ptr<xmlValidCtxt, decltype(&xmlFreeValidCtxt)> validator(xmlNewValidCtxt(), xmlFreeValidCtxt);
    std::string message;
    validator->userData = &message;
    validator->error = keepFirstMessage;
    validator->warning = ignoreMessage;
    const bool valid = xmlValidateDocument(validator.get(), document) == 1;
    return valid ? std::string() : "the document is not valid: " + withoutLineEnd(message);
}

} // namespace

std::optional<XmlDocument> XmlDocument::parse(std::string_view bytes, const Reading& how, std::string* error) {
    constexpr auto largest = static_cast<std::size_t>(std::numeric_limits<std::int32_t>::max() / 4);
    if (bytes.size() > std::min(how.maxBytes, largest)) {
        report(error, "the document is too large");
        return std::nullopt;
    }
    const std::optional<std::string> text = decoded(bytes, how.recover);
    if (!text) {
        report(error, "unknown encoding");
        return std::nullopt;
    }
    if (const char* reason = refusal(*text, how)) {
        report(error, reason);
        return std::nullopt;
    }
    XmlDocument document; // sets the parser up, too
    Watch watch;
    const Parser parser = makeParser(watch);
    const int options = XML_PARSE_NONET | XML_PARSE_NOERROR | XML_PARSE_NOWARNING | XML_PARSE_NOBLANKS |
                        (how.recover ? XML_PARSE_RECOVER : 0);
    document._document.reset(
        xmlCtxtReadMemory(parser.get(), text->data(), static_cast<int>(text->size()), nullptr, "UTF-8", options));
    if (document._document == nullptr || watch.refusal != nullptr || !document.root()) {
        report(error, failureText(*parser, watch));
        return std::nullopt;
    }
    if (const std::string broken = how.validate ? violation(document._document.get()) : std::string();
        !broken.empty()) {
        report(error, broken);
        return std::nullopt;
    }
    return document;
}

} // namespace platform
