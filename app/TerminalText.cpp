#include "app/TerminalText.hpp"

#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstdio>

namespace app {
namespace {

bool isControl(unsigned char byte) {
    return (byte < 0x20 && byte != '\n') || byte == 0x7F;
}

/// True for the two bytes of a control character from U+0080 to U+009F.
bool isWideControl(unsigned char first, unsigned char second) {
    return first == 0xC2 && second >= 0x80 && second < 0xA0;
}

std::string visible(unsigned char control) {
    std::array<char, 5> text{};
    std::snprintf(text.data(), text.size(), "\\x%02X", unsigned{control});
    return text.data();
}

void write(int descriptor, std::string_view text) {
    while (!text.empty()) {
        const ssize_t length = ::write(descriptor, text.data(), text.size());
        if (length < 0 && errno != EINTR) {
            return;
        }
        text.remove_prefix(length < 0 ? 0 : static_cast<std::size_t>(length));
    }
}

} // namespace

std::string withVisibleControls(std::string_view text) {
    std::string result;
    for (std::size_t at = 0; at < text.size(); ++at) {
        const auto byte = static_cast<unsigned char>(text[at]);
        const auto next = static_cast<unsigned char>(at + 1 < text.size() ? text[at + 1] : 0);
        if (isControl(byte)) {
            result += visible(byte);
        } else if (isWideControl(byte, next)) {
            result += visible(next);
            ++at;
        } else {
            result += text[at];
        }
    }
    return result;
}

void printLine(int descriptor, const std::string& text) {
    if (::isatty(descriptor) == 1) {
        write(descriptor, withVisibleControls(text) + "\n");
        return;
    }
    write(descriptor, text); // needs no memory, which may be gone by now
    write(descriptor, "\n");
}

} // namespace app
