#pragma once

#include <libxml/tree.h>

#include <filesystem>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace platform {

/// An XML document held whole, with all that it says: declaration, document type, comments, CDATA sections,
/// entity references and the order of attributes. Nothing outside the given bytes is ever read.
class XmlDocument {
public:
    /// An element of a document; it is valid as long as the document.
    class Element {
    public:
        /// The name, prefix included.
        std::string name() const;

        /// The child elements, in document order.
        std::vector<Element> children() const;

        /// The first child element with exactly this name, prefix included.
        std::optional<Element> firstChild(std::string_view name) const;

        /// Adds an empty element immediately before that child, or as the first child when there is none.
        Element insertBefore(const std::optional<Element>& child, const std::string& name);
        Element append(const std::string& name);

        /// The text of the element and of everything in it. Throws `Error` when it is longer than 1 MiB,
        /// which bounds what entity references can unfold to.
        std::string text() const;

        /// Replaces everything in the element by this text.
        void setText(const std::string& text);

    private:
        friend class XmlDocument;
        explicit Element(xmlNode* element) : node(element) {}
        xmlNode* node;
    };

    /// Throws `Error`, naming `source`, when the bytes are not well-formed XML, when elements lie more than
    /// 1000 deep, when entities are made of other entities, or when an element has more than 1000 attributes
    /// or the document more different names than any document needs: time and memory could grow without bound
    /// with each of these.
    explicit XmlDocument(std::string_view bytes, const std::filesystem::path& source = {});

    std::optional<Element> root() const;

    /// Lays the document out anew, an element a line, indented by four blanks a level, and returns its bytes
    /// in its own encoding, or in UTF-8 where they could not be read again in that one. What is in an
    /// element that also holds text, and what says xml:space="preserve", is written as it was. Throws `Error`
    /// when the bytes cannot be read again in any way.
    std::string prettyPrinted();

private:
    std::optional<std::string> inItsEncoding() const;
    bool isWrittenIn(const std::string& text) const;

    struct Free {
        void operator()(xmlDoc* tree) const { xmlFreeDoc(tree); }
    };
    std::unique_ptr<xmlDoc, Free> document;
    std::string declaration;
};

} // namespace platform
