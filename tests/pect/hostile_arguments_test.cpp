// SPDX-License-Identifier: Apache-2.0
#include "pect_fixture.h"

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

TEST(HostileArguments, ImagesOfOtherDepthsOrWithoutPixelsAreNone) {
    Image no_buffer(FORMAT_UNSIGNED, 16U, 120, 160, false), bits(FORMAT_UNSIGNED, 1U, 120, 160, true);
    Image bytes(FORMAT_UNSIGNED, 8U, 120, 160, true), words(FORMAT_SIGNED, 32U, 120, 160, true);
    Masking::Params p;
    p.side = SIDE_CHEST_LEFT;
    for (Image* image : {&no_buffer, &bits, &bytes, &words}) {
        image->SetPixelSize(228.0F);
        SCOPED_TRACE(image->GetBits());
        Mask frame, breast = wedge_breast(), pect, *found = &frame;
        EXPECT_EQ(Masking::MASK_NO_IMAGE, NvGenerateFrameMask(image, p, found));
        EXPECT_EQ(Masking::MASK_NO_IMAGE, NvGenerateBreastMask(image, p, found, &breast, nullptr));
        EXPECT_EQ(Masking::MASK_NO_IMAGE, NvGenerateFullMask(image, p, found, &breast, &pect, nullptr));
        EXPECT_EQ(Masking::MASK_NO_MASK, NvGeneratePectMask(image, p, found, &breast, &pect));
    }
}

}  // namespace
}  // namespace Norvane::Tests
