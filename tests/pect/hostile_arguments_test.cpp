// SPDX-License-Identifier: Apache-2.0
#include "pect_fixture.h"

#include <array>

namespace Norvane::Tests {
namespace {

/// Every entry of the room with images, masks and pixel sizes that fit nothing; the sanitizers judge.
TEST(HostileArguments, ReadAndWriteNothingOutside) {
    Mask usual = wedge_breast(), empty, huge = mask_of({{0, 0, 0xFFFFFFFF}, {0xFFFFFFFF, 7, 9}});
    const auto good = grey_image(120, 160, [](unsigned x, unsigned) { return 500 + x; });
    Image no_buffer(FORMAT_UNSIGNED, 16U, 120, 160, false), bytes(FORMAT_UNSIGNED, 8U, 120, 160, true);
    for (Image* image : {good.get(), &no_buffer, &bytes, static_cast<Image*>(nullptr)})
        for (Mask* mask : {&usual, &empty, &huge, static_cast<Mask*>(nullptr)})
            for (const float size : {228.0F, 0.0F, -1.0F, NAN, 1e-20F, INFINITY})
                for (const IMAGE_SIDE side : {SIDE_CHEST_LEFT, SIDE_CHEST_RIGHT, SIDE_UNDEFINED}) {
                    if (image != nullptr) image->SetPixelSize(size);
                    OpenMasking m;
                    m.params.side = side;
                    m.params.view = VIEW_PECT;
                    const auto out = grey_image(120, 160), copy = grey_image(3, 3);
                    Image *patched = out.get(), *small = copy.get(), *roi = nullptr;
                    m.patch_chestwall(image, mask, patched);
                    m.ChestWallPatch(image, m.params, small);
                    EXPECT_EQ(m.contourState != nullptr, image == good.get()) << "made once the image is usable";
                    EXPECT_EQ(3U, copy->GetWidth());
                    m.check_bg_noise(image, mask, mask);
                    const std::unique_ptr<Mask> estimate(m.generate_pect(image, mask, mask));
                    m.check_cut_tissue(image, mask, mask);
                    OpenPectDetect d;
                    d.PectSegGenerate(image, mask, mask, side, VIEW_PECT, nullptr);
                    d.get_roi(image, mask, side, roi);
                    delete roi;
                }
}

/// One argument at a time that should not be passed, and the status of each entry function.
TEST(HostileArguments, EachHasItsStatus) {
    const auto good = grey_image(120, 160, [](unsigned x, unsigned y) {
        return x * x + (y - 80) * (y - 80) < 6000 ? 20000 + 30 * x : 100 + y % 30;
    });
    Image no_buffer(FORMAT_UNSIGNED, 16U, 120, 160, false), bits(FORMAT_UNSIGNED, 1U, 120, 160, true);
    Image bytes(FORMAT_UNSIGNED, 8U, 120, 160, true), words(FORMAT_SIGNED, 32U, 120, 160, true), none;
    enum Missing { kNothing = 0, kFrame = 1, kBreast = 2, kMuscle = 4, kSecond = 8 };
    using Statuses = std::array<int, 4>;  // for frame, breast, full mask and muscle
    const auto check = [](const char* what, Image* image, int missing, int side, const Statuses& expected) {
        if (image != nullptr) image->SetPixelSize(228.0F);
        Masking::Params p;
        p.side = static_cast<IMAGE_SIDE>(side);
        p.view = VIEW_PECT;
        p.bgNoise = BG_MG;
        Mask frame, breast, full, muscle, alone, second, known = rectangle(0, 70, 5, 150);
        const auto given = [missing](Missing which, Mask& mask) { return (missing & which) != 0 ? nullptr : &mask; };
        Mask* frame_at = given(kFrame, frame);
        Statuses found{NvGenerateFrameMask(image, p, frame_at),
                       NvGenerateBreastMask(image, p, frame_at, given(kBreast, breast), nullptr), 0,
                       NvGeneratePectMask(image, p, frame_at, given(kBreast, known), given(kMuscle, alone))};
        p.fullContour = true;
        found[2] = NvGenerateFullMask(image, p, frame_at, given(kBreast, full), given(kMuscle, muscle),
                                      given(kSecond, second));
        EXPECT_EQ(expected, found) << what;
    };
    for (Image* unusable : {static_cast<Image*>(nullptr), &none, &no_buffer, &bits, &bytes, &words})
        check("no image of 16 bits", unusable, kNothing, 1, {7, 7, 7, 8});
    check("nothing", good.get(), kNothing, 1, {0, 0, 0, 12});
    check("side not given", good.get(), kNothing, -1, {9, 9, 9, 8});
    check("a side that is none", good.get(), kNothing, 7, {0, 9, 9, 11});
    check("no frame", good.get(), kFrame, 1, {0, 0, 0, 12});
    check("no breast", good.get(), kBreast, 1, {0, 8, 8, 11});
    check("no muscle", good.get(), kMuscle, 1, {0, 0, 0, 12});
    check("no second", good.get(), kSecond, 1, {0, 0, 0, 12});
}

}  // namespace
}  // namespace Norvane::Tests
