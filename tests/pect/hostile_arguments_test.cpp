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

/// Every entry function with arguments drawn from what should never be passed; one object often has several roles.
TEST(HostileArguments, EveryEntryFunctionAnswersAStatus) {
    Random random(11);
    const auto good = grey_image(120, 160, [](unsigned x, unsigned y) { return x * x + y * y < 8000 ? 30000 + x : y; });
    Image nothing, no_buffer(FORMAT_UNSIGNED, 16U, 120, 160, false), overgrown(good.get(), true);
    Image far_away(*good), narrow(FORMAT_UNSIGNED, 16U, 1, 1, true), flat(FORMAT_UNSIGNED, 16U, 0, 7, true);
    overgrown.SetBits(32, false);
    far_away.SetOffX(0xFFFFFFF0U);
    far_away.SetOffY(0xFFFFFFF0U);
    std::vector<Image> depths;
    for (const unsigned bits : {1U, 8U, 16U, 32U}) depths.emplace_back(FORMAT_SIGNED, bits, 120U, 160U, false);
    for (Image& image : depths) image.AllocNewBuffer(true);
    std::vector<Image*> images = {good.get(), good.get(), good.get(), nullptr, &nothing,
                                  &no_buffer, &overgrown, &far_away,  &narrow, &flat};
    for (Image& image : depths) images.push_back(&image);
    for (int round = 0; round < 1500; ++round) {
        Image* image = images[random.below(static_cast<unsigned>(images.size()))];
        if (image != nullptr)
            image->SetPixelSize(
                std::array{228.0F, 228.0F, 228.0F, 0.0F, -228.0F, NAN, INFINITY, 250.0F}[random.below(8)]);
        Mask usual = wedge_breast(), empty, sized = mask_of({}, 228.0F), outside = rectangle(500, 600, 700, 720);
        Mask ends = mask_of({{0, 0, 0xFFFFFFFF}, {0xFFFFFFFF, 7, 9}}), fine = rectangle(9, 300, 9, 400, 114.0F);
        Mask unset = rectangle(9, 60, 9, 90, 0.5F), broken = rectangle(9, 60, 9, 90, random.chance(2) ? NAN : INFINITY);
        const std::array masks{&usual,
                               &usual,
                               &empty,
                               &empty,
                               &sized,
                               &outside,
                               &ends,
                               &fine,
                               &unset,
                               &broken,
                               static_cast<Mask*>(nullptr)};
        const auto any_mask = [&] { return masks[random.below(masks.size())]; };
        Masking::Params p;
        p.side = static_cast<IMAGE_SIDE>(random.between(-2, 3));
        p.view = static_cast<IMAGE_VIEW>(random.between(-2, 3));
        p.bgNoise = static_cast<BG_NOISE>(random.between(-2, 12));
        for (bool* flag :
             {&p.fullContour, &p.singleContour, &p.smoothContour, &p.contourOutput, &p.maskingSpeed, &p.pectContour})
            *flag = random.chance(2);
        p.contourOffset = random.chance(9) ? static_cast<int>(random.below(0xFFFFFFFF)) : 0;
        std::vector<int> points(random.chance(2) ? 1440 : random.below(4));
        p.contour = random.chance(3) ? nullptr : &points;
        int box[4];
        Mask *frame = any_mask(), *breast = any_mask(), *pect = any_mask(), *second = any_mask();
        EXPECT_GE(14, NvGenerateFrameMask(image, p, frame));
        EXPECT_GE(14, NvGenerateBreastMask(image, p, frame, breast, random.chance(2) ? box : nullptr));
        EXPECT_GE(14, NvGenerateFullMask(image, p, frame, breast, pect, second));
        EXPECT_GE(14, NvGeneratePectMask(image, p, frame, breast, pect));
        float scale = 0.0F;
        unsigned short padding[2] = {1, 2};
        if (image == nullptr) {
            EXPECT_EQ(nullptr, PrepareImage(image, scale, p.bgNoise, true, nullptr, padding, padding));
            continue;
        }
        Image copy(*image);
        delete PrepareImage(&copy, scale, p.bgNoise, random.chance(2), nullptr, padding,
                            random.chance(2) ? padding + 1 : nullptr);
    }
}

}  // namespace
}  // namespace Norvane::Tests
