#include "platform/XmlDocument.hpp"

#include "platform/Digest.hpp"
#include "platform/Error.hpp"

#include <libxml/SAX2.h>
#include <libxml/dict.h>
#include <libxml/parser.h>
#include <libxml/parserInternals.h>
#include <libxml/xmlsave.h>

#include <algorithm>
#include <array>
#include <exception>
#include <functional>
#include <limits>
#include <new>
#include <utility>
#include <vector>

namespace platform {
namespace {

constexpr std::size_t longestText = std::size_t{1} << 20;
constexpr int deepest = 1000;

// The parser's time grows with the square of both.
constexpr int mostAttributes = 1000;
constexpr std::size_t mostNames = std::size_t{64} << 10; // bytes of different names

/// What is noted while a document is parsed.
struct Progress {
    int depth = 0;
    const char* refusal = nullptr; ///< why the parsing was stopped
    bool lacksEntity = false;      ///< because memory ended, of which the library says nothing there
};

struct FreeParser {
    void operator()(xmlParserCtxt* parser) const { xmlFreeParserCtxt(parser); }
};

struct CloseSave {
    void operator()(xmlSaveCtxt* save) const { xmlSaveClose(save); }
};
struct FreeString {
    void operator()(xmlChar* text) const { xmlFree(text); }
};

const xmlChar* library(const std::string& text) {
    return reinterpret_cast<const xmlChar*>(text.c_str());
}

std::string_view view(const xmlChar* text) {
    return text == nullptr ? std::string_view() : reinterpret_cast<const char*>(text);
}

/// True when the value of an entity refers to an entity other than the five that XML has by itself.
bool refersToEntity(std::string_view value) {
    constexpr std::array<std::string_view, 6> harmless{"#", "lt;", "gt;", "amp;", "apos;", "quot;"};
    for (auto at = value.find('&'); at != std::string_view::npos; at = value.find('&', at + 1)) {
        const std::string_view name = value.substr(at + 1);
        if (std::ranges::none_of(harmless, [&](std::string_view known) { return name.starts_with(known); })) {
            return true;
        }
    }
    return false;
}

Progress& progressOf(xmlParserCtxt* parser) {
    return *static_cast<Progress*>(parser->_private);
}

void stop(xmlParserCtxt* parser, const char* refusal) {
    progressOf(parser).refusal = refusal;
    xmlStopParser(parser);
}

/// Takes the messages of the library's that belong to this thread. It would print them, and of the end of
/// memory it often tells in no other way: the document then lacks something.
class Messages {
public:
    Messages() {
        xmlSetStructuredErrorFunc(this, [](void* messages, auto* message) {
            if (message->code == XML_ERR_NO_MEMORY) {
                static_cast<Messages*>(messages)->hasMemoryEnded = true;
            }
        });
    }
    ~Messages() { xmlSetStructuredErrorFunc(nullptr, nullptr); }
    Messages(const Messages&) = delete;
    Messages& operator=(const Messages&) = delete;

    void throwIfMemoryEnded() const {
        if (hasMemoryEnded) {
            throw std::bad_alloc();
        }
    }

    bool hasMemoryEnded = false;
};

// What the parser calls. The library has functions of plain names for each, so these have names of their own.

void beginDocument(void* context) {
    auto* parser = static_cast<xmlParserCtxt*>(context);
    xmlDictSetLimit(parser->dict, mostNames); // not before, because long texts lift this limit too
    xmlSAX2StartDocument(context);
}

void acceptEntity(void* context, const xmlChar* name, int type, const xmlChar* publicId,
                  const xmlChar* systemId, xmlChar* content) {
    auto* parser = static_cast<xmlParserCtxt*>(context);
    const bool isParameter = type == XML_INTERNAL_PARAMETER_ENTITY || type == XML_EXTERNAL_PARAMETER_ENTITY;
    if (isParameter || view(content).size() > longestText || refersToEntity(view(content))) {
        stop(parser, "le document déclare des entités imbriquées");
        return;
    }
    xmlSAX2EntityDecl(context, name, type, publicId, systemId, content);
    if (xmlSAX2GetEntity(context, name) == nullptr) {
        progressOf(parser).lacksEntity = true;
        xmlStopParser(parser);
    }
}

void enterElement(void* context, const xmlChar* name, const xmlChar* prefix, const xmlChar* uri,
                  int namespaceCount, const xmlChar** namespaces, int attributeCount, int defaultedCount,
                  const xmlChar** attributes) {
    auto* parser = static_cast<xmlParserCtxt*>(context);
    if (progressOf(parser).depth++ == deepest) {
        stop(parser, "le document est imbriqué trop profondément");
    } else if (namespaceCount > mostAttributes || attributeCount > mostAttributes) {
        stop(parser, "un élément a trop d’attributs");
    } else {
        xmlSAX2StartElementNs(context, name, prefix, uri, namespaceCount, namespaces, attributeCount,
                              defaultedCount, attributes);
    }
}

void leaveElement(void* context, const xmlChar* name, const xmlChar* prefix, const xmlChar* uri) {
    auto* parser = static_cast<xmlParserCtxt*>(context);
    --progressOf(parser).depth;
    xmlSAX2EndElementNs(context, name, prefix, uri);
}

Error parseError(const std::filesystem::path& source, const std::string& reason) {
    return source.empty() ? Error("Impossible de lire le XML : " + reason + ".")
                          : fileError("lire", source, reason);
}

/// Why there is no document. Throws std::bad_alloc where memory ended.
std::string failure(xmlParserCtxt* parser, bool hasMemoryEnded) {
    if (const char* refusal = progressOf(parser).refusal) {
        return refusal;
    }
    if (xmlDictGetUsage(parser->dict) > mostNames) {
        return "le document emploie trop de noms différents";
    }
    if (hasMemoryEnded || progressOf(parser).lacksEntity) { // the bound on names is told of in the same way
        throw std::bad_alloc();
    }
    const xmlError* error = xmlCtxtGetLastError(parser);
    std::string text = "ce n’est pas du XML valide";
    if (error != nullptr && error->line > 0) {
        text += " (ligne " + std::to_string(error->line) + ", colonne " + std::to_string(error->int2) + ")";
    }
    return text;
}

/// The XML declaration to the byte, with a byte order mark before it; nothing when the encoding is not one
/// that writes the letters of a declaration as ASCII does.
std::string declarationOf(std::string_view bytes) {
    constexpr std::string_view mark = "\xEF\xBB\xBF";
    const std::size_t start = bytes.starts_with(mark) ? mark.size() : 0;
    const bool declares = bytes.substr(start).starts_with("<?xml") && bytes.size() > start + 5 &&
                          std::string_view(" \t\r\n").find(bytes[start + 5]) != std::string_view::npos;
    const std::size_t end = declares ? bytes.find("?>", start) : std::string_view::npos;
    return std::string(bytes.substr(0, end == std::string_view::npos ? start : end + 2));
}

/// The node that the library makes, unless memory ends; it may make one that lacks its text then.
template <typename Make>
xmlNode* made(Make make) {
    Messages messages;
    xmlNode* node = make();
    if (node == nullptr || messages.hasMemoryEnded) {
        xmlFreeNode(node);
        throw std::bad_alloc();
    }
    return node;
}

xmlNode* newElement(xmlDoc* document, const std::string& name) {
    return made([&] { return xmlNewDocNode(document, nullptr, library(name), nullptr); });
}

xmlNode* newText(xmlDoc* document, const std::string& text) {
    return made([&] { return xmlNewDocText(document, library(text)); });
}

bool preservesSpace(const xmlNode* element) {
    Messages messages;
    const bool preserves = xmlNodeGetSpacePreserve(element) == 1;
    messages.throwIfMemoryEnded();
    return preserves;
}

bool isElement(const xmlNode* node) {
    return node->type == XML_ELEMENT_NODE;
}

bool isBlankText(const xmlNode* node) {
    return node->type == XML_TEXT_NODE && xmlIsBlankNode(node) == 1;
}

/// True when an element holds other nodes, and blanks between them, but no text.
bool holdsOnlyStructure(const xmlNode* element) {
    bool holdsStructure = false;
    for (const xmlNode* child = element->children; child != nullptr; child = child->next) {
        const bool isStructure =
            isElement(child) || child->type == XML_COMMENT_NODE || child->type == XML_PI_NODE;
        if (!isStructure && !isBlankText(child)) {
            return false;
        }
        holdsStructure = holdsStructure || isStructure;
    }
    return holdsStructure;
}

/// The library lays out the elements that have no text in them, so the blanks there go. Its parser could
/// leave them out, but only by guessing, which takes blanks out of texts too. Documents nest deep, so the
/// walk keeps its own stack.
void prepareLayout(xmlNode* root) {
    std::vector<xmlNode*> pending{root};
    while (!pending.empty()) {
        xmlNode* element = pending.back();
        pending.pop_back();
        if (!holdsOnlyStructure(element)) {
            continue;
        }
        if (preservesSpace(element)) {
            xmlAddChild(element, newText(element->doc, "")); // to count as one with text
            continue;
        }
        for (xmlNode* child = element->children; child != nullptr;) {
            xmlNode* next = child->next;
            if (isBlankText(child)) {
                xmlUnlinkNode(child);
                xmlFreeNode(child);
            } else if (isElement(child)) {
                pending.push_back(child);
            }
            child = next;
        }
    }
}

/// Where the bytes of a document go.
struct Output {
    std::function<void(std::string_view)> sink;
    std::exception_ptr failure;
};

/// Takes what the library has serialised. No exception may pass through the library.
int takePiece(void* context, const char* piece, int length) {
    auto* output = static_cast<Output*>(context);
    try {
        output->sink(std::string_view(piece, static_cast<std::size_t>(length)));
        return length;
    } catch (...) {
        output->failure = std::current_exception();
        return -1;
    }
}

/// Returns false when the library cannot write the document so.
bool save(xmlDoc* document, const char* encoding, int options,
          const std::function<void(std::string_view)>& sink) {
    Messages messages;
    Output output{sink, nullptr};
    const std::unique_ptr<xmlSaveCtxt, CloseSave> saving(
        xmlSaveToIO(takePiece, nullptr, &output, encoding, options | XML_SAVE_AS_XML));
    const bool isSaved = saving && xmlSaveDoc(saving.get(), document) >= 0 && xmlSaveFlush(saving.get()) >= 0;
    if (output.failure) {
        std::rethrow_exception(output.failure);
    }
    messages.throwIfMemoryEnded();
    return isSaved;
}

/// The document behind this beginning, an element a line; nothing when the library cannot write it so.
std::optional<std::string> laidOut(xmlDoc* document, std::string text, const char* encoding, int options) {
    xmlTreeIndentString = "    "; // the library keeps it for each thread
    const bool isSaved = save(document, encoding, options | XML_SAVE_FORMAT,
                              [&](std::string_view piece) { text.append(piece); });
    return isSaved ? std::optional(std::move(text)) : std::nullopt;
}

/// Of all that a document says, its declaration apart.
std::string digest(xmlDoc* document) {
    Sha256 digest;
    save(document, "UTF-8", XML_SAVE_NO_DECL, [&](std::string_view piece) { digest.update(piece); });
    return digest.finish();
}

void appendBounded(std::string& text, std::string_view piece) {
    if (piece.size() > longestText - text.size()) {
        throw Error("Impossible de lire le XML : un texte est trop long.");
    }
    text.append(piece);
}

/// Walks in document order below `top`, without recursion.
const xmlNode* following(const xmlNode* node, const xmlNode* top) {
    if (isElement(node) && node->children != nullptr) {
        return node->children;
    }
    while (node != top && node->next == nullptr) {
        node = node->parent;
    }
    return node == top ? nullptr : node->next;
}

} // namespace

XmlDocument::XmlDocument(std::string_view bytes, const std::filesystem::path& source)
    : declaration(declarationOf(bytes)) {
    if (bytes.size() > static_cast<std::size_t>(std::numeric_limits<int>::max())) {
        throw parseError(source, "le document est trop grand");
    }
    Messages messages;
    const std::unique_ptr<xmlParserCtxt, FreeParser> parser(xmlNewParserCtxt());
    if (!parser) {
        throw std::bad_alloc();
    }
    Progress progress;
    parser->_private = &progress;
    parser->sax->startDocument = beginDocument;
    parser->sax->entityDecl = acceptEntity;
    parser->sax->startElementNs = enterElement;
    parser->sax->endElementNs = leaveElement;
    // Motion writes text nodes of tens of megabytes, which the parser takes only when told to.
    constexpr int options = XML_PARSE_NONET | XML_PARSE_HUGE | XML_PARSE_NOERROR | XML_PARSE_NOWARNING;
    document.reset(xmlCtxtReadMemory(parser.get(), bytes.data(), static_cast<int>(bytes.size()), nullptr,
                                     nullptr, options));
    if (!document || progress.refusal != nullptr || progress.lacksEntity || messages.hasMemoryEnded) {
        throw parseError(source, failure(parser.get(), messages.hasMemoryEnded));
    }
}

std::optional<XmlDocument::Element> XmlDocument::root() const {
    xmlNode* node = xmlDocGetRootElement(document.get());
    return node == nullptr ? std::nullopt : std::optional(Element(node));
}

std::string XmlDocument::prettyPrinted() {
    if (xmlNode* root = xmlDocGetRootElement(document.get())) {
        prepareLayout(root);
    }
    std::optional<std::string> text = inItsEncoding();
    if (!text || !isWrittenIn(*text)) {
        text = laidOut(document.get(), "", "UTF-8", 0);
    }
    if (!text || !isWrittenIn(*text)) {
        throw Error("Impossible d’écrire le XML.");
    }
    return *text;
}

std::optional<std::string> XmlDocument::inItsEncoding() const {
    const bool isDeclared = document->encoding != nullptr;
    const char* encoding = isDeclared ? reinterpret_cast<const char*>(document->encoding) : "UTF-8";
    if (isDeclared && !declaration.ends_with("?>")) {
        return laidOut(document.get(), "", encoding, 0); // the library knows how to write the declaration
    }
    return laidOut(document.get(), declaration + (declaration.ends_with("?>") ? "\n" : ""), encoding,
                   XML_SAVE_NO_DECL);
}

/// What is kept must be readable: bytes that look well may be none of XML's, or say something else.
bool XmlDocument::isWrittenIn(const std::string& text) const {
    try {
        const XmlDocument copy(text);
        if (xmlNode* root = xmlDocGetRootElement(copy.document.get())) {
            prepareLayout(root);
        }
        return digest(copy.document.get()) == digest(document.get());
    } catch (const Error&) {
        return false;
    }
}

std::string XmlDocument::Element::name() const {
    const std::string local(view(node->name));
    const bool hasPrefix = node->ns != nullptr && node->ns->prefix != nullptr;
    return hasPrefix ? std::string(view(node->ns->prefix)) + ":" + local : local;
}

std::vector<XmlDocument::Element> XmlDocument::Element::children() const {
    std::vector<Element> elements;
    for (xmlNode* child = node->children; child != nullptr; child = child->next) {
        if (isElement(child)) {
            elements.push_back(Element(child));
        }
    }
    return elements;
}

std::optional<XmlDocument::Element> XmlDocument::Element::firstChild(std::string_view name) const {
    for (xmlNode* child = node->children; child != nullptr; child = child->next) {
        if (isElement(child) && (child->ns == nullptr || child->ns->prefix == nullptr) &&
            view(child->name) == name) {
            return Element(child);
        }
    }
    return std::nullopt;
}

XmlDocument::Element XmlDocument::Element::insertBefore(const std::optional<Element>& child,
                                                        const std::string& name) {
    xmlNode* added = newElement(node->doc, name);
    if (child) {
        xmlAddPrevSibling(child->node, added);
    } else if (node->children != nullptr) {
        xmlAddPrevSibling(node->children, added);
    } else {
        xmlAddChild(node, added);
    }
    return Element(added);
}

XmlDocument::Element XmlDocument::Element::append(const std::string& name) {
    return Element(xmlAddChild(node, newElement(node->doc, name)));
}

std::string XmlDocument::Element::text() const {
    std::string result;
    for (const xmlNode* item = following(node, node); item != nullptr; item = following(item, node)) {
        if (item->type == XML_TEXT_NODE || item->type == XML_CDATA_SECTION_NODE) {
            appendBounded(result, view(item->content));
        } else if (item->type == XML_ENTITY_REF_NODE) {
            Messages messages;
            const std::unique_ptr<xmlChar, FreeString> value(xmlNodeGetContent(item));
            messages.throwIfMemoryEnded();
            appendBounded(result, view(value.get()));
        }
    }
    return result;
}

void XmlDocument::Element::setText(const std::string& text) {
    xmlNode* content = newText(node->doc, text);
    xmlNodeSetContent(node, nullptr);
    xmlAddChild(node, content);
}

} // namespace platform
