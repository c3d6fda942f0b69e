// SPDX-License-Identifier: Apache-2.0
/// What the library makes of random images: the results that are recorded, and the same in many threads at once, each
/// with its own objects. scripts/check_threads.sh runs this under ThreadSanitizer.
#include "imaging/mask_utils.h"
#include "support/random_cases.h"
#include "support/test.h"

#include <cstdlib>
#include <latch>
#include <thread>

namespace Norvane::Tests {
namespace {

/// Of objects that no other thread has.
std::uint64_t results_of(unsigned seed) {
    Random random(seed);
    Hash hash;
    Statuses statuses;
    add_results(random, hash, statuses);
    Mask mask = random_mask(random, 200, 60), other = random_mask(random, 200, 60), smaller, larger, rest, common;
    hash.add(Utils::MaskErode(&mask, &smaller, 1));
    hash.add(Utils::MaskDilate(&mask, &larger, 2));
    hash.add(Utils::MaskSubtract(&larger, &other, &rest));
    hash.add(Utils::MaskIntersect(&mask, &other, &common));
    for (const Mask* one : {&smaller, &larger, &rest, &common}) hash.add(one);
    return hash.value();
}

// The first images of those that scripts/check_determinism.sh compares between compilers and processors.
TEST(Results, AreThoseThatAreRecorded) {
    Hash all;
    Statuses statuses;
    for (unsigned image = 0; image < 60; ++image) {
        Random random(image);
        Hash one;
        add_results(random, one, statuses);
        all.add(one.value());
    }
    EXPECT_EQ(0xECE5FFCD3C871F0EU, all.value());
}

TEST(Threads, GetTheResultsOfOneThread) {
    constexpr unsigned kThreads = 8;
    constexpr unsigned kCases = 16;
    const char* wanted = std::getenv("NORVANE_TEST_THREAD_ROUNDS");
    const int rounds = wanted == nullptr ? 1 : std::atoi(wanted);
    for (int round = 0; round < rounds; ++round) {
        const auto result = [round](unsigned n) { return results_of(static_cast<unsigned>(round) * kCases + n); };
        std::vector<std::vector<std::uint64_t>> by_thread(kThreads, std::vector<std::uint64_t>(kCases));
        std::latch all_there(kThreads);
        std::vector<std::jthread> threads;
        for (unsigned t = 0; t < kThreads; ++t)
            threads.emplace_back([&, t] {
                all_there.arrive_and_wait();
                // Each begins elsewhere, so that different calls meet, and the first calls of the process do so too.
                for (unsigned i = 0; i < kCases; ++i) {
                    const unsigned n = (i + t * kCases / kThreads) % kCases;
                    by_thread[t][n] = result(n);
                }
            });
        threads.clear();  // joins
        for (unsigned n = 0; n < kCases; ++n) {
            const std::uint64_t alone = result(n);
            for (unsigned t = 0; t < kThreads; ++t) EXPECT_EQ(alone, by_thread[t][n]) << "round " << round << ", " << n;
        }
    }
}

}  // namespace
}  // namespace Norvane::Tests
