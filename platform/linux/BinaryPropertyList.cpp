#include "platform/linux/BinaryPropertyList.hpp"

#include <cstddef>
#include <cstdint>
#include <exception>
#include <string>

namespace platform {
namespace {

constexpr std::string_view signature = "bplist0";
constexpr std::size_t headerSize = 8;
constexpr std::size_t trailerSize = 32;

struct Malformed : std::exception {};

std::string_view slice(std::string_view bytes, std::uint64_t start, std::uint64_t length) {
    if (start > bytes.size() || length > bytes.size() - start) {
        throw Malformed();
    }
    return bytes.substr(start, length);
}

std::uint64_t bigEndian(std::string_view bytes) {
    if (bytes.empty() || bytes.size() > sizeof(std::uint64_t)) {
        throw Malformed();
    }
    std::uint64_t value = 0;
    for (const char byte : bytes) {
        value = value << 8U | static_cast<unsigned char>(byte);
    }
    return value;
}

void appendUtf8(std::string& text, std::uint32_t character) {
    const auto byte = [&](std::uint32_t value) { text += static_cast<char>(value); };
    if (character < 0x80U) {
        byte(character);
    } else if (character < 0x800U) {
        byte(0xC0U | character >> 6U);
        byte(0x80U | (character & 0x3FU));
    } else if (character < 0x10000U) {
        byte(0xE0U | character >> 12U);
        byte(0x80U | (character >> 6U & 0x3FU));
        byte(0x80U | (character & 0x3FU));
    } else {
        byte(0xF0U | character >> 18U);
        byte(0x80U | (character >> 12U & 0x3FU));
        byte(0x80U | (character >> 6U & 0x3FU));
        byte(0x80U | (character & 0x3FU));
    }
}

std::string fromUtf16(std::string_view units) {
    std::string text;
    for (std::size_t at = 0; at < units.size(); at += 2) {
        auto character = static_cast<std::uint32_t>(bigEndian(slice(units, at, 2)));
        if (character >= 0xD800U && character < 0xDC00U) {
            at += 2;
            const auto low = static_cast<std::uint32_t>(bigEndian(slice(units, at, 2)));
            if (low < 0xDC00U || low >= 0xE000U) {
                throw Malformed();
            }
            character = 0x10000U + ((character - 0xD800U) << 10U) + (low - 0xDC00U);
        } else if (character >= 0xDC00U && character < 0xE000U) {
            throw Malformed();
        }
        appendUtf8(text, character);
    }
    return text;
}

/// The file ends with the sizes of its numbers and the offset of a table that says where each object begins.
class Reader {
public:
    explicit Reader(std::string_view list) : bytes(list) {
        if (bytes.size() < headerSize + trailerSize) {
            throw Malformed();
        }
        const std::string_view trailer = bytes.substr(bytes.size() - trailerSize);
        bytes.remove_suffix(trailerSize);
        offsetSize = bigEndian(trailer.substr(6, 1));
        referenceSize = bigEndian(trailer.substr(7, 1));
        objectCount = bigEndian(trailer.substr(8, 8));
        top = bigEndian(trailer.substr(16, 8));
        table = bigEndian(trailer.substr(24, 8));
    }

    PropertyList read() const {
        Object dictionary = object(top);
        PropertyList list;
        if (dictionary.kind != 0xD) {
            return list;
        }
        if (dictionary.count > bytes.size()) {
            throw Malformed();
        }
        const std::string_view keys = slice(bytes, dictionary.contents, dictionary.count * referenceSize);
        const std::string_view values =
            slice(bytes, dictionary.contents + keys.size(), dictionary.count * referenceSize);
        list.isDictionaryOfStrings = true;
        std::size_t text = 0;
        for (std::size_t at = 0; at < keys.size(); at += referenceSize) {
            const std::optional<std::string> key = string(bigEndian(slice(keys, at, referenceSize)));
            const std::optional<std::string> value = string(bigEndian(slice(values, at, referenceSize)));
            text += key ? key->size() : 0;
            text += value ? value->size() : 0;
            if (!key || text > mostListText) {
                throw Malformed();
            }
            if (value) {
                list.strings[*key] = *value;
            } else {
                list.isDictionaryOfStrings = false;
            }
        }
        return list;
    }

private:
    struct Object {
        unsigned kind = 0;          ///< the high half of its first byte
        std::uint64_t count = 0;    ///< how much it holds, in units of its kind
        std::uint64_t contents = 0; ///< where that begins
    };

    Object object(std::uint64_t number) const {
        if (number >= objectCount || objectCount > bytes.size()) {
            throw Malformed();
        }
        const std::string_view offsets = slice(bytes, table, objectCount * offsetSize);
        const std::uint64_t start = bigEndian(slice(offsets, number * offsetSize, offsetSize));
        const std::uint64_t first = bigEndian(slice(bytes, start, 1));
        Object found{static_cast<unsigned>(first >> 4U), first & 0xFU, start + 1};
        if (found.count == 0xF && hasCount(found.kind)) {
            const std::uint64_t marker = bigEndian(slice(bytes, found.contents, 1));
            const std::uint64_t length = std::uint64_t{1} << (marker & 0xFU);
            if (marker >> 4U != 1) {
                throw Malformed();
            }
            found.count = bigEndian(slice(bytes, found.contents + 1, length));
            found.contents += 1 + length;
        }
        return found;
    }

    /// Only data, strings and collections say how much they hold.
    static bool hasCount(unsigned kind) { return kind >= 4 && kind != 8; }

    /// The object when it is a string: bytes of ASCII or UTF-16.
    std::optional<std::string> string(std::uint64_t number) const {
        const Object found = object(number);
        if (found.kind == 0x5) {
            return std::string(slice(bytes, found.contents, found.count));
        }
        if (found.kind != 0x6) {
            return std::nullopt;
        }
        if (found.count > bytes.size()) {
            throw Malformed();
        }
        return fromUtf16(slice(bytes, found.contents, found.count * 2));
    }

    std::string_view bytes;
    std::uint64_t offsetSize = 0;
    std::uint64_t referenceSize = 0;
    std::uint64_t objectCount = 0;
    std::uint64_t top = 0;
    std::uint64_t table = 0;
};

} // namespace

bool isBinaryPropertyList(std::string_view bytes) {
    return bytes.starts_with(signature);
}

std::optional<PropertyList> readBinaryPropertyList(std::string_view bytes) {
    try {
        return Reader(bytes).read();
    } catch (const Malformed&) {
        return std::nullopt;
    }
}

} // namespace platform
