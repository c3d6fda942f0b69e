// SPDX-License-Identifier: Apache-2.0
#include "pect_fixture.h"

#include <cmath>
#include <cstdlib>
#include <vector>

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

/// 2^32 bits, which BufferSize() cannot count: such pixels are the host's. Half a gigabyte, so only where it is asked
/// for.
TEST(HostileArguments, SixteenThousandPixelsASide) {
    if (std::getenv("NORVANE_TEST_LARGE_IMAGE") == nullptr) GTEST_SKIP() << "wants NORVANE_TEST_LARGE_IMAGE";
    constexpr unsigned kSide = 16384;
    EXPECT_THROW(Image(FORMAT_UNSIGNED, 16U, kSide, kSide, true), std::bad_alloc);
    std::vector<unsigned short> pixels(std::size_t{kSide} * kSide, 100);
    for (std::size_t y = 0; y < kSide; ++y) {
        const double dy = (static_cast<double>(y) - kSide / 2.0) / 6000.0;
        const auto width = static_cast<std::ptrdiff_t>(12000.0 * std::sqrt(std::max(0.0, 1.0 - dy * dy)));
        std::fill_n(pixels.begin() + static_cast<std::ptrdiff_t>(y * kSide), width, 30000);
    }
    Image image(reinterpret_cast<unsigned char*>(pixels.data()), FORMAT_UNSIGNED, 16, kSide, kSide, 228.0F, true);
    Masking::Params p;
    p.side = SIDE_CHEST_LEFT;
    p.view = VIEW_PECT;
    Mask frame, breast, full, pect, alone, *found = &frame;
    EXPECT_EQ(0, NvGenerateFrameMask(&image, p, found));
    EXPECT_THROW(NvGenerateBreastMask(&image, p, &frame, &breast, nullptr), std::bad_alloc) << "wants a copy to patch";
    p.bgNoise = BG_MG;
    EXPECT_EQ(0, NvGenerateBreastMask(&image, p, &frame, &breast, nullptr));
    EXPECT_TRUE(breast.HitTest(11000, kSide / 2) && !breast.HitTest(13000, kSide / 2));
    EXPECT_EQ(0, NvGenerateFullMask(&image, p, &frame, &full, &pect, nullptr));
    EXPECT_EQ(12, NvGeneratePectMask(&image, p, &frame, &breast, &alone));
    image.SetPixelSize(70.0F);
    float scale = 0.0F;
    const std::unique_ptr<Image> prepared(PrepareImage(&image, scale, BG_AUTO, true, nullptr, nullptr, nullptr));
    EXPECT_EQ(5030U, prepared->GetWidth());
}

}  // namespace
}  // namespace Norvane::Tests
