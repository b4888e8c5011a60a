#pragma once

#include <libxml/tree.h>

#include <memory>
#include <optional>
#include <string>
#include <string_view>

namespace platform {

/// An XML document held whole, with all that it says: declaration, document type, comments, CDATA sections,
/// entity references and the order of attributes. Nothing outside the given bytes is ever read.
class XmlDocument {
public:
    /// An element of a document; it lives as long as the document.
    class Element {
    public:
        /// The first child element with exactly this name, prefix included.
        std::optional<Element> firstChild(std::string_view name) const;

        /// Adds an empty element immediately before that child, or as the first child when there is none.
        Element insertChildBefore(std::optional<Element> sibling, const std::string& name);
        Element appendChild(const std::string& name);

        /// The text of the element and of everything in it.
        std::string text() const;

        /// Replaces everything in the element by this text.
        void setText(const std::string& text);

    private:
        friend class XmlDocument;
        explicit Element(xmlNode* node) : node(node) {}
        xmlNode* node;
    };

    /// Throws `Error` with line and column when the bytes are not well-formed XML.
    explicit XmlDocument(std::string_view bytes);

    std::optional<Element> root() const;

    /// The document with one element a line, indented by four blanks a level. Elements that hold text are
    /// written as they were.
    std::string prettyPrinted();

private:
    struct Free {
        void operator()(xmlDoc* document) const { xmlFreeDoc(document); }
    };
    std::unique_ptr<xmlDoc, Free> document;
    std::string declaration; ///< the bytes that stood before the document proper, byte order mark included
};

} // namespace platform
