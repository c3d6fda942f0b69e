// SPDX-License-Identifier: Apache-2.0
/// One number for everything that the library computes from random images. scripts/check_determinism.sh compares it
/// between compilers, options and processors.
///   result_hash [images]
#include "support/random_cases.h"

#include <cstdio>
#include <cstdlib>

int main(int argc, char** argv) {
    using namespace Norvane::Tests;
    const int images = argc > 1 ? std::atoi(argv[1]) : 500;
    const bool is_verbose = std::getenv("NORVANE_HASH_EACH") != nullptr;  // to find the image that differs
    Hash all;
    Statuses statuses;
    for (int i = 0; i < images; ++i) {
        Random random(static_cast<unsigned>(i));
        Hash one;
        add_results(random, one, statuses);
        if (is_verbose) std::fprintf(stderr, "%d %016llx\n", i, static_cast<unsigned long long>(one.value()));
        all.add(one.value());
    }
    for (const auto& [call, counts] : statuses) {
        std::fprintf(stderr, "%s:", call.c_str());
        for (const auto& [status, count] : counts) std::fprintf(stderr, " %d x%d", status, count);
        std::fprintf(stderr, "\n");
    }
    std::printf("%016llx\n", static_cast<unsigned long long>(all.value()));
}
