// SPDX-License-Identifier: Apache-2.0
#include "muscle/muscle_line.h"
#include "model/numbers.h"
#include "support/wedge.h"

namespace Norvane::Tests {
namespace {

float radians(float from, double bin) {
    return static_cast<float>(bin * kPi / 180 + static_cast<double>(from) * kPi / 180);
}

/// Votes counted pixel by pixel, each with a row term summed anew.
std::vector<std::uint16_t> plain_votes(const Image& edge, float from, unsigned angles, unsigned bins) {
    std::vector<std::uint16_t> votes(std::size_t{angles} * bins);
    for (unsigned a = 0; a < angles; ++a) {
        const auto theta = static_cast<double>(radians(from, a));
        const float s = static_cast<float>(std::sin(theta)) / 5.0F, c = static_cast<float>(std::cos(theta)) / 5.0F;
        for (unsigned y = 0; y < edge.GetHeight(); ++y) {
            float term = 0.0F;
            for (unsigned i = 0; i < y; ++i) term += s;
            for (unsigned x = 0; x < edge.GetWidth(); ++x) {
                if (grey(edge, x, y) == 0) continue;
                const double bin = std::floor(static_cast<double>(static_cast<float>(x) * c + term));
                if (bin >= 0 && bin < bins) ++votes[static_cast<std::size_t>(bin) * angles + a];
            }
        }
    }
    return votes;
}

TEST(Hough, CountersAndPeakEqualThePlainDefinition) {
    Random random(3);
    for (int round = 0; round < 30; ++round) {
        const unsigned width = 1 + random.below(90), height = 1 + random.below(70);
        const auto edge =
            grey_image(width, height, [&](unsigned, unsigned) { return random.chance(12) ? 65535U : 0U; });
        const auto from = static_cast<float>(random.between(-170, 90)) / (random.chance(2) ? 2.0F : 3.0F);
        const auto peak = strongest_line(edge.get(), {from, from + static_cast<float>(random.between(0, 60))});
        ASSERT_TRUE(peak);
        const unsigned angles = peak->accumulator->GetWidth(), bins = peak->accumulator->GetHeight();
        EXPECT_EQ(truncate_to<unsigned>(std::sqrt(static_cast<double>(width * width + height * height)) / 5 + 0.5),
                  bins);
        const auto expected = plain_votes(*edge, from, angles, bins);
        ASSERT_EQ(expected, pixels_of(*peak->accumulator)) << round;
        std::size_t best = 0;
        for (std::size_t i = 1; i < expected.size(); ++i) best = expected[i] > expected[best] ? i : best;
        const std::size_t bin = best / std::max(angles, 1U), angle = best % std::max(angles, 1U);
        EXPECT_EQ(static_cast<float>(bin) * 5.0F, peak->line.rho);
        EXPECT_EQ(radians(from, static_cast<double>(angle)), peak->line.theta);
    }
}

TEST(Hough, SizesTiesAndLimits) {
    const auto blank = grey_image(100, 100), dot = grey_image(1, 1, [](unsigned, unsigned) { return 1; });
    const auto nothing = strongest_line(blank.get(), {-50.0F, -5.0F});
    EXPECT_EQ((std::pair{45U, 28U}), (std::pair{nothing->accumulator->GetWidth(), nothing->accumulator->GetHeight()}));
    EXPECT_EQ(radians(-50.0F, 0), nothing->line.theta);
    EXPECT_EQ(0.0F, strongest_line(dot.get(), {5.0F, 50.0F})->line.rho) << "no distance bin at all";
    EXPECT_TRUE(strongest_line(dot.get(), {50.0F, NAN}));
    const Image empty(FORMAT_UNSIGNED, 16U, 0, 7, true);
    EXPECT_FALSE(strongest_line(&empty, {5.0F, 50.0F}));
    const auto strip = grey_image(5, 14000, [](unsigned, unsigned) { return 1; });
    EXPECT_EQ(70000U - 65536U, grey(*strongest_line(strip.get(), {0.0F, 1.0F})->accumulator, 0, 0))
        << "an upright line: counters wrap";
    for (const auto& [side, middle, degrees] :
         {std::tuple(1, 2.5F, 5.0F), std::tuple(0, 0.0F, -50.0F), std::tuple(7, 0.0F, 5.0F)}) {
        const auto line = muscle_border(blank.get(), static_cast<IMAGE_SIDE>(side));
        EXPECT_EQ(middle, line->rho) << "only a wall on the left takes the middle of the bin";
        EXPECT_EQ(radians(degrees, 0), line->theta);
    }
}

TEST(PectMaskRows, RunFromTheWallToTheLine) {
    // An upright line in an image of 20 x 10 at (100, 5); the bound mask covers 98 .. 130 of rows 7 .. 9, the last of
    // which gets nothing.
    const auto image = grey_image(20, 10);
    image->SetOffX(100);
    image->SetOffY(5);
    const auto check = [&](const char* why, int side, float rho, unsigned dx, unsigned first, unsigned last) {
        Mask bound = rectangle(98, 130, 7, 9), muscle;
        write_muscle(*image, bound, {{rho, 0.0F}, dx, 2}, static_cast<IMAGE_SIDE>(side), muscle);
        const Runs rows{{7, first, last}, {8, first, last}};
        EXPECT_EQ(last == 0 ? Runs() : rows, runs_of(muscle)) << why;
    };
    check("rounded half up", 1, 3.5F, 2, 100, 106);
    check("clipped to the last column", 1, 40.0F, 0, 100, 119);
    check("on column 0", 1, -2.0F, 2, 100, 100);
    check("left of the image", 1, -2.25F, 2, 0, 0);
    check("not a number", 1, NAN, 2, 0, 0);
    check("at infinity", 1, INFINITY, 2, 100, 119);
    check("from the line to the bound mask", 0, 3.5F, 2, 106, 130);
    check("clipped to column 0", 0, -9.0F, 2, 100, 130);
    check("right of the image", 0, 17.25F, 2, 0, 0);
    check("another side is like right", 5, 17.0F, 2, 119, 130);
    Mask tall = rectangle(0, 0xFFFFFFFF, 0, 16), muscle;
    write_muscle(*image, tall, {{INFINITY, 0.0F}, 0, 0}, SIDE_CHEST_LEFT, muscle);
    EXPECT_EQ(runs_of(rectangle(100, 119, 5, 13)), runs_of(muscle)) << "the image's last row is left out";
}

}  // namespace
}  // namespace Norvane::Tests
