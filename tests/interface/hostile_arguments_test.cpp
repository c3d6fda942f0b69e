// SPDX-License-Identifier: Apache-2.0
#include "support/wedge.h"

namespace Norvane::Tests {
namespace {

/// One argument at a time that should not be passed, and the status of each entry function.
TEST(HostileArguments, EachHasItsStatus) {
    const auto good = grey_image(120, 160, [](unsigned x, unsigned y) {
        return x * x + (y - 80) * (y - 80) < 6000 ? 20000 + 30 * x : 100 + y % 30;
    });
    Image no_buffer(FORMAT_UNSIGNED, 16U, 120, 160, false), bits(FORMAT_UNSIGNED, 1U, 120, 160, true);
    Image bytes(FORMAT_UNSIGNED, 8U, 120, 160, true), none;
    constexpr Image* kMissing = nullptr;
    struct Case {
        const char* what;
        Image* image;
        unsigned missing;  // masks that are null: 1 frame, 2 breast or full, 4 muscle, 8 second
        int side, frame, breast, full, muscle;
        float pixel_size = 228.0F;
    };
    const Case cases[] = {
        {"nothing", good.get(), 0, 1, 0, 0, 0, 12},
        {"no image", kMissing, 0, 1, 7, 7, 7, 8},
        {"an empty image", &none, 0, 1, 7, 7, 7, 8},
        {"no buffer", &no_buffer, 0, 1, 7, 7, 7, 8},
        {"1 bit", &bits, 0, 1, 7, 7, 7, 8},
        {"8 bits", &bytes, 0, 1, 7, 7, 7, 8},
        {"side not given", good.get(), 0, -1, 9, 9, 9, 8},
        {"10 % too coarse", good.get(), 0, 1, 6, 6, 6, 8, 250.8F},
        {"nearly", good.get(), 0, 1, 0, 0, 0, 12, 250.79F},
        {"10 % too fine", good.get(), 0, 1, 6, 6, 6, 8, 205.2F},
        {"nearly", good.get(), 0, 1, 0, 0, 0, 12, 205.21F},
        {"no pixel size", good.get(), 0, 1, 6, 6, 6, 8, NAN},
        {"the side comes first", good.get(), 0, -1, 9, 9, 9, 8, NAN},
        {"a side that is none", good.get(), 0, 7, 0, 9, 9, 11},
        {"no frame", good.get(), 1, 1, 0, 0, 0, 12},
        {"no breast", good.get(), 2, 1, 0, 8, 8, 11},
        {"no muscle", good.get(), 4, 1, 0, 0, 0, 12},
        {"no second", good.get(), 8, 1, 0, 0, 0, 12},
    };
    testing::internal::CaptureStdout();
    for (const Case& c : cases) {
        if (c.image != nullptr) c.image->SetPixelSize(c.pixel_size);
        Masking::Params p = params_for(c.side, VIEW_PECT, BG_MG);
        const auto unless_missing = [&c](unsigned which, Mask& mask) {
            return (c.missing & which) != 0 ? nullptr : &mask;
        };
        Mask frame, breast, full, muscle, alone, second, known = rectangle(0, 70, 5, 150);
        Mask *frame_at = unless_missing(1, frame), *second_at = unless_missing(8, second);
        EXPECT_EQ(c.frame, NvGenerateFrameMask(c.image, p, frame_at)) << c.what;
        EXPECT_EQ(c.breast, NvGenerateBreastMask(c.image, p, frame_at, unless_missing(2, breast), nullptr)) << c.what;
        p.fullContour = true;
        EXPECT_EQ(c.full, NvGenerateFullMask(c.image, p, frame_at, unless_missing(2, full), unless_missing(4, muscle),
                                             second_at))
            << c.what;
        EXPECT_EQ(c.muscle,
                  NvGeneratePectMask(c.image, p, frame_at, unless_missing(2, known), unless_missing(4, alone)))
            << c.what;
    }
    EXPECT_EQ(testing::internal::GetCapturedStdout(),
              "(from GenerateBreastMask) Load an image to generate mask!\n"
              "(from GenerateFullMask) Load an image to generate mask!\n"
              "Frame masking fails: 8\n"
              "(from generateMask) Initialize TSO.Mask object first!\n"
              "(from generateMask) Initialize TSO.Mask object first!\n");
}

}  // namespace
}  // namespace Norvane::Tests
