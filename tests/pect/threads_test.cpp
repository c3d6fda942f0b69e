// SPDX-License-Identifier: Apache-2.0
/// Many threads at once, each with its own objects, get what one thread gets. scripts/check_threads.sh runs this under
/// ThreadSanitizer.
#include <gtest/gtest.h>

#include "imaging/mask_utils.h"
#include "support/random_cases.h"

#include <cstdlib>
#include <iterator>
#include <latch>
#include <thread>

namespace Norvane::Tests {
namespace {

/// Everything that a call may touch. No two threads share one.
struct Host {
    Random random;
    Hash hash;
    bool on_left;
    std::unique_ptr<Image> image;
    std::vector<int> contour;
    Masking::Params params;
    Mask frame, breast, full, pect, second;

    explicit Host(unsigned seed) : random(seed), on_left(random.chance(2)), image(random_image(random, on_left)) {
        params = random_params(random, on_left, contour);
    }
    [[nodiscard]] Mask& any_mask() {
        Mask* const masks[] = {&frame, &breast, &full, &pect, &second};
        return *masks[random.below(std::size(masks))];
    }
};

void prepare(Host& h) {
    h.image->SetPixelSize(static_cast<float>(h.random.between(150, 228)));
    h.image->SetUsedBits(12 + h.random.below(5));
    float scale = 0.0F;
    unsigned short padding = 5, limit = 900;
    h.image.reset(PrepareImage(h.image.get(), scale, h.params.bgNoise, h.random.chance(2), nullptr, &padding, &limit));
    h.hash.add(scale);
    h.hash.add(padding + limit);
    h.hash.add(*h.image);
}
void find_frame(Host& h) {
    Mask* frame = &h.frame;
    h.hash.add(NvGenerateFrameMask(h.image.get(), h.params, frame));
}
void find_breast(Host& h) {
    int box[4] = {};
    h.hash.add(NvGenerateBreastMask(h.image.get(), h.params, &h.frame, &h.breast, box));
    h.hash.add(std::vector<int>(box, box + 4));
    h.hash.add(h.contour);
}
void find_all(Host& h) {
    h.hash.add(NvGenerateFullMask(h.image.get(), h.params, &h.frame, &h.full, &h.pect, &h.second));
}
void find_muscle(Host& h) { h.hash.add(NvGeneratePectMask(h.image.get(), h.params, &h.frame, &h.breast, &h.pect)); }
void combine(Host& h) {
    Mask other = random_mask(h.random, 200, 60), out;
    h.hash.add(Utils::MaskSubtract(&h.any_mask(), &other, &out));
    h.hash.add(Utils::MaskIntersect(&h.any_mask(), &other, &h.any_mask()));
    h.hash.add(Utils::MaskCopy(&out, &h.any_mask()));
    h.hash.add(&out);
}
void change_shape(Host& h) {
    Mask smaller, larger;
    h.hash.add(Utils::MaskErode(&h.any_mask(), &smaller, 2));
    h.hash.add(Utils::MaskDilate(&h.any_mask(), &larger, 1 + h.random.between(0, 2)));
    h.hash.add(&smaller);
    h.hash.add(&larger);
    h.hash.add(Utils::ApplyMask(h.image.get(), &larger));
    h.hash.add(*h.image);
}

/// Calls several operations in random order and answers what they gave as a hash.
std::uint64_t results_of(unsigned seed) {
    constexpr void (*kCalls[])(Host&) = {prepare,     find_frame, find_breast, find_all,
                                         find_muscle, combine,    change_shape};
    Host host(seed);
    for (int n = 0; n < 12; ++n) {
        kCalls[host.random.below(std::size(kCalls))](host);
        for (const Mask* mask : {&host.frame, &host.breast, &host.full, &host.pect, &host.second}) host.hash.add(mask);
    }
    return host.hash.value();
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
