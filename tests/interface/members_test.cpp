// SPDX-License-Identifier: Apache-2.0
/// Protected members that pass their arguments and the settings to a rule, beside the rule.
#include "contour/contour_to_mask.h"
#include "field/padding_bounds.h"
#include "levels/tissue_thresholds.h"
#include "muscle/muscle_edges.h"
#include "muscle/muscle_line.h"
#include "support/open_contour.h"

namespace Norvane::Tests {
namespace {

/// A breast at a wall on the left, with a muscle, in a frame.
std::unique_ptr<Image> scene() {
    Random random(3);
    const BreastSketch sketch{.radius = 50, .muscle = 40, .frame = 3, .noise = 900, .bright = 20000, .more = 9000};
    return grey_image(90, 120, [&](unsigned x, unsigned y) { return sketch.grey(x, y, 90, 120, random); });
}

TEST(MembersOfMasking, AnswerLikeTheirRules) {
    const auto image = scene();
    OpenContour m;
    m.params.noiseLevel = 700;
    m.backgroundNoiseLevel = 10000;
    std::array<int, 4> box{};
    m.framemasking_for_pixel_padding_images(image.get(), box.data());
    const Bounds field = padding_bounds(image.get(), SIDE_CHEST_LEFT, {0, 700});
    EXPECT_EQ(box, (std::array{field.columns.first, field.columns.last, field.rows.first, field.rows.last}));
    std::vector<int> histogram(64, 1);
    EXPECT_EQ(m.find_tissue_mean(nullptr, histogram.data(), 64), tissue_mean_of(histogram, 10000));
    EXPECT_EQ(m.find_tissue_mean(nullptr, histogram.data(), 0) + m.find_tissue_mean(nullptr, nullptr, 64), 0);
    const auto even = grey_image(300, 400, [](unsigned, unsigned) { return 12000U; });
    Mask breast = rectangle(100, 150, 100, 200), frame = rectangle(0, 299, 0, 399), *in = &breast, *of = &frame;
    EXPECT_EQ(m.check_bg_noise(even.get(), in, of), Masking::MASK_BG_NOISE);
    EXPECT_EQ(m.check_cut_tissue(even.get(), in, of), Masking::MASK_CUT_TISSUE);
    Mask written, meant;
    Contour contour(720, 20.0F);
    EXPECT_EQ(m.write_half_contour_to_mask(contour, &written, &frame, image.get()),
              write_pixels_inside({contour, *m.contourState, SIDE_CHEST_LEFT, *image}, frame, meant));
    EXPECT_EQ(runs_of(written), runs_of(meant));
    EXPECT_EQ(m.write_half_contour_to_mask(contour, nullptr, &frame, image.get()), 1.0);
}

TEST(MembersOfPectDetect, AnswerLikeTheirRules) {
    const auto image = scene();
    Mask bound = rectangle(0, 60, 3, 60), written, meant;
    OpenPectDetect detector;
    detector.imageSide = SIDE_CHEST_LEFT;
    Image *made = image.get(), *counters = nullptr;
    EXPECT_FALSE(detector.get_pect_edge(image.get(), made, &bound, 5, 0.3F, 60, 0) || made != nullptr);
    ASSERT_TRUE(detector.get_pect_edge(image.get(), made, &bound, 5, 0.3F, 0, 60));
    const std::unique_ptr<Image> edges(made);
    EXPECT_EQ(pixels_of(*edges), pixels_of(*muscle_edges(image.get(), &bound, {5, 0.3F, {0, 60}})));
    float rho = 0.0F, theta = 0.0F;
    ASSERT_TRUE(detector.hough_transform(edges.get(), 5.0F, 50.0F, rho, theta, counters));
    const std::unique_ptr<Image> owned(counters);
    const auto peak = strongest_line(edges.get(), {5.0F, 50.0F});
    EXPECT_EQ(std::pair(rho, theta), std::pair(peak->line.rho, peak->line.theta));
    EXPECT_TRUE(detector.generate_pect_mask(image.get(), &bound, &written, rho, theta, 2, 4));
    write_muscle(*image, bound, {peak->line, 2, 4}, SIDE_CHEST_LEFT, meant);
    EXPECT_EQ(runs_of(written), runs_of(meant));
    EXPECT_FALSE(runs_of(meant).empty());
}

}  // namespace
}  // namespace Norvane::Tests
