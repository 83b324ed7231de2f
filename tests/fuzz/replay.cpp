// Gives a harness each file of the folders that are named, once.

#include "harness.h"
#include "leftovers.h"

#include <filesystem>
#include <fstream>
#include <iostream>
#include <iterator>
#include <vector>

namespace fs = std::filesystem;

namespace
{

void replay(const fs::path& file)
{
    std::cerr << file << std::endl;
    std::ifstream in(file, std::ios::binary);
    const std::vector<char> bytes{std::istreambuf_iterator<char>(in), {}};
    const std::vector<std::uint8_t> input(bytes.begin(), bytes.end());
    LLVMFuzzerTestOneInput(input.data(), input.size());
}

/// Returns how many there were.
int replay_all(const fs::path& start)
{
    if (fs::is_regular_file(start)) {
        replay(start);
        return 1;
    }
    int count = 0;
    for (const auto& each : fs::directory_iterator(start)) {
        count += replay_all(each.path());
    }
    return count;
}

} // namespace

int main(int argc, char** argv)
{
    int count = 0;
    for (int number = 1; number < argc; ++number) {
        count += replay_all(argv[number]);
    }
    require(count > 0, "usage: FUZZER FOLDER_OR_FILE...");
    std::cout << count << " inputs\n";
}
