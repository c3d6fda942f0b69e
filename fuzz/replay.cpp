// SPDX-License-Identifier: Apache-2.0
/// Runs a target over stored inputs, in builds without a fuzzer: replay FOLDER_OF_INPUTS_OR_PACKED_INPUTS...
#include "input.h"

#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>

namespace {

std::string bytes_of(const std::filesystem::path& file) {
    std::ifstream stream(file, std::ios::binary);
    return {std::istreambuf_iterator<char>(stream), {}};
}

void run(std::span<const std::uint8_t> input) { LLVMFuzzerTestOneInput(input.data(), input.size()); }

std::span<const std::uint8_t> as_input(const std::string& bytes) {
    return {reinterpret_cast<const std::uint8_t*>(bytes.data()), bytes.size()};
}

/// Reads packed inputs. Each follows its length in four bytes, the lowest first.
unsigned run_packed(const std::string& bytes) {
    std::span<const std::uint8_t> rest = as_input(bytes);
    unsigned count = 0;
    for (; rest.size() >= 4; ++count) {
        const std::size_t size = Norvane::Fuzz::Input(rest.data(), 4).number();
        Norvane::Fuzz::require(size <= rest.size() - 4, "the packed inputs are whole");
        run(rest.subspan(4, size));
        rest = rest.subspan(4 + size);
    }
    return count;
}

}  // namespace

int main(int argc, char** argv) {
    unsigned count = 0;
    for (const std::string name : std::span(argv, static_cast<std::size_t>(argc)).subspan(1)) {
        if (!std::filesystem::is_directory(name)) {
            count += run_packed(bytes_of(name));
            continue;
        }
        for (const auto& entry : std::filesystem::directory_iterator(name)) {
            run(as_input(bytes_of(entry.path())));
            ++count;
        }
    }
    std::printf("%u inputs\n", count);
    return count > 0 ? 0 : 1;
}
