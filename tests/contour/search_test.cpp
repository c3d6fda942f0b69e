// SPDX-License-Identifier: Apache-2.0
#include "contour/bin_crossings.h"
#include "contour/polar.h"
#include "rules/noise_class.h"
#include "support/open_contour.h"

namespace Norvane::Tests {
namespace {

/// Noise, dark holes and frame-bright spots around a bright half disc, the image that is thresholded, and a field that
/// leaves rows out and may reach beyond the image.
struct Scene {
    std::unique_ptr<Image> grey, search;
    Mask field;
    OpenContour masking;

    explicit Scene(Random& random) {
        constexpr BG_NOISE kClasses[] = {BG_AUTO, BG_AUTO_COARSE, BG_MG, BG_FIXED_MID, BG_FIXED_HIGH, BG_MG_RAW_3};
        masking.update_params(params_for(random.between(0, 1), random.between(0, 1), kClasses[random.below(6)]));
        const unsigned width = (random.chance(12) ? 150 : 20) + random.below(60),
                       height = (random.chance(12) ? 150 : 20) + random.below(60);
        const unsigned radius = random.chance(3) ? 999 : 3 + random.below(width);
        const unsigned step = random.chance(2) ? 250 : 1;  // of the grey levels: coarse ones meet the limits exactly
        const unsigned level = 5000 + random.below(4000);
        grey = grey_image(width, height, [&](unsigned x, unsigned y) {
            const double dx = masking.params.side == SIDE_CHEST_LEFT ? x : width - 1 - x;
            if (random.chance(40)) return random.chance(2) ? 61000U + random.below(4000) : random.below(3000);
            const bool inside = std::hypot(dx, y - height / 2.0) < radius;
            return ((inside ? 16000U - static_cast<unsigned>(dx * 60) : 3000U) + random.below(2000)) / step * step;
        });
        search = grey_image(width, height, [&](unsigned x, unsigned y) {
            return random.chance(6) ? level + random.below(random.chance(2) ? 3 : level / 6) : Tests::grey(*grey, x, y);
        });
        const bool is_narrow = random.chance(20);
        for (unsigned y = random.below(height / 4); y < height + 2 - random.below(4); ++y) {
            const unsigned first = random.below(6);
            if (!random.chance(9))
                field.AddSegment(y, first, is_narrow ? random.below(4) : width - random.below(8) - first);
        }
        field.SetPixelSize(228.0F);
        field.SetTargetPixelSize(228.0F);
        masking.find_polar_center(grey.get(), &field);
        masking.backgroundNoiseLevel = static_cast<unsigned short>(level);
        const float third = static_cast<float>(250 * (1 + random.below(20))) / 3.0F;
        masking.gradientThreshold = random.chance(4) ? 0.0F : std::nextafter(third, random.chance(2) ? 0.0F : third);
        masking.changeThreshold = random.chance(2);
        masking.contourState->tissueMean = static_cast<unsigned short>(12000 + random.below(9000));
        masking.contourState->thresholdScale = 0.33F + 0.01F * static_cast<float>(random.below(40));
        masking.params.contourOffset = random.between(-3, 3);
    }
};

enum class Form { kRays, kTable, kFast };

/// The searches in their plainest form: every pixel or sample by itself. Radii are those before gaps are filled.
struct SlowSearch {
    struct Direction {
        int tolerance;
        std::array<int, 5> h{65535, 65535, 65535, 65535, 65535};
        float radius = 0.0F;
    };

    const OpenContour& m;
    const Image &grey, &search;
    const Mask& field;
    const ContourState& s = *m.contourState;
    bool left = m.params.side == SIDE_CHEST_LEFT;
    long width = grey.GetWidth(), height = grey.GetHeight(), edge = s.edgeColumn, centre = s.centreRow;
    long gate = left ? s.centreColumn : edge - s.centreColumn, far = 2 * width / 3;

    /// Whether the sample at distance d (squared in the fast form) is tissue. `sign`: 1 above the centre row.
    bool sample(Form form, Direction& b, long x, long y, int sign, double d) const {
        if (b.tolerance == 0) return false;
        const bool padding = form != Form::kRays && rules_of(m.params.bgNoise).has_padding;
        const bool muscle = m.params.view == VIEW_PECT && sign == 1;
        const bool raises = !padding && m.changeThreshold && !muscle;
        const bool stops = m.gradientThreshold != 0.0F && (!muscle || padding);
        float limit = s.thresholdScale * static_cast<float>(s.tissueMean);
        if (m.params.bgNoise <= 3 || m.params.bgNoise == 9 || !(limit > static_cast<float>(m.backgroundNoiseLevel)))
            limit = static_cast<float>(m.backgroundNoiseLevel + 1);
        if (raises && (left ? x < s.centreColumn : x > s.centreColumn)) limit *= m.radiusScale;
        const auto column = static_cast<unsigned>(x), row = static_cast<unsigned>(y);
        if (!(static_cast<float>(Tests::grey(search, column, row)) > limit) || (stops && b.h[0] == 0)) {
            --b.tolerance;
            return false;
        }
        if (form == Form::kTable && static_cast<double>(b.radius) > d) return true;
        b.radius = static_cast<float>(d);
        if (!stops) return true;
        const int p = static_cast<int>(Tests::grey(grey, column, row));
        const int newer = p + b.h[0] + b.h[1], older = b.h[2] + b.h[3] + b.h[4];
        float fall = static_cast<float>(older - newer) / 3.0F;
        if (form == Form::kRays) fall = static_cast<float>(static_cast<float>(older / 3.0) - newer / 3.0);
        if (b.h[4] == 65535) fall = 0.0F;
        b.h = {p, b.h[0], b.h[1], b.h[2], b.h[3]};
        const auto beyond = [&](long r) { return d > static_cast<double>(form == Form::kFast ? r * r : r); };
        const double rise = static_cast<double>(m.borderFactor) * static_cast<double>(m.gradientThreshold);
        if (beyond(gate) && fall > m.gradientThreshold && static_cast<float>(p) < limit * m.gradientScale) b.h[0] = 0;
        if (p > 60000 && static_cast<double>(fall) < -rise && beyond(far)) b.h[0] = 0;
        return true;
    }

    [[nodiscard]] std::size_t bin(long dx, long dy, int sign, bool fast, const AcosTable& table) const {
        constexpr double kScale = 229.18312072753906, kHalfPi = 1.5707963267948966;
        const auto r = static_cast<float>(std::hypot(dx, dy)), x = static_cast<float>(dx);
        const int k = static_cast<int>(static_cast<double>(polar_angle(x, r, table, left ? 1 : -1, sign)) * kScale);
        const auto up = static_cast<double>(static_cast<float>(std::atan2(-static_cast<double>(dy), std::abs(dx))));
        const int table_bin = left ? (sign * 1440 + k) % 1440 + 360 : k - 360;
        const int fast_bin = static_cast<int>((left ? up + kHalfPi : kHalfPi - up) * kScale + 0.5);
        return static_cast<std::size_t>(std::clamp(fast ? fast_bin : table_bin, 0, 719));
    }

    [[nodiscard]] Contour raster(Form form) const {
        const AcosTable table(3600);
        const bool fast = form == Form::kFast;
        std::vector<Direction> bins(720, Direction{m.contourMargin});
        const long min_y = field.GetMinY(), max_y = std::min<long>(field.GetMaxY(), height - 1);
        long lo = left ? edge : 0, hi = left ? width : edge;
        for (long y = min_y; y <= max_y; ++y) {
            const long row = y <= centre ? centre - (y - min_y) : y;
            const int sign = row <= centre ? 1 : -1;
            const auto [first, last] = extent_of(field, row, {0, width - 1});
            long from = edge, to = left ? std::min(width - 1, last) : first;
            if (fast) {
                const double span = static_cast<double>(last - first) * static_cast<double>(0.18F);
                const long below = static_cast<long>(static_cast<double>(lo) - span + 0.5);
                const long above = static_cast<long>(static_cast<double>(hi) + span + 0.5);
                from = left ? std::max(edge, below) : std::min(edge, above);
                to = left ? std::min(to, above) : std::max(first, below);
                std::tie(lo, hi) = left ? std::pair(to, from) : std::pair(from, to);
            }
            for (long x = from; left ? x <= to : x >= to; x += left ? 1 : -1) {
                if (x >= width) continue;
                const long dx = x - edge, dy = row - centre;
                const auto squared = static_cast<double>(dx * dx + dy * dy);
                const double d = fast ? squared : static_cast<double>(static_cast<float>(std::sqrt(squared)));
                if (sample(form, bins[bin(dx, dy, sign, fast, table)], x, row, sign, d))
                    std::tie(lo, hi) = std::pair(std::min(lo, x), std::max(hi, x));
            }
        }
        Contour radii;
        for (const Direction& b : bins) radii.push_back(fast ? std::sqrt(b.radius) : b.radius);
        return radii;
    }

    [[nodiscard]] Contour rays() const {
        Contour contour(720, 0.0F);
        const long min_y = field.GetMinY(), max_y = field.GetMaxY();
        const long farthest = left ? field.GetMaxX() : field.GetMinX();
        const auto dy = static_cast<double>(std::max(std::abs(min_y - centre), std::abs(max_y - centre)));
        const long longest = std::lround(std::hypot(farthest - edge, dy));
        for (int i = 0; i < 360; ++i) {
            const int sign = i < 180 ? -1 : 1;
            const double a = static_cast<double>(static_cast<float>(std::abs(180 - i)) / 114.59156F);
            Direction b{m.contourMargin};
            for (long r = 0; r < longest; ++r) {
                const long y = centre - sign * static_cast<long>(static_cast<double>(r) * std::sin(a) + 0.5);
                const long x = edge + (left ? 1 : -1) * static_cast<long>(static_cast<double>(r) * std::cos(a) + 0.5);
                if (y < min_y || y > max_y || y >= height || x < 0 || x >= width) continue;
                const auto [first, last] = extent_of(field, y, {field.GetMinX(), field.GetMaxX()});
                if (x >= first && x <= last) sample(Form::kRays, b, x, y, sign, static_cast<double>(r));
            }
            contour[static_cast<std::size_t>(left ? (i < 180 ? 540 + i : i - 180) : 539 - i)] = b.radius;
        }
        return contour;
    }
};

TEST(Searches, EqualTheirPlainDefinitionsOnRandomScenes) {
    Random random(41);
    long found = 0;
    for (int round = 0; round < 300; ++round) {
        Scene s(random);
        OpenContour& m = s.masking;
        const auto raw = [&](Form form) {
            const SlowSearch slow{m, *s.grey, *s.search, s.field};
            Contour radii = form == Form::kRays ? slow.rays() : slow.raster(form);
            found += std::ranges::count_if(radii, [](float r) { return r > 10; }) > 100 ? 1 : 0;
            m.fill_in_contour_gap(radii);
            return radii;
        };
        const auto window = [&](int high, int padding, int other) {
            return m.params.bgNoise == BG_FIXED_HIGH ? high : rules_of(m.params.bgNoise).has_padding ? padding : other;
        };
        const bool full = random.chance(2);
        Contour radii = raw(Form::kRays), none, wide(full ? 720 : 0), outer(3, 1.0F);
        m.smooth_contour(radii, none, window(64, 8, 32));
        ASSERT_EQ(m.find_polar_contour(s.grey.get(), s.search.get(), &s.field), radii) << "rays " << round;

        radii = raw(Form::kTable);
        m.smooth_contour(radii, wide, window(96, 8, 64));
        s.field.SetTargetPixelSize(100.0F);
        ASSERT_EQ(m.find_contour_border(s.grey.get(), s.search.get(), &s.field, outer, full), radii) << round;
        ASSERT_EQ(outer, wide) << round;
        EXPECT_EQ(s.field.GetTargetPixelSize(), 228.0F);

        outer.clear();
        m.params.fullContour = full;
        m.params.smoothContour = random.chance(2);
        m.params.singleContour = random.chance(2);
        radii = raw(Form::kFast);
        std::ranges::fill(wide, 0.0F);
        Contour& widened = m.params.singleContour ? radii : wide;
        const bool widens = full && m.params.smoothContour && !m.params.singleContour;
        m.smooth_contour(radii, widens ? wide : none, window(96, 32, 64));
        if (full && !m.params.smoothContour)
            for (std::size_t k = 0; k < 720; ++k) widened[k] = radii[k] + static_cast<float>(m.params.contourOffset);
        ASSERT_EQ(m.find_contour_border_opt(s.grey.get(), s.search.get(), &s.field, outer), radii) << "fast " << round;
        ASSERT_EQ(outer, wide) << "fast " << round;
    }
    EXPECT_GT(found, 400) << "the scenes hold contours";
    const Scene s(random);
    const auto wider = grey_image(s.grey->GetWidth() + 1, s.grey->GetHeight());
    Contour outer;
    Mask field = s.field;
    OpenContour m = s.masking;
    EXPECT_TRUE(m.find_contour_border(s.grey.get(), wider.get(), &field, outer, true).empty() && outer.empty());
    EXPECT_TRUE(m.find_polar_contour(wider.get(), s.search.get(), &field).empty());
}

TEST(PolarAngle, HasItsExactValuesAtTheLimits) {
    const AcosTable table(Masking::NUM_IN_LUT);
    EXPECT_EQ(polar_angle(0, 5, table, 1, 1), 1.57079637F);
    EXPECT_EQ(polar_angle(5, 5, table, 1, -1), 6.259615421295166F);
    EXPECT_EQ(polar_angle(-5, 5, table, -1, 1), 3.14159274F);
    EXPECT_EQ(polar_angle(3, 0.00005F, table, 1, 1), 0.0F);
    EXPECT_EQ(polar_angle(9, 5, table, 1, 1), 0.0F) << "beyond the table";
    EXPECT_EQ(table.angles[3599], 0.023569919168949127F);
    testing::internal::CaptureStdout();
    EXPECT_EQ(polar_angle(3, 5, table, 0, 1) + polar_angle(3, 5, table, 1, 0), 0.0F);
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "Wrong quad\nWrong quad\n");
}

TEST(ArctangentBins, CrossingsGiveEveryPixelItsOwnBin) {
    constexpr int kSide = 2000;
    for (const int outward : {1, -1}) {
        const ArctangentBins bins(outward);
        for (int dy = -kSide / 2; dy < kSide / 2; ++dy) {
            int next = 0, wrong = 0;
            bins.visit_runs({0, kSide - 1}, dy, [&](int bin, Depths run) {
                wrong += run.first != next || run.last < run.first ? 1 : 0;
                for (; next <= run.last; ++next) wrong += bins.bin_at(next, dy) != bin ? 1 : 0;
            });
            ASSERT_EQ(std::pair(next, wrong), std::pair(kSide, 0)) << outward << ' ' << dy;
        }
    }
}

TEST(PolarCentre, LiesOnTheWallEdgeOfTheField) {
    const auto check = [](const char* why, int side, const RowRun& run, int edge, int centre) {
        OpenContour m(side);
        Mask field = mask_of({run});
        const auto expected = side == 2 ? Masking::MASK_NO_SIDE : Masking::MASK_OK;
        EXPECT_EQ(m.find_polar_center(grey_image(120, 61).get(), &field), expected) << why;
        const ContourState& s = *m.contourState;
        EXPECT_EQ((Points{s.centreRow, s.edgeColumn, s.centreColumn}), (Points{30, edge, centre})) << why;
    };
    check("from the field", 1, {30, 0, 99}, 0, 10);
    check("from the field", 0, {30, 0, 99}, 99, 89);
    check("a field with an offset", 1, {30, 30, 50}, 30, 33);
    check("no run in the row: the image", 1, {31, 0, 99}, 0, 12);
    check("no run in the row: the image", 0, {31, 0, 99}, 119, 108);
    check("columns keep 16 bits", 1, {30, 0x10005, 0x10009}, 5, 6);
    check("no side", 2, {30, 0, 99}, 0, 0);
}

}  // namespace
}  // namespace Norvane::Tests
