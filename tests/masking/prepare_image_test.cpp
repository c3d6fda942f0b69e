// SPDX-License-Identifier: Apache-2.0
#include "support/builders.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <limits>

namespace Norvane::Tests {
namespace {

std::unique_ptr<Image> prepared(Image& image, BG_NOISE noise = BG_AUTO, bool resample_first = false,
                                unsigned short* value = nullptr, unsigned short* limit = nullptr) {
    float scale = -1.0F;
    return std::unique_ptr<Image>(PrepareImage(&image, scale, noise, resample_first, nullptr, value, limit));
}

TEST(PrepareImage, RefusesWhatItCannotScale) {
    float scale = -1.0F;
    const auto refuses = [&](Image* image) {
        return PrepareImage(image, scale, BG_AUTO, false, nullptr, nullptr, nullptr) == nullptr;
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
    EXPECT_EQ(scale, -1.0F);
}

TEST(PrepareImage, BringsTheImageToTheWorkingPixelSize) {
    auto image = grey_image(
        100, 61, [](unsigned, unsigned) { return 1000U; }, 100.0F);
    image->SetUsedBits(12);
    image->SetOffX(10);
    float scale = 0.0F;
    const std::unique_ptr<Image> result(PrepareImage(image.get(), scale, BG_AUTO, false, nullptr, nullptr, nullptr));
    EXPECT_EQ(scale, 0.4385964870452881F);
    EXPECT_EQ(result->GetWidth(), 44U);
    EXPECT_EQ(result->GetHeight(), 27U);
    EXPECT_EQ(result->GetPixelSize(), 100.0F / (14372.0F / 32768.0F));
    EXPECT_EQ(result->GetOffX(), 4U);
    EXPECT_EQ(result->GetUsedBits(), 12U);
    for (const unsigned v : pixels_of(*result)) ASSERT_EQ(v, 64000U) << "16000, normalised by 4";
    auto same = grey_image(9, 5, [](unsigned x, unsigned y) { return x * 7 + y; });
    same->SetUsedBits(12);
    EXPECT_EQ(prepared(*same)->GetWidth(), 9U);
}

struct GreyCase {
    const char* what;
    unsigned used_bits;
    bool inverted;
    std::vector<unsigned> in, out;
    unsigned short padding_in, padding_out;
};

TEST(PrepareImage, MapsGreyLevels) {
    const GreyCase cases[] = {
        {"12 bits", 12, false, {0, 100, 4095}, {0, 1600, 65520}, 100, 1600},
        {"12 bits, normalised by 3", 12, false, {0, 100, 1300}, {0, 4800, 62400}, 100, 4800},
        {"14 bits", 14, false, {0, 1, 16383}, {0, 4, 65532}, 16383, 65532},
        {"12 bits inverted: 16 * (65535 - v) modulo 65536", 12, true, {0, 4095, 100}, {65520, 0, 63920}, 4095, 0},
        {"16 bits are signed", 16, false, {0, 65535, 32768}, {32768, 32767, 0}, 7, 7},
        {"16 bits inverted", 16, true, {0, 65535, 32768}, {32767, 32768, 65535}, 7, 65528},
        {"more than 16 bits", 17, false, {5, 6, 7}, {0, 0, 0}, 7, 0},
        {"the padding product keeps its low bits", 15, false, {5, 6, 7}, {46810, 56172, 65534}, 9, (9 * 9362) & 0xFFFF},
    };
    for (const GreyCase& c : cases) {
        for (const bool resample_first : {false, true}) {
            auto image = grey_image(4, 1, [&](unsigned x, unsigned) { return c.in[std::min(x, 2U)]; });
            image->SetUsedBits(c.used_bits);
            image->SetNeedsInversion(c.inverted);
            unsigned short value = c.padding_in;
            const auto result = prepared(*image, BG_AUTO, resample_first, &value);
            for (unsigned x = 0; x < 3; ++x) EXPECT_EQ(grey(*result, x, 0), c.out[x]) << c.what << ", pixel " << x;
            EXPECT_EQ(value, c.padding_out) << c.what;
        }
    }
}

TEST(PrepareImage, OneVariableForBothPaddingValuesTakesEveryStepTwice) {
    auto image = grey_image(4, 1, [](unsigned, unsigned) { return 4094U; });  // 16 when inverted, normalised by 4095
    image->SetUsedBits(12);
    image->SetNeedsInversion(true);
    unsigned short value = 4090;
    prepared(*image, BG_AUTO, false, &value, &value);
    const unsigned mapped = (16 * (65535U - 16 * (65535U - 4090U) % 65536)) % 65536;
    EXPECT_EQ(value, mapped * 4095 % 65536 * 4095 % 65536);
}

/// A host's own buffer may have more padding columns than rows get here. A shifted copy is without them.
TEST(PrepareImage, PaddingColumnsThatACopyDoesNotHaveDoNotCount) {
    const auto lent = [](unsigned row_bits, std::vector<std::uint16_t>& pixels) {
        auto image = std::make_unique<Image>(FORMAT_UNSIGNED, row_bits, 5, 6, false);
        image->AlignSize();
        for (unsigned i = 0; i < image->GetStride() * 6; ++i)  // signed; beyond column 5 white
            pixels.push_back(static_cast<std::uint16_t>(i % image->GetStride() < 6 ? 0x8000 + 10 * i : 0x7FFF));
        image->SetBits(16, false);
        image->SetBuffer(reinterpret_cast<unsigned char*>(pixels.data()));
        image->SetPixelSize(228.0F);
        return image;
    };
    for (const bool resample_first : {false, true}) {
        std::vector<std::uint16_t> rows_of_8, rows_of_6;
        const auto wide = lent(8, rows_of_8), aligned = lent(16, rows_of_6);
        for (std::size_t y = 0; y < 6; ++y) std::copy_n(&rows_of_8[8 * y], 6, &rows_of_6[6 * y]);
        EXPECT_EQ(wide->GetStride(), 8U);
        EXPECT_EQ(pixels_of(*prepared(*wide, BG_AUTO, resample_first)),
                  pixels_of(*prepared(*aligned, BG_AUTO, resample_first)));
    }
}

TEST(PrepareImage, OnlyTheClassWithAMidFloorRaisesDarkPixels) {
    for (const BG_NOISE noise : {BG_FIXED_MID, BG_AUTO}) {
        auto image = grey_image(4, 4, [](unsigned x, unsigned) { return x * 1365; });
        image->SetUsedBits(12);
        const auto result = prepared(*image, noise);
        EXPECT_EQ(grey(*result, 0, 0), noise == BG_FIXED_MID ? 10000U : 0U);
        EXPECT_EQ(grey(*result, 3, 3), 65520U);
    }
}

TEST(PrepareImage, ChangesTheSourceOnlyWhereItOwnsItsPixelsAndComesFirst) {
    std::vector<std::uint16_t> pixels(8 * 8, 100);
    for (const bool owns : {true, false}) {
        for (const bool resample_first : {true, false}) {
            for (const unsigned used_bits : {12U, 16U}) {
                auto* data = reinterpret_cast<unsigned char*>(pixels.data());
                Image image(data, FORMAT_UNSIGNED, 16, 8, 8, 100.0F, !owns);
                image.SetUsedBits(used_bits);
                prepared(image, BG_AUTO, resample_first);
                const bool in_place = owns && !resample_first && used_bits != 16;
                EXPECT_EQ(grey(image, 3, 3) != 100, in_place) << owns << resample_first << used_bits;
            }
        }
    }
}

bool resampler_called = false;
Image* halve(Image* image, float& scale) {
    resampler_called = true;
    scale = 0.5F;
    auto result = grey_image(image->GetWidth() / 2, image->GetHeight() / 2,
                             [&](unsigned x, unsigned y) { return grey(*image, 2 * x, 2 * y); });
    result->MatchSecondaryTo(image);
    result->SetPixelSize(228.0F);
    return result.release();
}
Image* fail(Image*, float&) { return nullptr; }

TEST(PrepareImage, AHostsResamplerIsUsedFirstOrNotAtAll) {
    auto image = grey_image(
        8, 8, [](unsigned x, unsigned) { return x == 0 ? 7U : 65535U; }, 114.0F);
    image->SetUsedBits(16);
    float scale = 0.0F;
    std::unique_ptr<Image> result(PrepareImage(image.get(), scale, BG_AUTO, true, halve, nullptr, nullptr));
    EXPECT_TRUE(resampler_called);
    EXPECT_EQ(scale, 0.5F);
    EXPECT_EQ(grey(*result, 0, 0), 7U) << "nothing is shifted";
    resampler_called = false;
    result.reset(PrepareImage(image.get(), scale, BG_AUTO, false, halve, nullptr, nullptr));
    EXPECT_FALSE(resampler_called);
    EXPECT_EQ(result->GetWidth(), 4U);
    EXPECT_EQ(PrepareImage(image.get(), scale, BG_AUTO, true, fail, nullptr, nullptr), nullptr);
}

std::vector<unsigned char> lent_pixels;
template <unsigned Bits>
Image* lend(Image*, float&) {
    lent_pixels.assign(4 * 8 * (Bits / 8), 1);
    auto* image = new Image(lent_pixels.data(), FORMAT_UNSIGNED, 8, 5, 4, 228.0F, true);
    image->SetBits(Bits, false);  // rows of 8 pixels, of which a copy takes 6
    return image;
}
Image* lend_nothing(Image*, float&) { return new Image(nullptr, FORMAT_UNSIGNED, 16, 4, 4, 228.0F, true); }

TEST(PrepareImage, PixelsLentByAResamplerStayAsTheyAre) {
    auto image = grey_image(4, 4, nullptr, 114.0F);
    float scale = 0.0F;
    for (Image* (*resampler)(Image*, float&) : {lend<8>, lend<16>, lend_nothing}) {
        const std::unique_ptr<Image> result(
            PrepareImage(image.get(), scale, BG_AUTO, true, resampler, nullptr, nullptr));
        ASSERT_NE(result, nullptr);
        EXPECT_FALSE(result->GetIsBufferOwner());
        for (const unsigned v : lent_pixels) EXPECT_EQ(v, 1U);
    }
}

}  // namespace
}  // namespace Norvane::Tests
