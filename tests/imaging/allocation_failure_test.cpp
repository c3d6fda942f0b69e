// SPDX-License-Identifier: Apache-2.0
/// Every allocation of an operation fails once; nothing may leak, and the platform's own failures are codes.
#include <gtest/gtest.h>

#include "imaging/filter.h"
#include "imaging/mask_utils.h"
#include "imaging/morphological.h"
#include "support/builders.h"

#include <cstdlib>
#include <new>
#include <tuple>

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

/// Lets the first, second, ... allocation of `call` fail until it gets through: each is thrown or answered by
/// `failure`. Answers how often it failed.
template <class Call>
int fail_every_allocation(int failure, Call call) {
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
        EXPECT_TRUE(code == failure || code == -1) << code;
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
}

TEST(AllocationFailure, NothingLeaksAndMasksStayWhole) {
    Random random(1);
    auto src = grey_image(30, 20, [&](unsigned, unsigned) { return random.below(65536); }), dst = grey_image(30, 20);
    Mask a = random_mask(random, 40, 8), b = random_mask(random, 40, 8);
    testing::internal::CaptureStdout();
    EXPECT_LT(2, fail_every_allocation(4, [&] { return Filter::Blur(src.get(), dst.get(), 3, 3, 1, 1); }));
    EXPECT_LT(2, fail_every_allocation(4, [&] { return Morphological::Dilate(src.get(), dst.get(), 4); }));
    EXPECT_LT(2, fail_every_allocation(4, [&] { return Filter::Resample(src.get(), dst.get(), 0.4F, 2); }));
    const auto fails_on_masks = [&](auto operation) {
        return fail_every_allocation(3, [&] {
            Mask out;
            return operation(&a, &out);
        });
    };
    EXPECT_LT(5, fails_on_masks([](Mask* from, Mask* out) { return Utils::MaskErode(from, out, 1); }));
    EXPECT_LT(5, fails_on_masks([](Mask* from, Mask* out) { return Utils::MaskDilate(from, out, 3); }));
    EXPECT_LT(5, fails_on_masks([](Mask* from, Mask* out) { return Utils::MaskCopy(from, out); }));
    EXPECT_LT(5, fails_on_masks([&](Mask* from, Mask* out) { return Utils::MaskIntersect(from, &b, out); }));
    EXPECT_LT(5, fails_on_masks([&](Mask* from, Mask* out) { return Utils::MaskSubtract(from, &b, out); }));
    EXPECT_LT(5, fails_on_masks([](Mask* from, Mask* out) {
                  Image bits;
                  const int code = Utils::MaskToImage(from, &bits);
                  return code == 0 ? Utils::ImageToMask(&bits, out) : code;
              }));
    EXPECT_LT(0, fails_on_masks([&](Mask* from, Mask* /*out*/) { return Utils::ApplyMask(src.get(), from); }));
    EXPECT_LT(0, fails_on_masks([](Mask* /*from*/, Mask* /*out*/) {
                  Image from(FORMAT_UNSIGNED, 1, 9, 9, true), to(FORMAT_UNSIGNED, 1, 9, 9, true);
                  return Utils::CopyBinaryRegion(&from, &to, 1, 1, 2, 2, 5, 5);
              }));
    a.SetPixelSize(1.0F);
    b.SetPixelSize(0.5F);  // by the complement
    EXPECT_LT(5, fails_on_masks([&](Mask* from, Mask* out) { return Utils::MaskIntersect(from, &b, out); }));
    testing::internal::GetCapturedStdout();
}

/// What a host passes to the entry functions, and gets back.
struct Host {
    std::unique_ptr<Image> image = grey_image(90, 120, [](unsigned x, unsigned y) {
        return x * x + (y - 60) * (y - 60) < 4000 ? 30000 + (x + y < 50 ? 9000 : 0) + 7 * x % 64 : 100 + y % 50;
    });
    Masking::Params params;
    Mask frame, breast = rectangle(0, 60, 5, 110), full, pect, second;
    std::vector<int> contour = std::vector<int>(1440);
    int status = -1;

    explicit Host(bool fast) {
        params.side = SIDE_CHEST_LEFT;
        params.view = VIEW_PECT;
        params.bgNoise = BG_MG;
        params.fullContour = params.pectContour = true;
        params.maskingSpeed = fast;
        params.contour = &contour;
    }
    [[nodiscard]] auto results() const {
        return std::tuple{status,        pixels_of(*image), runs_of(frame),  runs_of(breast),
                          runs_of(full), runs_of(pect),     runs_of(second), contour};
    }
};

/// Lets allocations of `call` fail one by one, some dozens of them, or each with NORVANE_TEST_EVERY_ALLOCATION set:
/// nothing leaks, and the same objects give the right results as soon as there is memory.
template <class Call>
void survives_failures(const char* what, bool fast, Call call) {
    constexpr long kPlenty = 1L << 40;
    constexpr long kSample = 40;
    Host undisturbed(fast);
    countdown = kPlenty;
    call(undisturbed);
    const long allocations = kPlenty - countdown;
    countdown = -1;
    const bool takes_each = std::getenv("NORVANE_TEST_EVERY_ALLOCATION") != nullptr;
    const long step = takes_each ? 1 : 1 + allocations / kSample;
    EXPECT_LT(20, allocations) << what;
    for (long n = 0; n < allocations; n += step) {
        const long before = in_use;
        bool is_right = false, is_thrown = false;
        {
            Host host(fast);
            countdown = n;
            try {
                call(host);
            } catch (const std::bad_alloc&) {
                is_thrown = true;
            }
            countdown = -1;
            call(host);
            is_right = undisturbed.results() == host.results();
        }
        EXPECT_EQ(before, in_use) << what << ", allocation " << n;
        EXPECT_TRUE(is_thrown && is_right) << what << ", allocation " << n;
    }
}

TEST(AllocationFailure, EntryFunctionsLeaveObjectsThatWorkLater) {
    testing::internal::CaptureStdout();
    for (const bool fast : {false, true}) {
        survives_failures("frame", fast, [](Host& h) {
            Mask* frame = &h.frame;
            h.status = NvGenerateFrameMask(h.image.get(), h.params, frame);
        });
        survives_failures("full", fast, [](Host& h) {
            h.status = NvGenerateFullMask(h.image.get(), h.params, &h.frame, &h.full, &h.pect, &h.second);
        });
        survives_failures("muscle", fast, [](Host& h) {
            h.status = NvGeneratePectMask(h.image.get(), h.params, &h.frame, &h.breast, &h.pect);
        });
        for (const bool points : {false, true})
            survives_failures("breast", fast, [points](Host& h) {
                h.params.contourOutput = points;
                h.status = NvGenerateBreastMask(h.image.get(), h.params, &h.frame, &h.full, nullptr);
            });
        survives_failures("preparation", fast, [fast](Host& h) {
            float scale = 0.0F;
            h.image->SetPixelSize(100.0F);
            delete PrepareImage(h.image.get(), scale, BG_MG, fast, nullptr, nullptr, nullptr);
        });
    }
    testing::internal::GetCapturedStdout();
}

}  // namespace
}  // namespace Norvane::Tests
