// A portable stand-in for the signing tool of macOS: it seals the files of a bundle and of the bundles nested
// in it, and checks their seals.

#include "system-tools/Seal.hpp"

#include <iostream>
#include <string>
#include <vector>

int main(int count, char** values) {
    const std::string bundle = count > 1 ? values[count - 1] : "";
    const std::vector<std::string> options(values + 1, values + std::max(count - 1, 1));
    const bool verifies = options == std::vector<std::string>{"--verify", "--deep", "--strict"};
    if (!verifies && options != std::vector<std::string>{"--force", "--sign", "-"}) {
        std::cerr << "A portable stand-in for the tool of macOS, which does not evaluate certificates.\n"
                     "usage: codesign --force --sign - BUNDLE\n"
                     "       codesign --verify --deep --strict BUNDLE\n";
        return 2;
    }
    try {
        verifies ? systemtools::verify(bundle) : systemtools::seal(bundle);
        return 0;
    } catch (const std::exception& failure) {
        std::cerr << bundle << ": " << failure.what() << '\n';
        return 1;
    }
}
