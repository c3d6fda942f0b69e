// SPDX-License-Identifier: Apache-2.0
/// Every allocation of an operation fails once; nothing may leak, and the platform's own failures are codes.
#include <gtest/gtest.h>

#include "imaging/filter.h"
#include "imaging/mask_utils.h"
#include "imaging/morphological.h"
#include "support/builders.h"

#include <cstdlib>
#include <new>

namespace {

thread_local long countdown = -1;  // allocations until one fails; negative: none does

void* allocate(std::size_t size) noexcept {
    if (countdown >= 0 && countdown-- == 0) return nullptr;
    return std::malloc(size == 0 ? 1 : size);
}
// Not inlined: the compiler would see free() meet an operator new that it does not know to be ours.
[[gnu::noinline]] void release(void* block) noexcept { std::free(block); }

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

/// Lets the first, second, ... allocation of `call` fail until it gets through. Answers how often it failed.
template <class Call>
int fail_every_allocation(Call call) {
    for (int n = 0;; ++n) {
        countdown = n;
        int code = -1;
        try {
            code = call();
        } catch (const std::bad_alloc&) {
        }
        const bool got_through = countdown >= 0;
        countdown = -1;
        if (got_through) {
            EXPECT_EQ(0, code);
            return n;
        }
        EXPECT_TRUE(code == 4 || code == 3 || code == -1) << code;
    }
}

TEST(AllocationFailure, HeadersAreReportedWithTheirMessage) {
    auto src = grey_image(9, 5), dst = grey_image(9, 5);
    for (const auto& [n, message] :
         {std::pair{0L, "Source image allocation failed\n"}, {1L, "Destination image allocation failed\n"}}) {
        testing::internal::CaptureStdout();
        countdown = n;
        const int code = Filter::ConvolveFixed(src.get(), dst.get(), 2);
        countdown = -1;
        EXPECT_EQ(message, testing::internal::GetCapturedStdout());
        EXPECT_EQ(4, code);
    }
    countdown = 2;  // the platform's scratch rows
    const int code = Filter::ConvolveFixed(src.get(), dst.get(), 2);
    countdown = -1;
    EXPECT_EQ(4, code);
}

TEST(AllocationFailure, NothingLeaksAndMasksStayWhole) {
    Random random(1);
    auto src = grey_image(30, 20, [&](unsigned, unsigned) { return random.below(65536); }), dst = grey_image(30, 20);
    Mask a = random_mask(random, 40, 8), b = random_mask(random, 40, 8);
    testing::internal::CaptureStdout();
    EXPECT_LT(2, fail_every_allocation([&] { return Filter::Blur(src.get(), dst.get(), 3, 3, 1, 1); }));
    EXPECT_LT(2, fail_every_allocation([&] { return Morphological::Dilate(src.get(), dst.get(), 4); }));
    EXPECT_LT(2, fail_every_allocation([&] { return Filter::Resample(src.get(), dst.get(), 0.4F, 2); }));
    const auto fails_on_masks = [&](auto operation) {
        return fail_every_allocation([&] {
            Mask out;
            return operation(&a, &out);
        });
    };
    EXPECT_LT(5, fails_on_masks([](Mask* from, Mask* out) { return Utils::MaskErode(from, out, 1); }));
    EXPECT_LT(5, fails_on_masks([](Mask* from, Mask* out) { return Utils::MaskDilate(from, out, 3); }));
    EXPECT_LT(5, fails_on_masks([](Mask* from, Mask* out) { return Utils::MaskCopy(from, out); }));
    EXPECT_LT(5, fails_on_masks([&](Mask* from, Mask* out) { return Utils::MaskIntersect(from, &b, out); }));
    a.SetPixelSize(1.0F);
    b.SetPixelSize(0.5F);  // by the complement
    EXPECT_LT(5, fails_on_masks([&](Mask* from, Mask* out) { return Utils::MaskIntersect(from, &b, out); }));
    testing::internal::GetCapturedStdout();
}

}  // namespace
}  // namespace Norvane::Tests
