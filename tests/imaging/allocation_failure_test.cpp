// SPDX-License-Identifier: Apache-2.0
/// Every allocation of an operation fails once; nothing may leak, and the platform's own failures are codes.
#include "imaging/filter.h"
#include "imaging/mask_utils.h"
#include "imaging/morphological.h"
#include "support/builders.h"
#include "support/test.h"

#include <cstdlib>
#include <new>

namespace {

thread_local long countdown = -1;  // allocations until one fails; negative: none does
thread_local long in_use = 0;      // blocks

void* allocate(std::size_t size) noexcept {
    if (countdown >= 0 && countdown-- == 0) return nullptr;
    void* block = std::malloc(size == 0 ? 1 : size);
    in_use += block != nullptr;
    return block;
}
// Not inlined: the compiler would see free() meet an operator new that it does not know to be ours.
[[gnu::noinline]] void release(void* block) noexcept {
    in_use -= block != nullptr;
    std::free(block);
}

}  // namespace

void* operator new(std::size_t size) {
    if (void* block = allocate(size)) return block;
    throw std::bad_alloc();
}
void* operator new[](std::size_t size) { return operator new(size); }
void* operator new(std::size_t size, const std::nothrow_t&) noexcept { return allocate(size); }
void* operator new[](std::size_t size, const std::nothrow_t&) noexcept { return allocate(size); }
void operator delete(void* block) noexcept { release(block); }
void operator delete[](void* block) noexcept { release(block); }
void operator delete(void* block, std::size_t) noexcept { release(block); }
void operator delete[](void* block, std::size_t) noexcept { release(block); }

namespace Norvane::Tests {
namespace {

unsigned breast_grey(unsigned x, unsigned y) {
    const unsigned level = x + y < 50 ? 39000 : 30000;
    return x * x + (y - 60) * (y - 60) < 4000 ? level + 7 * x % 64 : 100 + y % 50;
}

/// What a host passes to the operations, and gets back.
struct Host {
    std::unique_ptr<Image> image = grey_image(90, 120, breast_grey), filtered = grey_image(90, 120);
    Masking::Params params = params_for(SIDE_CHEST_LEFT, VIEW_PECT, BG_MG);
    Mask frame, breast = rectangle(0, 60, 5, 110), full, pect, second;
    Mask other = rectangle(20, 80, 0, 90, 0.5F), hole = rectangle(30, 40, 20, 50, 0.5F);  // grids that count as unset
    std::vector<int> contour = std::vector<int>(1440);
    int status = -1;

    explicit Host(bool fast) {
        params.fullContour = params.pectContour = true;
        params.maskingSpeed = params.contourOutput = fast;
        params.contour = &contour;
    }
    [[nodiscard]] auto results() const {
        return std::tuple{status,        pixels_of(*image), pixels_of(*filtered), runs_of(frame), runs_of(breast),
                          runs_of(full), runs_of(pect),     runs_of(second),      contour};
    }
};

constexpr int kThrown = -1;
struct Operation {
    const char* name;
    int failure;  // what is answered where a failed allocation does not throw
    std::function<int(Host&)> run;
};

/// Lets allocations of an operation fail one by one, some dozens of them, or each with NORVANE_TEST_EVERY_ALLOCATION
/// set: nothing leaks, and the same objects give the right results as soon as there is memory.
void survives_failures(const Operation& operation, bool fast) {
    constexpr long kPlenty = 1L << 30, kSample = 40;
    Host undisturbed(fast);
    countdown = kPlenty;
    undisturbed.status = operation.run(undisturbed);
    const long allocations = kPlenty - std::exchange(countdown, -1);
    const bool takes_each = std::getenv("NORVANE_TEST_EVERY_ALLOCATION") != nullptr;
    EXPECT_LT(0, allocations) << operation.name;
    EXPECT_EQ(0, undisturbed.status) << operation.name;
    for (long n = 0; n < allocations; n += takes_each ? 1 : 1 + allocations / kSample) {
        SCOPED_TRACE(testing::Message() << operation.name << ", allocation " << n);
        const long before = in_use;
        int code = kThrown;
        bool is_right = false;
        {
            Host host(fast);
            countdown = n;
            try {
                code = operation.run(host);
            } catch (const std::bad_alloc&) {
            }
            countdown = -1;
            host.status = operation.run(host);
            is_right = undisturbed.results() == host.results();
        }
        EXPECT_EQ(before, in_use);
        EXPECT_TRUE(code == kThrown || code == operation.failure) << code;
        EXPECT_TRUE(is_right);
    }
}

const Operation kOperations[] = {
    {"blur", 4, [](Host& h) { return Filter::Blur(h.image.get(), h.filtered.get(), 3, 3, 1, 1); }},
    {"dilate", 4, [](Host& h) { return Morphological::Dilate(h.image.get(), h.filtered.get(), 4); }},
    {"resample", 4, [](Host& h) { return Filter::Resample(h.image.get(), h.filtered.get(), 0.4F, 2); }},
    {"dilate mask", 3, [](Host& h) { return Utils::MaskDilate(&h.breast, &h.full, 3); }},
    {"intersect by the complement", kThrown, [](Host& h) { return Utils::MaskIntersect(&h.other, &h.hole, &h.full); }},
    {"frame", kThrown,
     [](Host& h) {
         Mask* frame = &h.frame;
         return NvGenerateFrameMask(h.image.get(), h.params, frame);
     }},
    {"full", kThrown,
     [](Host& h) { return NvGenerateFullMask(h.image.get(), h.params, &h.frame, &h.full, &h.pect, &h.second); }},
    {"muscle", kThrown,
     [](Host& h) { return NvGeneratePectMask(h.image.get(), h.params, &h.frame, &h.breast, &h.pect); }},
    {"breast", kThrown,
     [](Host& h) { return NvGenerateBreastMask(h.image.get(), h.params, &h.frame, &h.full, nullptr); }},
    {"preparation", kThrown,
     [](Host& h) {
         float scale = 0.0F;
         h.image->SetPixelSize(100.0F);
         h.filtered.reset(PrepareImage(h.image.get(), scale, BG_MG, h.params.maskingSpeed, nullptr, nullptr, nullptr));
         return h.filtered != nullptr && grey(*h.filtered, 1, 26) > 20000 ? 0 : 1;  // tissue
     }},
};

TEST(AllocationFailure, LeavesObjectsThatWorkLater) {
    testing::internal::CaptureStdout();
    for (const Operation& operation : kOperations)
        for (const bool fast : {false, true}) survives_failures(operation, fast);
    // Of the first operation the headers are the first two allocations.
    EXPECT_THAT(testing::internal::GetCapturedStdout(),
                testing::StartsWith("Source image allocation failed\nDestination image allocation failed\n"));
}

}  // namespace
}  // namespace Norvane::Tests
