// SPDX-License-Identifier: MIT
#pragma once

#include <cstddef>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

struct _xmlDoc;
struct _xmlNode;

/// Small XML documents: made, read, changed, written. Texts are UTF-8 here, whatever encoding a document came in.
///
/// What is read is trusted with nothing: no network, no files, no entities but the five of XML itself (declarations of
/// others are passed over, so a reference to one is an error), no attribute declarations, and limits on bytes,
/// elements, attributes, namespaces, the prolog and the depth (256), so that memory and time stay in proportion to the
/// bytes. Different documents may be used from different threads; one document from one thread at a time.
namespace platform {

/// One element of a document: a handle, valid while the document lives and the element is in it.
class XmlElement {
public:
    explicit XmlElement(_xmlNode* node)
        : _node(node) {}

    /// The name as it is written, a prefix included.
    [[nodiscard]] std::string name() const;
    [[nodiscard]] bool isNamed(std::string_view name) const;
    /// The name without its prefix, and the namespace that the prefix stands for (empty when none).
    [[nodiscard]] std::string_view localName() const;
    [[nodiscard]] std::string_view namespaceName() const;
    /// All text within the element, that of its descendants included; nothing when there is none.
    [[nodiscard]] std::optional<std::string> text() const;
    /// An attribute without a namespace.
    [[nodiscard]] std::optional<std::string> attribute(std::string_view name) const;

    /// The child elements in order: the first, and each one's successor; nothing at the end.
    [[nodiscard]] std::optional<XmlElement> firstChild() const;
    [[nodiscard]] std::optional<XmlElement> next() const;
    /// The first child of this name.
    [[nodiscard]] std::optional<XmlElement> child(std::string_view name) const;

    /// Appends a child of a valid XML name. Characters that XML cannot hold are left out of the text; an empty text
    /// makes an empty element.
    XmlElement append(std::string_view name, std::string_view text = {});
    /// Takes out the child element at the index; nothing when there is none.
    void removeChild(std::size_t index);

private:
    _xmlNode* _node; // never null
};

class XmlDocument {
public:
    struct Reading {
        /// A document that declares its elements must keep to the declarations. Others are left alone.
        bool validate = false;
        /// Damaged documents are read as far as they go, as long as there is a root element. Bytes that should be
        /// UTF-8 and are not count as Windows-1252, the usual truth then.
        bool recover = false;
        std::size_t maxBytes = std::size_t{16} << 20;
    };

    /// An empty document, to be written as "utf-8".
    XmlDocument();
    ~XmlDocument();
    XmlDocument(XmlDocument&&) noexcept;
    XmlDocument& operator=(XmlDocument&&) noexcept;

    /// Reads a whole document; nothing on failure, and the reason in `error` when given. The encoding is the one of the
    /// byte order mark or the declaration, else UTF-8; bytes that are wrong in it become U+FFFD, unless recovering.
    [[nodiscard]] static std::optional<XmlDocument> parse(std::string_view bytes, const Reading& how,
                                                          std::string* error = nullptr);

    /// Nothing as long as the document is empty.
    [[nodiscard]] std::optional<XmlElement> root() const;
    /// Makes a new root element in place of the one there.
    XmlElement setRoot(std::string_view name);
    /// The document as UTF-8 text with its declaration, indented.
    [[nodiscard]] std::string prettyPrinted() const;

private:
    struct Deleter {
        void operator()(_xmlDoc* document) const;
    };
    explicit XmlDocument(_xmlDoc* document)
        : _document(document) {}

    std::unique_ptr<_xmlDoc, Deleter> _document; // null only when moved from
};

} // namespace platform
