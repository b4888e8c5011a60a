#pragma once

#include <string>
#include <string_view>

namespace platform {

/// The text (UTF-8) with every accent composed with its letter, Unicode's form NFC: "e" and U+0301 become
/// "é". Two spellings of one name are equal in it, which a file system may give back in the other one. Bytes
/// that are not UTF-8 stay as they are.
std::string composed(std::string_view text);

/// The text with every sequence that is not UTF-8 replaced by U+FFFD.
std::string repairedUtf8(const std::string& text);

} // namespace platform
