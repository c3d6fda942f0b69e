// SPDX-License-Identifier: Apache-2.0
#include "rules/noise_class.h"
#include "levels/noise_level.h"
#include "levels/tissue_thresholds.h"
#include "support/builders.h"
#include "support/test.h"

namespace Norvane::Tests {
namespace {

TEST(MaskingState, TheNoiseClassFixesFourSettings) {
    using Settings = std::tuple<int, int, float, float, bool>;  // level, blur, threshold scale, gradient; has padding
    const Settings before{1, 2, 3.0F, 4.0F, false};
    const Settings expected[] = {{65535, 31, 0.4F, 10000.0F, false},
                                 {65535, 11, 0.1F, 400.0F, true},
                                 {65535, 3, 0.1F, 4000.0F, true},
                                 {12345, 11, 0.1F, 10000.0F, true},
                                 {65535, 31, 0.33F, 10000.0F, false},
                                 {11000, 31, 0.25F, 10000.0F, false},
                                 {20000, 31, 0.4F, 10000.0F, false},
                                 {65535, 11, 0.1F, 4000.0F, true},
                                 {65535, 11, 0.1F, 4000.0F, true},
                                 {65535, 31, 0.33F, 10000.0F, false},
                                 before};
    for (int c = -1; c <= 10; ++c) {
        OpenMasking m;
        std::tie(m.backgroundNoiseLevel, m.blurSize, m.threshScale, m.gradientThreshold) = std::tuple(1, 2, 3.0F, 4.0F);
        m.SetBackgroundNoise(static_cast<BG_NOISE>(c), 12345);
        EXPECT_EQ(m.GetBackgroundNoise(), c);
        EXPECT_EQ(Settings(m.GetBackgroundNoiseLevel(), m.GetBlurSize(), m.GetThreshScale(), m.GetGradientThreshold(),
                           rules_of(m.GetBackgroundNoise()).has_padding),
                  c < 0 ? before : expected[c])
            << c;
        EXPECT_EQ(m.params.noiseLevel, c == BG_GIVEN_LEVEL ? 12345 : 0) << c;
    }
}

TEST(MaskingState, AnOperationReplacesWhatTheClassFixesAndNothingElse) {
    OpenMasking m;
    m.SetGradientThreshold(123.0F);
    m.SetGradientScale(7.0F);
    m.SetChangeThreshold(false);
    Mask frame, *out = &frame;
    EXPECT_EQ(m.GenerateFrameMask(grey_image(40, 40).get(), {}, out, true), Masking::MASK_NO_SIDE);
    const auto settings = [&] { return std::tuple(m.gradientThreshold, m.GetGradientScale(), m.GetChangeThreshold()); };
    EXPECT_EQ(settings(), std::tuple(10000.0F, 7.0F, false));
    m.params.side = SIDE_CHEST_LEFT;
    m.init();
    EXPECT_EQ(settings(), std::tuple(10000.0F, 1.5F, true));
    EXPECT_EQ(m.params.side, SIDE_CHEST_LEFT) << "the parameters stay";
}

TEST(MaskingState, CopiesHaveAContourStateOfTheirOwn) {
    OpenMasking source;
    source.contourState = new ContourState;
    source.contourState->centreRow = 17;
    OpenMasking copy(source), assigned;
    assigned = source;
    OpenMasking& alias = assigned;
    assigned = alias;
    source.contourState->centreRow = 99;
    for (const OpenMasking* m : {&copy, &assigned}) EXPECT_EQ(m->contourState->centreRow, 17);
    assigned = OpenMasking();
    EXPECT_EQ(assigned.contourState, nullptr);
}

TEST(NoiseLevel, LiesAboveTheBackgroundPeak) {
    // An image whose grey levels come in the given counts; the rest is `rest`. Its border has 2 * (256 + 128) = 768
    // pixels, and as many make a peak thick.
    using Counts = std::vector<std::pair<unsigned, unsigned>>;
    const auto check = [&](const char* what, BG_NOISE noise_class, const Counts& counts, unsigned rest, int level) {
        const auto image = grey_image(256, 128, [rest](unsigned, unsigned) { return rest; });
        unsigned at = 0;
        for (const auto& [grey, count] : counts)
            for (const unsigned end = at + count; at < end; ++at) set_grey(*image, at % 256, at / 256, grey);
        EXPECT_EQ(automatic_level(image.get(), rules_of(noise_class)).noise_level, level) << what;
    };
    check("peak in bin 10 of 512", BG_AUTO, {{10 * 128, 900}}, 60000, 12 * 128);
    check("first of two equal peaks", BG_AUTO, {{10 * 128, 900}, {30 * 128 + 127, 900}}, 60000, 12 * 128);
    check("black background", BG_AUTO, {{127, 9001}, {10 * 128, 900}}, 60000, 128);
    check("not quite black", BG_AUTO, {{127, 9000}, {10 * 128, 900}}, 60000, 12 * 128);
    check("black background, medium", BG_AUTO_MEDIUM, {{0, 9001}, {10 * 512, 900}}, 60000, 3 * 512);
    check("coarse bins", BG_AUTO_COARSE, {{5 * 1024, 900}}, 65000, 8 * 1024);
    check("raw bins", BG_MG_RAW, {{5 * 1024, 900}}, 65000, 8 * 1024);
    check("medium bins", BG_AUTO_MEDIUM, {{5 * 512, 900}}, 65000, 8 * 512);
    check("peak at the limit", BG_AUTO, {{200 * 128, 900}}, 60000, 128);
    check("peak before the limit", BG_AUTO, {{199 * 128, 900}}, 60000, 201 * 128);
    check("peak at the limit, coarse", BG_AUTO_COARSE, {{28 * 1024, 900}}, 65000, 1024);
    check("peak at the limit, medium", BG_AUTO_MEDIUM, {{56 * 512, 900}}, 65000, 3 * 512);
    check("thin: searched up to bin 456", BG_AUTO, {{10 * 128, 767}}, 300 * 128, 302 * 128);
    check("thick: not searched", BG_AUTO, {{10 * 128, 768}}, 300 * 128, 12 * 128);
    check("thin, in the upper half of coarse bins", BG_AUTO_COARSE, {{5 * 1024, 767}}, 40 * 1024, 42 * 1024);
    check("thin, at the widened limit", BG_AUTO, {}, 456 * 128, 128);
    check("nothing in the searched bins", BG_AUTO, {}, 0, 256);
    Image bytes(FORMAT_UNSIGNED, 8, 4, 4, true);
    EXPECT_EQ(automatic_level(&bytes, rules_of(BG_AUTO)).noise_level, 0);
}

TEST(TissueMean, LeavesOutNoiseAndTheBrightestBins) {
    std::vector<int> histogram(64, 0), hundred(100, 0);
    EXPECT_EQ(tissue_mean_of(histogram, 2047), 0);  // the last level of bin 1
    histogram[1] = histogram[59] = 1000000;
    histogram[2] = 1;
    histogram[58] = 2;
    EXPECT_EQ(tissue_mean_of(histogram, 2047), (2 * 1024 + 2 * 58 * 1024) / 3);
    EXPECT_EQ(tissue_mean_of(histogram, 65535), 0);
    hundred[92] = 1;
    EXPECT_EQ(tissue_mean_of(hundred, 0), 92 * 655)
        << "8 % of 100 bins, at the single-precision 0.08, are 7.9999998: seven bins";
}

TEST(Thresholds, FollowTheTissueMeanAndTheContrast) {
    // The mean of one bin of 64 is its lower edge. Of 128 pixels `brighter` are one bin brighter. The scale is 0.33
    // times `factor`.
    const auto check = [](unsigned bin, std::uint16_t noise_level, int threshold, double factor, int brighter = 0) {
        GreyHistogram histogram(kTissueParts);
        histogram[bin] = 128 - brighter;
        histogram[bin + 1] = brighter;
        const TissueThresholds found = tissue_thresholds(histogram, noise_level, 0.33F);
        EXPECT_EQ(found.background_level, 10000);
        EXPECT_EQ(found.tissue_threshold, threshold) << bin;
        EXPECT_EQ(found.threshold_scale, static_cast<float>(double{0.33F} * factor)) << bin;
        EXPECT_EQ(found.is_low_contrast, factor != 1.0) << bin;
    };
    check(30, 2000, 20360, 1.0);      // 30720: ratio 3.07
    check(29, 2000, 2200, 1.0);       // 29696: ratio 2.9696, tissue below 30000
    check(28, 2000, 2200, 1.25);      // 2.8672
    check(25, 2000, 2200, 1.25);      // 2.56
    check(24, 2000, 2200, 1.5);       // 2.4576
    check(22, 2000, 2200, 1.5);       // 2.2528 is not below 2.25
    check(20, 2000, 2200, 1.75);      // 2.048
    check(18, 2000, 2200, 1.9);       // 1.8432
    check(15, 2000, 2200, 2.01);      // 1.536
    check(14, 2000, 2200, 2.02);      // 1.4336
    check(14, 2000, 2200, 2.01, 83);  // 1.5 exactly
    check(10, 65535, 6552, 2.02);     // the low 16 bits of 72088; no tissue at all
}

}  // namespace
}  // namespace Norvane::Tests
