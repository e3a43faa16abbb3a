#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <vector>

#include "fuzz/support/start.h"

/// Runs a target on the files named, and on those of the folders named.

namespace {

void replay(const std::filesystem::path& file) {
    std::fprintf(stderr, "%s\n", file.c_str());
    std::ifstream stream(file, std::ios::binary);
    const std::vector<char> bytes((std::istreambuf_iterator<char>(stream)), std::istreambuf_iterator<char>());
    LLVMFuzzerTestOneInput(reinterpret_cast<const std::uint8_t*>(bytes.data()), bytes.size());
}

}  // namespace

int main(int argc, char** argv) {
    if (LLVMFuzzerInitialize(&argc, &argv) != 0) return 1;
    for (int i = 1; i < argc; ++i) {
        if (!std::filesystem::is_directory(argv[i])) {
            replay(argv[i]);
            continue;
        }
        for (const auto& entry : std::filesystem::directory_iterator(argv[i])) replay(entry.path());
    }
}
