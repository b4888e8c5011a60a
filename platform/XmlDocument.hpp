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
    /// 1000 deep, or when entities are made of other entities: a short document could grow without bound with
    /// either.
    explicit XmlDocument(std::string_view bytes, const std::filesystem::path& source = {});

    std::optional<Element> root() const;

    /// Lays the document out anew, an element a line, indented by four blanks a level, and returns its bytes
    /// in its own encoding. What stands in an element that also holds text, and what says
    /// xml:space="preserve", is written as it was.
    std::string prettyPrinted();

private:
    struct Free {
        void operator()(xmlDoc* tree) const { xmlFreeDoc(tree); }
    };
    std::unique_ptr<xmlDoc, Free> document;
    std::string declaration; ///< the XML declaration to the byte, with a byte order mark before it
    bool isUtf16 = false;    ///< the library writes the declaration then
};

} // namespace platform
