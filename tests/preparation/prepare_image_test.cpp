// SPDX-License-Identifier: Apache-2.0
#include "support/builders.h"
#include "support/test.h"

namespace Norvane::Tests {
namespace {

std::unique_ptr<Image> prepared(Image& image, bool resample_first) {
    float scale = -1.0F;
    return std::unique_ptr<Image>(PrepareImage(&image, scale, BG_AUTO, resample_first, nullptr, nullptr, nullptr));
}

/// An image of 5 columns that refers to `pixels`. For 8 bits its rows have 8 of them; those of a copy have 6.
Image wrapped(std::vector<std::uint16_t>& pixels, int row_bits, unsigned height) {
    auto* bytes = reinterpret_cast<unsigned char*>(pixels.data());
    Image image(bytes, FORMAT_UNSIGNED, row_bits, 5, height, 228.0F, true);
    image.SetBits(16, false);
    return image;
}

TEST(PrepareImage, RefusesWhatItCannotScale) {
    float scale = -1.0F;
    const auto refuses = [&](Image* image, Image* (*resampler)(Image*, float&) = nullptr) {
        return PrepareImage(image, scale, BG_AUTO, true, resampler, nullptr, nullptr) == nullptr;
    };
    EXPECT_TRUE(refuses(nullptr));
    for (const float size : {228.00002F, 300.0F, 0.0F, -5.0F, std::numeric_limits<float>::quiet_NaN(),
                             std::numeric_limits<float>::infinity()})
        EXPECT_TRUE(refuses(grey_image(4, 4, nullptr, size).get())) << size;
    Image bytes(FORMAT_UNSIGNED, 8, 4, 4, true), none(FORMAT_UNSIGNED, 16, 4, 4, false);
    bytes.SetPixelSize(100.0F);
    none.SetPixelSize(100.0F);
    EXPECT_TRUE(refuses(&bytes));
    EXPECT_TRUE(refuses(&none));
    EXPECT_TRUE(refuses(grey_image(4, 4).get(), [](Image*, float&) -> Image* { return nullptr; }));
    EXPECT_EQ(scale, -1.0F);
}

Image* resampled_by_host(Image* image, float& scale) {
    scale = 0.5F;
    auto result =
        grey_image(image->GetWidth(), image->GetHeight(), [&](unsigned x, unsigned y) { return grey(*image, x, y); });
    result->MatchSecondaryTo(image);
    return result.release();
}

/// Pixels and padding values by themselves, at the working pixel size.
TEST(PrepareImage, MapsGreyLevels) {
    Random random(6);
    for (int round = 0; round < 600; ++round) {
        SCOPED_TRACE(round);
        const bool owns = random.chance(2), inverted = random.chance(2), first = random.chance(2);
        const bool has_host = random.chance(3), is_floored = random.chance(3), shares = random.chance(3);
        const unsigned used_bits = random.chance(3) ? 16 : 8 + random.below(10), end = 65536U >> random.below(9);
        std::vector<std::uint16_t> pixels(6 * 4), whitened, expected;
        for (std::uint16_t& v : pixels) v = static_cast<std::uint16_t>(random.below(end));
        Image image(reinterpret_cast<unsigned char*>(pixels.data()), FORMAT_UNSIGNED, 16, 6, 4, 228.0F, !owns);
        image.SetUsedBits(used_bits);
        image.SetNeedsInversion(inverted);

        const bool is_signed = used_bits == 16 && !has_host;  // nothing is shifted for a host's resampler
        const auto level = [&](unsigned v) {
            return used_bits > 16 ? 0 : ((inverted ? 65535 - v : v) << (16 - used_bits)) % 65536;
        };
        for (const unsigned v : pixels)
            whitened.push_back(static_cast<std::uint16_t>(level(is_signed ? v ^ 32768 : v)));
        const unsigned brightest = std::ranges::max(whitened), factor = brightest == 0 ? 1 : 65535 / brightest;
        for (std::uint16_t& v : whitened) v = static_cast<std::uint16_t>(v * factor);
        for (const std::uint16_t v : whitened) expected.push_back(is_floored ? std::max<std::uint16_t>(v, 10000) : v);

        unsigned short value = static_cast<unsigned short>(random.below(65536)), limit = 1000;
        // One variable for both padding values takes every step twice.
        const unsigned mapped = shares ? level(level(value)) * factor % 65536 * factor : level(value) * factor;
        const std::vector<std::uint16_t> changed = owns && !first && !is_signed ? whitened : pixels;
        float scale = -1.0F;
        const std::unique_ptr<Image> result(PrepareImage(&image, scale, is_floored ? BG_FIXED_MID : BG_AUTO, first,
                                                         has_host ? resampled_by_host : nullptr, &value,
                                                         shares ? &value : &limit));
        ASSERT_EQ(pixels_of(*result), expected);
        ASSERT_EQ(value, mapped % 65536);
        ASSERT_EQ(limit, shares ? 1000 : level(1000) * factor % 65536);
        ASSERT_EQ(pixels_of(image), changed) << "in place only where the pixels are the image's own and come first";
        ASSERT_EQ(scale, first && has_host ? 0.5F : 1.0F) << "a host's resampler is used first or not at all";
    }
}

TEST(PrepareImage, PaddingColumnsThatACopyDoesNotHaveDoNotCount) {
    std::vector<std::uint16_t> rows_of_8, rows_of_6;
    for (unsigned i = 0; i < 8 * 6; ++i) {
        rows_of_8.push_back(static_cast<std::uint16_t>(i % 8 < 6 ? 0x8000 + 10 * i : 0x7FFF));  // signed: white
        if (i % 8 < 6) rows_of_6.push_back(rows_of_8.back());
    }
    Image wide = wrapped(rows_of_8, 8, 6), aligned = wrapped(rows_of_6, 16, 6);
    EXPECT_EQ(wide.GetStride(), 8U);
    for (const bool first : {false, true})
        EXPECT_EQ(pixels_of(*prepared(wide, first)), pixels_of(*prepared(aligned, first)));
}

std::vector<std::uint16_t> lent_pixels(4 * 8, 257);

TEST(PrepareImage, PixelsLentByAResamplerStayAsTheyAre) {
    const auto image = grey_image(4, 4, nullptr, 114.0F);
    const auto lend = [](Image*, float&) { return new Image(wrapped(lent_pixels, 8, 4)); };
    float scale = 0.0F;
    const std::unique_ptr<Image> result(PrepareImage(image.get(), scale, BG_AUTO, true, lend, nullptr, nullptr));
    ASSERT_NE(result, nullptr);
    EXPECT_FALSE(result->GetIsBufferOwner());
    for (const unsigned v : lent_pixels) EXPECT_EQ(v, 257U);
}

}  // namespace
}  // namespace Norvane::Tests
