// The companion application of the sample pack. It has nothing to do but to carry the extension.

#include <iostream>

int main() {
    std::cout << "Orvo Transitions est installé. Retrouvez les transitions dans Final Cut Pro.\n";
}
