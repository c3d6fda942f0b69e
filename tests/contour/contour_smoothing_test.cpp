// SPDX-License-Identifier: Apache-2.0
#include "contour/contour_smoothing.h"
#include "muscle/muscle_estimate.h"
#include "support/open_contour.h"

namespace Norvane::Tests {
namespace {

/// A contour with holes, dips, spikes and ragged ends.
Contour random_contour(Random& random, std::size_t n) {
    Contour c(n);
    const int base = random.between(0, 300);
    const bool is_whole = random.chance(2);  // such numbers meet the limits exactly
    for (float& r : c) {
        r = static_cast<float>(base + random.between(-20, 20)) + 0.1F * static_cast<float>(random.below(10));
        if (random.chance(12)) r = 0.0F;
        if (random.chance(15)) r = static_cast<float>(random.below(500)) * 0.37F;
        if (is_whole) r = std::floor(r);
    }
    return c;
}

/// Bridging as it is defined: every search anew for each entry, in the contour as it is by then.
void bridge_slowly(Contour& c, IMAGE_VIEW view) {
    const int n = static_cast<int>(c.size()), s = n / 6;
    const auto at = [&](int i) -> float& { return c[static_cast<std::size_t>(i)]; };
    int sum = 0, count = 0;
    for (int i = n / 4; i < 3 * (n / 4); ++i)
        if (at(i) > 0) sum += static_cast<int>(at(i)), ++count;
    const int whole_mean = count ? sum / count : 0, whole_limit = whole_mean / (view == VIEW_PECT ? 3 : 2);
    const auto mean = static_cast<float>(whole_mean), limit = static_cast<float>(whole_limit);
    const auto good = [&](int i, int step) {
        while (i != (step > 0 ? n - 1 : 0) && at(i) <= limit) i += step;
        return at(i);
    };
    for (const auto& [end, step] : {std::pair(0, 1), std::pair(n - 1, -1)})
        if (at(end) <= mean)
            at(end) = at(end) > limit ? (at(end) + good(end + step, step)) * 0.5F : good(end + step, step);
    for (int i = 1; i <= n - 2; ++i)
        if (at(i) <= mean) at(i) = (good(i - 1, -1) + good(i + 1, 1)) * 0.5F;
    if (view != VIEW_NO_PECT) return;

    const int whole_jump = std::min(whole_limit, 25);
    const auto jump = static_cast<float>(whole_jump), half = static_cast<float>(whole_jump / 2);
    float h[3] = {0, 0, 0};  // goes on from the head into the tail
    for (const int step : {-1, 1}) {
        const int from = step < 0 ? s : n - s - 1;
        float trend = 0;
        for (int i = from; step < 0 ? i >= 2 : i <= n - 2; i += step) {
            const float d = at(i + step) - at(i);
            if ((trend + d > half && d > jump) || (-trend - d > jump && -d > jump)) {
                int m = i;
                while ((m - from) * step >= 0 && at(m) < limit) m -= step;
                if (step < 0 ? m < s : m > n - s && m < n - 1)
                    for (int x = step < 0 ? 0 : m + 1; x < (step < 0 ? m : n); ++x) at(x) = at(m);
                break;
            }
            h[0] = h[1], h[1] = h[2], h[2] = d;
            trend = h[0] + h[1] + h[2];
        }
    }
}

TEST(GapFilling, EqualsItsPlainDefinition) {
    Random random(3);
    for (int round = 0; round < 3000; ++round) {
        const auto view = static_cast<IMAGE_VIEW>(random.between(-1, 1));
        Contour c = random_contour(random, round % 5 == 0 ? 720 : 3 + random.below(60)), expected = c;
        bridge_slowly(expected, view);
        fill_contour_gaps(c, view);
        ASSERT_EQ(c, expected) << c.size() << " entries, round " << round;
    }
}

TEST(Smoothing, EqualsItsPlainDefinition) {
    Random random(4);
    for (int round = 0; round < 400; ++round) {
        const std::size_t n = 2 + random.below(100);
        const int window = 2 + static_cast<int>(random.below(static_cast<unsigned>(n) - 1));
        const auto reach = static_cast<std::size_t>(window / 2);
        const bool padding = round % 2 != 0;
        const Smoothing smoothing{window, padding, random.between(-5, 5)};
        Contour c = random_contour(random, n), raised = c, none, outer(n), wide(n), both = c;
        const std::size_t ends = padding || n <= 27 ? 0 : 27;
        for (std::size_t k = 0; k < ends; ++k) raised[k] = std::max(raised[k], raised[27]);
        for (std::size_t k = 1; k < ends; ++k) raised[n - k] = std::max(raised[n - k], raised[n - 27]);
        Contour expected = raised;
        for (std::size_t i = 0; i < n; ++i) {
            float sum = 0, count = 0;
            for (std::size_t j = 1; j < n; ++j)
                if (j + reach >= i && j < i + reach)
                    if (double{raised[j]} > double{raised[j - 1]} - 50.0) sum += raised[j], ++count;
            if (count > 0) expected[i] = sum / count + 0.5F;
            const bool end = !padding && n > 26 && (i < 26 || i >= n - 25);
            wide[i] = std::max(end ? expected[i] : raised[i], expected[i]) + (padding ? 0.0F : 4.0F);
            wide[i] += static_cast<float>(smoothing.outer_offset);
        }
        running_mean(wide, wide, 9);
        smooth_outline(both, both, smoothing);
        ASSERT_EQ(both, expected) << "one vector as both is smoothed, not widened: " << n << ", window " << window;
        smooth_outline(c, outer, smoothing);
        ASSERT_EQ(c, expected) << n << " entries, window " << window;
        ASSERT_EQ(outer, wide) << n << " entries, window " << window;
    }
}

TEST(Smoothing, HasItsExactValuesAtTheLimits) {
    Contour c{1.0F, 5.0F}, other{3.0F}, in(720), out(720), same{8, 0, 0, 0, 0, 0};
    for (const int window : {3, 1}) smooth_outline(c, other, {window, false, 0});
    EXPECT_EQ(c, (Contour{1.0F, 5.0F})) << "a window wider than the contour, or of one entry";
    for (std::size_t i = 0; i < in.size(); ++i) in[i] = static_cast<float>(i % 50);
    ASSERT_TRUE(running_mean(in, out, 9));
    EXPECT_THAT((Contour{out[0], out[4], out[719]}), testing::ElementsAre(2.0F, 4.0F, 17.0F));
    for (const int window : {1, 720}) EXPECT_FALSE(running_mean(in, out, window));
    EXPECT_FALSE(running_mean(in, same, 9));
    ASSERT_TRUE(running_mean(same, same, 2));
    EXPECT_EQ(same[2], 4.0F / 3) << "4, the mean, leaves the window instead of 8";

    const auto line = [&](Contour v, int half) {
        smooth_muscle_ends(v, half);
        return v;
    };
    EXPECT_EQ(line({3, 3, 3, 6}, 1), (Contour{3, 3, 4, 4.5F}));
    EXPECT_EQ(line({0, 4, 8, 0}, 1), (Contour{0, 6, 4, 4})) << "behind the leading zeros";
    EXPECT_EQ(line({7, 0, 9}, 0), (Contour{7, 0, 9}));
    EXPECT_EQ(line({0, 7, 9}, 2), (Contour{0, 0, 0})) << "too short a line";
}

}  // namespace
}  // namespace Norvane::Tests
