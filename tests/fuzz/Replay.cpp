#include "tests/fuzz/FuzzTarget.hpp"

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <iterator>
#include <random>
#include <string>

namespace {

void run(const std::string& bytes) {
    LLVMFuzzerTestOneInput(reinterpret_cast<const std::uint8_t*>(bytes.data()), bytes.size());
}

/// Runs the target over so many inputs without any sense, the same ones every time.
void runRandomly(int count) {
    for (int seed = 0; seed < count; ++seed) {
        std::mt19937 random(static_cast<std::mt19937::result_type>(seed));
        std::string bytes(random() % 1024, '\0');
        std::ranges::generate(bytes, [&] { return static_cast<char>(random()); });
        run(bytes);
    }
}

} // namespace

/// Runs a fuzz target once over every file of the folders given, or over as many random inputs as "--random"
/// says, for builds without a fuzzer.
int main(int argc, char** argv) {
    std::size_t count = 0;
    if (argc == 3 && argv[1] == std::string("--random")) {
        runRandomly(std::atoi(argv[2]));
        return 0;
    }
    for (int index = 1; index < argc; ++index) {
        for (const auto& item : std::filesystem::directory_iterator(argv[index])) {
            std::ifstream stream(item.path(), std::ios::binary);
            const std::string bytes{std::istreambuf_iterator<char>(stream), {}};
            run(bytes);
            ++count;
        }
    }
    std::cout << count << " inputs\n";
    return count > 0 ? 0 : 1;
}
