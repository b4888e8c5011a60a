#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace tests {

/// A number of so many bytes, the most significant one first.
inline std::string number(std::uint64_t value, std::size_t size) {
    std::string bytes;
    for (std::size_t at = size; at-- > 0;) {
        bytes += static_cast<char>(value >> (8U * at) & 0xFFU);
    }
    return bytes;
}

/// A binary list of these objects, the first one on top, with references of four bytes.
inline std::string binaryList(const std::vector<std::string>& objects) {
    std::string bytes = "bplist00";
    std::string table;
    for (const std::string& object : objects) {
        table += number(bytes.size(), 4);
        bytes += object;
    }
    const std::size_t start = bytes.size();
    return bytes + table + std::string(6, '\0') + "\4\4" + number(objects.size(), 8) + number(0, 8) +
           number(start, 8);
}

inline std::string entry(const std::string& key, const std::string& value) {
    return binaryList({"\xD1" + number(1, 4) + number(2, 4), key, value});
}

/// A list whose only entry is a list that unfolds to 2 to the power of 1000 texts.
inline std::string unfoldingList() {
    std::vector<std::string> objects{"\xD1" + number(1, 4) + number(2, 4), "\x51k"};
    for (std::uint64_t next = 3; next < 1000; ++next) {
        objects.push_back("\xA2" + number(next, 4) + number(next, 4));
    }
    objects.push_back("\x51v");
    return binaryList(objects);
}

} // namespace tests
