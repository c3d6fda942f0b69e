// SPDX-License-Identifier: Apache-2.0
#include "model/working_image.h"
#include "support/builders.h"

#include <gtest/gtest.h>

#include <tuple>
#include <vector>

namespace Norvane::Tests {
namespace {

TEST(MaskingState, StartsWithTheDefaults) {
    const Masking m;
    EXPECT_EQ(std::tuple(15500, BG_AUTO, 31, 10000.0F, 1.5F, true, false, false, 0, 720U),
              std::tuple(m.GetBackgroundNoiseLevel(), m.GetBackgroundNoise(), m.GetBlurSize(), m.GetGradientThreshold(),
                         m.GetGradientScale(), m.GetChangeThreshold(), m.GetSnapToChestWall(), m.GetMaskingSpeed(),
                         m.GetPixelPaddingValueRangeLimit(), Masking::GetSizeForContour()));
    const Masking::Params p;
    EXPECT_EQ(std::tuple(true, true, SIDE_UNDEFINED, VIEW_UNDEFINED),
              std::tuple(p.smoothContour, p.checkCutTissue, p.side, p.view));
}

struct ClassCase {
    int noise_class;
    int level, blur;
    float scale, gradient;
    bool has_padding = false;
};

TEST(MaskingState, TheNoiseClassFixesFourSettings) {
    const ClassCase cases[] = {
        {0, 65535, 31, 0.4F, 10000.0F},
        {1, 65535, 11, 0.1F, 400.0F, true},
        {2, 65535, 3, 0.1F, 4000.0F, true},
        {3, 12345, 11, 0.1F, 10000.0F, true},
        {4, 65535, 31, 0.33F, 10000.0F},
        {5, 11000, 31, 0.25F, 10000.0F},
        {6, 20000, 31, 0.4F, 10000.0F},
        {7, 65535, 11, 0.1F, 4000.0F, true},
        {8, 65535, 11, 0.1F, 4000.0F, true},
        {9, 65535, 31, 0.33F, 10000.0F},
        {10, 1, 2, 3.0F, 4.0F},
        {-1, 1, 2, 3.0F, 4.0F},
    };
    for (const ClassCase& c : cases) {
        OpenMasking masking;
        masking.backgroundNoiseLevel = 1;
        masking.blurSize = 2;
        masking.threshScale = 3.0F;
        masking.gradientThreshold = 4.0F;
        masking.SetBackgroundNoise(static_cast<BG_NOISE>(c.noise_class), 12345);
        EXPECT_EQ(masking.GetBackgroundNoise(), c.noise_class);
        EXPECT_EQ(masking.GetBackgroundNoiseLevel(), c.level) << c.noise_class;
        EXPECT_EQ(masking.GetBlurSize(), c.blur) << c.noise_class;
        EXPECT_EQ(masking.GetThreshScale(), c.scale) << c.noise_class;
        EXPECT_EQ(masking.GetGradientThreshold(), c.gradient) << c.noise_class;
        EXPECT_EQ(is_padding_class(masking.GetBackgroundNoise()), c.has_padding) << c.noise_class;
        EXPECT_EQ(masking.params.noiseLevel, c.noise_class == 3 ? 12345 : 0) << c.noise_class;
    }
}

TEST(MaskingState, AnOperationReplacesWhatTheClassFixesAndNothingElse) {
    OpenMasking masking;
    masking.SetGradientThreshold(123.0F);
    masking.SetGradientScale(7.0F);
    masking.SetChangeThreshold(false);
    Mask frame, *out = &frame;
    EXPECT_EQ(masking.GenerateFrameMask(grey_image(40, 40).get(), {}, out, true), Masking::MASK_NO_SIDE);
    EXPECT_EQ(masking.GetGradientThreshold(), 10000.0F);
    EXPECT_EQ(masking.GetGradientScale(), 7.0F);
    EXPECT_FALSE(masking.GetChangeThreshold());
    masking.params.side = SIDE_CHEST_LEFT;
    masking.init();
    EXPECT_EQ(masking.GetGradientScale(), 1.5F);
    EXPECT_TRUE(masking.GetChangeThreshold());
    EXPECT_EQ(masking.params.side, SIDE_CHEST_LEFT) << "the parameters stay";
}

TEST(MaskingState, CopiesHaveAContourStateOfTheirOwn) {
    OpenMasking source;
    source.contourState = new ContourState;
    source.contourState->centreRow = 17;
    OpenMasking copy(source), assigned;
    assigned = source;
    source.contourState->centreRow = 99;
    for (const OpenMasking* m : {&copy, &assigned}) {
        ASSERT_NE(m->contourState, nullptr);
        EXPECT_EQ(m->contourState->centreRow, 17);
    }
    OpenMasking& alias = assigned;
    assigned = alias;
    EXPECT_EQ(assigned.contourState->centreRow, 17);
    assigned = OpenMasking();
    EXPECT_EQ(assigned.contourState, nullptr);
}

/// An image of 256 columns whose grey levels come in the given counts; the rest is `rest`.
std::unique_ptr<Image> image_of(const std::vector<std::pair<unsigned, unsigned>>& counts, unsigned rest) {
    auto image = grey_image(256, 128, [rest](unsigned, unsigned) { return rest; });
    unsigned at = 0;
    for (const auto& [level, count] : counts)
        for (unsigned i = 0; i < count; ++i, ++at) set_grey(*image, at % 256, at / 256, level);
    return image;
}

struct LevelCase {
    const char* what;
    BG_NOISE noise_class;
    std::vector<std::pair<unsigned, unsigned>> counts;
    unsigned rest;
    int level;
};

TEST(NoiseLevel, LiesAboveTheBackgroundPeak) {
    // 2 * (256 + 128) = 768 pixels make a peak thick.
    const LevelCase cases[] = {
        {"peak in bin 10 of 512", BG_AUTO, {{10 * 128, 900}}, 60000, 12 * 128},
        {"first of two equal peaks", BG_AUTO, {{10 * 128, 900}, {30 * 128 + 127, 900}}, 60000, 12 * 128},
        {"black background", BG_AUTO, {{127, 9001}, {10 * 128, 900}}, 60000, 128},
        {"not quite black", BG_AUTO, {{127, 9000}, {10 * 128, 900}}, 60000, 12 * 128},
        {"black background, medium", BG_AUTO_MEDIUM, {{0, 9001}, {10 * 512, 900}}, 60000, 3 * 512},
        {"coarse bins", BG_AUTO_COARSE, {{5 * 1024, 900}}, 65000, 8 * 1024},
        {"raw bins", BG_MG_RAW, {{5 * 1024, 900}}, 65000, 8 * 1024},
        {"medium bins", BG_AUTO_MEDIUM, {{5 * 512, 900}}, 65000, 8 * 512},
        {"peak at the limit", BG_AUTO, {{200 * 128, 900}}, 60000, 128},
        {"peak before the limit", BG_AUTO, {{199 * 128, 900}}, 60000, 201 * 128},
        {"peak at the limit, coarse", BG_AUTO_COARSE, {{28 * 1024, 900}}, 65000, 1024},
        {"peak at the limit, medium", BG_AUTO_MEDIUM, {{56 * 512, 900}}, 65000, 3 * 512},
        {"thin: searched up to bin 456", BG_AUTO, {{10 * 128, 767}}, 300 * 128, 302 * 128},
        {"thick: not searched", BG_AUTO, {{10 * 128, 768}}, 300 * 128, 12 * 128},
        {"thin, in the upper half of coarse bins", BG_AUTO_COARSE, {{5 * 1024, 767}}, 40 * 1024, 42 * 1024},
        {"thin, at the widened limit", BG_AUTO, {}, 456 * 128, 128},
        {"nothing in the searched bins", BG_AUTO, {}, 0, 256},
    };
    for (const LevelCase& c : cases) {
        OpenMasking masking;
        masking.params.bgNoise = c.noise_class;
        EXPECT_EQ(masking.auto_calc_noise_level(image_of(c.counts, c.rest).get()), c.level) << c.what;
    }
    Image bytes(FORMAT_UNSIGNED, 8, 4, 4, true);
    OpenMasking masking;
    EXPECT_EQ(masking.auto_calc_noise_level(&bytes), 0);
}

TEST(TissueMean, LeavesOutNoiseAndTheBrightestBins) {
    OpenMasking masking;
    std::vector<int> histogram(64, 0);
    masking.backgroundNoiseLevel = 2047;  // the last level of bin 1
    EXPECT_EQ(masking.find_tissue_mean(nullptr, histogram.data(), 64), 0);
    histogram[1] = histogram[59] = 1000000;
    histogram[2] = 1;
    histogram[58] = 2;
    EXPECT_EQ(masking.find_tissue_mean(nullptr, histogram.data(), 64), (2 * 1024 + 2 * 58 * 1024) / 3);
    masking.backgroundNoiseLevel = 65535;
    EXPECT_EQ(masking.find_tissue_mean(nullptr, histogram.data(), 64), 0);
    // 8 % of 100 bins, at the single-precision 0.08, are 7.9999998: seven bins.
    std::vector<int> hundred(100, 0);
    masking.backgroundNoiseLevel = 0;
    hundred[92] = 1;
    EXPECT_EQ(masking.find_tissue_mean(nullptr, hundred.data(), 100), 92 * 655);
}

struct ThresholdCase {
    unsigned tissue_level;  // one of the 64 bins' lower edges
    int level, threshold;
    float scale;
    bool changes;
    unsigned brighter = 0;  // pixels of 128 that are one bin brighter
};

TEST(Thresholds, FollowTheTissueMeanAndTheContrast) {
    // The mean of a uniform image is its bin's lower edge. Scale 0.33 of the default class.
    const auto times = [](double factor) { return static_cast<float>(static_cast<double>(0.33F) * factor); };
    const ThresholdCase cases[] = {
        {34 * 1024, 2000, 22408, 0.33F, false},          // 34816: ratio 3.48
        {30 * 1024, 2000, 20360, 0.33F, false},          // 30720
        {29 * 1024, 2000, 2200, 0.33F, false},           // 29696: ratio 2.9696, tissue below 30000
        {28 * 1024, 2000, 2200, times(1.25), true},      // 2.8672
        {25 * 1024, 2000, 2200, times(1.25), true},      // 2.56
        {24 * 1024, 2000, 2200, times(1.5), true},       // 2.4576
        {22 * 1024, 2000, 2200, times(1.5), true},       // 2.2528 is not below 2.25
        {20 * 1024, 2000, 2200, times(1.75), true},      // 2.048
        {18 * 1024, 2000, 2200, times(1.9), true},       // 1.8432
        {15 * 1024, 2000, 2200, times(2.01), true},      // 1.536
        {14 * 1024, 2000, 2200, times(2.02), true},      // 1.4336
        {14 * 1024, 2000, 2200, times(2.01), true, 83},  // 1.5 exactly
        {10 * 1024, 65535, 6552, times(2.02), true},     // the low 16 bits of 72088; no tissue at all
    };
    for (const ThresholdCase& c : cases) {
        OpenMasking masking;
        masking.contourState = new ContourState;
        masking.backgroundNoiseLevel = static_cast<unsigned short>(c.level);
        auto image = grey_image(
            16, 8, [&](unsigned x, unsigned y) { return c.tissue_level + (16 * y + x < c.brighter ? 1029 : 5); });
        masking.extract_thresholds(image.get());
        EXPECT_EQ(masking.contourState->backgroundLevel, 10000);
        EXPECT_EQ(masking.contourState->tissueThreshold, c.threshold) << c.tissue_level;
        EXPECT_EQ(masking.contourState->thresholdScale, c.scale) << c.tissue_level;
        EXPECT_EQ(masking.GetChangeThreshold(), !c.changes) << c.tissue_level;
    }
}

}  // namespace
}  // namespace Norvane::Tests
