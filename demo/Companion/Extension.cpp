// The extension of the sample pack. The editor starts it; a user who does so by hand is told where to look.

#include <iostream>

int main() {
    std::cout << "Cette extension est lancée par Final Cut Pro et Motion.\n";
}
