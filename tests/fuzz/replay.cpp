// Runs a fuzz target on every file in a corpus folder, so that old findings do not return.
#include "tests/fuzz/target.h"

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <iterator>
#include <vector>

int main(int argc, char **argv)
{
    if (argc != 2) {
        std::cerr << "usage: replay FOLDER\n";
        return 2;
    }
    int count = 0;
    for (const auto &entry : std::filesystem::directory_iterator(argv[1])) {
        std::ifstream file(entry.path(), std::ios::binary);
        const std::vector<char> bytes{std::istreambuf_iterator<char>(file), {}};
        const std::vector<std::uint8_t> data(bytes.begin(), bytes.end());
        (void)LLVMFuzzerTestOneInput(data.data(), data.size()); // aborts if it finds a fault
        ++count;
    }
    std::cout << count << " inputs\n";
    return count > 0 ? 0 : 1; // an empty corpus proves nothing
}
