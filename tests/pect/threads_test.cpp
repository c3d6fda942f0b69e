// SPDX-License-Identifier: Apache-2.0
/// Many threads at once, each with its own objects, get what one thread gets. scripts/check_threads.sh runs this under
/// ThreadSanitizer.
#include <gtest/gtest.h>

#include "imaging/mask_utils.h"
#include "support/random_cases.h"

#include <cstdlib>
#include <latch>
#include <thread>

namespace Norvane::Tests {
namespace {

/// Every entry function and the operations on masks, on objects that no other thread has, as a hash.
std::uint64_t results_of(unsigned seed) {
    Random random(seed);
    Hash hash;
    const bool on_left = random.chance(2);
    std::unique_ptr<Image> image = random_image(random, on_left);
    std::vector<int> contour;
    const Masking::Params params = random_params(random, on_left, contour);
    if (random.chance(2)) {
        image->SetPixelSize(static_cast<float>(random.between(150, 228)));
        image->SetUsedBits(12 + random.below(5));
        float scale = 0.0F;
        unsigned short padding = 5, limit = 900;
        image.reset(PrepareImage(image.get(), scale, params.bgNoise, random.chance(2), nullptr, &padding, &limit));
        hash.add(scale);
        hash.add(padding + limit);
    }
    Mask frame, breast, full, pect, second, alone, smaller, larger, rest, common, other = random_mask(random, 200, 60);
    Mask* found = &frame;
    int box[4] = {};
    hash.add(NvGenerateFrameMask(image.get(), params, found));
    hash.add(NvGenerateBreastMask(image.get(), params, &frame, &breast, box));
    hash.add(std::vector<int>(box, box + 4));
    hash.add(contour);
    hash.add(NvGenerateFullMask(image.get(), params, &frame, &full, &pect, &second));
    hash.add(NvGeneratePectMask(image.get(), params, &frame, &breast, &alone));
    hash.add(Utils::MaskErode(&breast, &smaller, 2));
    hash.add(Utils::MaskDilate(&breast, &larger, 1 + random.between(0, 2)));
    hash.add(Utils::MaskSubtract(&larger, &other, &rest));
    hash.add(Utils::MaskIntersect(&frame, &other, &common));
    hash.add(Utils::ApplyMask(image.get(), &rest));
    hash.add(*image);
    for (const Mask* mask : {&frame, &breast, &full, &pect, &second, &alone, &smaller, &larger, &rest, &common})
        hash.add(mask);
    return hash.value();
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
