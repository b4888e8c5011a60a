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

void showControls(std::string_view text, const std::function<void(std::string_view)>& sink) {
    std::size_t start = 0; // of what was not passed on yet
    for (std::size_t at = 0; at < text.size(); ++at) {
        const auto byte = static_cast<unsigned char>(text[at]);
        const auto next = static_cast<unsigned char>(at + 1 < text.size() ? text[at + 1] : 0);
        const bool isWide = isWideControl(byte, next);
        if (isWide || isControl(byte)) {
            std::array<char, 5> visible{};
            std::snprintf(visible.data(), visible.size(), "\\x%02X", unsigned{isWide ? next : byte});
            sink(text.substr(start, at - start));
            sink(visible.data());
            at += isWide ? 1 : 0;
            start = at + 1;
        }
    }
    sink(text.substr(start));
}

void printLine(int descriptor, const std::string& text) {
    const auto print = [descriptor](std::string_view piece) { write(descriptor, piece); };
    if (::isatty(descriptor) == 1) {
        showControls(text, print);
    } else {
        print(text);
    }
    print("\n");
}

} // namespace app
