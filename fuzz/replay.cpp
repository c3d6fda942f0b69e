// SPDX-License-Identifier: Apache-2.0
/// Runs a target over stored inputs, in builds without a fuzzer: replay FILE_OR_FOLDER...
#include "input.h"

#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>

namespace {

void replay(const std::filesystem::path& file) {
    std::ifstream stream(file, std::ios::binary);
    const std::string bytes{std::istreambuf_iterator<char>(stream), {}};
    LLVMFuzzerTestOneInput(reinterpret_cast<const std::uint8_t*>(bytes.data()), bytes.size());
}

}  // namespace

int main(int argc, char** argv) {
    unsigned count = 0;
    for (int i = 1; i < argc; ++i) {
        if (!std::filesystem::is_directory(argv[i])) {
            replay(argv[i]);
            ++count;
            continue;
        }
        for (const auto& entry : std::filesystem::recursive_directory_iterator(argv[i])) {
            if (!entry.is_regular_file()) continue;
            replay(entry.path());
            ++count;
        }
    }
    std::printf("%u inputs\n", count);
    return count > 0 ? 0 : 1;
}
