// SPDX-License-Identifier: MIT
#include "platform/Xml.h"

#include <libxml/parser.h>
#include <libxml/tree.h>
#include <unicode/utf8.h>

#include <mutex>
#include <new>

namespace platform {
namespace {

std::string_view viewOf(const xmlChar* text) {
    return text == nullptr ? std::string_view() : reinterpret_cast<const char*>(text);
}

const xmlChar* xmlText(const std::string& text) {
    return reinterpret_cast<const xmlChar*>(text.c_str());
}

std::optional<XmlElement> elementFrom(xmlNode* node) {
    while (node != nullptr && node->type != XML_ELEMENT_NODE) {
        node = node->next;
    }
    return node == nullptr ? std::nullopt : std::optional(XmlElement(node));
}

bool isXmlCharacter(UChar32 character) {
    return character == '\t' || character == '\n' || character == '\r' || (character >= 0x20 && character <= 0xD7FF) ||
           (character >= 0xE000 && character <= 0xFFFD) || character >= 0x10000;
}

/// The text without what a document could not be read back with.
std::string storableText(std::string_view text) {
    std::string storable;
    storable.reserve(text.size());
    const auto length = static_cast<std::int32_t>(text.size());
    for (std::int32_t at = 0; at < length;) {
        const std::int32_t start = at;
        UChar32 character = 0;
        U8_NEXT(text.data(), at, length, character);
        if (character < 0) {
            storable += "\xEF\xBF\xBD"; // what is no UTF-8 shows as U+FFFD, as everywhere
        } else if (isXmlCharacter(character)) {
            storable.append(text.substr(static_cast<std::size_t>(start), static_cast<std::size_t>(at - start)));
        }
    }
    return storable;
}

/// The node after `node` in document order within `top`; null at the end.
const xmlNode* nextWithin(const xmlNode* top, const xmlNode* node) {
    if (node->type == XML_ELEMENT_NODE && node->children != nullptr) {
        return node->children;
    }
    while (node != top && node->next == nullptr) {
        node = node->parent;
    }
    return node == top ? nullptr : node->next;
}

template <typename T>
T* required(T* made) {
    if (made == nullptr) {
        throw std::bad_alloc();
    }
    return made;
}

} // namespace

std::string XmlElement::name() const {
    const std::string local(localName());
    const bool hasPrefix = _node->ns != nullptr && _node->ns->prefix != nullptr;
    return hasPrefix ? std::string(viewOf(_node->ns->prefix)) + ":" + local : local;
}

bool XmlElement::isNamed(std::string_view name) const {
    const bool hasPrefix = _node->ns != nullptr && _node->ns->prefix != nullptr;
    return hasPrefix ? this->name() == name : localName() == name;
}

std::string_view XmlElement::localName() const {
    return viewOf(_node->name);
}

std::string_view XmlElement::namespaceName() const {
    return _node->ns == nullptr ? std::string_view() : viewOf(_node->ns->href);
}

std::optional<std::string> XmlElement::text() const {
    std::string text;
    for (const xmlNode* node = nextWithin(_node, _node); node != nullptr; node = nextWithin(_node, node)) {
        if (node->type == XML_TEXT_NODE || node->type == XML_CDATA_SECTION_NODE) {
            text += viewOf(node->content);
        }
    }
    return text.empty() ? std::nullopt : std::optional(std::move(text));
}

std::optional<std::string> XmlElement::attribute(std::string_view name) const {
    for (const xmlAttr* attribute = _node->properties; attribute != nullptr; attribute = attribute->next) {
        if (attribute->ns != nullptr || viewOf(attribute->name) != name) {
            continue;
        }
        std::string text;
        for (const xmlNode* part = attribute->children; part != nullptr; part = part->next) {
            if (part->type == XML_TEXT_NODE) {
                text += viewOf(part->content);
            }
        }
        return text;
    }
    return std::nullopt;
}

std::optional<XmlElement> XmlElement::firstChild() const {
    return elementFrom(_node->children);
}

std::optional<XmlElement> XmlElement::next() const {
    return elementFrom(_node->next);
}

std::optional<XmlElement> XmlElement::child(std::string_view name) const {
    auto found = firstChild();
    while (found && !found->isNamed(name)) {
        found = found->next();
    }
    return found;
}

XmlElement XmlElement::append(std::string_view name, std::string_view text) {
    xmlNode* made = required(xmlNewDocNode(_node->doc, nullptr, xmlText(std::string(name)), nullptr));
    xmlAddChild(_node, made);
    if (const std::string storable = storableText(text); !storable.empty()) {
        xmlAddChild(made, required(xmlNewDocText(_node->doc, xmlText(storable))));
    }
    return XmlElement(made);
}

void XmlElement::removeChild(std::size_t index) {
    auto child = firstChild();
    while (child && index > 0) {
        child = child->next();
        --index;
    }
    if (child) {
        xmlUnlinkNode(child->_node);
        xmlFreeNode(child->_node);
    }
}

void XmlDocument::Deleter::operator()(_xmlDoc* document) const {
    xmlFreeDoc(document);
}

XmlDocument::XmlDocument() {
    static std::once_flag initialised;
    std::call_once(initialised, xmlInitParser);
    _document.reset(required(xmlNewDoc(xmlText("1.0"))));
    _document->encoding = required(xmlStrdup(xmlText("utf-8")));
}

XmlDocument::~XmlDocument() = default;
XmlDocument::XmlDocument(XmlDocument&&) noexcept = default;
XmlDocument& XmlDocument::operator=(XmlDocument&&) noexcept = default;

std::optional<XmlElement> XmlDocument::root() const {
    return elementFrom(xmlDocGetRootElement(_document.get()));
}

XmlElement XmlDocument::setRoot(std::string_view name) {
    xmlNode* root = required(xmlNewDocNode(_document.get(), nullptr, xmlText(std::string(name)), nullptr));
    xmlFreeNode(xmlDocSetRootElement(_document.get(), root));
    return XmlElement(root);
}

std::string XmlDocument::prettyPrinted() const {
    xmlChar* memory = nullptr;
    int size = 0;
    xmlDocDumpFormatMemoryEnc(_document.get(), &memory, &size, "utf-8", 1);
    const std::unique_ptr<xmlChar, void (*)(void*)> owner(memory, xmlFree);
    return memory == nullptr ? std::string() : std::string(reinterpret_cast<const char*>(memory), size);
}

} // namespace platform
