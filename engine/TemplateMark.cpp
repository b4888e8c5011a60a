#include "engine/TemplateMark.hpp"

#include "engine/PackRecords.hpp"
#include "platform/XmlDocument.hpp"

#include <charconv>
#include <cstdint>
#include <optional>

namespace engine {
namespace {

using Element = platform::XmlDocument::Element;

constexpr std::int64_t mark = 2;

/// The value of the flags' text: a sign and decimal digits. Anything else counts as 0.
std::int64_t flagsValue(std::string_view text) {
    if (text.starts_with('+') && !text.starts_with("+-")) {
        text.remove_prefix(1);
    }
    std::int64_t value = 0;
    const auto [end, failure] = std::from_chars(text.data(), text.data() + text.size(), value);
    return failure == std::errc() && end == text.data() + text.size() ? value : 0;
}

} // namespace

std::string deprecated(std::string_view data, const std::filesystem::path& source) {
    platform::XmlDocument document(data, source);
    std::optional<Element> root = document.root();
    if (!root) {
        throw InstallError("Template XML invalide");
    }
    std::optional<Element> element = root->firstChild("template");
    if (!element) {
        element = root->insertBefore(root->firstChild("build"), "template");
    }
    std::optional<Element> flags = element->firstChild("flags");
    const std::int64_t value = flags ? flagsValue(flags->text()) : 0;
    if ((value & mark) != 0) {
        return std::string(data);
    }
    if (!flags) {
        flags = element->append("flags");
    }
    flags->setText(std::to_string(value | mark));
    return document.prettyPrinted();
}

} // namespace engine
