// SPDX-License-Identifier: Apache-2.0
#include "muscle/muscle_contrast.h"
#include "support/wedge.h"

namespace Norvane::Tests {
namespace {

using Status = PectDetect::PECT_STATUS;
using enum PectDetect::PECT_STATUS;

struct Verdict {
    Status pooled, paired;
};

/// Both tests as their definitions say, pixel by pixel.
Verdict plain_verdict(const Image& image, float rho, float theta, int dx, int dy, int side) {
    const int w = static_cast<int>(image.GetWidth()), h = static_cast<int>(image.GetHeight());
    const auto s = static_cast<float>(std::sin(static_cast<double>(theta))),
               c = static_cast<float>(std::cos(static_cast<double>(theta)));
    double n[2] = {}, sum[2] = {}, squares[2] = {}, distance = 0.0;
    float paired_sum = 0.0F, paired_squares = 0.0F;
    int rows = 0;
    for (int y = std::max(dy, 0); y < h; ++y) {
        const float x = (rho - static_cast<float>(y - dy) * s) / c + static_cast<float>(dx);
        if (!(x >= 0.0F) || x > static_cast<float>(w - 1)) continue;
        const int xi = static_cast<int>(x);
        distance += side == 1 ? xi : w - xi;
        unsigned count[2] = {}, total[2] = {};
        for (int column = 0; column < w; ++column) {
            const unsigned p = grey(image, static_cast<unsigned>(column), static_cast<unsigned>(y));
            if (column == xi || std::abs(column - xi) > 30 || p == 0) continue;
            const int strip = column < xi ? 0 : 1;
            ++count[strip];
            total[strip] += p;
            n[strip] += 1;
            sum[strip] += p;
            squares[strip] += static_cast<double>(p) * p;
        }
        if (count[0] == 0 || count[1] == 0) continue;
        const auto left = static_cast<long double>(total[0]) / count[0],
                   right = static_cast<long double>(total[1]) / count[1];
        const auto d = static_cast<float>(left - right);
        paired_sum += d;
        paired_squares += d * d;
        ++rows;
    }
    if (3 * distance > 2.0 * w * h) return {PECT_NOT_FOUND, PECT_NOT_FOUND};
    Verdict verdict{PECT_FAIL, PECT_FAIL};
    if (n[0] > 0 && n[1] > 0) {
        const int muscle = side == 1 ? 0 : 1, tissue = 1 - muscle;
        const auto mean = [&](int i) { return sum[i] / n[i]; };
        const auto error = [&](int i) { return (squares[i] / n[i] - mean(i) * mean(i)) / n[i]; };
        const double t = (mean(muscle) - mean(tissue)) / std::sqrt(error(muscle) + error(tissue));
        verdict.pooled = t > 25.0 ? PECT_PASS : t > 8.5 ? PECT_WEAK : PECT_FAIL;
    }
    if (rows > 0) {
        const auto count = static_cast<float>(rows);
        float m = paired_sum / count;
        if (side != 1) m = -m;
        const float spread = (paired_squares / count - m * m) / static_cast<float>(rows - 1);
        const float t = m / static_cast<float>(std::sqrt(static_cast<double>(spread)));
        if (t > 15.0F) verdict.paired = PECT_PASS;
    }
    return verdict;
}

TEST(PectVerify, BothTestsEqualTheirDefinitions) {
    Random random(21);
    std::multiset<int> seen;
    for (int round = 0; round < 400; ++round) {
        const unsigned width = 2 + random.below(120), height = 1 + random.below(60), noise = 1 + random.below(3000);
        const unsigned step = random.below(1500), edge = random.below(width), zeros = 2 + random.below(100);
        const auto side = static_cast<IMAGE_SIDE>(random.between(0, 2));
        const auto image = grey_image(width, height, [&](unsigned x, unsigned) {
            if (random.chance(zeros)) return 0U;
            return 9000 + random.below(noise) + ((x < edge) == (side == 1) ? step : 0U);
        });
        const int dx = random.between(-5, 20), dy = random.between(-5, static_cast<int>(height) + 1);
        const float rho =
            static_cast<float>(static_cast<int>(edge) - dx) + static_cast<float>(random.below(100)) / 100.0F;
        const auto theta = static_cast<float>(random.between(-100, 100)) / 1000.0F;
        const Verdict expected = plain_verdict(*image, rho, theta, dx, dy, side);
        EXPECT_EQ(expected.pooled, verify_by_strips(image.get(), {{rho, theta}, dx, dy}, side)) << round;
        EXPECT_EQ(expected.paired, verify_by_pairs(image.get(), {{rho, theta}, dx, dy}, side)) << round;
        seen.insert(expected.pooled);
        seen.insert(10 + expected.paired);
    }
    // The sample is worth something only if every answer is in it.
    for (const int status : {0, 2, 4, 5, 10, 12, 14}) EXPECT_GT(seen.count(status), 5U) << status;
}

TEST(PectVerify, MeansOfARowAreRoundedOnlyInTheirDifference) {
    // t is 15.0006; with means rounded to float it would be 14.9990.
    constexpr unsigned kRows[3][6] = {{20080, 20094, 20088, 20024, 20026, 20026},
                                      {20086, 20079, 20067, 20035, 20012, 20029},
                                      {20099, 20070, 20070, 20012, 20036, 20026}};
    const auto image = grey_image(6, 3, [&](unsigned x, unsigned y) { return kRows[y][x]; });
    EXPECT_EQ(PECT_PASS, verify_by_pairs(image.get(), {{3.0F, 0.0F}, 0, 0}, SIDE_CHEST_LEFT));
}

TEST(PectVerify, LimitsAndMissingInput) {
    const auto step = grey_image(20, 2, [](unsigned x, unsigned) { return x < 10 ? 300U : 200U; });
    const auto flat = grey_image(30, 4, [](unsigned, unsigned) { return 300U; });
    Image no_buffer(FORMAT_UNSIGNED, 16U, 30, 30, false);
    const auto check = [&](const char* why, Image* image, float rho, int dy, int side, Status pooled, Status paired) {
        const auto wall = static_cast<IMAGE_SIDE>(side);
        EXPECT_EQ(pooled, verify_by_strips(image, {{rho, 0.0F}, 0, dy}, wall)) << why;
        EXPECT_EQ(paired, verify_by_pairs(image, {{rho, 0.0F}, 0, dy}, wall)) << why;
    };
    check("no spread: t is infinite", step.get(), 9.5F, 0, 1, PECT_PASS, PECT_PASS);
    check("darker", step.get(), 9.5F, 0, 0, PECT_FAIL, PECT_FAIL);
    check("one row", step.get(), 9.5F, 1, 1, PECT_PASS, PECT_FAIL);
    check("0 / 0", flat.get(), 9.5F, 0, 1, PECT_FAIL, PECT_FAIL);
    check("two thirds exactly", flat.get(), 20.0F, 0, 1, PECT_FAIL, PECT_FAIL);
    check("too deep", flat.get(), 21.0F, 0, 1, PECT_NOT_FOUND, PECT_NOT_FOUND);
    check("too deep", flat.get(), 9.9F, 0, 0, PECT_NOT_FOUND, PECT_NOT_FOUND);
    check("no row", flat.get(), 21.0F, 4, 1, PECT_FAIL, PECT_FAIL);
    check("image", nullptr, 1.0F, 0, -1, PECT_NO_IMAGE, PECT_NO_IMAGE);
    check("side", &no_buffer, 1.0F, 0, -1, PECT_NO_SIDE, PECT_NO_SIDE);
    check("buffer", &no_buffer, 1.0F, 0, 1, PECT_NO_IMAGE, PECT_NO_IMAGE);
}

}  // namespace
}  // namespace Norvane::Tests
