#include "platform/XmlDocument.hpp"

#include "platform/Error.hpp"

#include <libxml/SAX2.h>
#include <libxml/parser.h>
#include <libxml/parserInternals.h>
#include <libxml/xmlsave.h>

#include <algorithm>
#include <array>
#include <limits>
#include <utility>
#include <vector>

namespace platform {
namespace {

constexpr std::size_t longestText = std::size_t{1} << 20;
constexpr int deepest = 1000;

/// Why the parsing was stopped, if it was.
struct Refusal {
    std::string reason;
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

void stop(xmlParserCtxt* parser, const std::string& reason) {
    static_cast<Refusal*>(parser->_private)->reason = reason;
    xmlStopParser(parser);
}

extern "C" void declareEntity(void* context, const xmlChar* name, int type, const xmlChar* publicId,
                              const xmlChar* systemId, xmlChar* content) {
    auto* parser = static_cast<xmlParserCtxt*>(context);
    const bool isParameter = type == XML_INTERNAL_PARAMETER_ENTITY || type == XML_EXTERNAL_PARAMETER_ENTITY;
    if (isParameter || view(content).size() > longestText || refersToEntity(view(content))) {
        stop(parser, "le document déclare des entités imbriquées");
        return;
    }
    xmlSAX2EntityDecl(context, name, type, publicId, systemId, content);
}

extern "C" void startElement(void* context, const xmlChar* name, const xmlChar* prefix, const xmlChar* uri,
                             int namespaceCount, const xmlChar** namespaces, int attributeCount,
                             int defaultedCount, const xmlChar** attributes) {
    auto* parser = static_cast<xmlParserCtxt*>(context);
    if (parser->nodeNr >= deepest) {
        stop(parser, "le document est imbriqué trop profondément");
        return;
    }
    xmlSAX2StartElementNs(context, name, prefix, uri, namespaceCount, namespaces, attributeCount,
                          defaultedCount, attributes);
}

/// Takes what the library has serialised.
extern "C" int appendPiece(void* text, const char* piece, int length) {
    static_cast<std::string*>(text)->append(piece, static_cast<std::size_t>(length));
    return length;
}

Error parseError(const std::filesystem::path& source, const std::string& reason) {
    return source.empty() ? Error("Impossible de lire le XML : " + reason + ".")
                          : fileError("lire", source, reason);
}

std::string failure(const xmlError* error) {
    std::string text = "ce n’est pas du XML valide";
    if (error != nullptr && error->line > 0) {
        text += " (ligne " + std::to_string(error->line) + ", colonne " + std::to_string(error->int2) + ")";
    }
    return text;
}

std::string declarationOf(std::string_view bytes) {
    constexpr std::string_view mark = "\xEF\xBB\xBF";
    const std::size_t start = bytes.starts_with(mark) ? mark.size() : 0;
    const bool declares = bytes.substr(start).starts_with("<?xml") && bytes.size() > start + 5 &&
                          std::string_view(" \t\r\n").find(bytes[start + 5]) != std::string_view::npos;
    const std::size_t end = declares ? bytes.find("?>", start) : std::string_view::npos;
    return std::string(bytes.substr(0, end == std::string_view::npos ? start : end + 2));
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

xmlNode* lineBreak(xmlDoc* document, std::size_t depth) {
    return xmlNewDocText(document, library("\n" + std::string(depth * 4, ' ')));
}

void layOutChildren(xmlNode* element, std::size_t depth) {
    for (xmlNode* child = element->children; child != nullptr;) {
        xmlNode* next = child->next;
        if (isBlankText(child)) {
            xmlUnlinkNode(child);
            xmlFreeNode(child);
        } else {
            xmlAddPrevSibling(child, lineBreak(element->doc, depth + 1));
        }
        child = next;
    }
    xmlAddChild(element, lineBreak(element->doc, depth));
}

/// Documents nest as deep as they like, so the walk keeps its own stack.
void layOut(xmlNode* root) {
    std::vector<std::pair<xmlNode*, std::size_t>> pending{{root, 0}};
    while (!pending.empty()) {
        const auto [element, depth] = pending.back();
        pending.pop_back();
        if (!holdsOnlyStructure(element) || xmlNodeGetSpacePreserve(element) == 1) {
            continue;
        }
        layOutChildren(element, depth);
        for (xmlNode* child = element->children; child != nullptr; child = child->next) {
            if (isElement(child)) {
                pending.emplace_back(child, depth + 1);
            }
        }
    }
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
    : declaration(declarationOf(bytes)),
      isUtf16(bytes.starts_with("\xFF\xFE") || bytes.starts_with("\xFE\xFF")) {
    if (bytes.size() > static_cast<std::size_t>(std::numeric_limits<int>::max())) {
        throw parseError(source, "le document est trop grand");
    }
    const std::unique_ptr<xmlParserCtxt, FreeParser> parser(xmlNewParserCtxt());
    if (!parser) {
        throw parseError(source, reason(ENOMEM));
    }
    Refusal refusal;
    parser->_private = &refusal;
    parser->sax->entityDecl = declareEntity;
    parser->sax->startElementNs = startElement;
    // Motion writes text nodes of tens of megabytes, which the parser takes only when told to.
    constexpr int options = XML_PARSE_NONET | XML_PARSE_HUGE | XML_PARSE_NOERROR | XML_PARSE_NOWARNING;
    document.reset(xmlCtxtReadMemory(parser.get(), bytes.data(), static_cast<int>(bytes.size()), nullptr,
                                     nullptr, options));
    if (!refusal.reason.empty()) {
        throw parseError(source, refusal.reason);
    }
    if (!document) {
        throw parseError(source, failure(xmlCtxtGetLastError(parser.get())));
    }
}

std::optional<XmlDocument::Element> XmlDocument::root() const {
    xmlNode* node = xmlDocGetRootElement(document.get());
    return node == nullptr ? std::nullopt : std::optional(Element(node));
}

std::string XmlDocument::prettyPrinted() {
    if (xmlNode* root = xmlDocGetRootElement(document.get())) {
        layOut(root);
    }
    const char* encoding =
        document->encoding == nullptr ? "UTF-8" : reinterpret_cast<const char*>(document->encoding);
    std::string text = declaration;
    if (text.ends_with("?>")) {
        text += "\n";
    }
    const std::unique_ptr<xmlSaveCtxt, CloseSave> save(xmlSaveToIO(
        appendPiece, nullptr, &text, encoding, XML_SAVE_AS_XML | (isUtf16 ? 0 : XML_SAVE_NO_DECL)));
    if (!save || xmlSaveDoc(save.get(), document.get()) < 0 || xmlSaveFlush(save.get()) < 0) {
        throw Error("Impossible d’écrire le XML.");
    }
    return text;
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
    xmlNode* added = xmlNewDocNode(node->doc, nullptr, library(name), nullptr);
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
    return Element(xmlAddChild(node, xmlNewDocNode(node->doc, nullptr, library(name), nullptr)));
}

std::string XmlDocument::Element::text() const {
    std::string result;
    for (const xmlNode* item = following(node, node); item != nullptr; item = following(item, node)) {
        if (item->type == XML_TEXT_NODE || item->type == XML_CDATA_SECTION_NODE) {
            appendBounded(result, view(item->content));
        } else if (item->type == XML_ENTITY_REF_NODE) {
            const std::unique_ptr<xmlChar, FreeString> value(xmlNodeGetContent(item));
            appendBounded(result, view(value.get()));
        }
    }
    return result;
}

void XmlDocument::Element::setText(const std::string& text) {
    xmlNodeSetContent(node, nullptr);
    xmlNodeAddContent(node, library(text));
}

} // namespace platform
