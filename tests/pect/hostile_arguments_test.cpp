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
    constexpr Image* kMissing = nullptr;
    struct Case {
        const char* what;
        Image* image;
        unsigned missing;  // masks that are null: 1 frame, 2 breast or full, 4 muscle, 8 second
        int side, frame, breast, full, muscle;
    };
    const Case cases[] = {
        {"nothing", good.get(), 0, 1, 0, 0, 0, 12},
        {"no image", kMissing, 0, 1, 7, 7, 7, 8},
        {"an empty image", &none, 0, 1, 7, 7, 7, 8},
        {"no buffer", &no_buffer, 0, 1, 7, 7, 7, 8},
        {"1 bit", &bits, 0, 1, 7, 7, 7, 8},
        {"8 bits", &bytes, 0, 1, 7, 7, 7, 8},
        {"32 bits", &words, 0, 1, 7, 7, 7, 8},
        {"side not given", good.get(), 0, -1, 9, 9, 9, 8},
        {"a side that is none", good.get(), 0, 7, 0, 9, 9, 11},
        {"no frame", good.get(), 1, 1, 0, 0, 0, 12},
        {"no breast", good.get(), 2, 1, 0, 8, 8, 11},
        {"no muscle", good.get(), 4, 1, 0, 0, 0, 12},
        {"no second", good.get(), 8, 1, 0, 0, 0, 12},
    };
    for (const Case& c : cases) {
        if (c.image != nullptr) c.image->SetPixelSize(228.0F);
        Masking::Params p;
        p.side = static_cast<IMAGE_SIDE>(c.side);
        p.view = VIEW_PECT;
        p.bgNoise = BG_MG;
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
        Mask* const masks[] = {&usual, &usual, &empty, &empty,  &sized, &outside,
                               &ends,  &fine,  &unset, &broken, nullptr};
        const auto any_mask = [&] { return masks[random.below(std::size(masks))]; };
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
