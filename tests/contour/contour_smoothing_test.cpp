// SPDX-License-Identifier: Apache-2.0
#include "contour_fixture.h"

#include <gmock/gmock.h>

namespace Norvane::Tests {
namespace {

using Contour = std::vector<float>;

/// A contour with holes, dips, spikes and ragged ends.
Contour random_contour(Random& random, std::size_t n) {
    Contour c(n);
    const int base = random.between(0, 300);
    for (float& r : c) {
        r = static_cast<float>(base + random.between(-20, 20)) + 0.1F * static_cast<float>(random.below(10));
        if (random.chance(12)) r = 0.0F;
        if (random.chance(15)) r = static_cast<float>(random.below(500)) * 0.37F;
    }
    return c;
}

namespace slow {

/// Bridging as it is defined: every search anew for each entry, in the contour as it is by then.
void bridge(Contour& c, IMAGE_VIEW view) {
    const int n = static_cast<int>(c.size());
    const auto at = [&](int i) -> float& { return c[static_cast<std::size_t>(i)]; };
    int sum = 0, count = 0;
    for (int i = n / 4; i < 3 * (n / 4); ++i)
        if (at(i) > 0) sum += static_cast<int>(at(i)), ++count;
    const int mean = count ? sum / count : 0, limit = view == VIEW_PECT ? mean / 3 : mean / 2;
    const auto upwards = [&](int i) {
        while (i <= n - 2 && at(i) <= static_cast<float>(limit)) ++i;
        return i;
    };
    const auto downwards = [&](int i) {
        while (i >= 1 && at(i) <= static_cast<float>(limit)) --i;
        return i;
    };
    const int j = upwards(1);
    if (at(0) <= static_cast<float>(mean)) at(0) = at(0) > static_cast<float>(limit) ? (at(0) + at(j)) * 0.5F : at(j);
    const int k = downwards(n - 2);
    if (at(n - 1) <= static_cast<float>(mean))
        at(n - 1) = at(n - 1) > static_cast<float>(limit) ? (at(k) + at(n - 1)) * 0.5F : at(k);
    for (int i = 1; i <= n - 2; ++i)
        if (at(i) <= static_cast<float>(mean)) at(i) = (at(downwards(i - 1)) + at(upwards(i + 1))) * 0.5F;
    if (view != VIEW_NO_PECT) return;

    const int s = n / 6, jump = std::min(limit, 25);
    float h[3] = {0, 0, 0}, trend = 0;
    const auto jumps = [&](float d) {
        if ((trend + d > static_cast<float>(jump / 2) && d > static_cast<float>(jump)) ||
            (-trend - d > static_cast<float>(jump) && -d > static_cast<float>(jump)))
            return true;
        h[0] = h[1], h[1] = h[2], h[2] = d;
        trend = h[0] + h[1] + h[2];
        return false;
    };
    for (int i = s; i >= 2; --i) {
        if (!jumps(at(i - 1) - at(i))) continue;
        int m = i;
        while (m <= s && at(m) < static_cast<float>(limit)) ++m;
        for (int x = 0; m < s && x < m; ++x) at(x) = at(m);
        break;
    }
    trend = 0;
    for (int i = n - s - 1; i <= n - 2; ++i) {
        if (!jumps(at(i + 1) - at(i))) continue;
        int m = i;
        while (m >= n - s - 1 && at(m) < static_cast<float>(limit)) --m;
        for (int x = m + 1; m > n - s && m < n - 1 && x < n; ++x) at(x) = at(m);
        break;
    }
}

void raise_ends(Contour& c, bool padding) {
    const std::size_t n = c.size();
    if (padding || n < 28) return;
    for (std::size_t k = 0; k <= 26; ++k) c[k] = std::max(c[k], c[27]);
    for (std::size_t k = n - 26; k < n; ++k) c[k] = std::max(c[k], c[n - 27]);
}

/// Smoothing without outer contour.
Contour smooth(Contour c, bool padding, int window) {
    const int n = static_cast<int>(c.size());
    const auto at = [&](int i) -> float& { return c[static_cast<std::size_t>(i)]; };
    raise_ends(c, padding);
    Contour t = c;
    for (int i = 0; i < n; ++i) {
        float sum = 0;
        int count = 0;
        for (int j = i - window / 2; j <= i + window / 2 - 1; ++j)
            if (j >= 1 && j <= n - 1 && static_cast<double>(at(j)) > static_cast<double>(at(j - 1)) - 50.0)
                sum += at(j), ++count;
        if (count) t[static_cast<std::size_t>(i)] = sum / static_cast<float>(count) + 0.5F;
    }
    return t;
}

}  // namespace slow

TEST(GapFilling, EqualsItsPlainDefinition) {
    Random random(3);
    for (int round = 0; round < 3000; ++round) {
        const std::size_t n = round % 5 == 0 ? 720 : 3 + random.below(60);
        OpenContour m(SIDE_CHEST_LEFT, static_cast<IMAGE_VIEW>(random.between(-1, 1)));
        Contour c = random_contour(random, n), expected = c;
        slow::bridge(expected, m.params.view);
        m.fill_in_contour_gap(c);
        ASSERT_EQ(c, expected) << n << " entries, round " << round;
    }
}

TEST(Smoothing, EqualsItsPlainDefinition) {
    Random random(4);
    for (int round = 0; round < 400; ++round) {
        const std::size_t n = 2 + random.below(100);
        const int window = 2 + static_cast<int>(random.below(static_cast<unsigned>(n) - 1));
        const bool padding = round % 2 != 0;
        OpenContour m(SIDE_CHEST_LEFT, VIEW_NO_PECT, padding ? BG_MG_RAW : BG_FIXED_HIGH);
        m.params.contourOffset = random.between(-5, 5);
        Contour c = random_contour(random, n), none, raw = c, raised = c, outer(n), wide(n);
        const Contour expected = slow::smooth(c, padding, window);
        m.smooth_contour(c, none, window);
        ASSERT_EQ(c, expected) << n << " entries, window " << window;
        ASSERT_TRUE(none.empty());

        slow::raise_ends(raised, padding);
        for (std::size_t k = 0; k < n; ++k) {
            const bool end = !padding && n > 26 && (k < 26 || k >= n - 25);
            wide[k] = std::max(end ? expected[k] : raised[k], expected[k]) + (padding ? 0.0F : 4.0F);
            wide[k] += static_cast<float>(m.params.contourOffset);
        }
        m.smooth_contour_mean(wide, wide, 9);
        m.smooth_contour(raw, outer, window);
        ASSERT_EQ(outer, wide) << n << " entries, window " << window;
    }
    OpenContour m;
    Contour c{1.0F, 5.0F}, other{3.0F};
    m.smooth_contour(c, other, 3);
    m.smooth_contour(c, other, 1);
    EXPECT_EQ(c, (Contour{1.0F, 5.0F})) << "a window wider than the contour, or of one entry";
    m.smooth_contour(c, other, 2);
    EXPECT_EQ(other, Contour{3.0F}) << "another size is not filled, and too short for the running mean";
}

TEST(RunningMean, CarriesItsSumAndReadsLate) {
    OpenContour m;
    Contour in(720), out(720);
    for (std::size_t i = 0; i < in.size(); ++i) in[i] = static_cast<float>(i % 50);
    ASSERT_TRUE(m.smooth_contour_mean(in, out, 9));
    EXPECT_EQ(out[0], 2.0F);
    EXPECT_EQ(out[4], 4.0F);
    EXPECT_EQ(out[719], 17.0F);
    EXPECT_FALSE(m.smooth_contour_mean(in, out, 1));
    EXPECT_FALSE(m.smooth_contour_mean(in, out, 720));
    Contour shorter(719);
    EXPECT_FALSE(m.smooth_contour_mean(in, shorter, 9));
    Contour same{8, 0, 0, 0, 0, 0};
    ASSERT_TRUE(m.smooth_contour_mean(same, same, 2));
    EXPECT_EQ(same[0], 4.0F);
    EXPECT_EQ(same[1], 8.0F / 3);
    EXPECT_EQ(same[2], 4.0F / 3) << "4, the mean, leaves the window instead of 8";
}

TEST(SmoothLine, AveragesBehindTheLeadingZeros) {
    OpenContour m;
    const auto smoothed = [&](Contour v, int half) {
        m.smooth_line(v, half);
        return v;
    };
    EXPECT_EQ(smoothed({3, 3, 3, 6}, 1), (Contour{3, 3, 4, 4.5F}));
    EXPECT_EQ(smoothed({0, 0, 0}, 1), (Contour{0, 0, 0}));
    EXPECT_EQ(smoothed({0, 4, 8, 0}, 1), (Contour{0, 6, 4, 4}));
    EXPECT_EQ(smoothed({7, 0, 9}, 0), (Contour{7, 0, 9}));
    EXPECT_EQ(smoothed({0, 7, 9}, 2), (Contour{0, 0, 0})) << "too short a line";
    EXPECT_EQ(smoothed({1, 2}, -1), (Contour{1, 2}));
    EXPECT_EQ(smoothed({}, 3), Contour{});
}

}  // namespace
}  // namespace Norvane::Tests
